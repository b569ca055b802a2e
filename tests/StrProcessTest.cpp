// Tests of KLXStrProcess: worked examples of each operation family as tables,
// and the template operations against a deliberately literal implementation
// over many generated inputs.
#include "KLXStrProcess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace {

constexpr unsigned int kNo = KLXStrProcess::npos;

struct Probe : KLXStrProcess {
    using KLXStrProcess::processTemplate;
};

unsigned int find(std::string text, std::string pattern, int flags) {
    return KLXStrProcess::findTemplate(text, pattern, flags);
}

int count(std::string text, std::string pattern) {
    return KLXStrProcess::countTemplate(text, pattern);
}

// Every string over `alphabet` of up to `maxLength` characters.
std::vector<std::string> allStrings(const std::string& alphabet, std::size_t maxLength) {
    std::vector<std::string> out{""};
    for (std::size_t from = 0; out[from].size() < maxLength; ++from)
        for (char c : alphabet)
            out.push_back(out[from] + c);
    return out;
}

std::string randomString(std::mt19937& random, const std::string& alphabet, std::size_t maxLength) {
    std::string s;
    for (std::size_t k = random() % (maxLength + 1); k > 0; --k)
        s += alphabet[random() % alphabet.size()];
    return s;
}

// ---- Literal reference ------------------------------------------------------
// Step by step as the operations are defined, with signed positions, one
// candidate at a time and _strnicmp written out; slow and plain on purpose.

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

// Returns -1 for no position; `start` -1 means the direction's own start.
long long referenceFind(const std::string& text, const std::string& pattern, int flags,
                        long long start = -1) {
    const long long n = text.size(), m = pattern.size();
    const int position = flags & 0xF;
    const bool exact = (flags & 0xF0) == 0x10, backward = (flags & 0xF00) != 0;
    if (start < 0)
        start = backward ? n : 0;
    for (;;) {
        // The first (last) index from the start on where the pattern lies.
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
        // A dropped empty candidate moves the forward search one on.
        start = backward ? p - 1 : p + std::max(m, 1LL);
        if (backward ? start <= 0 : start >= n - m)
            return -1;
    }
}

// What the operation gives when the literal rewrite below never ends: a
// rewrite that runs away lengthening the text only has to end.
const std::string kRunsAway = "<runs away>";

bool referenceProcess(std::string& text, const std::string& pattern, const std::string& separator,
                      const std::string& replacement, int start, bool wholeItem, int flags) {
    if ((wholeItem && separator.empty()) || pattern.empty())
        return false;
    std::string copy = text;
    copy.erase(0, static_cast<std::size_t>(start));
    const long long m = pattern.size(), limit = (flags & 0xF0000) >> 16;
    const bool backward = (flags & 0xF00) != 0;
    // This library's choices for rewrites that would never end: without the
    // whole-word test, a replacement that holds the pattern is made once per
    // occurrence in a single pass; otherwise the rewrite stops at the first
    // text that comes back.
    const bool onePass = limit == 0 && (flags & 0xF000) != 0x1000 &&
                         referenceFind(replacement, pattern, (flags & ~0xF) | 2) >= 0;
    std::set<std::string> seen{copy};
    long long made = 0;
    for (long long resume = -1;;) {
        long long from = referenceFind(copy, pattern, flags | 2, onePass ? resume : -1), length = m;
        if (from < 0)
            break;
        if (wholeItem) {
            const std::size_t b = copy.rfind(separator, from), e = copy.find(separator, from);
            from = b == std::string::npos ? 0 : b;
            length = (e == std::string::npos ? copy.size() : e) - from;
            if (from == 0)
                length += separator.size();
        }
        copy.replace(from, length, replacement);
        if (++made == limit || (onePass && backward && from < m))
            break;
        if (!onePass && limit == 0 && !seen.insert(copy).second)
            break;
        if (made > 100000 || copy.size() > 4000) {
            text = kRunsAway;
            return true;
        }
        resume = backward ? from - m : from + replacement.size();
    }
    if (made != 0)
        text = text.substr(0, static_cast<std::size_t>(start)) + copy;
    return made != 0;
}

// ---- Paths and characters -----------------------------------------------------

