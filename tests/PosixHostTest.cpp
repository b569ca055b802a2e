// How a POSIX host stands in for Windows: the prefix tree and its drive
// links, Windows and Cygwin path forms with names matched without regard to
// letter case, drive types, the version section of host programs and the
// permissions of new files.
// The platform layer stays hidden inside the library; this test links its own
// copy of it.
#include "platform/Platform.h"
#include "platform/common/VersionInfo.h"
#include "platform/posix/HostPaths.h"

#include "TestFiles.h"
#include "VersionImages.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using namespace klx::platform;

namespace {

std::string prefix() {
    return (klxtest::testRoot() / "prefix").string();
}
std::string drive(char letter) {
    return prefix() + "/dosdevices/" + letter + ":";
}

} // namespace

TEST(HostPaths, PrefixTree) {
    // Only a drive path needs the prefix.
    fs::path dir = klxtest::freshDir("plain");
    EXPECT_EQ(hostPath(dir.string() + "\\a\\b"), dir.string() + "/a/b");
    EXPECT_FALSE(fs::exists(prefix()));
    EXPECT_EQ(hostPath("C:\\x"), drive('c') + "/x");
    EXPECT_EQ(fs::status(prefix()).permissions(), fs::perms::owner_all);
    // Whatever the umask, a new file is never writable by others.
    const mode_t umaskBefore = ::umask(0);
    Result<HANDLE> created =
        createFile("C:\\new.txt", AccessWrite, ShareRead, FileCreation::CreateAlways);
    ::umask(umaskBefore);
    ASSERT_TRUE(created.ok());
    closeHandle(created.value);
    EXPECT_EQ(fs::status(drive('c') + "/new.txt").permissions(),
              fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                  fs::perms::others_read);
    EXPECT_TRUE(fs::is_directory(prefix() + "/drive_c"));
    EXPECT_EQ(fs::read_symlink(drive('c')), "../drive_c");
    EXPECT_EQ(fs::read_symlink(drive('u')), "/");
    EXPECT_EQ(fs::read_symlink(drive('z')), "/");

    // KLX_PREFIX is read on every call. A prepared prefix keeps its remapped
    // drive, where names are matched too, and gets the missing links.
    fs::path other = klxtest::freshDir("other");
    fs::path elsewhere = klxtest::freshDir("elsewhere");
    fs::create_directories(other / "dosdevices");
    fs::permissions(other, fs::perms::all);
    fs::create_directory_symlink(elsewhere, other / "dosdevices" / "c:");
    klxtest::writeBytes(elsewhere / "Found.txt", "x");
    ASSERT_EQ(::setenv("KLX_PREFIX", (other.string() + "//").c_str(), 1), 0);
    EXPECT_EQ(prefixDirectory(), other.string());
    // An existing prefix that others may enter is made private.
    EXPECT_EQ(fs::status(other).permissions(), fs::perms::owner_all);
    EXPECT_EQ(hostPath("c:\\found.TXT"), other.string() + "/dosdevices/c:/Found.txt");
    EXPECT_EQ(fs::read_symlink(other / "dosdevices" / "u:"), "/");
    // The tree is made once per prefix: a link removed meanwhile stays removed.
    fs::remove(other / "dosdevices" / "z:");
    hostPath("Z:\\x");
    EXPECT_FALSE(fs::is_symlink(other / "dosdevices" / "z:"));

    // Without KLX_PREFIX it is ~/.klx, made absolute.
    fs::path cwd = fs::current_path();
    fs::path work = klxtest::freshDir("cwd");
    fs::current_path(work);
    ASSERT_EQ(::unsetenv("KLX_PREFIX"), 0);
    ASSERT_EQ(::setenv("HOME", "home", 1), 0);
    EXPECT_EQ(prefixDirectory(), (work / "home" / ".klx").string());
    fs::current_path(cwd);
    ASSERT_EQ(::setenv("KLX_PREFIX", prefix().c_str(), 1), 0);
}

