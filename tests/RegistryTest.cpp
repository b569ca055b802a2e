// The registry's rules through the platform calls, and KLXRegistryKey and
// KLXSettingsVar on it: values of any length and type, names, roots and
// paths, value names, copies of keys, when a setting writes, stores that
// cannot be used, and the store shared by several processes: writers at the
// same time, a key inherited through fork, and a writer killed in the middle
// of a burst of writes.
#include "KLXRegistryKey.h"
#include "KLXSettingsVar.h"

#include "Environment.h"
#include "TestFiles.h"
#include "platform/Platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>
#ifndef _WIN32
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;
using namespace klx::platform;

namespace {

std::string kPath = "Software\\Keldmar\\KlxTest", kKey = "Software\\Keldmar\\Load";

// "n:" and bytes that depend on n, `size` in all, so that a mixed or cut
// value never looks whole; by default every seventh is large, to widen the
// window in which a kill lands inside a commit.
std::string payload(int n, std::size_t size = 0) {
    std::string text = std::to_string(n) + ":";
    text.resize(size ? size : 16 + (n * 131) % 3000 + (n % 7 == 3 ? 200000 : 0),
                char('a' + n % 26));
    return text;
}

std::string read(HKEY root, std::string path, std::string name) {
    return KLXRegistryKey(root, path).retValue(name);
}

void write(HKEY root, std::string path, std::string name, std::string value) {
    KLXRegistryKey(root, path).setValue(name, value);
}

} // namespace

TEST(RegistryKey, ValuesNamesRootsAndPaths) {
    for (int size : {1, 1023, 1024, 70000, 1 << 20}) {
        write(HKEY_CURRENT_USER, kPath, "long", payload(size, size));
        EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "long"), payload(size, size)) << size;
    }
    // Each reads as "%A%": the text ends at the first NUL, whatever the type,
    // and data without one reads in full; REG_EXPAND_SZ stays unexpanded.
    // Written back, it is REG_SZ with its NUL.
    const std::pair<DWORD, std::string> values[] = {{REG_SZ, std::string("%A%\0cd", 6)},
                                                    {REG_EXPAND_SZ, "%A%"},
                                                    {REG_MULTI_SZ, std::string("%A%\0B\0\0", 7)},
                                                    {REG_BINARY, "%A%"}};
    HKEY key = createRegistryKey(HKEY_CURRENT_USER, kPath).value;
    for (const auto& [type, data] : values) {
        setRegistryValue(key, "typed", type, data.data(), data.size());
        EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "typed"), "%A%") << type;
    }
    write(HKEY_CURRENT_USER, kPath, "typed", "abc");
    Result<RegistryValue> typed = queryRegistryValue(key, "typed");
    EXPECT_EQ(std::to_string(typed.value.type) + typed.value.data, "1" + std::string("abc\0", 4));
    closeRegistryKey(key);
    // The default value is one of its own.
    write(HKEY_CURRENT_USER, kPath, "", "default");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "") + read(HKEY_CURRENT_USER, kPath, "absent"),
              "default");

    // ASCII letter case is ignored.
    write(HKEY_CURRENT_USER, "Software\\Keldmar\\Mixed", "Value", "first");
    EXPECT_EQ(read(HKEY_CURRENT_USER, "software\\KELDMAR\\mixed", "vAlUe"), "first");

    // Roots are separate trees; doubled and trailing backslashes name
    // nothing; an empty path is the root.
    for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER, HKEY_CLASSES_ROOT})
        write(root, "One\\Two", "v", std::to_string(std::intptr_t(root)));
    for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER, HKEY_CLASSES_ROOT})
        EXPECT_EQ(read(root, "One\\\\Two\\", "v"), std::to_string(std::intptr_t(root)));
    write(HKEY_CURRENT_USER, "", "atRoot", "r");
    EXPECT_EQ(read(HKEY_CURRENT_USER, "", "ATROOT") + read(HKEY_CURRENT_USER, "One", "atRoot"),
              "r");
}

