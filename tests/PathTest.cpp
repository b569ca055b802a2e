// KLXPath: the Windows and Cygwin forms of a path. KLXPathBrowser: directory
// mode with and without a check function and a sub-path, bare names, pattern
// mode on files, directories, wildcards and missing paths, and the output list.
#include "KLXPath.h"
#include "KLXPathBrowser.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

namespace {

// What the check functions were given, in order.
Names gChecked;

bool acceptAll(std::string& path) {
    gChecked.push_back(path);
    return true;
}

bool endsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

// Accepts root\B itself and A through the sub-path "bin"; spoils its argument,
// which must not change what is kept.
bool acceptBOrABin(std::string& path) {
    gChecked.push_back(path);
    bool accepted = endsWith(path, "\\B") || endsWith(path, "A\\bin");
    path = "spoiled";
    return accepted;
}

// A browse with the arguments as values.
KLXPathBrowser browse(std::string root, int flags, KLXCheckFunction check = nullptr,
                      std::string subPath = "", Names* output = nullptr) {
    gChecked.clear();
    return KLXPathBrowser(root, flags, check, subPath, output);
}

Names sorted(Names list) {
    std::sort(list.begin(), list.end());
    return list;
}

// The directory that "C:\<name>" stands for, made fresh with subdirectories.
fs::path driveDir(const std::string& name, const Names& subdirectories = {}) {
    fs::path dir = klxtest::testRoot() / "prefix" / "drive_c" / name;
    fs::remove_all(dir);
    fs::create_directories(dir);
    for (const std::string& subdirectory : subdirectories)
        fs::create_directory(dir / subdirectory);
    return dir;
}

// The names of `dir` in the order in which the host lists them.
Names listed(const fs::path& dir) {
    Names names;
    for (const auto& entry : fs::directory_iterator(dir))
        names.push_back(entry.path().filename().string());
    return names;
}

} // namespace

TEST(Path, WindowsAndCygwinForms) {
    std::string path = "C:\\tools\\bin";
    KLXPath value(path);
    path = "changed";
    EXPECT_EQ(value.getWinValue(), "C:\\tools\\bin");
    EXPECT_EQ(value.getCygwinValue(), "/cygdrive/C/tools/bin");

    std::string spaced = "d:\\x y\\z";
    KLXPath assigned(path);
    assigned = KLXPath(spaced);
    EXPECT_EQ(assigned.getWinValue(), "d:\\x y\\z");
    EXPECT_EQ(assigned.getCygwinValue(), "/cygdrive/d/x y/z");

    // Nothing is checked but the empty string.
    std::string relative = "ab\\c";
    EXPECT_EQ(KLXPath(relative).getCygwinValue(), "/cygdrive/a/c");
    std::string empty;
    EXPECT_THROW(KLXPath{empty}, std::out_of_range);
}

TEST(PathBrowser, DirectoryModeKeepsSubdirectoriesNotBeginningWithDot) {
    fs::path files = driveDir("files");
    klxtest::writeBytes(files / "one.txt", "1");
    // "." and ".." are found, so the root exists, but neither is considered.
    KLXPathBrowser onlyFiles = browse("C:\\files", 0, acceptAll);
    EXPECT_TRUE(onlyFiles.exist());
    EXPECT_TRUE(onlyFiles.getPathList().empty());
    EXPECT_TRUE(gChecked.empty());

    fs::path root = driveDir("root", {"A", ".hidden", "B", "C.d", ".hidden/inner"});
    klxtest::writeBytes(root / "F", "f");
    fs::create_directory_symlink(root / "A", root / "LinkToA");
    fs::create_symlink(root / "gone", root / "Dangling");

    Names expected;
    for (const std::string& name : listed(root)) {
        if (name == "A" || name == "B" || name == "C.d" || name == "LinkToA")
            expected.push_back("C:\\root\\" + name);
    }
    KLXPathBrowser plain = browse("C:\\root", 0);
    EXPECT_TRUE(plain.exist());
    EXPECT_EQ(plain.getPathList(), expected);
    // Only bits 1 and 16 count.
    EXPECT_EQ(browse("C:\\root", 2 | 4 | 8 | 32 | 0x100).getPathList(), expected);
    KLXPathBrowser copy = plain;
    EXPECT_EQ(copy.getPathList(), expected);

    // The root is used as written, whatever its form and case.
    EXPECT_EQ(sorted(browse("/cygdrive/c/ROOT", 0).getPathList()),
              (Names{"/cygdrive/c/ROOT\\A", "/cygdrive/c/ROOT\\B", "/cygdrive/c/ROOT\\C.d",
                     "/cygdrive/c/ROOT\\LinkToA"}));

    KLXPathBrowser missing = browse("C:\\no such dir", 0, acceptAll);
    EXPECT_FALSE(missing.exist());
    EXPECT_TRUE(missing.getPathList().empty());
    EXPECT_FALSE(browse("C:\\root\\F", 0).exist());
}