TEST(StrProcess, ConvertsPathsAndSplitsFileNames) {
    using Op = void (*)(std::string&);
    const Op cyg = KLXStrProcess::convertPath2Cygwin, win = KLXStrProcess::convertPath2Windows;
    const std::tuple<Op, std::string, std::string> conversions[] = {
        {KLXStrProcess::swapSlashes, "a/b\\c", "a\\b\\c"},
        {KLXStrProcess::swapBackslashes, "a/b\\c", "a/b/c"},
        {cyg, "C:\\tools\\bin", "/cygdrive/C/tools/bin"},
        {cyg, "D:\\x y\\z", "/cygdrive/D/x y/z"},
        {cyg, "ab\\c", "/cygdrive/a/c"}, // no colon: the second character goes all the same
        {cyg, "c", "/cygdrive/c"},
        {win, "/cygdrive/c/tools", "c:\\tools"},
        {win, "/cygdrive/d/x/y", "d:\\x\\y"},
        {win, "/cygdrive/d", "d:"},
        {win, "C:\\x", "C::\\x"},
        {win, "/usr/bin", "\\:usr\\bin"},
        {win, "/CYGDRIVE/c", "\\:CYGDRIVE\\c"}, // the prefix is matched exactly
    };
    for (auto [op, path, expected] : conversions) {
        op(path);
        EXPECT_EQ(path, expected);
    }
    // Nothing to convert: the string's own range check throws.
    std::string s;
    EXPECT_THROW(KLXStrProcess::convertPath2Cygwin(s), std::out_of_range);
    EXPECT_THROW(KLXStrProcess::convertPath2Windows(s), std::out_of_range);
    s = "/cygdrive/";
    EXPECT_THROW(KLXStrProcess::convertPath2Windows(s), std::out_of_range);
    EXPECT_EQ(s, ""); // the prefix was already gone

    // Path, and its directory | file name | file name without extension.
    const char* parts[][2] = {
        {"C:\\a\\b.txt", "C:\\a|b.txt|b"},
        {"C:\\a.d\\b.tar.gz", "C:\\a.d|b.tar.gz|b.tar"},
        {"C:\\", "C:||"},
        {"/usr/bin/bash", "/usr/bin|bash|bash"},
        {"C:\\a/b", "C:|a/b|a/b"},
        {"name.txt", "name.txt|name.txt|name"},
        {".profile", ".profile|.profile|"},
    };
    for (const auto& row : parts) {
        std::string dir = row[0], name = row[0], stem = row[0];
        KLXStrProcess::removeFileName(dir);
        KLXStrProcess::extractFileName(name, false);
        KLXStrProcess::extractFileName(stem, true);
        EXPECT_EQ(dir + "|" + name + "|" + stem, row[1]) << row[0];
    }
}

TEST(StrProcess, FiltersCharactersAndParsesNumbers) {
    const std::tuple<std::string, int, std::string> kept[] = {
        {"v1.2.3b", 3, "1.2.3"},     {"v1.2.3b", 19, "1.2.3b"}, {"ab_CD.9", 32 | 8, "_CD"},
        {"1_a.G-g\xe1", 51, "1_a."}, {"aZ0._\xc1", 4, "a"},     {"aZ0._\xc1", 8, "Z"},
        {"xyz", 64 | 128, ""},
    };
    for (auto [text, mode, expected] : kept) {
        KLXStrProcess::keepChars(text, mode);
        EXPECT_EQ(text, expected) << mode;
    }
    const std::tuple<std::string, int> numbers[] = {
        {" 42abc", 42},
        {"abc", 0},
        {"\t-17", -17},
        {"+8", 8},
        {"", 0},
        {"99999999999", INT_MAX},
        {"-99999999999", INT_MIN},
    };
    for (auto [text, expected] : numbers)
        EXPECT_EQ(KLXStrProcess::convert2Int(text), expected) << text;
    for (int c = CHAR_MIN; c <= CHAR_MAX; ++c)
        EXPECT_EQ(KLXStrProcess::isAWordLetter(static_cast<char>(c)),
                  referenceWordLetter(static_cast<char>(c)))
            << c;
}

// ---- Template search --------------------------------------------------------------

