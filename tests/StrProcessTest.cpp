// Tests of KLXStrProcess: worked examples as tables, and the template
// search against a deliberately literal implementation over many generated
// inputs.
#include "KLXStrProcess.h"

#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace {

struct Probe : KLXStrProcess {
    using KLXStrProcess::processTemplate;
};

// Every string over `alphabet` of up to `maxLength` characters.
std::vector<std::string> allStrings(const std::string& alphabet, std::size_t maxLength) {
    std::vector<std::string> out{""};
    for (std::size_t from = 0; out[from].size() < maxLength; ++from)
        for (char c : alphabet)
            out.push_back(out[from] + c);
    return out;
}

// ---- Literal reference: step by step as the operations are defined, slow
// and plain on purpose.

// _strnicmp(left, right, n) == 0: a NUL on both sides ends the comparison.
bool referenceEqualNoCase(const char* left, const char* right, long long n) {
    auto fold = [](char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; };
    for (long long i = 0; i < n; ++i)
        if (fold(left[i]) != fold(right[i]) || left[i] == 0)
            return fold(left[i]) == fold(right[i]);
    return true;
}

bool referenceWordLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// Returns -1 for no position. Whole words need a nonempty pattern.
long long referenceFind(const std::string& text, const std::string& pattern, int flags) {
    const long long n = text.size(), m = pattern.size();
    const int position = flags & 0xF;
    const bool exact = (flags & 0xF0) == 0x10, backward = (flags & 0xF00) != 0;
    for (long long start = backward ? n : 0;;) {
        long long p = -1;
        for (long long i = start; p < 0 && i >= 0 && (backward || i <= n - m);
             i += backward ? -1 : 1)
            if (i <= n - m && (exact ? text.compare(i, m, pattern) == 0
                                     : referenceEqualNoCase(text.c_str() + i, pattern.c_str(), m)))
                p = i;
        if (p < 0 || !(position == 0 ? p == 0 : position == 1 ? p == n - m : position == 2))
            return -1;
        if ((flags & 0xF000) != 0x1000 || ((p == 0 || !referenceWordLetter(text[p - 1])) &&
                                           (p >= n - m || !referenceWordLetter(text[p + m]))))
            return p;
        start = backward ? p - 1 : p + m;
        if (backward ? start <= 0 : start >= n - m)
            return -1;
    }
}

// ---- Paths, characters and numbers

TEST(StrProcess, ConvertsPathsFiltersAndParses) {
    using Op = void (*)(std::string&);
    const Op cyg = KLXStrProcess::convertPath2Cygwin, win = KLXStrProcess::convertPath2Windows;
    const std::tuple<Op, std::string, std::string> conversions[] = {
        {cyg, "D:\\x y\\z", "/cygdrive/D/x y/z"}, {cyg, "ab\\c", "/cygdrive/a/c"},
        {win, "/cygdrive/d/x/y", "d:\\x\\y"},     {win, "C:\\x", "C::\\x"},
        {win, "/CYGDRIVE/c", "\\:CYGDRIVE\\c"},
    };
    for (auto [op, path, expected] : conversions) {
        op(path);
        EXPECT_EQ(path, expected);
    }
    std::string empty;
    EXPECT_THROW(KLXStrProcess::convertPath2Cygwin(empty), std::out_of_range);

    // Path, and its directory | file name | file name without extension.
    const char* parts[][2] = {
        {"C:\\a.d\\b.tar.gz", "C:\\a.d|b.tar.gz|b.tar"}, {"C:\\", "C:||"},
        {"/usr/bin/bash", "/usr/bin|bash|bash"},         {"C:\\a/b", "C:|a/b|a/b"},
        {"name.txt", "name.txt|name.txt|name"},          {".profile", ".profile|.profile|"},
    };
    for (const auto& row : parts) {
        std::string dir = row[0], name = row[0], stem = row[0];
        KLXStrProcess::removeFileName(dir);
        KLXStrProcess::extractFileName(name, false);
        KLXStrProcess::extractFileName(stem, true);
        EXPECT_EQ(dir + "|" + name + "|" + stem, row[1]) << row[0];
    }

    const std::tuple<std::string, int, std::string> kept[] = {
        {"v1.2.3b", 3, "1.2.3"}, {"ab_CD.9", 32 | 8, "_CD"}, {"1_a.G-g\xe1", 51, "1_a."},
        {"aZ0._\xc1", 4, "a"},   {"xyz", 64 | 128, ""},
    };
    for (auto [text, mode, expected] : kept) {
        KLXStrProcess::keepChars(text, mode);
        EXPECT_EQ(text, expected) << mode;
    }
    for (auto [text, expected] : {std::tuple<std::string, int>{" 42abc", 42}, {"abc", 0}})
        EXPECT_EQ(KLXStrProcess::convert2Int(text), expected) << text;
    // Occurrences do not overlap, and case is ignored.
    std::string aaaa = "aaaa", aa = "aa", abc = "A.B.a", a = "a";
    EXPECT_EQ(KLXStrProcess::countTemplate(aaaa, aa), 2);
    EXPECT_EQ(KLXStrProcess::countTemplate(abc, a), 2);
    for (int c = CHAR_MIN; c <= CHAR_MAX; ++c)
        EXPECT_EQ(KLXStrProcess::isAWordLetter(char(c)), referenceWordLetter(char(c))) << c;
}

