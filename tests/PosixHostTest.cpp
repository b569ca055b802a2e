// How a POSIX host stands in for Windows: the prefix tree and its drive
// links, Windows and Cygwin path forms with names matched without regard to
// letter case, drive types, the programs it starts, and the version
// resources of PE images and of host programs in ELF form, built here and
// broken in the ways a file can be.
// The platform layer stays hidden inside the library; this test links its own
// copy of it.
#include "platform/Platform.h"
#include "platform/common/VersionInfo.h"
#include "platform/posix/HostPaths.h"

#include "TestFiles.h"
#include "VersionImages.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using namespace klx::platform;
using namespace klxtest;

namespace {

std::string drive(char letter) {
    return (testRoot() / "prefix" / "dosdevices").string() + "/" + letter + ":";
}

// The exit code, or -1 when nothing ran.
int spawn(const std::string& program, const std::string& line, bool wait = true) {
    return spawnProcess(program, line, wait).value;
}

Result<CapturedRun> shell(const std::string& script, std::size_t limit = std::size_t(-1)) {
    return captureProcess("/bin/sh", "sh -c \"" + script + "\"", limit);
}

// What the version reader finds in `bytes` written as a file: "none", or the
// fixed information and two texts, each followed by "|" ("-" when missing).
std::string versionOf(const std::string& bytes) {
    static int count = 0;
    const std::string path = (testRoot() / ("image" + std::to_string(count++))).string();
    writeBytes(path, bytes);
    const Result<std::size_t> size = fileVersionInfoSize(path);
    std::vector<unsigned char> block(size.value);
    if (!size.ok() || fileVersionInfo(path, block.data(), block.size()) != 0)
        return "none";
    std::string found;
    for (const char* name : {"\\", "\\StringFileInfo\\040904b0\\CompanyName",
                             "\\StringFileInfo\\040704e4\\ProductName"}) {
        const Result<VersionValue> value = queryVersionValue(block.data(), block.size(), name);
        found +=
            value.ok()
                ? std::string(static_cast<const char*>(value.value.data), value.value.length) + "|"
                : "-|";
    }
    return found;
}

const std::string kSample = sampleVersionTree();
const std::string kSampleFound = kSample.substr(40, 52) + "|Keldmar|Produkt|";

} // namespace

TEST(PosixHost, PrefixTree) {
    // Only a drive path needs the prefix; it is made private, with the drive
    // links, and a new file is never writable by others, whatever the umask.
    const fs::path prefix = testRoot() / "prefix", dir = freshDir("plain");
    EXPECT_EQ(hostPath(dir.string() + "\\a\\b"), dir.string() + "/a/b");
    EXPECT_FALSE(fs::exists(prefix));
    const mode_t umaskBefore = ::umask(0);
    Result<HANDLE> created =
        createFile("C:\\new.txt", AccessWrite, ShareRead, FileCreation::CreateAlways);
    ::umask(umaskBefore);
    ASSERT_TRUE(created.ok());
    closeHandle(created.value);
    EXPECT_EQ(fs::status(prefix).permissions(), fs::perms::owner_all);
    EXPECT_EQ(fs::status(prefix / "drive_c" / "new.txt").permissions(),
              fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                  fs::perms::others_read);
    EXPECT_EQ(fs::read_symlink(drive('c')), "../drive_c");
    EXPECT_EQ(fs::read_symlink(drive('u')), "/");
    EXPECT_EQ(fs::read_symlink(drive('z')), "/");

    // KLX_PREFIX is read on every call. A prepared prefix keeps its remapped
    // drive and is made private.
    const fs::path other = freshDir("other");
    fs::create_directories(other / "dosdevices");
    fs::permissions(other, fs::perms::all);
    fs::create_directory_symlink(freshDir("elsewhere"), other / "dosdevices" / "c:");
    ASSERT_EQ(::setenv("KLX_PREFIX", (other.string() + "//").c_str(), 1), 0);
    EXPECT_EQ(hostPath("c:\\x"), other.string() + "/dosdevices/c:/x");
    EXPECT_EQ(fs::status(other).permissions(), fs::perms::owner_all);
    // Without KLX_PREFIX it is ~/.klx, made absolute.
    const fs::path work = freshDir("cwd");
    fs::current_path(work);
    ASSERT_EQ(::unsetenv("KLX_PREFIX"), 0);
    ASSERT_EQ(::setenv("HOME", "home", 1), 0);
    EXPECT_EQ(prefixDirectory(), (work / "home" / ".klx").string());
    ASSERT_EQ(::setenv("KLX_PREFIX", prefix.c_str(), 1), 0);
}

