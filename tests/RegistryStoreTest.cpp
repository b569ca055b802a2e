// The registry store shared by several processes: writers and readers at the
// same time, a key inherited through fork, and a writer killed in the middle
// of a burst of writes.
#include "KLXRegistryKey.h"

#include "Environment.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

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

// Bytes that depend on n, so that a mixed or cut value never looks whole;
// every seventh is large, to widen the window in which a kill lands inside a
// commit.
std::string payload(int n) {
    std::string text = std::to_string(n) + ":";
    text.resize(16 + (n * 131) % 3000 + (n % 7 == 3 ? 200000 : 0), char('a' + n % 26));
    return text;
}

std::string kKey = "Software\\Keldmar\\Load";

} // namespace

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
                std::string path = kKey + sub, other = "SOFTWARE\\keldmar\\LOAD" + sub;
                KLXRegistryKey(HKEY_CURRENT_USER, path).setValue(name, value);
                if (KLXRegistryKey(HKEY_CURRENT_USER, other).retValue(name) != value)
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
        for (int k = 0; k < 8; ++k) {
            std::string sub = kKey + "\\Sub" + std::to_string(k);
            EXPECT_EQ(KLXRegistryKey(HKEY_CURRENT_USER, sub).retValue(name),
                      payload(writer * 1000 + 192 + k));
        }
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
    // The write in progress is there whole or not at all, and the store
    // takes writes again.
    std::string next = "seq" + std::to_string(lastAck + 1), after = "after";
    const std::string inProgress = key.retValue(next);
    EXPECT_TRUE(inProgress.empty() || inProgress == payload(lastAck + 1));
    key.setValue(next, after);
    EXPECT_EQ(key.retValue(next), "after");
}
