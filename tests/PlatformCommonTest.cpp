// The platform logic that every host shares: the directory order, Windows'
// wildcards, command-line splitting and quoting, the choice of a resource
// language and the lookups in a version tree.
#include "platform/common/AsciiText.h"
#include "platform/common/CommandLineSplit.h"
#include "platform/common/VersionInfo.h"
#include "platform/common/Wildcard.h"

#include "VersionImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

using namespace klx::platform;
using Texts = std::vector<std::string>;

TEST(PlatformCommon, DirectoryOrderAndCaseFolding) {
    // By the upper-case form, as NTFS lists a directory ("_" after the
    // letters), then by bytes; a name before its extensions.
    Texts names = {"b", "_", "A", "..", "ab", "a", ".", "Z", "B", "\xc3\xa9", "A.txt"};
    std::sort(names.begin(), names.end(), lessNoCase);
    EXPECT_EQ(names, (Texts{".", "..", "A", "a", "A.txt", "ab", "B", "b", "Z", "_", "\xc3\xa9"}));
    EXPECT_TRUE(equalNoCase("KlxCore.DLL", "klxcore.dll"));
    EXPECT_FALSE(equalNoCase("\xc3\xa9", "\xc3\x89"));
    EXPECT_FALSE(equalNoCase("a", std::string_view("a\0", 2)));
    // _strnicmp: a NUL that both hold ends the comparison.
    EXPECT_EQ(compareNoCase("ab\0x", "AB\0y", 4), 0);
    EXPECT_GT(compareNoCase("b", "A", 1), 0);
}

TEST(PlatformCommon, WildcardsMatchAsWindowsDoes) {
    const struct {
        const char* pattern;
        Texts matched, unmatched;
    } cases[] = {
        {"*", {".", "..", "a", "a.b.c"}, {}},
        // "*.*" also takes names without a dot; "*." only those.
        {"*.*", {".", "..", "abc", "a.txt.bak", ".profile"}, {}},
        {"*.", {".", "..", "abc", "Sub"}, {"a.txt", ".profile"}},
        {"*.TXT", {"a.txt", "B.TXT", "x.y.txt"}, {"a.txt.bak", "txt", "a.tx"}},
        {".*", {".", "..", ".git", ".profile"}, {"abc", "a.b"}},
        // "?" takes one character, or none before a dot or at the end.
        {"?B?", {"abc", "ab"}, {"b", "ab.c", "abcd"}},
        {"a?.txt", {"a.txt", "ab.txt"}, {"abc.txt", "a..txt"}},
        {"abc??", {"abc", "abcd", "abcde"}, {"abcdef", "ab"}},
        // "*" before a dot may not take the last dot.
        {"*.c", {"a.c", "a.b.c", ".c"}, {"a.cc", "c"}},
        {"a*b*c", {"abc", "aXbYc", "a.b.c", "abbc"}, {"acb", "ab"}},
        // Only ASCII letters have a case; other bytes match as they are.
        {"\xc3\x89*", {"\xc3\x89t\xc3\xa9"}, {"\xc3\xa9t\xc3\xa9"}},
        {"name", {"NAME", "name"}, {"name.", "names"}},
    };
    for (const auto& c : cases) {
        const WildcardPattern pattern(c.pattern);
        for (const std::string& name : c.matched)
            EXPECT_TRUE(pattern.matches(name)) << c.pattern << " / " << name;
        for (const std::string& name : c.unmatched)
            EXPECT_FALSE(pattern.matches(name)) << c.pattern << " / " << name;
    }
    EXPECT_TRUE(hasWildcard("a?") && hasWildcard("*") && !hasWildcard("a.b[c]"));
}