TEST(HostPaths, FormsAndNamesWithoutRegardToCase) {
    const std::string c = prefixDirectory() + "/drive_c";
    const std::string d = drive('c');
    fs::create_directories(c + "/data/sub");
    klxtest::writeBytes(c + "/data/file.txt", "f");
    for (const char* name : {"abc", "Abc", "ABc"})
        fs::create_directories(c + "/multi/" + name);
    fs::create_directories(c + "/case/\xc3\xa9t\xc3\xa9");

    const std::vector<std::pair<std::string, std::string>> cases = {
        {"C:\\dir\\file", d + "/dir/file"},
        {"c:/dir//file", d + "/dir/file"},
        {"C:file", d + "/file"},
        {"C:", d},
        {"/cygdrive/c/dir/file", d + "/dir/file"},
        {"\\cygdrive\\D\\x", drive('d') + "/x"},
        {"A:\\x", drive('a') + "/x"},
        {"/cygdrive/c", d},
        {"U:/etc", drive('u') + "/etc"},
        {std::string("C:\\a\0\\b", 7), d + "/a"},
        {"/cygdrive/cd/x", "/cygdrive/cd/x"},
        {"1:\\x", "1:/x"},
        {"\\\\x\\\\y", "/x/y"},
        // Existing names in any case.
        {"C:\\Data\\File.TXT", d + "/data/file.txt"},
        {"/cygdrive/c/DATA/Sub/", d + "/data/sub/"},
        {c + "/DATA/file.TXT", c + "/data/file.txt"},
        {"C:\\Data\\.\\Sub\\..\\FILE.txt", d + "/data/./sub/../file.txt"},
        // Names that match nothing keep the caller's spelling, and so does
        // everything after them.
        {"C:\\DATA\\New.txt", d + "/data/New.txt"},
        {"C:\\data\\NEW\\deeper\\File.txt", d + "/data/NEW/deeper/File.txt"},
        {"C:\\Data\\file.tx", d + "/data/file.tx"},
        // Several candidates: the byte-wise smallest; an exact name wins.
        {"C:\\multi\\aBC", d + "/multi/ABc"},
        {"C:\\multi\\abc", d + "/multi/abc"},
        {"C:\\Multi\\aBC\\x", d + "/multi/ABc/x"},
        // Only ASCII letters fold.
        {"C:\\case\\\xc3\x89T\xc3\x89", d + "/case/\xc3\x89T\xc3\x89"},
        {"C:\\case\\\xc3\xa9T\xc3\xa9", d + "/case/\xc3\xa9t\xc3\xa9"},
    };
    for (const auto& [path, expected] : cases)
        EXPECT_EQ(hostPath(path), expected) << path;
}

TEST(PosixHost, DriveTypesOfTheLetters) {
    // C: is on drive_c, M: links to a directory; N: to nothing, F: to a file
    // and Q: has no link, so they are no drive.
    fs::path dosdevices = fs::path(prefixDirectory()) / "dosdevices";
    fs::path file = klxtest::freshDir("drive-f") / "plain";
    klxtest::writeBytes(file, "");
    fs::create_directory_symlink(klxtest::freshDir("drive-m"), dosdevices / "m:");
    fs::create_symlink(klxtest::testRoot() / "missing", dosdevices / "n:");
    fs::create_symlink(file, dosdevices / "f:");
    for (const char* root : {"C:", "c:", "C:\\", "c:/", "M:", "m:\\"})
        EXPECT_EQ(driveType(root), kDriveFixed) << root;
    // U: and Z: are on the host's root, whatever that lies on.
    for (const char* root : {"U:", "Z:\\"})
        EXPECT_GT(driveType(root), kDriveNoRootDir) << root;
    // Only a drive root names a drive.
    for (const char* root :
         {"N:", "F:", "Q:", "", "C", "CC", "1:", ":", "C:\\x", "C:\\\\", "C:x", "/C", "\\\\"})
        EXPECT_EQ(driveType(root), kDriveNoRootDir) << root;
    EXPECT_EQ(driveType(std::string("C:\0", 3)), kDriveNoRootDir);
}

