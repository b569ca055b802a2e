// Directory search: Windows wildcards without regard to case, "." and "..",
// single names, directories behind links, drive and /cygdrive paths, the
// host's listing order, errors, the end of a search and moves.
// The platform layer stays hidden inside the library; this test links its own
// copy of it.
#include "platform/Platform.h"
#include "platform/posix/HostPaths.h"

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

// Every entry of a search, in the order found, as "name", or "name/" for a
// directory.
Names search(const std::string& pattern) {
    Names found;
    DirectorySearch entries(pattern);
    for (bool more = entries.found(); more; more = entries.next()) {
        const auto& entry = entries.entry();
        bool directory = (entry.attributes & klx::platform::kAttributeDirectory) != 0;
        found.push_back(entry.name + (directory ? "/" : ""));
    }
    EXPECT_NE(entries.error(), 0u);
    return found;
}

Names sorted(const std::string& pattern) {
    Names found = search(pattern);
    std::sort(found.begin(), found.end());
    return found;
}

// "C:\<name>", made fresh with entries of every kind.
fs::path makeTree(const std::string& name) {
    fs::path dir = fs::path(klx::platform::prefixDirectory()) / "drive_c" / name;
    fs::remove_all(dir);
    fs::create_directories(dir / "Sub");
    fs::create_directory(dir / ".git");
    for (const char* file :
         {"a.txt", "B.TXT", "a.txt.bak", "abc", "xbz", "ab.c", ".profile", "\xc3\xa9t\xc3\xa9.dat"})
        klxtest::writeBytes(dir / file, file);
    fs::create_directory_symlink(dir / "Sub", dir / "toSub");
    fs::create_symlink(dir / "missing", dir / "dangling");
    return dir;
}

} // namespace

TEST(PlatformDirectorySearch, Patterns) {
    const std::string tree = makeTree("w").string();
    const Names all = {
        "../",       "./",   ".git/", ".profile", "B.TXT",  "Sub/", "a.txt",
        "a.txt.bak", "ab.c", "abc",   "dangling", "toSub/", "xbz",  "\xc3\xa9t\xc3\xa9.dat"};
    const Names texts = {"B.TXT", "a.txt"};
    const Names dots = {"../", "./"};
    const std::vector<std::pair<std::string, Names>> cases = {
        {"C:\\w\\*", all},
        {"C:\\w\\*.*", all},
        {"C:\\w\\*.TXT", texts},
        {"C:\\w\\?b*", {"ab.c", "abc", "xbz"}},
        {"C:\\w\\?B?", {"abc", "xbz"}},
        {"C:\\w\\.*", {"../", "./", ".git/", ".profile"}},
        {"C:\\w\\A*", {"a.txt", "a.txt.bak", "ab.c", "abc"}},
        {"C:\\w\\*b*", {"B.TXT", "Sub/", "a.txt.bak", "ab.c", "abc", "toSub/", "xbz"}},
        {"C:\\w\\*.bak", {"a.txt.bak"}},
        {"C:\\w\\a.*", {"a.txt", "a.txt.bak"}},
        // As on Windows: "*." takes names without a dot, "?" may match
        // nothing before a dot or at the end.
        {"C:\\w\\*.", {"../", "./", "Sub/", "abc", "dangling", "toSub/", "xbz"}},
        {"C:\\w\\a?.txt", {"a.txt"}},
        {"C:\\w\\abc??", {"abc"}},
        {"C:\\w\\???", {"Sub/", "abc", "xbz"}},
        {"C:\\w\\?", {}},
        {"C:\\w\\*.exe", {}},
        // Only ASCII letters have a case; other bytes match as they are.
        {"C:\\w\\*\xa9.DAT", {"\xc3\xa9t\xc3\xa9.dat"}},
        {"C:\\w\\\xc3\x89*", {}},
        // Path forms; wildcards count in the last name only.
        {"c:\\W\\*.txt", texts},
        {"C:/w/*.txt", texts},
        {"/cygdrive/c/w/*.txt", texts},
        {"/cygdrive/C/W//*.txt", texts},
        {tree + "/*.txt", texts},
        {tree + "\\sub\\*", dots},
        {"C:\\w\\toSub\\*", dots},
        {"C:\\*\\a.txt", {}},
        // A name without wildcards is one entry, spelled as on disk.
        {"C:\\w\\A.TXT", {"a.txt"}},
        {"C:\\W\\sub", {"Sub/"}},
        {"C:\\w\\toSub", {"toSub/"}},
        {"C:\\w\\dangling", {"dangling"}},
        {"C:\\w", {"w/"}},
        {"C:\\w\\.", {"./"}},
        {"/cygdrive/c/w/b.txt", {"B.TXT"}},
        {"/cygdrive/c", {"c/"}},
        {"C:\\w\\a.tx", {}},
        {"C:\\w\\a.txt\\", {}},
        {"C:\\", {}},
        {"", {}},
        // Only the C string counts.
        {std::string("C:\\w\\a.txt\0*", 12), {"a.txt"}},
    };
    for (const auto& [pattern, expected] : cases)
        EXPECT_EQ(sorted(pattern), expected) << pattern;

    // Entries come in the host's listing order.
    Names listed;
    for (const auto& entry : fs::directory_iterator(tree))
        listed.push_back(entry.path().filename().string());
    Names found;
    for (const std::string& name : search("C:\\w\\*")) {
        std::string bare = name.back() == '/' ? name.substr(0, name.size() - 1) : name;
        if (bare != "." && bare != "..")
            found.push_back(bare);
    }
    EXPECT_EQ(found, listed);

    // Relative to the current directory; "C:" alone is the drive's directory.
    fs::path cwd = fs::current_path();
    fs::current_path(tree);
    EXPECT_EQ(sorted("*.txt"), texts);
    EXPECT_EQ(sorted("SUB\\..\\*.txt"), texts);
    Names drive = search("C:*");
    EXPECT_NE(std::find(drive.begin(), drive.end(), "w/"), drive.end());
    EXPECT_EQ(std::find(drive.begin(), drive.end(), "a.txt"), drive.end());
    fs::current_path(cwd);
}

