// The registry store shared by several processes: writers and readers at the
// same time on the same keys, a key that stays open while another process
// writes, a process that inherits open keys through fork, and a writer killed
// in the middle of a burst of writes.
#include "KLXRegistryKey.h"
#include "KLXSettingsVar.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <sqlite3.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

// Runs `body` in a child process; its result is the child's exit code.
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

std::string read(const std::string& path, const std::string& name) {
    std::string p = path, n = name;
    KLXRegistryKey key(HKEY_CURRENT_USER, p);
    return key.retValue(n);
}

void write(const std::string& path, const std::string& name, const std::string& value) {
    std::string p = path, n = name, v = value;
    KLXRegistryKey key(HKEY_CURRENT_USER, p);
    key.setValue(n, v);
}

// A value whose every byte depends on who wrote it, so that a mixed or cut
// value never looks like a whole one. Some exceed the old 1024-byte read.
std::string payload(int writer, int n) {
    std::size_t size = 16 + static_cast<std::size_t>((n * 131 + writer * 977) % 3000);
    std::string text = std::to_string(writer) + ":" + std::to_string(n) + ":";
    while (text.size() < size)
        text += static_cast<char>('a' + (writer * 7 + n + text.size()) % 26);
    return text;
}

// PRAGMA integrity_check of the database, read without the library.
std::string integrity() {
    std::string path = std::string(std::getenv("KLX_PREFIX")) + "/registry.db", result;
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK)
        sqlite3_exec(
            db, "PRAGMA integrity_check",
            [](void* out, int, char** values, char**) {
                *static_cast<std::string*>(out) += values[0] ? values[0] : "";
                return 0;
            },
            &result, nullptr);
    sqlite3_close(db);
    return result;
}

// What the killed writer writes as its n-th value: every few writes a large
// one, to widen the window in which the kill lands inside a commit.
std::string killedValue(int round, int n) {
    std::string value = payload(round, n);
    if (n % 7 == 3)
        value += std::string(200000, static_cast<char>('A' + n % 26));
    return value;
}

const std::string kKey = "Software\\Keldmar\\Load";

} // namespace

TEST(RegistryStore, ConcurrentWritersAndReadersLoseNothing) {
    // The children start together on a store that does not exist yet, so
    // they also race to create it and its keys.
    const int kWriters = 4, kValues = 300;
    std::vector<pid_t> children;
    for (int writer = 0; writer < kWriters; ++writer) {
        children.push_back(spawn([writer] {
            std::string path = kKey, shared = "Shared";
            KLXRegistryKey key(HKEY_CURRENT_USER, path);
            for (int n = 0; n < kValues; ++n) {
                std::string name = "w" + std::to_string(writer) + "-" + std::to_string(n),
                            value = payload(writer, n);
                key.setValue(name, value);
                // Each write is seen in full at once, also through another
                // key object and another spelling of the path.
                if (read("SOFTWARE\\keldmar\\LOAD", name) != value)
                    return 2;
                // The value all of them overwrite is always one whole value.
                std::string mine = payload(writer, n + 1000);
                key.setValue(shared, mine);
                std::string seen = key.retValue(shared);
                std::size_t colon = seen.find(':');
                int who = colon == std::string::npos ? -1 : std::atoi(seen.c_str());
                int which = std::atoi(seen.c_str() + colon + 1);
                if (who < 0 || who >= kWriters || seen != payload(who, which))
                    return 3;
                // New keys below the shared one, made by all of them.
                std::string sub = kKey + "\\Sub" + std::to_string(n % 8) + "\\Leaf";
                write(sub, "w" + std::to_string(writer), std::to_string(n));
            }
            return 0;
        }));
    }
    for (pid_t child : children)
        EXPECT_EQ(finish(child), 0);

    for (int writer = 0; writer < kWriters; ++writer) {
        for (int n = 0; n < kValues; ++n)
            ASSERT_EQ(read(kKey, "w" + std::to_string(writer) + "-" + std::to_string(n)),
                      payload(writer, n));
        // Sub<k> was last written with the largest n that is k modulo 8.
        for (int k = 0; k < 8; ++k) {
            std::string sub = kKey + "\\Sub" + std::to_string(k) + "\\Leaf";
            int last = kValues - 1 - ((kValues - 1 - k) % 8);
            EXPECT_EQ(read(sub, "w" + std::to_string(writer)), std::to_string(last));
        }
    }
    EXPECT_EQ(integrity(), "ok");
}

TEST(RegistryStore, OpenKeysSeeOtherProcessesWrites) {
    // Another process writes while this one keeps the key open.
    std::string path = kKey, name = "Fresh";
    KLXRegistryKey key(HKEY_CURRENT_USER, path);
    write(kKey, "Fresh", "before");
    EXPECT_EQ(finish(spawn([] { return write(kKey, "fresh", "after"), 0; })), 0);
    EXPECT_EQ(key.retValue(name), "after");

    // A child that inherited the open key (and this process's connection)
    // uses it through a connection of its own.
    EXPECT_EQ(finish(spawn([&key, &name] {
                  std::string value = "from child";
                  key.setValue(name, value);
                  return key.retValue(name) == "from child" ? 0 : 1;
              })),
              0);
    EXPECT_EQ(key.retValue(name), "from child");

    // And this process's connection still works after the child's exit.
    std::string last = "last";
    key.setValue(name, last);
    EXPECT_EQ(read(kKey, "FRESH"), "last");
    EXPECT_EQ(integrity(), "ok");
}

TEST(RegistryStore, KilledWriterKeepsEveryAcknowledgedWrite) {
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE(round);
        std::string path = kKey + "\\Killed" + std::to_string(round);
        int acks[2];
        ASSERT_EQ(pipe(acks), 0);
        // The child writes without end and reports each write that returned.
        pid_t child = spawn([&] {
            close(acks[0]);
            std::string p = path;
            KLXRegistryKey key(HKEY_CURRENT_USER, p);
            for (int n = 0;; ++n) {
                std::string name = "seq" + std::to_string(n), value = killedValue(round, n);
                key.setValue(name, value);
                if (::write(acks[1], &n, sizeof n) != static_cast<ssize_t>(sizeof n))
                    return 1;
            }
        });
        close(acks[1]);

        // Let it get going, then kill it at whatever point it has reached.
        int lastAck = -1, n = 0;
        const int kKillAfter = 40 + round * 25;
        while (lastAck < kKillAfter && ::read(acks[0], &n, sizeof n) == sizeof n)
            lastAck = n;
        kill(child, SIGKILL);
        EXPECT_EQ(finish(child), -1);
        while (::read(acks[0], &n, sizeof n) == sizeof n)
            lastAck = n;
        close(acks[0]);
        ASSERT_GE(lastAck, kKillAfter);

        EXPECT_EQ(integrity(), "ok");
        std::string p = path;
        KLXRegistryKey key(HKEY_CURRENT_USER, p);
        for (int i = 0; i <= lastAck; ++i) {
            std::string name = "seq" + std::to_string(i);
            ASSERT_EQ(key.retValue(name), killedValue(round, i)) << name;
        }
        // The write in progress is there whole or not at all.
        std::string next = "seq" + std::to_string(lastAck + 1);
        std::string inProgress = key.retValue(next);
        if (!inProgress.empty()) {
            EXPECT_EQ(inProgress, killedValue(round, lastAck + 1));
        }
        // The store takes writes again.
        std::string after = "after";
        key.setValue(next, after);
        EXPECT_EQ(key.retValue(next), "after");
    }
}
