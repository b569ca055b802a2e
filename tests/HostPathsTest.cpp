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
#include <sys/stat.h>

namespace fs = std::filesystem;
using klx::platform::hasInvalidNameCharacter;
using klx::platform::hostPath;
using klx::platform::hostPathLexical;
using klx::platform::prefixDirectory;

namespace {

std::string prefix() {
    return (klxtest::testRoot() / "prefix").string();
}
std::string drive(char letter) {
    return prefix() + "/dosdevices/" + letter + ":";
}

} // namespace

TEST(HostPaths, PrefixIsCreatedOnlyWhenADrivePathNeedsIt) {
    fs::path dir = klxtest::freshDir("plain");
    EXPECT_EQ(hostPath(dir.string() + "\\a\\b"), dir.string() + "/a/b");
    EXPECT_EQ(hostPath("rel\\x"), "rel/x");
    EXPECT_FALSE(fs::exists(prefix()));

    EXPECT_EQ(hostPath("C:\\x"), drive('c') + "/x");
    struct stat info;
    ASSERT_EQ(::stat(prefix().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0700u);
    EXPECT_TRUE(fs::is_directory(prefix() + "/drive_c"));
    EXPECT_EQ(fs::read_symlink(drive('c')), "../drive_c");
    EXPECT_EQ(fs::read_symlink(drive('u')), "/");
    EXPECT_EQ(fs::read_symlink(drive('z')), "/");
    EXPECT_EQ(prefixDirectory(), prefix());
}

TEST(HostPaths, PrefixFollowsTheEnvironmentAndKeepsRemappedDrives) {
    // A prefix prepared by the user, with drive C elsewhere and no U.
    fs::path other = klxtest::freshDir("other");
    fs::path elsewhere = klxtest::freshDir("elsewhere");
    fs::create_directories(other / "dosdevices");
    fs::create_directory_symlink(elsewhere, other / "dosdevices" / "c:");
    klxtest::writeBytes(elsewhere / "Found.txt", "x");

    ASSERT_EQ(::setenv("KLX_PREFIX", (other.string() + "//").c_str(), 1), 0);
    EXPECT_EQ(prefixDirectory(), other.string());
    EXPECT_EQ(hostPath("c:\\found.TXT"), other.string() + "/dosdevices/c:/Found.txt");
    EXPECT_EQ(fs::read_symlink(other / "dosdevices" / "c:"), elsewhere);
    EXPECT_EQ(fs::read_symlink(other / "dosdevices" / "u:"), "/");

    // A removed link stays removed while the same prefix is in use...
    fs::remove(other / "dosdevices" / "z:");
    hostPath("Z:\\x");
    EXPECT_FALSE(fs::is_symlink(other / "dosdevices" / "z:"));

    // ...and comes back when the prefix is taken up afresh.
    ASSERT_EQ(::setenv("KLX_PREFIX", prefix().c_str(), 1), 0);
    EXPECT_EQ(prefixDirectory(), prefix());
    ASSERT_EQ(::setenv("KLX_PREFIX", other.c_str(), 1), 0);
    prefixDirectory();
    EXPECT_TRUE(fs::is_symlink(other / "dosdevices" / "z:"));

    // Without KLX_PREFIX the prefix is ~/.klx; a relative one is made
    // absolute.
    fs::path home = klxtest::freshDir("home");
    ASSERT_EQ(::unsetenv("KLX_PREFIX"), 0);
    ASSERT_EQ(::setenv("HOME", home.c_str(), 1), 0);
    EXPECT_EQ(prefixDirectory(), (home / ".klx").string());
    EXPECT_TRUE(fs::is_symlink(home / ".klx" / "dosdevices" / "c:"));
    fs::path cwd = fs::current_path();
    fs::path work = klxtest::freshDir("cwd");
    fs::current_path(work);
    ASSERT_EQ(::setenv("KLX_PREFIX", "relative-prefix", 1), 0);
    EXPECT_EQ(prefixDirectory(), (work / "relative-prefix").string());
    fs::current_path(cwd);
    EXPECT_TRUE(fs::is_directory(work / "relative-prefix" / "drive_c"));
    ASSERT_EQ(::setenv("KLX_PREFIX", prefix().c_str(), 1), 0);
}

TEST(HostPaths, DriveAndCygwinFormsMapThroughTheDriveLinks) {
    EXPECT_EQ(hostPathLexical("C:\\dir\\file"), drive('c') + "/dir/file");
    EXPECT_EQ(hostPathLexical("c:/dir//file"), drive('c') + "/dir/file");
    EXPECT_EQ(hostPathLexical("C:file"), drive('c') + "/file");
    EXPECT_EQ(hostPathLexical("C:"), drive('c'));
    EXPECT_EQ(hostPathLexical("C:\\"), drive('c') + "/");
    EXPECT_EQ(hostPathLexical("C:\\dir\\"), drive('c') + "/dir/");
    EXPECT_EQ(hostPathLexical("/cygdrive/c/dir/file"), drive('c') + "/dir/file");
    EXPECT_EQ(hostPathLexical("\\cygdrive\\D\\x"), drive('d') + "/x");
    EXPECT_EQ(hostPathLexical("/cygdrive/c"), drive('c'));
    EXPECT_EQ(hostPathLexical("/cygdrive/cd/x"), "/cygdrive/cd/x");
    EXPECT_EQ(hostPathLexical("/cygdrive/"), "/cygdrive/");
    EXPECT_EQ(hostPathLexical("1:\\x"), "1:/x");
    EXPECT_EQ(hostPathLexical("dir\\a:b"), "dir/a:b");
    EXPECT_EQ(hostPathLexical("\\\\x\\\\y"), "/x/y");
    EXPECT_EQ(hostPathLexical(""), "");
    EXPECT_EQ(hostPathLexical(std::string("C:\\a\0\\b", 7)), drive('c') + "/a");

    // The same file in both forms; U: reaches the host's root.
    fs::create_directories(prefix() + "/drive_c/same");
    klxtest::writeBytes(prefix() + "/drive_c/same/x", "same");
    EXPECT_EQ(klxtest::readBytes(hostPath("/cygdrive/c/same/x")), "same");
    EXPECT_EQ(klxtest::readBytes(hostPath("C:\\same\\x")), "same");
    fs::path host = klxtest::freshDir("host") / "linux.txt";
    klxtest::writeBytes(host, "linux");
    std::string viaU = hostPath("U:" + host.string());
    EXPECT_EQ(viaU, drive('u') + host.string());
    EXPECT_TRUE(fs::equivalent(viaU, host));

    // A drive without a link leads nowhere.
    EXPECT_FALSE(fs::exists(hostPath("Q:\\same\\x")));
}

TEST(HostPaths, NamesMatchWithoutRegardToCase) {
    std::string c = prefix() + "/drive_c";
    prefixDirectory();
    fs::create_directories(c + "/data/sub");
    klxtest::writeBytes(c + "/data/file.txt", "f");

    EXPECT_EQ(hostPath("C:\\Data\\File.TXT"), drive('c') + "/data/file.txt");
    EXPECT_EQ(hostPath("C:\\DATA\\New.txt"), drive('c') + "/data/New.txt");
    EXPECT_EQ(hostPath("C:\\data\\NEW\\deeper\\File.txt"),
              drive('c') + "/data/NEW/deeper/File.txt");
    EXPECT_EQ(hostPath("C:\\Data\\SUB\\"), drive('c') + "/data/sub/");
    EXPECT_EQ(hostPath("C:\\Data\\.\\Sub\\..\\FILE.txt"), drive('c') + "/data/./sub/../file.txt");
    EXPECT_EQ(hostPath(c + "/DATA/file.TXT"), c + "/data/file.txt");

    // Several candidates: the byte-wise smallest; an exact name wins.
    fs::create_directories(c + "/multi/abc");
    fs::create_directories(c + "/multi/Abc");
    fs::create_directories(c + "/multi/ABc");
    EXPECT_EQ(hostPath("C:\\multi\\aBC"), drive('c') + "/multi/ABc");
    EXPECT_EQ(hostPath("C:\\multi\\abc"), drive('c') + "/multi/abc");
    EXPECT_EQ(hostPath("C:\\Multi\\aBC\\x"), drive('c') + "/multi/ABc/x");

    // Only ASCII letters fold, and lengths must agree.
    fs::create_directories(c + "/case/\xc3\xa9t\xc3\xa9");
    EXPECT_EQ(hostPath("C:\\case\\\xc3\x89T\xc3\x89"), drive('c') + "/case/\xc3\x89T\xc3\x89");
    EXPECT_EQ(hostPath("C:\\case\\\xc3\xa9T\xc3\xa9"), drive('c') + "/case/\xc3\xa9t\xc3\xa9");
    EXPECT_EQ(hostPath("C:\\Data\\file.tx"), drive('c') + "/data/file.tx");

    // The drive link itself is never matched against other spellings.
    EXPECT_EQ(hostPath("C:"), drive('c'));
}

TEST(HostPaths, InvalidNameCharacters) {
    for (const char* bad : {"a<b", "a>b", "a\"b", "a|b", "a?b", "a*b", "a\x01", "a\tb", "\x1f"})
        EXPECT_TRUE(hasInvalidNameCharacter(bad)) << bad;
    for (const char* good : {"C:\\dir\\file.txt", "/cygdrive/c/x", "a:b", "",
                             "a b~!#$%&'()+,;=@[]^`{}", "\x7f\x80\xff"})
        EXPECT_FALSE(hasInvalidNameCharacter(good)) << good;
    EXPECT_FALSE(hasInvalidNameCharacter(std::string("ok\0*", 4)));
}
