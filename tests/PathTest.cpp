// KLXPath: the Windows and Cygwin forms. KLXPathBrowser: directory mode with
// and without a check function and a sub-path, pattern mode, the output list.
#include "KLXPath.h"
#include "KLXPathBrowser.h"

#include "Environment.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

namespace {

// What the check function was given, in order, separated by blanks.
std::string gChecked;

// Accepts ...\B itself and ...\A through the sub-path "bin"; spoils its
// argument, which must not change what is kept.
bool acceptBOrABin(std::string& path) {
    gChecked += (gChecked.empty() ? "" : " ") + path;
    bool accepted =
        path.substr(path.rfind('\\')) == "\\B" || path.find("A\\bin") != std::string::npos;
    path = "spoiled";
    return accepted;
}

} // namespace

TEST(Path, WindowsAndCygwinForms) {
    std::string path = "C:\\tools\\bin", empty;
    EXPECT_EQ(KLXPath(path).getWinValue(), "C:\\tools\\bin");
    EXPECT_EQ(KLXPath(path).getCygwinValue(), "/cygdrive/C/tools/bin");
    EXPECT_THROW(KLXPath{empty}, std::out_of_range);
}

TEST(PathBrowser, DirectoryAndPatternModes) {
    // The names sort the same with and without regard to case, as a listing
    // gives them.
    for (const char* top : {"d", "p"})
        fs::remove_all(klxtest::cDrive() / top);
    for (const char* directory : {"d/A", "d/.hidden/B", "d/B", "d/Z", "p/dir.lib"})
        fs::create_directories(klxtest::cDrive() / directory);
    for (const char* file : {"d/F", "p/Script.sh", "p/lib.a.LIB"})
        klxtest::writeBytes(klxtest::cDrive() / file, "x");

    // Entries as they are listed, separated by blanks.
    auto joined = [](const Names& names) {
        std::string text;
        for (const std::string& name : names)
            text += (text.empty() || name.empty() ? "" : " ") + name;
        return text;
    };
    // Root, flags, check, sub-path, whether anything was found, what is kept
    // and what the check was given.
    using Row =
        std::tuple<const char*, int, KLXCheckFunction, const char*, bool, const char*, const char*>;
    const Row rows[] = {
        // Subdirectories not beginning with "." only; other bits do not count.
        {"C:\\d", 2 | 4 | 8 | 32, nullptr, "bin", true, "C:\\d\\A C:\\d\\B C:\\d\\Z", ""},
        // A refused full path is offered again as the result plus sub-path.
        {"C:\\d", 0, acceptBOrABin, "bin", true, "C:\\d\\A\\bin C:\\d\\B",
         "C:\\d\\A C:\\d\\A\\bin C:\\d\\B C:\\d\\Z C:\\d\\Z\\bin"},
        {"C:\\d", 16, acceptBOrABin, "bin", true, "A\\bin B",
         "C:\\d\\A A\\bin C:\\d\\B C:\\d\\Z Z\\bin"},
        {"C:\\d", 0, acceptBOrABin, "", true, "C:\\d\\B", "C:\\d\\A C:\\d\\B C:\\d\\Z"},
        // "." and ".." are found, so the root exists, but are not considered.
        {"C:\\d\\A", 0, acceptBOrABin, "bin", true, "", ""},
        {"C:\\no such dir", 0, nullptr, "", false, "", ""},
        // Pattern mode: the root itself, files and directories alike; the
        // full path is root + "\" + name.
        {"C:\\p\\script.SH", 1, nullptr, "", true, "C:\\p\\script.SH\\Script.sh", ""},
        {"C:\\p\\*.lib", 1 | 16, nullptr, "", true, "dir.lib lib.a.LIB", ""},
    };
    for (const auto& [rootText, flags, check, sub, exists, kept, checked] : rows) {
        std::string root = rootText, subPath = sub;
        // The output list keeps what it held; the entries follow.
        Names output = {"earlier"};
        gChecked.clear();
        KLXPathBrowser browser(root, flags, check, subPath, &output);
        EXPECT_EQ(browser.exist(), exists) << root;
        EXPECT_EQ(joined(browser.getPathList()), kept) << root << " " << flags;
        EXPECT_EQ(gChecked, checked) << root << " " << flags;
        EXPECT_EQ(joined(output), joined({"earlier", kept})) << root;
    }
}