TEST(RegistryKey, ValueNamesAndCopies) {
    // A value rewritten in any letter case keeps its first spelling; the
    // default value and other types are listed, empty data too; subkeys'
    // values are not.
    HKEY key = createRegistryKey(HKEY_CURRENT_USER, kPath + "\\values").value;
    for (const char* name : {"count", "0", "COUNT", ""})
        setRegistryValue(key, name, REG_SZ, "x", 2);
    EXPECT_EQ(setRegistryValue(key, "bytes", REG_BINARY, nullptr, 0), 0u);
    write(HKEY_CURRENT_USER, kPath + "\\values\\child", "a", "x");
    std::vector<std::string> names = enumerateRegistryValueNames(key).value;
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"", "0", "bytes", "count"}));
    closeRegistryKey(key);

    // Copies own their keys and work on after the original is gone.
    std::string name = "Copied", text = "text", other = kPath + "\\Other";
    auto original = std::make_unique<KLXRegistryKey>(HKEY_CURRENT_USER, kPath);
    KLXRegistryKey copy(*original), assigned(HKEY_CURRENT_USER, other);
    assigned = *original;
    original.reset();
    assigned.setValue(name, text);
    EXPECT_EQ(copy.retValue(name), "text");
}

TEST(SettingsVar, WritesOnlyWhatChangedUnlessForced) {
    // Nothing is read on construction. Before each call another writer puts
    // "other" under the name; the comparison is exact.
    write(HKEY_CURRENT_USER, kPath, "Mode", "stored");
    std::string name = "Mode", separator = ";";
    KLXSettingsVar var(name, HKEY_CURRENT_USER, kPath, separator);
    EXPECT_EQ(var.getValue(), "");
    const std::pair<std::string, bool> calls[] = {
        {"", false}, {"one", false}, {"one", false}, {"one", true}, {"ONE", false}};
    const char* const after[] = {"other", "one", "other", "one", "ONE"};
    for (int i = 0; i < 5; ++i) {
        write(HKEY_CURRENT_USER, kPath, "Mode", "other");
        std::string value = calls[i].first;
        var.setValue(value, calls[i].second);
        EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "mode"), after[i]) << i;
    }
    // List edits change only the value in memory, also one appended to itself.
    EXPECT_TRUE(var.addToList(var.getValue()));
    EXPECT_EQ(var.getValue(), "ONE;ONE");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "mode"), "ONE");
}

#ifdef _WIN32
TEST(RegistryStore, UnusableConcurrentAndKilled) {
    GTEST_SKIP() << "the registry store in a file, shared by processes, is the POSIX host's";
}
#else
// Runs `body` in a child process and gives its pid.
pid_t spawn(const std::function<int()>& body) {
    pid_t pid = fork();
    if (pid == 0)
        _exit(body());
    return pid;
}