TEST(PosixHost, FormsAndNamesWithoutRegardToCase) {
    const std::string c = prefixDirectory() + "/drive_c", d = drive('c');
    fs::create_directories(c + "/data/sub");
    writeBytes(c + "/data/file.txt", "f");
    for (const char* name : {"abc", "Abc", "ABc", "\xc3\xa9t\xc3\xa9"})
        fs::create_directories(c + "/multi/" + name);
    const std::pair<std::string, std::string> cases[] = {
        {"c:/dir//file", d + "/dir/file"},
        {"C:", d},
        {"C:DATA", d + "/data"},
        {"\\cygdrive\\D\\x", drive('d') + "/x"},
        {"/cygdrive/cd/x", "/cygdrive/cd/x"},
        // Existing names in any case; names that match nothing keep the
        // caller's spelling, and so does everything after them.
        {"/cygdrive/c/DATA/Sub/", d + "/data/sub/"},
        {"C:\\Data\\.\\Sub\\..\\FILE.txt", d + "/data/./sub/../file.txt"},
        {"C:\\data\\NEW\\deeper\\File.txt", d + "/data/NEW/deeper/File.txt"},
        // Several candidates: the byte-wise smallest; an exact name wins.
        {"C:\\Multi\\aBC\\x", d + "/multi/ABc/x"},
        {"C:\\multi\\abc", d + "/multi/abc"},
        // Only ASCII letters fold.
        {"C:\\multi\\\xc3\x89T\xc3\x89", d + "/multi/\xc3\x89T\xc3\x89"},
    };
    for (const auto& [path, expected] : cases)
        EXPECT_EQ(hostPath(path), expected) << path;
    fs::current_path(c + "/data");
    EXPECT_EQ(hostPath("SUB\\..\\File.TXT"), "sub/../file.txt");
}

TEST(PosixHost, DriveTypes) {
    // C: is on drive_c, M: links to a directory; N: to nothing, F: to a file
    // and Q: has no link, so they are no drive. Only a drive root names one.
    const std::string c = prefixDirectory() + "/drive_c";
    writeBytes(c + "/x.dll", "x");
    fs::create_directory_symlink(freshDir("drive-m"), drive('m'));
    fs::create_symlink(testRoot() / "missing", drive('n'));
    fs::create_symlink(c + "/x.dll", drive('f'));
    for (const char* root : {"c:", "C:\\", "m:/"})
        EXPECT_EQ(driveType(root), kDriveFixed) << root;
    EXPECT_GT(driveType("Z:"), kDriveNoRootDir);
    for (const char* root : {"N:", "F:", "Q:", "", "C", "1:", "C:\\x", "C:\\\\", "C:x", "/C"})
        EXPECT_EQ(driveType(root), kDriveNoRootDir) << root;
}

