// The platform logic that every host shares: Windows' wildcards, command-line
// splitting and the lookups in a version tree.
#include "platform/common/CommandLineSplit.h"
#include "platform/common/VersionInfo.h"
#include "platform/common/Wildcard.h"

#include "VersionImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using namespace klx::platform;
using Texts = std::vector<std::string>;

TEST(PlatformCommon, WildcardsMatchAsWindowsDoes) {
    const struct {
        const char* pattern;
        Texts matched, unmatched;
    } cases[] = {
        // "*." takes names without a dot only; letters match in any case.
        {"*.", {"..", "Sub"}, {"a.txt"}},
        // "?" takes one character, or none before a dot or at the end.
        {"?B?", {"abc", "ab"}, {"ab.c", "abcd"}},
        // "*" before a dot may not take the last dot.
        {"*.c", {"a.b.c", ".c"}, {"a.cc", "c"}},
        // Only ASCII letters have a case; other bytes match as they are.
        {"\xc3\x89*", {"\xc3\x89t"}, {"\xc3\xa9t"}},
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

TEST(PlatformCommon, CommandLinesSplitAsTheCRuntimeSplitsThem) {
    const struct {
        const char* line;
        Texts arguments;
    } cases[] = {
        {"  a \t b\t", {"a", "b"}},
        // 2n+1 backslashes before a quote: n backslashes and a literal quote;
        // 2n: n backslashes, and the quote groups. Other backslashes are
        // literal.
        {R"(a\\\"b a\\\\"b c" C:\dir\)", {R"(a\"b)", R"(a\\b c)", R"(C:\dir\)"}},
        // Empty quoted parts are empty arguments; "" inside quotes is a
        // literal quote, still quoted.
        {R"("" "a""b c" a""b)", {"", R"(a"b c)", "ab"}},
        // An unclosed quote runs to the end of the line.
        {"c \"d e", {"c", "d e"}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(splitCommandLine(c.line), c.arguments) << c.line;
}

TEST(PlatformCommon, VersionTreeLookups) {
    // A block as fileVersionInfo fills it: the tree, then its text room.
    const std::string tree = klxtest::sampleVersionTree();
    std::vector<unsigned char> block(3 * ((tree.size() + 3) & ~std::size_t(3)));
    std::copy(tree.begin(), tree.end(), block.begin());
    auto text = [&block](const std::string& subBlock, std::size_t size) {
        const Result<VersionValue> value = queryVersionValue(block.data(), size, subBlock);
        return !value.ok()
                   ? "<none>"
                   : std::string(static_cast<const char*>(value.value.data), value.value.length);
    };
    // Names match without regard to case and separators may repeat; binary
    // values need no text room, texts do.
    const std::size_t all = block.size(), bare = tree.size();
    const std::pair<std::pair<std::string, std::size_t>, std::string> cases[] = {
        {{"\\\\stringfileinfo\\040704E4\\\\PRODUCTNAME\\", all}, "Produkt"},
        {{"\\", bare}, tree.substr(40, 52)},
        {{"\\StringFileInfo\\040904b0\\CompanyName", bare}, "<none>"},
        {{"\\", bare - 1}, "<none>"},
        {{"\\VarFileInfo\\Translatio", all}, "<none>"}};
    for (const auto& c : cases)
        EXPECT_EQ(text(c.first.first, c.first.second), c.second) << c.first.first;
    // Each text keeps its own place, so an earlier one stays valid; the block
    // tells its own size.
    const Result<VersionValue> first =
        queryVersionValue(block.data(), "\\StringFileInfo\\040904b0\\CompanyName");
    EXPECT_EQ(text("\\StringFileInfo\\040904b0\\ProductName", all),
              "Prod\xc3\xbc"
              "ct \xe2\x98\x83 \xf0\x9d\x84\x9e");
    EXPECT_EQ(static_cast<const char*>(first.value.data), std::string("Keldmar"));
    EXPECT_EQ(queryVersionValue(block.data(), all, "\\X").error, kErrorResourceDataNotFound);
    // Without its signature the root's value is no fixed information.
    block[40] = 0;
    EXPECT_EQ(text("\\", all), "<none>");
}
