// Directory search: Windows wildcards without regard to case, "." and "..",
// single names, directories behind links, the order NTFS lists names in,
// errors and the end of a search.
// The platform layer stays hidden inside the library; this test links its own
// copy of it.
#include "platform/Platform.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using klx::platform::DirectorySearch;

TEST(PlatformDirectorySearch, PatternsOrderAndErrors) {
    const fs::path dir = klxtest::freshDir("w");
    fs::create_directories(dir / "Sub");
    fs::create_directory(dir / ".git");
    for (const char* file : {"a.txt", "B.TXT", "a.txt.bak", "abc", "ab.c", ".profile", "_x"})
        klxtest::writeBytes(dir / file, file);
    // Wine makes no links: there the rows that need them are left out.
    std::error_code noLinks;
    fs::create_directory_symlink(dir / "Sub", dir / "toSub", noLinks);
    if (!noLinks)
        fs::create_symlink(dir / "missing", dir / "dangling", noLinks);
    const std::string w = dir.string() + "/";

    // Every entry in the order given, a directory's name followed by "/".
    const std::vector<std::pair<std::string, std::string>> rows = {
        // By name without regard to case, then by bytes; links to
        // directories are directories, dangling ones files.
        {"*.*", "./ ../ .git/ .profile a.txt a.txt.bak ab.c abc B.TXT dangling Sub/ toSub/ _x"},
        {"*.TXT", "a.txt B.TXT"},
        {"a?.txt", "a.txt"},
        {"toSub\\*", "./ ../"},
        // A name without wildcards is one entry, spelled as on disk.
        {"A.TXT", "a.txt"},
        {"toSub", "toSub/"},
        {".", "./"},
    };
    for (auto [pattern, expected] : rows) {
        if (noLinks && pattern.find("toSub") != std::string::npos)
            continue;
        for (const std::string link : {" dangling", " toSub/"}) {
            if (noLinks && expected.find(link) != std::string::npos)
                expected.erase(expected.find(link), link.size());
        }
        std::string found;
        DirectorySearch entries(w + pattern);
        for (bool more = entries.found(); more; more = entries.next()) {
            bool directory = (entries.entry().attributes & klx::platform::kAttributeDirectory) != 0;
            found += (found.empty() ? "" : " ") + entries.entry().name + (directory ? "/" : "");
        }
        EXPECT_EQ(found, expected) << pattern;
        EXPECT_FALSE(entries.next());
        EXPECT_EQ(entries.error(), DWORD(ERROR_NO_MORE_FILES)) << pattern;
    }

    for (const std::string& pattern : {w + "nothing", w + "nothing*"})
        EXPECT_EQ(DirectorySearch(pattern).error(), DWORD(ERROR_FILE_NOT_FOUND)) << pattern;
    for (const std::string& pattern : {w + "nowhere\\a*", w + "a.txt\\*", w + "a.txt\\x"})
        EXPECT_EQ(DirectorySearch(pattern).error(), DWORD(ERROR_PATH_NOT_FOUND)) << pattern;
}