TEST(PlatformProcess, SpawnWaitingAndDetached) {
    // Exit codes keep the host's low 8 bits, a signal gives 128 + it, and
    // the line is split into the program's arguments.
    const std::pair<const char*, int> waited[] = {{"sh -c \"exit 259\"", 259 & 0xFF},
                                                  {"sh -c \"kill -KILL $$\"", 128 + SIGKILL},
                                                  {"sh -c \"exit $#\" sh a \"b c\"", 2}};
    for (const auto& each : waited)
        EXPECT_EQ(spawn("/bin/sh", each.first), each.second) << each.first;
    // Missing, empty, a directory and a file that cannot be executed.
    const fs::path plain = freshDir("spawn") / "plain";
    writeBytes(plain, "not a program\n");
    for (const std::string& program : {(plain.parent_path() / "missing").string(), std::string(),
                                       std::string("/"), plain.string()})
        EXPECT_EQ(spawn(program, "x"), -1) << program;

    // A detached child is reaped without the caller's help and is no longer
    // the caller's child.
    const int detached = spawn("/bin/sh", "sh -c \"exit 5\"", false);
    const std::string entry = "/proc/" + std::to_string(detached);
    ASSERT_GT(detached, 0);
    for (int i = 0; i < 1000 && fs::exists(entry); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_FALSE(fs::exists(entry));
    EXPECT_EQ(waitpid(detached, nullptr, WNOHANG), -1);
}

TEST(PlatformProcess, Capture) {
    const std::size_t none = std::size_t(-1);
    const struct {
        const char* script;
        std::size_t limit;
        std::string output;
        int exitCode;
        bool truncated;
    } cases[] = {
        // Bytes as they came; standard error is never part of the result.
        {"printf 'a\\r\\nb\\0c'; printf err >&2; exit 3", none, std::string("a\r\nb\0c", 6), 3,
         false},
        // Megabytes on either stream do not stall the run.
        {"head -c 5000000 /dev/zero", none, std::string(5000000, '\0'), 0, false},
        {"head -c 5000000 /dev/zero >&2; printf done", none, "done", 0, false},
        // A limit keeps the first bytes and still drains the rest.
        {"head -c 3000000 /dev/zero | tr '\\0' x; exit 2", 4096, std::string(4096, 'x'), 2, true},
        // The child's input is at its end at once.
        {"cat; printf end", none, "end", 0, false},
        // The run ends with the child, not with a grandchild that keeps its
        // output open; what the grandchild writes later is not taken.
        {"(sleep 2; printf late) & printf x", none, "x", 0, false},
    };
    for (const auto& c : cases) {
        Result<CapturedRun> result = shell(c.script, c.limit);
        EXPECT_EQ(result.value.output, c.output) << c.script;
        EXPECT_EQ(result.value.exitCode, c.exitCode) << c.script;
        EXPECT_EQ(result.value.truncated, c.truncated) << c.script;
        EXPECT_EQ(result.error, 0u) << c.script;
    }
    Result<CapturedRun> missing = captureProcess("C:\\no\\such\\program", "x");
    EXPECT_EQ(missing.value.exitCode, -1);
    EXPECT_EQ(missing.error, DWORD(ERROR_FILE_NOT_FOUND));
}

TEST(PlatformProcess, ChildInheritsOnlyStandardHandlesAndDefaultSignals) {
    // A descriptor the caller opened without close-on-exec stays behind;
    // signals the caller ignores or blocks are not ignored or blocked in the
    // child. (glibc's own two signals, 32 and 33, are left ignored by its
    // posix_spawn; no program that uses glibc can see them.)
    const int leaky = open("/dev/null", O_RDONLY);
    EXPECT_EQ(shell("ls /proc/$$/fd").value.output, "0\n1\n2\n");
    close(leaky);
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    std::string masks = shell("grep -E '^Sig(Blk|Ign)' /proc/$$/status | cut -f2").value.output;
    ASSERT_EQ(masks.size(), 34u) << masks;
    EXPECT_EQ(std::stoull(masks.substr(0, 16), nullptr, 16), 0u);
    EXPECT_EQ(std::stoull(masks.substr(17, 16), nullptr, 16) & ~(3ull << 31), 0u);
}

TEST(PlatformProcess, ProgramResolutionAndCurrentDirectory) {
    // Names match without regard to case: the exact name first, else the one
    // alternative with or without ".exe".
    const fs::path tools = hostPath("C:\\Tools");
    fs::create_directories(tools / "dir.exe");
    for (const char* name : {"tool", "other.exe", "both", "both.exe"}) {
        writeBytes(tools / name, std::string("#!/bin/sh\nprintf ") + name + "\n");
        fs::permissions(tools / name, fs::perms::owner_all);
    }
    const std::pair<const char*, const char*> found[] = {{"c:/TOOLS/Tool.EXE", "tool"},
                                                         {"/cygdrive/c/tools/OTHER", "other.exe"},
                                                         {"C:\\Tools\\both", "both"},
                                                         {"C:\\Tools\\both.exe", "both.exe"}};
    for (const auto& each : found)
        EXPECT_EQ(captureProcess(each.first, "x").value.output, each.second) << each.first;
    // No ".exe" added to a name with an extension, none removed twice,
    // directories are not programs.
    for (const char* name : {"C:\\Tools\\tool.sh", "C:\\Tools\\tool.exe.exe", "C:\\Tools\\dir",
                             "C:\\Tools\\.exe", "C:\\Tools\\"})
        EXPECT_EQ(programHostPath(name), "") << name;

    // A child started after a change of directory runs there.
    EXPECT_EQ(setCurrentDirectory("c:\\tools\\DIR.EXE"), 0u);
    EXPECT_EQ(shell("pwd -P").value.output, fs::canonical(tools / "dir.exe").string() + "\n");
    EXPECT_EQ(setCurrentDirectory("C:\\Tools\\Missing"), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(setCurrentDirectory("C:\\Missing\\Deeper"), DWORD(ERROR_PATH_NOT_FOUND));
}

TEST(PlatformVersionResource, ReadsPeImagesAndHostPrograms) {
    // PE32 and PE32+ with RT_VERSION among other types, in U.S. English as
    // FindResource picks it; host programs carry the tree in a section of
    // their own, in any ELF form. Cut at every byte, an image reads right or
    // not at all.
    const std::string other = versionTree(fixedFileInfo(1, 0, 1, 0), {}, {});
    std::vector<std::string> images = {
        peImage(false, {{16, kSample}}),
        peImage(true,
                {{3, "icon"}, {16, other, 0x0407}, {16, kSample}, {16, other, 0}, {24, "<m/>"}})};
    for (int form = 0; form < 4; ++form)
        images.push_back(elfImage(form & 1, form & 2, kSample));
    for (const std::string& image : images) {
        EXPECT_EQ(versionOf(image), kSampleFound);
        for (std::size_t length = 0; length < image.size(); ++length) {
            const std::string found = versionOf(image.substr(0, length));
            EXPECT_TRUE(found == "none" || found == kSampleFound) << (&image - &images[0]);
        }
    }
    // A host program asked for as "name.exe" is found as "name".
    writeBytes(prefixDirectory() + "/drive_c/tool", images[5]);
    EXPECT_EQ(fileVersionInfoSize("C:\\tool.exe").error, 0u);
}

TEST(PlatformVersionResource, FilesWithoutVersion) {
    const fs::path dir = freshDir("without");
    const std::pair<std::string, DWORD> cases[] = {
        {peImage(true, {}), kErrorResourceTypeNotFound},
        {peImage(false, {{3, "icon"}, {14, "group"}}), kErrorResourceTypeNotFound},
        {elfImage(true, false, kSample, ".klxversio"), kErrorResourceTypeNotFound},
        {"MZ but not an image at all, just text", DWORD(ERROR_BAD_EXE_FORMAT)},
        {elfImage(true, false, kSample).substr(0, 7), DWORD(ERROR_BAD_EXE_FORMAT)}};
    for (const auto& c : cases) {
        writeBytes(dir / "m.dll", c.first);
        EXPECT_EQ(fileVersionInfoSize((dir / "m.dll").string()).error, c.second) << c.first;
    }
    unsigned char buffer[512];
    EXPECT_EQ(fileVersionInfo(dir.string(), buffer, sizeof buffer), DWORD(ERROR_ACCESS_DENIED));
}

TEST(PlatformVersionResource, OddImagesAsWindowsReadsThem) {
    ImageLayout at;
    std::string namedTwo = peImage(false, {{16, kSample}}, &at), byteLength = namedTwo,
                oversized = namedTwo;
    // Only the version resource named 1 counts.
    put32(namedTwo, at.nameDirectories[0] + 16, 2);
    EXPECT_EQ(versionOf(namedTwo), "none");
    // A text whose length counts bytes instead of WORDs is cut at its node's
    // end; a section size that overstates what is there does not hide the
    // version.
    put16(byteLength, byteLength.find(utf16(u"CompanyName")) - 4, 16);
    put32(oversized, 0x40 + 24 + 224 + 16, 0xFFFFFFFFu);
    for (const std::string& bytes : {byteLength, oversized})
        EXPECT_EQ(versionOf(bytes), kSampleFound);
}