TEST(PosixHost, SearchesAndVersionsOnTheDrives) {
    fs::create_directories(prefixDirectory() + "/drive_c/W/Tool");
    for (const char* name : {"a.txt", "B.TXT", "c.dat"})
        klxtest::writeBytes(prefixDirectory() + "/drive_c/W/" + name, name);
    auto names = [](const std::string& pattern) {
        std::vector<std::string> found;
        DirectorySearch search(pattern);
        for (bool more = search.found(); more; more = search.next())
            found.push_back(search.entry().name);
        return found;
    };
    const std::vector<std::string> texts = {"a.txt", "B.TXT"};
    for (const char* pattern : {"C:\\w\\*.txt", "c:/W\\*.TXT", "/cygdrive/C/W//*.txt"})
        EXPECT_EQ(names(pattern), texts) << pattern;
    // A name without wildcards is spelt as on disk, unless it names a drive.
    EXPECT_EQ(names("C:\\w\\tool"), std::vector<std::string>{"Tool"});
    EXPECT_EQ(names("/cygdrive/c"), std::vector<std::string>{"c"});
    // "C:" alone is the drive's directory; other paths are relative to the
    // current one.
    EXPECT_EQ(names("C:*"), (std::vector<std::string>{".", "..", "W"}));
    EXPECT_EQ(names("C:w\\*.TXT"), texts);
    fs::current_path(prefixDirectory() + "/drive_c/W");
    EXPECT_EQ(names("TOOL\\..\\*.txt"), texts);

    // Version resources on the emulated drive, in any case and path form.
    klxtest::writeBytes(prefixDirectory() + "/drive_c/W/Tool/Tool.dll",
                        klxtest::peImage(false, {{16, klxtest::sampleVersionTree()}}));
    for (const char* path :
         {"C:\\W\\Tool\\Tool.dll", "c:/w/TOOL/TOOL.DLL", "/cygdrive/c/w/Tool/tool.dll"})
        EXPECT_TRUE(fileVersionInfoSize(path).ok()) << path;
    EXPECT_EQ(fileVersionInfoSize("C:\\W\\Tool\\Other.dll").error, DWORD(ERROR_FILE_NOT_FOUND));
}

// Host programs carry the tree in a section of their own, in any ELF form; a
// program asked for as "name.exe" is found as "name", as when it is started.
TEST(PosixHost, VersionSectionOfHostPrograms) {
    const std::string tree = klxtest::sampleVersionTree();
    auto versionOf = [](const fs::path& path) {
        Result<std::size_t> size = fileVersionInfoSize(path.string());
        std::vector<unsigned char> block(size.ok() ? size.value : 0);
        if (size.ok() && fileVersionInfo(path.string(), block.data(), block.size()) != 0)
            block.clear();
        for (const char* sub : {"\\", "\\VarFileInfo\\Translation",
                                "\\StringFileInfo\\040904b0\\ProductName", "\\StringFileInfo"})
            queryVersionValue(block.data(), block.size(), sub);
        return block;
    };
    auto holds = [&tree](const std::vector<unsigned char>& block) {
        return block.size() >= tree.size() &&
               std::memcmp(block.data(), tree.data(), tree.size()) == 0;
    };
    for (int form = 0; form < 4; ++form) {
        const bool wide = form & 1, big = form & 2;
        SCOPED_TRACE(form);
        const fs::path directory = klxtest::freshDir("elf" + std::to_string(form));
        const std::string image = klxtest::elfImage(wide, big, tree);
        klxtest::writeBytes(directory / "tool", image);
        std::vector<unsigned char> block = versionOf(directory / "tool.exe");
        EXPECT_TRUE(holds(block));
        klxtest::writeBytes(directory / "other", klxtest::elfImage(wide, big, tree, ".klxversio"));
        EXPECT_EQ(fileVersionInfoSize((directory / "other").string()).error,
                  kErrorResourceTypeNotFound);
        klxtest::writeBytes(directory / "bare", std::string("\x7f"
                                                            "ELF\x02\x01\x01",
                                                            7));
        EXPECT_EQ(fileVersionInfoSize((directory / "bare").string()).error,
                  DWORD(ERROR_BAD_EXE_FORMAT));

        // Cut at every byte: the version is read right or not at all.
        for (std::size_t at = 0; at < image.size(); ++at) {
            fs::remove(directory / "cut");
            klxtest::writeBytes(directory / "cut", image.substr(0, at));
            block = versionOf(directory / "cut");
            EXPECT_TRUE(block.empty() || holds(block)) << at;
        }
    }
}