// The child's exit code, or -1 when it ended by a signal.
int finish(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(RegistryStore, UnusableStoreGivesNullKeys) {
    const std::string prefix = std::getenv("KLX_PREFIX");
    auto readIn = [&](const fs::path& elsewhere) {
        klxtest::setEnv("KLX_PREFIX", elsewhere.string());
        write(HKEY_CURRENT_USER, kPath, "v", "lost");
        std::string value = read(HKEY_CURRENT_USER, kPath, "v");
        klxtest::setEnv("KLX_PREFIX", prefix);
        return value;
    };
    // A prefix that cannot be made (its parent is a file), a registry.db that
    // is not a database (and is left alone), or not a file, a prefix of
    // another user.
    const fs::path dir = klxtest::freshDir("unusable");
    const std::string garbage(8192, '\x5A');
    for (const char* sub : {"garbage", "folder/registry.db", "foreign", "open"})
        fs::create_directories(dir / sub);
    klxtest::writeBytes(dir / "file", "not a directory");
    klxtest::writeBytes(dir / "garbage" / "registry.db", garbage);
    const bool foreign = ::geteuid() == 0 && ::chown((dir / "foreign").c_str(), 65534, 65534) == 0;
    for (const char* sub : {"file/prefix", "garbage", "folder", "foreign"})
        EXPECT_EQ(readIn(dir / sub), std::string(sub) == "foreign" && !foreign ? "lost" : "")
            << sub;
    EXPECT_EQ(klxtest::readBytes(dir / "garbage" / "registry.db"), garbage);

    // The store is the user's alone, also where an empty store was not.
    klxtest::writeBytes(dir / "open" / "registry.db", "");
    fs::permissions(dir / "open" / "registry.db", fs::perms::all);
    EXPECT_EQ(readIn(dir / "open"), "lost");
    for (const char* file : {"registry.db", "registry.db-wal", "registry.db-shm"})
        EXPECT_EQ(fs::status(dir / "open" / file).permissions(),
                  fs::perms::owner_read | fs::perms::owner_write)
            << file;
}

TEST(RegistryStore, ConcurrentWritersLoseNothing) {
    // The children share a key this process opened in a store of its own,
    // and race to create the store and the keys they all write.
    const std::string prefix = std::getenv("KLX_PREFIX");
    klxtest::setEnv("KLX_PREFIX", prefix + "-parent");
    KLXRegistryKey inherited(HKEY_CURRENT_USER, kKey);
    klxtest::setEnv("KLX_PREFIX", prefix);
    std::vector<pid_t> children;
    for (int writer = 0; writer < 4; ++writer) {
        children.push_back(spawn([&, writer] {
            std::string name = "w" + std::to_string(writer);
            for (int n = writer * 1000; n < writer * 1000 + 200; ++n) {
                // Keys all of them create; each value is seen whole at once
                // through another spelling of the path.
                std::string sub = "\\Sub" + std::to_string(n % 8), value = payload(n);
                write(HKEY_CURRENT_USER, kKey + sub, name, value);
                if (read(HKEY_CURRENT_USER, "SOFTWARE\\keldmar\\LOAD" + sub, name) != value)
                    return 1;
            }
            inherited.setValue(name, name);
            return 0;
        }));
    }
    for (pid_t child : children)
        EXPECT_EQ(finish(child), 0);
    // Sub<k> holds each writer's last n that is k modulo 8; this process's
    // open key sees the children's writes, and its connection still works.
    for (int writer = 0; writer < 4; ++writer) {
        std::string name = "w" + std::to_string(writer), last = "last";
        for (int k = 0; k < 8; ++k)
            EXPECT_EQ(read(HKEY_CURRENT_USER, kKey + "\\Sub" + std::to_string(k), name),
                      payload(writer * 1000 + 192 + k));
        EXPECT_EQ(inherited.retValue(name), name);
        inherited.setValue(name, last);
        EXPECT_EQ(inherited.retValue(name), "last");
    }
}

TEST(RegistryStore, KilledWriterKeepsEveryAcknowledgedWrite) {
    int acks[2];
    ASSERT_EQ(pipe(acks), 0);
    // The child writes without end and reports each write that returned.
    pid_t child = spawn([&] {
        close(acks[0]);
        KLXRegistryKey key(HKEY_CURRENT_USER, kKey);
        for (int n = 0;; ++n) {
            std::string name = "seq" + std::to_string(n), value = payload(n);
            key.setValue(name, value);
            if (::write(acks[1], &n, sizeof n) != static_cast<ssize_t>(sizeof n))
                return 1;
        }
    });
    close(acks[1]);
    // Let it get going, then kill it at whatever point it has reached.
    int lastAck = -1, n = 0;
    while (lastAck < 60 && ::read(acks[0], &n, sizeof n) == sizeof n)
        lastAck = n;
    kill(child, SIGKILL);
    EXPECT_EQ(finish(child), -1);
    while (::read(acks[0], &n, sizeof n) == sizeof n)
        lastAck = n;
    close(acks[0]);
    ASSERT_GE(lastAck, 60);

    KLXRegistryKey key(HKEY_CURRENT_USER, kKey);
    for (int i = 0; i <= lastAck; ++i) {
        std::string name = "seq" + std::to_string(i);
        ASSERT_EQ(key.retValue(name), payload(i)) << name;
    }
    // The write in progress is there whole or not at all.
    std::string next = "seq" + std::to_string(lastAck + 1);
    const std::string inProgress = key.retValue(next);
    EXPECT_TRUE(inProgress.empty() || inProgress == payload(lastAck + 1));
}
#endif
