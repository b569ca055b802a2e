// Directory search: Windows wildcards without regard to case, "." and "..",
// single names, directories behind links, drive and /cygdrive paths, the
// host's listing order, errors, the end of a search and moves.
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

// Every entry of a search, sorted, as "name", or "name/" for a directory.
Names search(const std::string& pattern) {
    Names found;
    DirectorySearch entries(pattern);
    for (bool more = entries.found(); more; more = entries.next()) {
        bool directory = (entries.entry().attributes & klx::platform::kAttributeDirectory) != 0;
        found.push_back(entries.entry().name + (directory ? "/" : ""));
    }
    EXPECT_NE(entries.error(), 0u);
    std::sort(found.begin(), found.end());
    return found;
}

// "C:\<name>", made fresh with entries of every kind.
std::string makeTree(const std::string& name) {
    fs::path dir = klxtest::testRoot() / "prefix" / "drive_c" / name;
    fs::remove_all(dir);
    fs::create_directories(dir / "Sub");
    fs::create_directory(dir / ".git");
    for (const char* file : {"a.txt", "B.TXT", "a.txt.bak", "abc", "ab.c", ".profile", "\xc3\xa9"})
        klxtest::writeBytes(dir / file, file);
    fs::create_directory_symlink(dir / "Sub", dir / "toSub");
    fs::create_symlink(dir / "missing", dir / "dangling");
    return dir.string();
}

} // namespace

TEST(PlatformDirectorySearch, PatternsErrorsEndAndMoves) {
    const std::string tree = makeTree("w");
    const Names texts = {"B.TXT", "a.txt"};
    const std::vector<std::pair<std::string, Names>> cases = {
        {"C:\\w\\*.*",
         {"../", "./", ".git/", ".profile", "B.TXT", "Sub/", "a.txt", "a.txt.bak", "ab.c", "abc",
          "dangling", "toSub/", "\xc3\xa9"}},
        {"C:\\w\\*.TXT", texts},
        {"C:\\w\\?B?", {"abc"}},
        {"C:\\w\\.*", {"../", "./", ".git/", ".profile"}},
        // As on Windows: "*." takes names without a dot, "?" may match
        // nothing before a dot or at the end.
        {"C:\\w\\*.", {"../", "./", "Sub/", "abc", "dangling", "toSub/", "\xc3\xa9"}},
        {"C:\\w\\a?.txt", {"a.txt"}},
        {"C:\\w\\abc??", {"abc"}},
        // Only ASCII letters have a case; other bytes match as they are.
        {"C:\\w\\\xc3\x89*", {}},
        // Path forms; wildcards count in the last name only.
        {"c:/W\\*.txt", texts},
        {"/cygdrive/C/W//*.txt", texts},
        {"C:\\w\\toSub\\*", {"../", "./"}},
        {"C:\\*\\a.txt", {}},
        // A name without wildcards is one entry, spelled as on disk.
        {"C:\\w\\A.TXT", {"a.txt"}},
        {"C:\\w\\toSub", {"toSub/"}},
        {"C:\\w\\.", {"./"}},
        {"/cygdrive/c", {"c/"}},
        {"", {}},
        {std::string("C:\\w\\a.txt\0*", 12), {"a.txt"}}, // only the C string counts
    };
    for (const auto& [pattern, expected] : cases)
        EXPECT_EQ(search(pattern), expected) << pattern;

    for (const char* pattern : {"C:\\w\\nothing", "C:\\w\\nothing*"})
        EXPECT_EQ(DirectorySearch(pattern).error(), DWORD(ERROR_FILE_NOT_FOUND)) << pattern;
    for (const char* pattern : {"C:\\nowhere\\a*", "C:\\w\\a.txt\\*", "C:\\w\\a.txt\\x"})
        EXPECT_EQ(DirectorySearch(pattern).error(), DWORD(ERROR_PATH_NOT_FOUND)) << pattern;
    DirectorySearch single("C:\\w\\abc");
    EXPECT_TRUE(single.found() && !single.next() && !single.next());
    EXPECT_EQ(single.error(), DWORD(ERROR_NO_MORE_FILES));

    // A search moves with its position; the one moved from has nothing.
    DirectorySearch first("C:\\w\\*");
    ASSERT_TRUE(first.next());
    std::string name = first.entry().name;
    DirectorySearch second(std::move(first));
    EXPECT_FALSE(first.found() || first.next());
    EXPECT_EQ(second.entry().name, name);
    first = DirectorySearch("C:\\w\\*.TXT");
    EXPECT_TRUE(first.found() && first.next() && !first.next());

    // Relative to the current directory, changed last; "C:" alone is the
    // drive's directory.
    fs::current_path(tree);
    EXPECT_EQ(search("SUB\\..\\*.txt"), texts);
    EXPECT_EQ(search("C:*"), search("C:\\*"));
}