TEST(StrProcess, FindsAndCountsWorkedExamples) {
    const int anywhere = KLX_TEMPLATE_ANYWHERE, word = KLX_TEMPLATE_WHOLE_WORD;
    const std::tuple<std::string, std::string, int, unsigned int> finds[] = {
        {"Hello World", "world", 0, kNo}, // not at index 0
        {"Hello World", "world", anywhere, 6},
        {"Hello World", "world", anywhere | KLX_TEMPLATE_CASE_SENSITIVE, kNo},
        {"export PATHX=1", "export PATH", KLX_TEMPLATE_CASE_SENSITIVE, 0}, // no word end needed
        {"abc ab", "ab", anywhere | word, 4},   // the candidate at 0 touches 'c'
        {"xab_ab", "ab", anywhere | word, kNo}, // '_' is a word letter
        {"a.b.c", ".", 0x112, 3},
        {"A.b.a", "a", anywhere | KLX_TEMPLATE_BACKWARD, 4},
        {"ab ab", "ab", KLX_TEMPLATE_AT_END, kNo}, // forward stops at the first occurrence
        {"ab ab", "ab", KLX_TEMPLATE_AT_END | KLX_TEMPLATE_BACKWARD, 3},
    };
    for (auto [text, pattern, flags, expected] : finds)
        EXPECT_EQ(find(text, pattern, flags), expected) << text << " / " << pattern;
    EXPECT_EQ(count("C:\\A;c:\\a", "c:\\a"), 2);
    EXPECT_EQ(count("aaaa", "aa"), 2); // occurrences never overlap
    EXPECT_EQ(count("A.B.a", "a"), 2);
}

TEST(StrProcess, FindAndCountMatchLiteralReference) {
    // Position, case, direction and word values that differ in meaning, with
    // a count field that must be ignored.
    std::vector<int> allFlags;
    for (int p : {0, 1, 2, 3, 15})
        for (int c : {0, 0x10, 0x20, 0xF0})
            for (int d : {0, 0x100, 0x800})
                for (int w : {0, 0x1000, 0x2000})
                    allFlags.push_back(p | c | d | w | (p + w) % 3 * 0x10000);
    auto check = [&](const std::string& text, const std::string& pattern) {
        if (::testing::Test::HasFailure())
            return; // one report is enough
        for (int flags : allFlags) {
            const long long expected = referenceFind(text, pattern, flags);
            ASSERT_EQ(find(text, pattern, flags), expected < 0 ? kNo : unsigned(expected))
                << "text '" << text << "' pattern '" << pattern << "' flags " << std::hex << flags;
        }
        // Count on a copy that loses each match and what precedes it.
        std::string rest = text;
        int expected = 0;
        for (long long at; !pattern.empty() && (at = referenceFind(rest, pattern, 2)) >= 0;
             ++expected)
            rest.erase(0, static_cast<std::size_t>(at) + pattern.size());
        ASSERT_EQ(count(text, pattern), expected)
            << "text '" << text << "' pattern '" << pattern << "'";
    };
    // Every short text and pattern over word letters in both cases, a
    // separator and a NUL, which ends a comparison ignoring case when both
    // sides hold one.
    for (const std::string& text : allStrings(std::string("aA_.\0", 5), 4))
        for (const std::string& pattern : allStrings(std::string("aA_.\0", 5), 2))
            check(text, pattern);
    // Longer texts with bytes that must not fold into each other, and
    // patterns taken from them with their case changed.
    std::mt19937 random(12345);
    for (int round = 0; round < 4000; ++round) {
        const std::string text = randomString(random, std::string("aA_b. \0\xc1\xe1[{", 11), 14);
        std::string pattern = text.substr(random() % (text.size() + 1), random() % 5);
        for (char& c : pattern)
            if (c >= 'a' && c <= 'z' && random() % 2 == 0)
                c -= 32;
        check(text, pattern);
    }
}

// ---- Remove and replace ------------------------------------------------------------

