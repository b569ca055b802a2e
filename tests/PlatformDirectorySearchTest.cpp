// Directory search (its wildcards are PlatformCommonTest's): "." and "..",
// single names, directories behind links, the order NTFS lists names in and
// the end of a search.
// The platform layer stays hidden inside the library; this test links its own
// copy of it.
#include "platform/Platform.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>

namespace fs = std::filesystem;
using klx::platform::DirectorySearch;

TEST(PlatformDirectorySearch, PatternsOrderAndErrors) {
    const fs::path dir = klxtest::freshDir("w");
    fs::create_directories(dir / "Sub");
    fs::create_directories(dir / ".git" / "links");
    for (const char* file : {"a.txt", "B.TXT", "a.txt.bak", "abc", "ab.c", ".profile", "_x"})
        klxtest::writeBytes(dir / file, file);
    // Wine makes no links: there the rows that need them are left out.
    std::error_code noLinks;
    fs::create_directory_symlink(dir / "Sub", dir / ".git/links/toSub", noLinks);
    fs::create_symlink(dir / "missing", dir / ".git/links/dangling", noLinks);
    const std::string w = dir.string() + "/";

    // Every entry in the order given, a directory's name followed by "/".
    const std::pair<std::string, std::string> rows[] = {
        // By name without regard to case, then by bytes.
        {"*.*", "./ ../ .git/ .profile a.txt a.txt.bak ab.c abc B.TXT Sub/ _x"},
        // A name without wildcards is one entry, spelled as on disk.
        {"A.TXT", "a.txt"},
        {".", "./"},
        {"nothing*", ""},
        // Links to directories are directories, dangling ones files.
        {".git\\links\\*", "./ ../ dangling toSub/"},
        {".git\\links\\toSub\\*", "./ ../"},
        {".git\\links\\TOSUB", "toSub/"},
    };
    for (const auto& [pattern, expected] : rows) {
        if (noLinks && pattern.find("links") != std::string::npos)
            continue;
        std::string found;
        DirectorySearch entries(w + pattern);
        for (bool more = entries.found(); more; more = entries.next()) {
            bool directory = (entries.entry().attributes & klx::platform::kAttributeDirectory) != 0;
            found += (found.empty() ? "" : " ") + entries.entry().name + (directory ? "/" : "");
        }
        EXPECT_EQ(found, expected) << pattern;
        EXPECT_FALSE(entries.next());
    }
}
