// Directory search: Windows wildcards without regard to case, "." and "..",
// single names, directories behind links, the order NTFS lists names in,
// errors and the end of a search.
// The platform layer stays hidden inside the library; this test links its own
// copy of it.
#include "platform/Platform.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using klx::platform::DirectorySearch;
using Names = std::vector<std::string>;

namespace {

// Every entry of a search in the order given, as "name", or "name/" for a
// directory.
Names search(const std::string& pattern) {
    Names found;
    DirectorySearch entries(pattern);
    for (bool more = entries.found(); more; more = entries.next()) {
        bool directory = (entries.entry().attributes & klx::platform::kAttributeDirectory) != 0;
        found.push_back(entries.entry().name + (directory ? "/" : ""));
    }
    EXPECT_NE(entries.error(), 0u);
    return found;
}

} // namespace

TEST(PlatformDirectorySearch, PatternsOrderAndErrors) {
    const fs::path dir = klxtest::freshDir("w");
    fs::create_directories(dir / "Sub");
    fs::create_directory(dir / ".git");
    for (const char* file : {"a.txt", "B.TXT", "a.txt.bak", "abc", "ab.c", ".profile", "_x"})
        klxtest::writeBytes(dir / file, file);
    // Wine makes no links: there the cases leave them out.
    std::error_code noLinks;
    fs::create_directory_symlink(dir / "Sub", dir / "toSub", noLinks);
    if (!noLinks)
        fs::create_symlink(dir / "missing", dir / "dangling", noLinks);
    const std::string w = dir.string() + "/";

    const Names texts = {"a.txt", "B.TXT"};
    const std::vector<std::pair<std::string, Names>> cases = {
        // By name without regard to case, then by bytes; links to
        // directories are directories, dangling ones files.
        {w + "*.*",
         {"./", "../", ".git/", ".profile", "a.txt", "a.txt.bak", "ab.c", "abc", "B.TXT",
          "dangling", "Sub/", "toSub/", "_x"}},
        {w + "*.TXT", texts},
        {w + "a?.txt", {"a.txt"}},
        {w + "toSub\\*", {"./", "../"}},
        {dir.string() + "\\*\\a.txt", {}},
        // A name without wildcards is one entry, spelled as on disk.
        {w + "A.TXT", {"a.txt"}},
        {w + "toSub", {"toSub/"}},
        {w + ".", {"./"}},
        {"", {}},
        {w + std::string("a.txt\0*", 7), {"a.txt"}}, // only the C string counts
    };
    for (auto [pattern, expected] : cases) {
        if (noLinks && pattern.find("toSub") != std::string::npos)
            continue;
        if (noLinks)
            expected.erase(std::remove_if(expected.begin(), expected.end(),
                                          [](const std::string& name) {
                                              return name == "dangling" || name == "toSub/";
                                          }),
                           expected.end());
        EXPECT_EQ(search(pattern), expected) << pattern;
    }

    for (const std::string& pattern : {w + "nothing", w + "nothing*"})
        EXPECT_EQ(DirectorySearch(pattern).error(), DWORD(ERROR_FILE_NOT_FOUND)) << pattern;
    for (const std::string& pattern : {w + "nowhere\\a*", w + "a.txt\\*", w + "a.txt\\x"})
        EXPECT_EQ(DirectorySearch(pattern).error(), DWORD(ERROR_PATH_NOT_FOUND)) << pattern;
    DirectorySearch single(w + "abc");
    EXPECT_TRUE(single.found() && !single.next() && !single.next());
    EXPECT_EQ(single.error(), DWORD(ERROR_NO_MORE_FILES));
}
