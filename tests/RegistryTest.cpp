// The registry's rules through the platform calls, and KLXRegistryKey and
// KLXSettingsVar on it: values of any length and type, names, roots and
// paths, value names, copies of keys, when a setting writes, and the store
// shared by several processes writing at the same time, with a key inherited
// through fork.
#include "KLXRegistryKey.h"
#include "KLXSettingsVar.h"

#include "Environment.h"
#include "platform/Platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>
#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

using namespace klx::platform;

namespace {

std::string kPath = "Software\\Keldmar\\KlxTest", kKey = "Software\\Keldmar\\Load";

// "n:" and bytes that depend on n, `size` in all, so that a mixed or cut
// value never looks whole; by default every seventh is large.
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
TEST(RegistryStore, ConcurrentWritersLoseNothing) {
    GTEST_SKIP() << "the registry store in a file, shared by processes, is the POSIX host's";
}
#else
TEST(RegistryStore, ConcurrentWritersLoseNothing) {
    // The children share a key this process opened in a store of its own,
    // and race to create the store and the keys they all write.
    const std::string prefix = std::getenv("KLX_PREFIX");
    klxtest::setEnv("KLX_PREFIX", prefix + "-parent");
    KLXRegistryKey inherited(HKEY_CURRENT_USER, kKey);
    klxtest::setEnv("KLX_PREFIX", prefix);
    std::vector<pid_t> children;
    for (int writer = 0; writer < 4; ++writer) {
        const pid_t child = fork();
        if (child != 0) {
            children.push_back(child);
            continue;
        }
        std::string name = "w" + std::to_string(writer);
        for (int n = writer * 1000; n < writer * 1000 + 200; ++n) {
            // Keys all of them create; each value is seen whole at once
            // through another spelling of the path.
            std::string sub = "\\Sub" + std::to_string(n % 8), value = payload(n);
            write(HKEY_CURRENT_USER, kKey + sub, name, value);
            if (read(HKEY_CURRENT_USER, "SOFTWARE\\keldmar\\LOAD" + sub, name) != value)
                _exit(1);
        }
        inherited.setValue(name, name);
        _exit(0);
    }
    for (pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
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
#endif