// ---- Template search

TEST(StrProcess, FindMatchesLiteralReference) {
    // Position, case, direction and word values that differ in meaning, with
    // a count field that must be ignored.
    std::vector<int> allFlags;
    for (int p : {0, 1, 2, 3, 15})
        for (int c : {0, 0x10, 0x20, 0xF0})
            for (int d : {0, 0x100, 0x800})
                for (int w : {0, 0x1000, 0x2000})
                    allFlags.push_back(p | c | d | w | (p + w) % 3 * 0x10000);
    auto check = [&](std::string text, std::string pattern) {
        if (::testing::Test::HasFailure())
            return; // one report is enough
        for (int flags : allFlags) {
            const unsigned int found = KLXStrProcess::findTemplate(text, pattern, flags);
            if (pattern.empty() && (flags & 0xF000) == 0x1000)
                continue; // the implementer's, as long as it ends
            const long long expected = referenceFind(text, pattern, flags);
            ASSERT_EQ(found, expected < 0 ? KLXStrProcess::npos : unsigned(expected))
                << "text '" << text << "' pattern '" << pattern << "' flags " << std::hex << flags;
        }
    };
    // Every short text and pattern over word letters in both cases, a
    // separator and a NUL, which ends a comparison ignoring case when both
    // sides hold one. (Bytes near the letters' ranges are the fuzz target's.)
    for (const std::string& text : allStrings(std::string("aA_.\0", 5), 4))
        for (const std::string& pattern : allStrings(std::string("aA_.\0", 5), 2))
            check(text, pattern);
}

// ---- Remove and replace

TEST(StrProcess, RemovesListItemsAndReplacesText) {
    // `arg` is the separator of a removal and the replacement of a replace.
    const std::tuple<bool, std::string, std::string, std::string, int, bool, std::string> edits[] =
        {
            {true, "a;b;c", "b", ";", 0, true, "a;c"},
            {true, "a;bob;c", "B", ";", 0, true, "a;c"},
            {true, "a;b;c", "b", ";", 1, true, "ac"},
            {false, "1_2_3", "_", ".", 2, true, "1_2.3"},
            // However many replacements it takes: one swap a step sorts the text.
            {false, std::string(200, 'a') + std::string(200, 'b'), "ab", "ba", 0, true,
             std::string(200, 'b') + std::string(200, 'a')},
            {false, "aaab", "ab", "bba", 0, true, std::string(8, 'b') + "aaa"}, // 7 steps
            {false, "a;b", "A", "aa", 0, true, "aa;b"}, // holds the pattern: once per match
        };
    for (auto [remove, text, pattern, arg, start, changed, expected] : edits) {
        std::string unused = "#"; // a replace ignores the separator
        const bool done = remove
                              ? KLXStrProcess::removeTemplate(text, pattern, arg, start)
                              : KLXStrProcess::replaceTemplate(text, pattern, unused, arg, start);
        EXPECT_EQ(done, changed) << pattern << " -> " << expected;
        EXPECT_EQ(text, expected) << pattern;
    }
    // Whole words, the direction, letter case and a count limit.
    const std::string nuls = std::string(6, '\0') + "..", plant("\x11\0\0", 3);
    const std::string planted = std::string(2, '\0') + plant + plant;
    const std::tuple<std::string, std::string, std::string, std::string, bool, int, std::string>
        rewrites[] = {
            {"ab a_a a", "a", "", "X", false, KLX_TEMPLATE_WHOLE_WORD, "ab a_a X"},
            {"a;a;a", "a", "", "b", false, KLX_TEMPLATE_BACKWARD | 2 * KLX_TEMPLATE_MAX_COUNT_UNIT,
             "a;b;b"},
            {"x;ab;y;ab", "B", ";", "", true, KLX_TEMPLATE_MAX_COUNT_UNIT, "x;y;ab"},
            {"aXa", "A", "", "-", false, KLX_TEMPLATE_CASE_SENSITIVE, "aXa"},
            {"ab ab", "ab", "", "AB", false, KLX_TEMPLATE_WHOLE_WORD, "AB ab"}, // first repeat
            // Ignoring case a pattern that begins with a NUL matches at every
            // NUL, so a replacement that plants NULs would count in binary: it
            // is made once per match instead, with or without whole words.
            {nuls, std::string("\0\0\x06", 3), "", plant, false, KLX_TEMPLATE_BACKWARD, planted},
            {nuls, std::string("\0\0\x06", 3), "", plant, false,
             KLX_TEMPLATE_BACKWARD | KLX_TEMPLATE_WHOLE_WORD, planted},
        };
    for (auto [text, pattern, separator, replacement, wholeItem, flags, expected] : rewrites) {
        const bool changed = expected != text;
        EXPECT_EQ(
            Probe::processTemplate(text, pattern, separator, replacement, 0, wholeItem, flags),
            changed);
        EXPECT_EQ(text, expected) << pattern << " " << flags;
    }
    // Rewrites that would take for ever end all the same: "ab" -> "bba"
    // doubles the b's for every a.
    std::string text = std::string(40, 'a') + "b", pattern = "ab", none, replacement = "bba";
    EXPECT_TRUE(KLXStrProcess::replaceTemplate(text, pattern, none, replacement, 0));
}

} // namespace