TEST(StrProcess, RemovesListItemsAndReplacesText) {
    enum Op { Remove, RemoveWithFlags, Replace };
    // `arg` is the separator of a removal and the replacement of a replace.
    const std::tuple<Op, std::string, std::string, std::string, int, int, bool, std::string>
        edits[] = {
            {Remove, "a;b;c", "b", ";", 0, 0, true, "a;c"},
            {Remove, "a;b;c", "a", ";", 0, 0, true, "b;c"},
            {Remove, "a;b;c", "c", ";", 0, 0, true, "a;b"},
            {Remove, "x", "x", ";", 0, 0, true, ""},
            {Remove, "a;bob;c", "B", ";", 0, 0, true, "a;c"},
            {Remove, "a;b;c", "b", ";", 2, 0, true, "a;c"},
            {Remove, "a;b;c", "b", ";", 4, 0, false, "a;b;c"},
            {Remove, "a;b;c", "b", ";", 1, 0, true, "ac"}, // ';b;c' makes the span ';b;'
            {Remove, "a;b;c", "b", "", 0, 0, false, "a;b;c"},
            {Remove, "a;b;c", "", ";", 0, 0, false, "a;b;c"},
            {RemoveWithFlags, "a;B;b", "b", ";", 0, KLX_TEMPLATE_CASE_SENSITIVE, true, "a;B"},
            {RemoveWithFlags, "a;b", "b", ";", 0, KLX_TEMPLATE_AT_END, false, "a;b"},
            {Replace, "%P%;%P%", "%P%", "x", 0, 0, true, "x;x"},
            {Replace, "%P%;%P%", "%q%", "x", 0, 0, false, "%P%;%P%"},
            {Replace, "1_2_3", "_", ".", 2, 0, true, "1_2.3"},
            {Replace, "Hello", "L", "", 0, 0, true, "Heo"},
            {Replace, "aab", "ab", "b", 0, 0, true, "b"}, // replaced text is searched again
            {Replace, "aab", "ab", "bba", 0, 0, true, "bbbbaa"},
            // However many replacements it takes: one swap a step sorts the text.
            {Replace, std::string(200, 'a') + std::string(200, 'b'), "ab", "ba", 0, 0, true,
             std::string(200, 'b') + std::string(200, 'a')},
            // Would never end: a replacement that holds the pattern is made once
            // per occurrence; otherwise the first text that comes back stays.
            {Replace, "a%P%b", "%P%", "x%P%y", 0, 0, true, "ax%P%yb"},
            {Replace, "aa", "a", "A", 0, 0, true, "AA"},
            {Replace, "a", "a", "a", 0, 0, true, "a"},
            {Remove, "a;b", ";b", ";", 0, 0, true, "a;b"},
        };
    for (auto [op, text, pattern, arg, start, flags, changed, expected] : edits) {
        std::string unused = "#"; // a replace ignores the separator
        const bool done =
            op == Replace  ? KLXStrProcess::replaceTemplate(text, pattern, unused, arg, start)
            : op == Remove ? KLXStrProcess::removeTemplate(text, pattern, arg, start)
                           : KLXStrProcess::removeTemplate(text, pattern, arg, start, flags);
        EXPECT_EQ(done, changed) << pattern << " -> " << expected;
        EXPECT_EQ(text, expected) << pattern;
    }
    // Rewrites that would take for ever end all the same: "ab" -> "bba"
    // doubles the b's for every a, and a pattern that begins with a NUL
    // matches at every NUL when case is ignored, so that a replacement which
    // plants NULs counts through exponentially many texts of one length.
    std::string text = std::string(40, 'a') + "b", pattern = "ab", none, replacement = "bba";
    EXPECT_TRUE(KLXStrProcess::replaceTemplate(text, pattern, none, replacement, 0));
    text = std::string(60, '\0') + "..";
    pattern.assign("\0\0\x06", 3);
    replacement.assign("\x11\0\0", 3);
    EXPECT_TRUE(
        Probe::processTemplate(text, pattern, none, replacement, 0, false, KLX_TEMPLATE_BACKWARD));
    EXPECT_EQ(text.size(), 62u);
}

TEST(StrProcess, RemoveAndReplaceMatchLiteralReference) {
    std::mt19937 random(777);
    const std::string alphabet = "aA_b;. ";
    const int flagChoices[] = {0, 0x10, 0x100, 0x1000, 0x1110, 0x20000, 0x30110, 0x1, 0x2, 0xF1F2};
    for (int round = 0; round < 20000; ++round) {
        std::string text = randomString(random, alphabet, 12);
        std::string pattern = round % 2
                                  ? text.substr(random() % (text.size() + 1), 1 + random() % 3)
                                  : randomString(random, alphabet, 3);
        std::string separator =
            random() % 4 ? std::string(1, ";. "[random() % 3]) : randomString(random, alphabet, 2);
        const bool wholeItem = random() % 2;
        // Replacements often hold the pattern, which the search may find again.
        std::string replacement = wholeItem ? ""
                                            : randomString(random, alphabet, 2) +
                                                  (random() % 2 ? pattern : "") +
                                                  randomString(random, alphabet, 2);
        const int start = static_cast<int>(random() % 16) - 2;
        const int flags = flagChoices[random() % 10];
        std::string want = text, got = text;
        const bool wanted =
            referenceProcess(want, pattern, separator, replacement, start, wholeItem, flags);
        const bool done =
            Probe::processTemplate(got, pattern, separator, replacement, start, wholeItem, flags);
        ASSERT_TRUE(done == wanted && (got == want || want == kRunsAway))
            << text << " | " << pattern << " | " << separator << " | " << replacement << " | "
            << start << wholeItem << std::hex << flags << ": " << got << " | " << want;
    }
}

} // namespace
