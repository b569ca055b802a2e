// KLXPath: the Windows and Cygwin forms. KLXPathBrowser: directory mode with
// and without a check function and a sub-path, pattern mode, the output list.
#include "KLXPath.h"
#include "KLXPathBrowser.h"

#include "Environment.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

namespace {

// What the check function was given, in order.
Names gChecked;

// Accepts root\B itself and A through the sub-path "bin"; spoils its argument,
// which must not change what is kept.
bool acceptBOrABin(std::string& path) {
    gChecked.push_back(path);
    bool accepted =
        path.substr(path.rfind('\\')) == "\\B" || path.find("A\\bin") != std::string::npos;
    path = "spoiled";
    return accepted;
}

// What a browse found: whether the root exists, and the list.
using Found = std::pair<bool, Names>;
Found browse(std::string root, int flags, KLXCheckFunction check = nullptr,
             std::string subPath = "", Names* output = nullptr) {
    gChecked.clear();
    KLXPathBrowser browser(root, flags, check, subPath, output);
    return {browser.exist(), browser.getPathList()};
}

// The directory that "C:\<name>" stands for, made fresh with subdirectories,
// files and, if asked, links; returns its names in the order a listing gives
// them: without regard to letter case.
Names driveDir(const std::string& name, const Names& subdirectories, const Names& files = {},
               bool links = false) {
    fs::path dir = klxtest::cDrive() / name;
    fs::remove_all(dir);
    fs::create_directories(dir);
    for (const std::string& subdirectory : subdirectories)
        fs::create_directory(dir / subdirectory);
    for (const std::string& file : files)
        klxtest::writeBytes(dir / file, "x");
    // Wine makes no links: there the listing holds none.
    std::error_code noLinks;
    if (links) {
        fs::create_directory_symlink(dir / "A", dir / "LinkToA", noLinks);
        fs::create_symlink(dir / "gone", dir / "Dangling", noLinks);
    }
    Names names;
    for (const auto& entry : fs::directory_iterator(dir))
        names.push_back(entry.path().filename().string());
    // These names sort the same with and without regard to case.
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

TEST(Path, WindowsAndCygwinForms) {
    std::string path = "C:\\tools\\bin", spaced = "d:\\x y\\z", empty;
    EXPECT_EQ(KLXPath(path).getWinValue(), "C:\\tools\\bin");
    EXPECT_EQ(KLXPath(path).getCygwinValue(), "/cygdrive/C/tools/bin");
    EXPECT_EQ(KLXPath(spaced).getCygwinValue(), "/cygdrive/d/x y/z");
    EXPECT_THROW(KLXPath{empty}, std::out_of_range);
}

TEST(PathBrowser, DirectoryModeCheckFunctionSubPathAndOutputList) {
    // "." and ".." are found, so the root exists, but neither is considered.
    driveDir("files", {}, {"one.txt"});
    EXPECT_EQ(browse("C:\\files", 0, acceptBOrABin, "bin"), Found(true, {}));
    EXPECT_TRUE(gChecked.empty());

    Names expected;
    for (const std::string& name :
         driveDir("root", {"A", ".hidden", "B", ".hidden/B"}, {"F"}, true))
        if (name == "A" || name == "B" || name == "LinkToA")
            expected.push_back("C:\\root\\" + name);
    // Only bits 1 and 16 count.
    EXPECT_EQ(browse("C:\\root", 0), Found(true, expected));
    EXPECT_EQ(browse("C:\\root", 2 | 4 | 8 | 32 | 0x100), Found(true, expected));
    EXPECT_EQ(browse("C:\\no such dir", 0), Found(false, {}));

    // Each entry is checked as a full path; a refused one again as what would
    // be kept followed by the sub-path.
    Names listing = driveDir("checked", {"A", "B", "Z"});
    for (int flags : {0, 16}) {
        Names kept, calls;
        for (const std::string& name : listing) {
            std::string result = flags == 16 ? name : "C:\\checked\\" + name;
            calls.push_back("C:\\checked\\" + name);
            if (name != "B")
                calls.push_back(result + "\\bin");
            if (name != "Z")
                kept.push_back(name == "B" ? result : result + "\\bin");
        }
        // The output list keeps what it held; the entries follow.
        Names output = {"earlier"}, expectedOutput = output;
        expectedOutput.insert(expectedOutput.end(), kept.begin(), kept.end());
        EXPECT_EQ(browse("C:\\checked", flags, acceptBOrABin, "bin", &output).second, kept);
        EXPECT_EQ(gChecked, calls) << flags;
        EXPECT_EQ(output, expectedOutput) << flags;
    }
    // Without a sub-path a refused entry is not offered again.
    EXPECT_EQ(browse("C:\\checked", 0, acceptBOrABin).second, Names{"C:\\checked\\B"});
    EXPECT_EQ(gChecked.size(), 3u);
}

TEST(PathBrowser, PatternMode) {
    driveDir("pattern", {"dir.lib"}, {"Script.sh", "lib.a.LIB"});
    // A file is one entry; the full path is root + "\" + name.
    EXPECT_EQ(browse("C:\\pattern\\script.SH", 1),
              Found(true, {"C:\\pattern\\script.SH\\Script.sh"}));
    EXPECT_EQ(browse("C:\\pattern\\none.sh", 1), Found(false, {}));
    // Wildcards find files and directories alike, "." and ".." included.
    EXPECT_EQ(browse("C:\\pattern\\*.lib", 1 | 16).second, (Names{"dir.lib", "lib.a.LIB"}));
    EXPECT_EQ(browse("C:\\pattern\\*", 1 | 16).second,
              (Names{".", "..", "dir.lib", "lib.a.LIB", "Script.sh"}));
}