TEST(PathBrowser, CheckFunctionSubPathAndOutputList) {
    fs::path root = driveDir("checked", {"A", "B", "Z"});
    // Each entry is checked as a full path; a refused one again as what would
    // be kept followed by the sub-path.
    for (int flags : {0, 16}) {
        Names kept;
        Names calls;
        for (const std::string& name : listed(root)) {
            std::string full = "C:\\checked\\" + name;
            std::string result = flags == 16 ? name : full;
            calls.push_back(full);
            if (name == "B") {
                kept.push_back(result);
                continue;
            }
            calls.push_back(result + "\\bin");
            if (name == "A")
                kept.push_back(result + "\\bin");
        }
        Names output = {"earlier", kept.front()};
        Names expectedOutput = output;
        expectedOutput.insert(expectedOutput.end(), kept.begin(), kept.end());
        KLXPathBrowser browser = browse("C:\\checked", flags, acceptBOrABin, "bin", &output);
        EXPECT_EQ(browser.getPathList(), kept) << flags;
        EXPECT_EQ(gChecked, calls) << flags;
        // The output list keeps what it held; the entries follow.
        EXPECT_EQ(output, expectedOutput) << flags;
    }
    EXPECT_EQ(sorted(browse("C:\\checked", 16).getPathList()), (Names{"A", "B", "Z"}));

    // Without a sub-path a refused entry is not offered again.
    Names output = {"earlier"};
    EXPECT_EQ(browse("C:\\checked", 0, acceptBOrABin, "", &output).getPathList(),
              Names{"C:\\checked\\B"});
    EXPECT_EQ(gChecked.size(), 3u);
    browse("C:\\checked\\missing", 0, nullptr, "", &output);
    EXPECT_EQ(output, (Names{"earlier", "C:\\checked\\B"}));
}

TEST(PathBrowser, PatternMode) {
    fs::path root = driveDir("pattern", {"dir.lib"});
    klxtest::writeBytes(root / "Script.sh", "s");
    klxtest::writeBytes(root / "lib.a.LIB", "l");

    // A file: found, and the full path is still root + "\" + name.
    KLXPathBrowser file = browse("C:\\pattern\\script.SH", 1);
    EXPECT_TRUE(file.exist());
    EXPECT_EQ(file.getPathList(), Names{"C:\\pattern\\script.SH\\Script.sh"});
    EXPECT_TRUE(browse(root.string() + "/Script.sh", 1).exist());
    // A directory is one entry too.
    EXPECT_EQ(browse("C:\\pattern", 1 | 16, acceptAll).getPathList(), Names{"pattern"});
    EXPECT_EQ(gChecked, Names{"C:\\pattern\\pattern"});

    KLXPathBrowser missing = browse("C:\\pattern\\none.sh", 1);
    EXPECT_FALSE(missing.exist());
    EXPECT_TRUE(missing.getPathList().empty());
    EXPECT_FALSE(browse("C:\\nowhere\\*", 1).exist());
    EXPECT_FALSE(browse("C:\\pattern\\*.exe", 1).exist());

    // Wildcards find files and directories alike, "." and ".." included.
    EXPECT_EQ(sorted(browse("C:\\pattern\\*.lib", 1 | 16).getPathList()),
              (Names{"dir.lib", "lib.a.LIB"}));
    EXPECT_EQ(sorted(browse("C:\\pattern\\*", 1 | 16).getPathList()),
              (Names{".", "..", "Script.sh", "dir.lib", "lib.a.LIB"}));
    EXPECT_EQ(browse("C:\\pattern\\*.sh", 1).getPathList(), Names{"C:\\pattern\\*.sh\\Script.sh"});
}