TEST(PlatformDirectorySearch, ErrorsEndAndMoves) {
    makeTree("m");
    EXPECT_EQ(DirectorySearch("C:\\m\\nothing").error(), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(DirectorySearch("C:\\m\\nothing*").error(), DWORD(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(DirectorySearch("C:\\nowhere\\a*").error(), DWORD(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(DirectorySearch("C:\\m\\a.txt\\*").error(), DWORD(ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(DirectorySearch("C:\\m\\a.txt\\x").error(), DWORD(ERROR_PATH_NOT_FOUND));
    DirectorySearch none("C:\\m\\");
    EXPECT_FALSE(none.found());
    EXPECT_FALSE(none.next());

    DirectorySearch single("C:\\m\\abc");
    ASSERT_TRUE(single.found());
    EXPECT_FALSE(single.next());
    EXPECT_EQ(single.error(), DWORD(ERROR_NO_MORE_FILES));
    EXPECT_FALSE(single.next());

    // A search moves with its position; the one moved from has nothing.
    DirectorySearch first("C:\\m\\*");
    ASSERT_TRUE(first.found());
    std::string firstName = first.entry().name;
    DirectorySearch second(std::move(first));
    EXPECT_FALSE(first.found());
    EXPECT_FALSE(first.next());
    EXPECT_EQ(second.entry().name, firstName);
    int count = 1;
    while (second.next())
        ++count;
    EXPECT_EQ(count, 14);

    DirectorySearch third("C:\\m\\a*");
    ASSERT_TRUE(third.next());
    third = DirectorySearch("C:\\m\\*.TXT");
    EXPECT_TRUE(third.found());
    EXPECT_TRUE(third.next());
    EXPECT_FALSE(third.next());

    // Many searches at once, each with its own listing.
    std::vector<DirectorySearch> open;
    for (int i = 0; i < 100; ++i)
        open.emplace_back("C:\\m\\*");
    for (auto& each : open)
        EXPECT_TRUE(each.next());
}
