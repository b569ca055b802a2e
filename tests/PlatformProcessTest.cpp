// Starting host programs through the platform layer: _spawnv's waiting and
// detached forms, the capturing run, and the host program that a Windows
// program path names.
#include "platform/Platform.h"
#include "platform/posix/HostPaths.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using klx::platform::CapturedRun;
using klx::platform::captureProcess;
using klx::platform::programHostPath;
using klx::platform::Result;

namespace {

// The exit code, or -1 when nothing ran.
int spawnProcess(const std::string& program, const std::string& line, bool wait) {
    return klx::platform::spawnProcess(program, line, wait).value;
}

Result<CapturedRun> shell(const std::string& script,
                          std::size_t limit = static_cast<std::size_t>(-1)) {
    return captureProcess("/bin/sh", "sh -c \"" + script + "\"", limit);
}

void writeScript(const fs::path& path, const std::string& body) {
    klxtest::writeBytes(path, "#!/bin/sh\n" + body + "\n");
    fs::permissions(path, fs::perms::owner_all);
}

// Waits (boundedly) until the process is gone from the process table, that is
// until somebody reaped it.
bool vanishes(int pid) {
    const std::string entry = "/proc/" + std::to_string(pid);
    for (int i = 0; i < 1000; ++i) {
        if (!fs::exists(entry))
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

} // namespace

TEST(PlatformProcess, SpawnWaitingAndDetached) {
    // Exit codes keep the host's low 8 bits (259 is not mistaken for a child
    // that still runs), a signal gives 128 + it, and arguments split as the C
    // runtime splits them.
    const std::pair<const char*, int> waited[] = {{"sh -c \"exit 3\"", 3},
                                                  {"sh -c \"exit 259\"", 259 & 0xFF},
                                                  {"sh -c \"kill -KILL $$\"", 128 + SIGKILL},
                                                  {"sh -c \"exit $#\" sh a b c", 3},
                                                  {"sh -c \"exit $#\" sh \"a b\" c", 2},
                                                  {"sh -c \"exit $#\" sh \"\" c", 2}};
    for (const auto& each : waited)
        EXPECT_EQ(spawnProcess("/bin/sh", each.first, true), each.second) << each.first;

    // Missing, empty, a directory and a file that cannot be executed: nothing starts.
    const fs::path plain = klxtest::freshDir("spawn") / "plain";
    klxtest::writeBytes(plain, "not a program\n");
    const std::string missing = (plain.parent_path() / "missing").string();
    EXPECT_EQ(spawnProcess(missing, "missing", false), -1);
    for (const std::string& program : {missing, std::string(), std::string("/"), plain.string()})
        EXPECT_EQ(spawnProcess(program, "x", true), -1) << program;

    // Detached children are reaped without the caller's help and are no
    // longer the caller's children.
    std::vector<int> pids;
    for (int i = 0; i < 5; ++i)
        pids.push_back(spawnProcess("/bin/sh", "sh -c \"exit 5\"", false));
    for (int each : pids) {
        ASSERT_GT(each, 0);
        EXPECT_TRUE(vanishes(each));
        errno = 0;
        EXPECT_EQ(waitpid(each, nullptr, WNOHANG), -1);
        EXPECT_EQ(errno, ECHILD);
    }
    // The caller's own children are left for the caller to wait for.
    pid_t own = fork();
    if (own == 0)
        _exit(7);
    ASSERT_GT(own, 0);
    EXPECT_EQ(spawnProcess("/bin/sh", "sh -c \"exit 0\"", true), 0);
    int status = 0;
    ASSERT_EQ(waitpid(own, &status, 0), own);
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST(PlatformProcess, Capture) {
    const std::size_t none = static_cast<std::size_t>(-1);
    struct Case {
        const char* script;
        std::size_t limit;
        std::string output;
        int exitCode;
        bool truncated;
    };
    const Case cases[] = {
        {"printf hello; exit 3", none, "hello", 3, false},
        {"exit 0", none, "", 0, false},
        // Bytes as they came: line ends and NULs included.
        {"printf 'a\\r\\nb\\0c'", none, std::string("a\r\nb\0c", 6), 0, false},
        // Standard error is never part of the result.
        {"printf err >&2; printf out", none, "out", 0, false},
        // Megabytes on either stream do not stall the run.
        {"head -c 5000000 /dev/zero", none, std::string(5000000, '\0'), 0, false},
        {"head -c 5000000 /dev/zero >&2; printf done; exit 4", none, "done", 4, false},
        // A limit keeps the first bytes and still drains the rest.
        {"head -c 3000000 /dev/zero | tr '\\0' x; exit 2", 4096, std::string(4096, 'x'), 2, true},
        {"printf abcd", 4, "abcd", 0, false},
        // The child's input is at its end at once.
        {"cat; printf end", none, "end", 0, false},
        {"kill -TERM $$", none, "", 128 + SIGTERM, false},
        {"exit 259", none, "", 259 & 0xFF, false},
        // The run ends with the child, not with a grandchild that keeps its
        // output open; what the grandchild writes later is not taken.
        {"(sleep 2; printf late) & printf x", none, "x", 0, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.script);
        Result<CapturedRun> result = shell(c.script, c.limit);
        EXPECT_EQ(result.value.output, c.output);
        EXPECT_EQ(result.value.exitCode, c.exitCode);
        EXPECT_EQ(result.value.truncated, c.truncated);
        EXPECT_EQ(result.error, 0u);
    }
    Result<CapturedRun> missing = captureProcess("C:\\no\\such\\program", "x");
    EXPECT_EQ(missing.value.exitCode, -1);
    EXPECT_EQ(missing.value.output, "");
    EXPECT_EQ(missing.error, DWORD(ERROR_FILE_NOT_FOUND));
}

TEST(PlatformProcess, ChildInheritsOnlyStandardHandlesAndDefaultSignals) {
    // A descriptor the caller opened without close-on-exec stays behind.
    int leaky = open("/dev/null", O_RDONLY);
    ASSERT_GE(leaky, 3);
    EXPECT_EQ(shell("ls /proc/$$/fd; exit 0").value.output, "0\n1\n2\n");

    // Signals the caller ignores or blocks are not ignored or blocked in the
    // child; the caller's own settings stay as they were. (glibc's own two
    // signals, 32 and 33, are left ignored by its posix_spawn; no program
    // that uses glibc can see them.)
    auto previous = std::signal(SIGPIPE, SIG_IGN);
    sigset_t blocked, old;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, &old);
    std::string masks = shell("grep -E '^Sig(Blk|Ign)' /proc/$$/status | cut -f2").value.output;
    ASSERT_EQ(masks.size(), 34u) << masks;
    const unsigned long long glibcSignals = 3ull << 31;
    EXPECT_EQ(std::stoull(masks.substr(0, 16), nullptr, 16), 0u);
    EXPECT_EQ(std::stoull(masks.substr(17, 16), nullptr, 16) & ~glibcSignals, 0u);
    EXPECT_EQ(std::signal(SIGPIPE, previous), SIG_IGN);
    sigset_t now;
    pthread_sigmask(SIG_SETMASK, &old, &now);
    EXPECT_TRUE(sigismember(&now, SIGUSR1));
    close(leaky);
}

TEST(PlatformProcess, ProgramResolution) {
    // "C:\Tools" lives in the prefix; names match without regard to case.
    const fs::path tools = klx::platform::hostPath("C:\\Tools");
    fs::create_directories(tools / "dir.exe");
    for (const char* name : {"tool", "other.exe", "both", "both.exe"})
        writeScript(tools / name, std::string("printf ") + name + "; exit 9");
    writeScript(tools / "quiet.exe", "exit 6");
    // The exact name first, else the one alternative with or without ".exe".
    const std::pair<const char*, const char*> found[] = {
        {"C:\\tools\\tool.exe", "tool"},   {"c:/TOOLS/Tool.EXE", "tool"},
        {"C:\\Tools\\other", "other.exe"}, {"/cygdrive/c/tools/OTHER", "other.exe"},
        {"C:\\Tools\\both", "both"},       {"C:\\Tools\\both.exe", "both.exe"}};
    for (const auto& each : found) {
        Result<CapturedRun> result = captureProcess(each.first, "x");
        EXPECT_EQ(result.value.output, each.second) << each.first;
        EXPECT_EQ(result.value.exitCode, 9) << each.first;
    }
    EXPECT_EQ(spawnProcess("C:\\Tools\\QUIET", "quiet", true), 6);

    // No ".exe" added to a name with an extension, none removed twice,
    // directories are not programs.
    for (const char* name : {"C:\\Tools\\tool.sh", "C:\\Tools\\tool.exe.exe", "C:\\Tools\\dir",
                             "C:\\Tools\\.exe", "C:\\Tools\\"})
        EXPECT_EQ(programHostPath(name), "") << name;
    EXPECT_EQ(programHostPath("C:\\Tools\\tool"), (tools / "tool").string());
    EXPECT_EQ(programHostPath("C:\\Tools\\OTHER"), (tools / "other.exe").string());
}

TEST(PlatformProcess, SetCurrentDirectory) {
    const fs::path tools = klx::platform::hostPath("C:\\Tools");
    fs::create_directories(tools / "Sub");
    EXPECT_EQ(klx::platform::setCurrentDirectory("c:\\tools\\sub"), 0u);
    EXPECT_EQ(fs::current_path(), fs::canonical(tools / "Sub"));
    // A child started afterwards runs there.
    EXPECT_EQ(shell("pwd -P").value.output, fs::canonical(tools / "Sub").string() + "\n");

    EXPECT_EQ(klx::platform::setCurrentDirectory("C:\\Tools\\Missing"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(klx::platform::setCurrentDirectory("C:\\Missing\\Deeper"), ERROR_PATH_NOT_FOUND);
    EXPECT_NE(klx::platform::setCurrentDirectory(""), 0u);
    EXPECT_EQ(fs::current_path(), fs::canonical(tools / "Sub"));
}
