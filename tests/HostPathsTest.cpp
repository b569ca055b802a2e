// Windows and Cygwin path forms on the host: the prefix tree, drive links,
// separators and names matched without regard to letter case.
// The platform layer stays hidden inside the library; this test links its own
// copy of it.
#include "platform/posix/HostPaths.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using klx::platform::hostPath;
using klx::platform::prefixDirectory;

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
    EXPECT_TRUE(fs::is_directory(prefix() + "/drive_c"));
    EXPECT_EQ(fs::read_symlink(drive('c')), "../drive_c");
    EXPECT_EQ(fs::read_symlink(drive('u')), "/");
    EXPECT_EQ(fs::read_symlink(drive('z')), "/");

    // KLX_PREFIX is read on every call. A prepared prefix keeps its remapped
    // drive, where names are matched too, and gets the missing links.
    fs::path other = klxtest::freshDir("other");
    fs::path elsewhere = klxtest::freshDir("elsewhere");
    fs::create_directories(other / "dosdevices");
    fs::create_directory_symlink(elsewhere, other / "dosdevices" / "c:");
    klxtest::writeBytes(elsewhere / "Found.txt", "x");
    ASSERT_EQ(::setenv("KLX_PREFIX", (other.string() + "//").c_str(), 1), 0);
    EXPECT_EQ(prefixDirectory(), other.string());
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