TEST(PlatformCommon, CommandLinesSplitAndQuote) {
    const struct {
        const char* line;
        Texts arguments;
    } cases[] = {
        {"  a \t b\t", {"a", "b"}},
        {" \t ", {}},
        {R"(x"a b"y c)", {"xa by", "c"}},
        // 2n+1 backslashes before a quote: n backslashes and a literal quote;
        // 2n: n backslashes, and the quote groups.
        {R"(a\\\"b a\"b)", {R"(a\"b)", R"(a"b)"}},
        {R"(a\\\\"b c" "a\\" b)", {R"(a\\b c)", R"(a\)", "b"}},
        // Backslashes before anything else are literal.
        {R"(a\\b C:\dir\ x a\\)", {R"(a\\b)", R"(C:\dir\)", "x", R"(a\\)"}},
        // Empty quoted parts are empty arguments.
        {R"("" a "" b)", {"", "a", "", "b"}},
        // "" inside quotes: a literal quote, still quoted; outside quotes it
        // opens and closes an empty part.
        {R"("a""b c" """" a""b)", {R"(a"b c)", R"(")", "ab"}},
        // An unclosed quote runs to the end of the line.
        {"\"a\tb\"\tc \"d e", {"a\tb", "c", "d e"}},
        {"\xC3\xA9t\xE9 \"\xFF x\"", {"\xC3\xA9t\xE9", "\xFF x"}},
        {R"("C:\Program Files\bash" --login -c " make all ")",
         {R"(C:\Program Files\bash)", "--login", "-c", " make all "}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(splitCommandLine(c.line), c.arguments) << c.line;

    // Quoted arguments read back exactly, whatever they hold.
    const Texts arguments = {"plain",     "",        "two words",    "tab\there",
                             R"(q"uote)", R"(end\)", R"(C:\dir\ x)", R"(\\"\")",
                             "\"",        R"(a\\b)", "\xFF\x01"};
    std::string line;
    for (const std::string& argument : arguments)
        line += quoteArgument(argument) + " ";
    EXPECT_EQ(splitCommandLine(line), arguments) << line;
    EXPECT_EQ(quoteArgument(R"(C:\dir\file)"), R"(C:\dir\file)");
}

TEST(PlatformCommon, ResourceLanguageAsFindResourcePicksIt) {
    const struct {
        std::vector<std::uint16_t> languages;
        std::uint16_t ui;
        std::size_t picked;
    } cases[] = {
        {{0x0407, 0x0409, 0x0000}, 0x0407, 0}, {{0x0407, 0x0409, 0x0000}, 0x0409, 1},
        {{0x0407, 0x0409, 0x0000}, 0x040C, 2}, {{0x0407, 0x0409}, 0x040C, 1},
        {{0x0407, 0x040C}, 0x0411, 0},         {{0x0409}, 0x0407, 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(pickResourceLanguage(c.languages, c.ui), c.picked) << (&c - cases);
}

namespace {

const char kProductName[] = "\\StringFileInfo\\040904b0\\ProductName";
const char kProduct[] = "Prod\xc3\xbc"
                        "ct \xe2\x98\x83 \xf0\x9d\x84\x9e";

// A block as fileVersionInfo fills it: the tree, then its text room.
std::vector<unsigned char> blockOf(const std::string& tree) {
    std::vector<unsigned char> block(3 * ((tree.size() + 3) & ~std::size_t(3)));
    std::copy(tree.begin(), tree.end(), block.begin());
    return block;
}

std::string text(std::vector<unsigned char>& block, const std::string& subBlock,
                 std::size_t size = 0) {
    const Result<VersionValue> value =
        queryVersionValue(block.data(), size != 0 ? size : block.size(), subBlock);
    return !value.ok()
               ? "<none>"
               : std::string(static_cast<const char*>(value.value.data), value.value.length);
}

} // namespace

TEST(PlatformCommon, VersionTreeLookups) {
    const std::string tree = klxtest::sampleVersionTree();
    std::vector<unsigned char> block = blockOf(tree);
    // Names match without regard to case, separators may repeat; each text
    // keeps its own place, so an earlier one stays valid, and the block
    // tells its own size.
    const Result<VersionValue> first = queryVersionValue(block.data(), kProductName);
    ASSERT_TRUE(first.ok());
    EXPECT_EQ(text(block, "\\\\stringfileinfo\\040904B0\\\\PRODUCTNAME\\"), kProduct);
    EXPECT_EQ(text(block, "\\StringFileInfo\\040704e4\\Comments"), "");
    EXPECT_STREQ(static_cast<const char*>(first.value.data), kProduct);
    const Result<VersionValue> fixed = queryVersionValue(block.data(), block.size(), "\\");
    const Result<VersionValue> pairs =
        queryVersionValue(block.data(), block.size(), "\\VarFileInfo\\Translation");
    ASSERT_TRUE(fixed.ok() && pairs.ok());
    EXPECT_EQ(std::string(static_cast<const char*>(fixed.value.data), 52), tree.substr(40, 52));
    EXPECT_EQ(std::string(static_cast<const char*>(pairs.value.data), pairs.value.length),
              std::string("\x09\x04\xb0\x04\x07\x04\xe4\x04", 8));
    for (const char* missing :
         {"\\StringFileInfo\\040904b0\\Missing", "\\StringFileInfo\\040904b1\\ProductName",
          "\\VarFileInfo\\Translatio", "\\StringFileInfo\\040904b0\\ProductNameX", "\\X"}) {
        const Result<VersionValue> value = queryVersionValue(block.data(), block.size(), missing);
        EXPECT_EQ(value.error, kErrorResourceDataNotFound) << missing;
        EXPECT_EQ(value.value.data, nullptr) << missing;
    }
    // Binary values need no text room; texts do.
    EXPECT_EQ(text(block, "\\", tree.size()).size(), 52u);
    EXPECT_EQ(text(block, kProductName, tree.size()), "<none>");
    EXPECT_EQ(text(block, "\\", tree.size() - 1), "<none>");
    EXPECT_FALSE(queryVersionValue(nullptr, 100, "\\").ok());

    // Without the signature, the root's value is no fixed information.
    std::vector<unsigned char> unsigned_ = blockOf(tree);
    unsigned_[40] = 0;
    EXPECT_EQ(text(unsigned_, "\\"), "<none>");
    EXPECT_EQ(text(unsigned_, "\\StringFileInfo\\040704e4\\ProductName"), "Produkt");
}
