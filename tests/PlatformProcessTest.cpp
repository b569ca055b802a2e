// Starting programs through the platform layer: the C runtime's command-line
// splitting, _spawnv's waiting and detached forms, the capturing run, and the
// host program that a Windows program path names.
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
#include <vector>

namespace fs = std::filesystem;
using klx::platform::captureProcess;
using klx::platform::CaptureResult;
using klx::platform::programHostPath;
using klx::platform::spawnProcess;
using klx::platform::splitCommandLine;

namespace {

using Args = std::vector<std::string>;

CaptureResult shell(const std::string& script, std::size_t limit = static_cast<std::size_t>(-1)) {
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

TEST(PlatformProcess, SplitCommandLine) {
    struct Case {
        const char* line;
        Args arguments;
    };
    const Case cases[] = {
        {"a b", {"a", "b"}},
        {"  a \t b\t", {"a", "b"}},
        {"", {}},
        {" \t ", {}},
        {R"("a b" c)", {"a b", "c"}},
        {R"(x"a b"y)", {"xa by"}},
        // 2n+1 backslashes before a quote: n backslashes and a literal quote.
        {R"(a\\\"b)", {R"(a\"b)"}},
        {R"(a\"b)", {R"(a"b)"}},
        // 2n backslashes: n backslashes, and the quote groups.
        {R"(a\\\\"b c")", {R"(a\\b c)"}},
        {R"("a\\" b)", {R"(a\)", "b"}},
        // Backslashes before anything else are literal.
        {R"(a\\b C:\dir\ x)", {R"(a\\b)", R"(C:\dir\)", "x"}},
        {R"(a\\)", {R"(a\\)"}},
        // Empty quoted parts are empty arguments.
        {R"("")", {""}},
        {R"(a "" b)", {"a", "", "b"}},
        {R"("" "")", {"", ""}},
        // "" inside quotes: a literal quote, still quoted.
        {R"("a""b")", {R"(a"b)"}},
        {R"("a""b c")", {R"(a"b c)"}},
        {R"("""")", {R"(")"}},
        // Outside quotes "" opens and closes an empty part.
        {R"(a""b)", {"ab"}},
        // An unclosed quote runs to the end of the line.
        {R"("a b)", {"a b"}},
        {"\"a\tb\"\tc", {"a\tb", "c"}},
        {"\xC3\xA9t\xE9 \"\xFF x\"", {"\xC3\xA9t\xE9", "\xFF x"}},
        // What the process runner builds: the quoted program, then arguments.
        {R"("C:\Program Files\bash" --login -c " make all ")",
         {R"(C:\Program Files\bash)", "--login", "-c", " make all "}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(splitCommandLine(c.line), c.arguments) << "line: " << c.line;
}

TEST(PlatformProcess, SpawnWaiting) {
    EXPECT_EQ(spawnProcess("/bin/sh", "sh -c \"exit 0\"", true), 0);
    EXPECT_EQ(spawnProcess("/bin/sh", "sh -c \"exit 3\"", true), 3);
    // The host keeps the low 8 bits of an exit status; 259 is not mistaken
    // for a child that still runs.
    EXPECT_EQ(spawnProcess("/bin/sh", "sh -c \"exit 259\"", true), 259 & 0xFF);
    EXPECT_EQ(spawnProcess("/bin/sh", "sh -c \"kill -KILL $$\"", true), 128 + SIGKILL);

    // Arguments split as the C runtime splits them: a blank separates unless
    // it is quoted.
    EXPECT_EQ(spawnProcess("/bin/sh", "sh -c \"exit $#\" sh a b c", true), 3);
    EXPECT_EQ(spawnProcess("/bin/sh", "sh -c \"exit $#\" sh \"a b\" c", true), 2);
    EXPECT_EQ(spawnProcess("/bin/sh", "sh -c \"exit $#\" sh \"\" c", true), 2);

    const std::string missing = (klxtest::freshDir("spawn") / "missing").string();
    EXPECT_EQ(spawnProcess(missing, "missing", true), -1);
    EXPECT_EQ(spawnProcess(missing, "missing", false), -1);
    EXPECT_EQ(spawnProcess("", "", true), -1);
    EXPECT_EQ(spawnProcess("/", "x", true), -1);
    // A file that cannot be executed does not start.
    const fs::path plain = klxtest::freshDir("spawn") / "plain";
    klxtest::writeBytes(plain, "not a program\n");
    EXPECT_EQ(spawnProcess(plain.string(), "plain", true), -1);
}

TEST(PlatformProcess, SpawnDetachedLeavesNoZombie) {
    int pid = spawnProcess("/bin/sh", "sh -c \"exit 5\"", false);
    ASSERT_GT(pid, 0);
    // Reaped without the caller's help, and no longer the caller's child.
    EXPECT_TRUE(vanishes(pid));
    errno = 0;
    EXPECT_EQ(waitpid(pid, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);

    // Several at once.
    std::vector<int> pids;
    for (int i = 0; i < 5; ++i)
        pids.push_back(spawnProcess("/bin/sh", "sh -c \"exit 0\"", false));
    for (int each : pids) {
        ASSERT_GT(each, 0);
        EXPECT_TRUE(vanishes(each));
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
    CaptureResult hello = shell("printf hello; exit 3");
    EXPECT_EQ(hello.output, "hello");
    EXPECT_EQ(hello.exitCode, 3);
    EXPECT_EQ(hello.error, 0u);
    EXPECT_FALSE(hello.outputTruncated);

    CaptureResult nothing = shell("exit 0");
    EXPECT_EQ(nothing.output, "");
    EXPECT_EQ(nothing.exitCode, 0);

    // Bytes as they came: line ends and NULs included.
    EXPECT_EQ(shell("printf 'a\\r\\nb\\0c'").output, std::string("a\r\nb\0c", 6));
    EXPECT_EQ(captureProcess("/bin/sh", "sh -c \"printf '[%s]' \\\"$@\\\"\" sh a \"\" d").output,
              "[a][][d]");
    EXPECT_EQ(captureProcess("/bin/sh", "sh -c \"printf '[%s]' \\\"$@\\\"\" sh a \"b c\" d").output,
              "[a][b c][d]");

    // Standard error is never part of the result.
    EXPECT_EQ(shell("printf err >&2; printf out").output, "out");

    // Megabytes on either stream do not stall the run.
    CaptureResult big = shell("head -c 5000000 /dev/zero");
    EXPECT_EQ(big.output.size(), 5000000u);
    EXPECT_EQ(big.exitCode, 0);
    CaptureResult bigError = shell("head -c 5000000 /dev/zero >&2; printf done; exit 4");
    EXPECT_EQ(bigError.output, "done");
    EXPECT_EQ(bigError.exitCode, 4);

    // A limit keeps the first bytes and still drains the rest.
    CaptureResult limited = shell("head -c 3000000 /dev/zero | tr '\\0' x; exit 2", 4096);
    EXPECT_EQ(limited.output, std::string(4096, 'x'));
    EXPECT_TRUE(limited.outputTruncated);
    EXPECT_EQ(limited.exitCode, 2);
    CaptureResult exact = shell("printf abcd", 4);
    EXPECT_EQ(exact.output, "abcd");
    EXPECT_FALSE(exact.outputTruncated);

    // The child's input is at its end at once.
    EXPECT_EQ(shell("cat; printf end").output, "end");

    // Ended by a signal: 128 + the signal.
    EXPECT_EQ(shell("kill -TERM $$").exitCode, 128 + SIGTERM);
    EXPECT_EQ(shell("exit 259").exitCode, 259 & 0xFF);

    // The run ends with the child, not with a grandchild that keeps its
    // output open; what the grandchild writes later is not taken.
    CaptureResult early = shell("(sleep 2; printf late) & printf x");
    EXPECT_EQ(early.output, "x");
    EXPECT_EQ(early.exitCode, 0);

    CaptureResult missing = captureProcess("C:\\no\\such\\program", "x");
    EXPECT_EQ(missing.exitCode, -1);
    EXPECT_EQ(missing.output, "");
    EXPECT_NE(missing.error, 0u);
}

TEST(PlatformProcess, ChildInheritsOnlyStandardHandlesAndDefaultSignals) {
    // A descriptor the caller opened without close-on-exec stays behind.
    int leaky = open("/dev/null", O_RDONLY);
    ASSERT_GE(leaky, 3);
    EXPECT_EQ(shell("ls /proc/$$/fd; exit 0").output, "0\n1\n2\n");

    // Signals the caller ignores or blocks are not ignored or blocked in the
    // child; the caller's own settings stay as they were. (glibc's own two
    // signals, 32 and 33, are left ignored by its posix_spawn; no program
    // that uses glibc can see them.)
    auto previous = std::signal(SIGPIPE, SIG_IGN);
    sigset_t blocked, old;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, &old);
    std::string masks = shell("grep -E '^Sig(Blk|Ign)' /proc/$$/status | cut -f2").output;
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
    fs::create_directories(tools);
    writeScript(tools / "tool", "printf plain");
    writeScript(tools / "other.exe", "printf exe; exit 9");
    writeScript(tools / "both", "printf both");
    writeScript(tools / "both.exe", "printf both.exe");
    fs::create_directories(tools / "dir.exe");

    EXPECT_EQ(captureProcess("C:\\tools\\tool.exe", "tool").output, "plain");
    EXPECT_EQ(captureProcess("c:/TOOLS/Tool.EXE", "tool").output, "plain");
    CaptureResult other = captureProcess("C:\\Tools\\other", "other");
    EXPECT_EQ(other.output, "exe");
    EXPECT_EQ(other.exitCode, 9);
    EXPECT_EQ(captureProcess("/cygdrive/c/tools/OTHER", "x").output, "exe");
    writeScript(tools / "quiet.exe", "exit 6");
    EXPECT_EQ(spawnProcess("C:\\Tools\\QUIET", "quiet", true), 6);
    // The exact name first.
    EXPECT_EQ(captureProcess("C:\\Tools\\both", "both").output, "both");
    EXPECT_EQ(captureProcess("C:\\Tools\\both.exe", "both").output, "both.exe");

    // Only the one alternative: no ".exe" added to a name with an extension,
    // none removed twice, directories are not programs.
    EXPECT_EQ(programHostPath("C:\\Tools\\tool.sh"), "");
    EXPECT_EQ(programHostPath("C:\\Tools\\tool.exe.exe"), "");
    EXPECT_EQ(programHostPath("C:\\Tools\\dir"), "");
    EXPECT_EQ(programHostPath("C:\\Tools\\.exe"), "");
    EXPECT_EQ(programHostPath("C:\\Tools\\"), "");
    EXPECT_EQ(programHostPath("C:\\Tools\\tool"), (tools / "tool").string());
    EXPECT_EQ(programHostPath("C:\\Tools\\OTHER"), (tools / "other.exe").string());
}

TEST(PlatformProcess, SetCurrentDirectory) {
    const fs::path tools = klx::platform::hostPath("C:\\Tools");
    fs::create_directories(tools / "Sub");
    EXPECT_EQ(klx::platform::setCurrentDirectory("c:\\tools\\sub"), 0u);
    EXPECT_EQ(fs::current_path(), fs::canonical(tools / "Sub"));
    // A child started afterwards runs there.
    EXPECT_EQ(shell("pwd -P").output, fs::canonical(tools / "Sub").string() + "\n");

    EXPECT_EQ(klx::platform::setCurrentDirectory("C:\\Tools\\Missing"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(klx::platform::setCurrentDirectory("C:\\Missing\\Deeper"), ERROR_PATH_NOT_FOUND);
    EXPECT_NE(klx::platform::setCurrentDirectory(""), 0u);
    EXPECT_EQ(fs::current_path(), fs::canonical(tools / "Sub"));
}
