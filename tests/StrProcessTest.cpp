// Tests of KLXStrProcess: path forms, file name parts, character filters and
// the template operations, the latter also against a deliberately literal
// implementation of the search over many generated inputs.
#include "KLXStrProcess.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <stdexcept>
#include <string>
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

// ---- Literal reference ------------------------------------------------------
// Step by step as the search is defined, with signed positions, one candidate
// at a time and _strnicmp written out; slow and plain on purpose.

int referenceStrnicmp(const char* left, const char* right, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) {
        int a = static_cast<unsigned char>(left[i]);
        int b = static_cast<unsigned char>(right[i]);
        if (a >= 'A' && a <= 'Z')
            a += 32;
        if (b >= 'A' && b <= 'Z')
            b += 32;
        if (a != b)
            return a - b;
        if (a == 0)
            return 0;
    }
    return 0;
}

bool referenceWordLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// Returns -1 for no position; `start` -1 means the direction's own start.
long long referenceFind(const std::string& text, const std::string& pattern, int flags,
                        long long start = -1) {
    const long long n = static_cast<long long>(text.size());
    const long long m = static_cast<long long>(pattern.size());
    const int position = flags & 0xF;
    const bool exact = (flags & 0xF0) == 0x10;
    const bool backward = (flags & 0xF00) != 0;
    const bool word = (flags & 0xF000) == 0x1000;
    if (start < 0)
        start = backward ? n : 0;
    for (;;) {
        long long p = -1;
        if (exact) {
            std::size_t r = backward ? text.rfind(pattern, static_cast<std::size_t>(start))
                                     : text.find(pattern, static_cast<std::size_t>(start));
            if (r != std::string::npos)
                p = static_cast<long long>(r);
        } else if (!backward) {
            for (long long i = start; i <= n - m; ++i)
                if (referenceStrnicmp(text.c_str() + i, pattern.c_str(), m) == 0) {
                    p = i;
                    break;
                }
        } else {
            for (long long i = start; i >= 0; --i)
                if (i <= n - m && referenceStrnicmp(text.c_str() + i, pattern.c_str(), m) == 0) {
                    p = i;
                    break;
                }
        }
        if (p < 0)
            return -1;
        long long next = backward ? p - 1 : p + m;
        bool accepted = position == 0 ? p == 0 : position == 1 ? p == n - m : position == 2;
        if (!accepted)
            return -1;
        if (!word)
            return p;
        if ((p == 0 || !referenceWordLetter(text[p - 1])) &&
            (p >= n - m || !referenceWordLetter(text[p + m])))
            return p;
        if (m == 0 && !backward)
            next = p + 1; // a dropped empty candidate moves on
        if (backward ? next > 0 : next < n - m) {
            start = next;
            continue;
        }
        return -1;
    }
}

int referenceCount(std::string text, const std::string& pattern) {
    if (pattern.empty())
        return 0;
    int found = 0;
    for (long long p; (p = referenceFind(text, pattern, KLX_TEMPLATE_ANYWHERE)) >= 0;) {
        ++found;
        text.erase(0, static_cast<std::size_t>(p) + pattern.size());
    }
    return found;
}

bool referenceProcess(std::string& text, const std::string& pattern, const std::string& separator,
                      const std::string& replacement, int start, bool wholeItem, int flags) {
    std::string copy = text;
    if ((wholeItem && separator.empty()) || pattern.empty())
        return false;
    if (start != 0)
        copy.erase(0, static_cast<std::size_t>(start));
    const int limit = (flags & 0xF0000) >> 16;
    const bool backward = (flags & 0xF00) != 0;
    const long long m = static_cast<long long>(pattern.size());
    const bool onePass = limit == 0 && referenceFind(replacement, pattern, (flags & ~0xF) | 2) >= 0;
    const std::size_t originalLength = copy.size();
    long long resume = -1;
    std::size_t made = 0;
    for (;;) {
        long long p = referenceFind(copy, pattern, flags | 2, onePass ? resume : -1);
        if (p < 0)
            break;
        std::size_t from = static_cast<std::size_t>(p), length = pattern.size();
        if (wholeItem) {
            std::size_t b = copy.rfind(separator, from);
            if (b == std::string::npos)
                b = 0;
            std::size_t e = copy.find(separator, from);
            if (e == std::string::npos)
                e = copy.size();
            if (b != 0) {
                from = b;
                length = e - b;
            } else {
                from = 0;
                length = e + separator.size();
            }
        }
        const std::string before = copy;
        copy.replace(from, length, replacement);
        ++made;
        if (limit != 0 && made == static_cast<std::size_t>(limit))
            break;
        if (onePass) {
            if (backward && static_cast<long long>(from) < m)
                break;
            resume = backward ? static_cast<long long>(from) - m
                              : static_cast<long long>(from + replacement.size());
        } else if (copy == before) {
            break; // the next pass would repeat this one forever
        }
        if (made > (originalLength + 1) * 64)
            break;
    }
    if (made == 0)
        return false;
    text = text.substr(0, static_cast<std::size_t>(start)) + copy;
    return true;
}

// ---- Paths and characters -----------------------------------------------------

TEST(StrProcess, SwapsSeparatorsAndConvertsPathForms) {
    std::string s = "a/b\\c";
    KLXStrProcess::swapSlashes(s);
    EXPECT_EQ(s, "a\\b\\c");
    s = "a/b\\c";
    KLXStrProcess::swapBackslashes(s);
    EXPECT_EQ(s, "a/b/c");
    s = "//\\\\";
    KLXStrProcess::swapBackslashes(s);
    EXPECT_EQ(s, "////");

    s = "C:\\tools\\bin";
    KLXStrProcess::convertPath2Cygwin(s);
    EXPECT_EQ(s, "/cygdrive/C/tools/bin");
    s = "D:\\x y\\z";
    KLXStrProcess::convertPath2Cygwin(s);
    EXPECT_EQ(s, "/cygdrive/D/x y/z");
    s = "ab\\c"; // no colon: the second character goes all the same
    KLXStrProcess::convertPath2Cygwin(s);
    EXPECT_EQ(s, "/cygdrive/a/c");
    s = "c";
    KLXStrProcess::convertPath2Cygwin(s);
    EXPECT_EQ(s, "/cygdrive/c");

    s = "/cygdrive/c/tools";
    KLXStrProcess::convertPath2Windows(s);
    EXPECT_EQ(s, "c:\\tools");
    s = "/cygdrive/d/x/y";
    KLXStrProcess::convertPath2Windows(s);
    EXPECT_EQ(s, "d:\\x\\y");
    s = "C:\\x";
    KLXStrProcess::convertPath2Windows(s);
    EXPECT_EQ(s, "C::\\x");
    s = "/usr/bin";
    KLXStrProcess::convertPath2Windows(s);
    EXPECT_EQ(s, "\\:usr\\bin");
    s = "/CYGDRIVE/c"; // the prefix is matched exactly
    KLXStrProcess::convertPath2Windows(s);
    EXPECT_EQ(s, "\\:CYGDRIVE\\c");
}

TEST(StrProcess, PathConversionsThrowOnlyForNothingToConvert) {
    std::string s;
    EXPECT_THROW(KLXStrProcess::convertPath2Cygwin(s), std::out_of_range);
    s.clear();
    EXPECT_THROW(KLXStrProcess::convertPath2Windows(s), std::out_of_range);
    s = "/cygdrive/";
    EXPECT_THROW(KLXStrProcess::convertPath2Windows(s), std::out_of_range);
    EXPECT_EQ(s, ""); // the prefix was already gone

    // Every other input converts without an exception.
    std::mt19937 random(7);
    const std::string alphabet = "/\\:cygdrive ";
    for (int round = 0; round < 3000; ++round) {
        std::string in = round % 3 == 0 ? "/cygdrive/" : "";
        for (int k = static_cast<int>(random() % 6); k > 0; --k)
            in += alphabet[random() % alphabet.size()];
        std::string cyg = in, win = in;
        if (in.empty())
            EXPECT_THROW(KLXStrProcess::convertPath2Cygwin(cyg), std::out_of_range);
        else
            EXPECT_NO_THROW(KLXStrProcess::convertPath2Cygwin(cyg));
        if (in.empty() || in == "/cygdrive/")
            EXPECT_THROW(KLXStrProcess::convertPath2Windows(win), std::out_of_range);
        else
            EXPECT_NO_THROW(KLXStrProcess::convertPath2Windows(win)) << in;
    }
}

TEST(StrProcess, SplitsDirectoryAndFileName) {
    auto directory = [](std::string s) {
        KLXStrProcess::removeFileName(s);
        return s;
    };
    EXPECT_EQ(directory("C:\\a\\b.txt"), "C:\\a");
    EXPECT_EQ(directory("C:\\"), "C:");
    EXPECT_EQ(directory("name.txt"), "name.txt");
    EXPECT_EQ(directory("/usr/bin/bash"), "/usr/bin");
    EXPECT_EQ(directory("C:\\a/b"), "C:"); // a backslash wins over slashes
    EXPECT_EQ(directory(""), "");

    auto name = [](std::string s, bool removeExtension) {
        KLXStrProcess::extractFileName(s, removeExtension);
        return s;
    };
    EXPECT_EQ(name("C:\\a.d\\b.tar.gz", false), "b.tar.gz");
    EXPECT_EQ(name("C:\\a.d\\b.tar.gz", true), "b.tar");
    EXPECT_EQ(name(".profile", true), "");
    EXPECT_EQ(name("C:\\a/b", false), "a/b");
    EXPECT_EQ(name("/usr/bin/bash", false), "bash");
    EXPECT_EQ(name("C:\\dir\\", false), "");
    EXPECT_EQ(name("plain", true), "plain");
    EXPECT_EQ(name("", true), "");
}

TEST(StrProcess, FiltersCharactersAndParsesNumbers) {
    auto keep = [](std::string s, int mode) {
        KLXStrProcess::keepChars(s, mode);
        return s;
    };
    EXPECT_EQ(keep("v1.2.3b", 3), "1.2.3");
    EXPECT_EQ(keep("v1.2.3b", 19), "1.2.3b");
    EXPECT_EQ(keep("ab_CD.9", 32 | 8), "_CD");
    EXPECT_EQ(keep("1_a.G-g\xe1", 51), "1_a.");
    EXPECT_EQ(keep("aZ0._\xc1", 4), "a");
    EXPECT_EQ(keep("aZ0._\xc1", 8), "Z");
    EXPECT_EQ(keep("xyz", 64 | 128), "");
    EXPECT_EQ(keep("", 63), "");

    auto number = [](std::string s) { return KLXStrProcess::convert2Int(s); };
    EXPECT_EQ(number(" 42abc"), 42);
    EXPECT_EQ(number("abc"), 0);
    EXPECT_EQ(number("\t-17"), -17);
    EXPECT_EQ(number("+8"), 8);
    EXPECT_EQ(number(""), 0);
    EXPECT_EQ(number("99999999999"), INT_MAX);
    EXPECT_EQ(number("-99999999999"), INT_MIN);
    EXPECT_EQ(number(std::string("12\0"
                                 "3",
                                 4)),
              12);

    for (char c : std::string("azAZ09_mQ"))
        EXPECT_TRUE(KLXStrProcess::isAWordLetter(c)) << c;
    for (char c : std::string("-. @[`{/:\t\x80\xe9\xff", 14))
        EXPECT_FALSE(KLXStrProcess::isAWordLetter(c)) << static_cast<int>(c);
    EXPECT_FALSE(KLXStrProcess::isAWordLetter('\0'));
}

// ---- Template search --------------------------------------------------------------

TEST(StrProcess, FindTemplateHonoursEachField) {
    EXPECT_EQ(find("Hello World", "world", 0), kNo);
    EXPECT_EQ(find("Hello World", "world", KLX_TEMPLATE_ANYWHERE), 6u);
    EXPECT_EQ(find("Hello World", "world", KLX_TEMPLATE_ANYWHERE | KLX_TEMPLATE_CASE_SENSITIVE),
              kNo);
    EXPECT_EQ(find("export PATHX=1", "export PATH", KLX_TEMPLATE_CASE_SENSITIVE), 0u);
    EXPECT_EQ(find("hello", "HEL", 0), 0u);
    EXPECT_EQ(find("a.b.c", ".", 0x112), 3u);
    EXPECT_EQ(find("A.b.a", "a", KLX_TEMPLATE_ANYWHERE | KLX_TEMPLATE_BACKWARD), 4u);
    EXPECT_EQ(find("A.b.a", "A", 0x112), 0u);

    // Only exactly 0x10 compares case; 0x20 and 0xF0 ignore it.
    EXPECT_EQ(find("xAB", "ab", 0x22), 1u);
    EXPECT_EQ(find("xAB", "ab", 0xF2), 1u);
    EXPECT_EQ(find("xAB", "ab", 0x12), kNo);
    // Any nonzero direction searches backward.
    EXPECT_EQ(find("ab.ab", "ab", 0x202), 3u);
    EXPECT_EQ(find("ab.ab", "ab", 0xF02), 3u);
    // Only exactly 0x1000 tests for words; the count field is ignored.
    EXPECT_EQ(find("xab", "ab", 0x2002), 1u);
    EXPECT_EQ(find("xab", "ab", 0x1002), kNo);
    EXPECT_EQ(find("xab", "ab", 0xF0002), 1u);
    // Positions 3 to 15 never match.
    for (int position = 3; position <= 15; ++position)
        EXPECT_EQ(find("ab", "ab", position), kNo);

    // At the end: a forward search stops at the first occurrence when it is
    // not the last; backward finds the last one.
    EXPECT_EQ(find("ab ab", "ab", KLX_TEMPLATE_AT_END), kNo);
    EXPECT_EQ(find("ab ab", "ab", KLX_TEMPLATE_AT_END | KLX_TEMPLATE_BACKWARD), 3u);
    EXPECT_EQ(find("x ab", "AB", KLX_TEMPLATE_AT_END), 2u);
    // At the start: backward refuses the last occurrence when it is not at 0.
    EXPECT_EQ(find("ab ab", "ab", KLX_TEMPLATE_BACKWARD), kNo);
    EXPECT_EQ(find("ab", "ab", KLX_TEMPLATE_BACKWARD), 0u);

    // Whole words, and where the search looks on after a dropped candidate.
    EXPECT_EQ(find("abc ab", "ab", KLX_TEMPLATE_ANYWHERE | KLX_TEMPLATE_WHOLE_WORD), 4u);
    EXPECT_EQ(find("xab_ab", "ab", KLX_TEMPLATE_ANYWHERE | KLX_TEMPLATE_WHOLE_WORD), kNo);
    EXPECT_EQ(find("ab-ab", "ab", KLX_TEMPLATE_ANYWHERE | KLX_TEMPLATE_WHOLE_WORD), 0u);
    EXPECT_EQ(find("a\xe9"
                   "ab",
                   "ab", KLX_TEMPLATE_ANYWHERE | KLX_TEMPLATE_WHOLE_WORD),
              2u);
    // Forward goes on only while the next start is below n - m: after "a."
    // at 0 the next start 2 equals 4 - 2, although "a." at 2 is a word.
    EXPECT_EQ(find("a.a.", "a.", KLX_TEMPLATE_ANYWHERE | KLX_TEMPLATE_WHOLE_WORD), kNo);
    EXPECT_EQ(find("a.a.", "a.", 0x1102), 2u);
    // Backward goes on only while the next start is above 0: a dropped
    // candidate at 1 ends the search before the word at 0.
    EXPECT_EQ(find("..x", ".", 0x1102), kNo);
    EXPECT_EQ(find("a xa", "a", 0x1102), 0u);
    // A whole-word search at the start stops at a dropped candidate at 0.
    EXPECT_EQ(find("abc", "ab", KLX_TEMPLATE_WHOLE_WORD), kNo);
    EXPECT_EQ(find("ab c", "AB", KLX_TEMPLATE_WHOLE_WORD), 0u);
}

TEST(StrProcess, FindTemplateBoundaryInputs) {
    const int positions[] = {0, 1, 2, 7};
    const int modes[] = {0, 0x10, 0x100, 0x110, 0x1000, 0x1010, 0x1100, 0x1110};
    for (int position : positions)
        for (int mode : modes) {
            const int flags = position | mode;
            SCOPED_TRACE(flags);
            // A pattern longer than the text never matches, even when the
            // text is its prefix or the extra pattern bytes are NULs.
            EXPECT_EQ(find("ab", "abc", flags), kNo);
            EXPECT_EQ(find("ab", std::string("ab\0", 3), flags), kNo);
            EXPECT_EQ(find("", "a", flags), kNo);
            // Whatever the mode, the search ends with an empty pattern.
            unsigned int empty = find("ab c", "", flags);
            EXPECT_TRUE(empty == kNo || empty <= 4u);
        }

    // An empty pattern is found where the direction starts.
    EXPECT_EQ(find("abc", "", KLX_TEMPLATE_ANYWHERE), 0u);
    EXPECT_EQ(find("abc", "", 0x102), 3u);
    EXPECT_EQ(find("abc", "", KLX_TEMPLATE_AT_END), kNo);
    EXPECT_EQ(find("abc", "", KLX_TEMPLATE_AT_END | KLX_TEMPLATE_BACKWARD), 3u);
    EXPECT_EQ(find("", "", 0), 0u);
    // With the word test, a dropped empty candidate moves one on.
    EXPECT_EQ(find("ab c", "", 0x1002), kNo);
    EXPECT_EQ(find(" ab", "", 0x1002), 0u);
    EXPECT_EQ(find("ab ", "", 0x1102), 3u);

    // Ignoring case compares like _strnicmp: a NUL that both hold ends the
    // comparison, so what follows it is not looked at.
    const std::string withNul("x\0Ab", 4);
    EXPECT_EQ(find(withNul, std::string("\0zz", 3), KLX_TEMPLATE_ANYWHERE), 1u);
    EXPECT_EQ(find(withNul, std::string("\0zz", 3), 0x12), kNo);
    EXPECT_EQ(find(withNul, std::string("\0ab", 3), 0x12), kNo);
    EXPECT_EQ(find(withNul, std::string("\0aB", 3), 0x102), 1u);
    // Only ASCII letters fold.
    EXPECT_EQ(find("\xc9", "\xe9", KLX_TEMPLATE_ANYWHERE), kNo);
    EXPECT_EQ(find("[", "{", KLX_TEMPLATE_ANYWHERE), kNo);

    // A long text: the match far away is still found, in both directions.
    std::string big(1 << 20, 'a');
    big += "Needle";
    EXPECT_EQ(find(big, "needle", KLX_TEMPLATE_ANYWHERE), 1u << 20);
    EXPECT_EQ(find(big, "NEEDLE", 0x101), 1u << 20);
    EXPECT_EQ(find(big, "a", 0x1002), kNo);
}

TEST(StrProcess, FindTemplateMatchesLiteralReference) {
    const int positions[] = {0, 1, 2, 3, 15};
    const int cases[] = {0, 0x10, 0x20, 0xF0};
    const int directions[] = {0, 0x100, 0x800};
    const int words[] = {0, 0x1000, 0x2000};
    std::vector<int> allFlags;
    for (int p : positions)
        for (int c : cases)
            for (int d : directions)
                for (int w : words)
                    allFlags.push_back(p | c | d | w | (allFlags.size() % 3) * 0x10000);

    auto check = [&](const std::string& text, const std::string& pattern) {
        for (int flags : allFlags) {
            long long expected = referenceFind(text, pattern, flags);
            unsigned int got = find(text, pattern, flags);
            if (expected < 0)
                ASSERT_EQ(got, kNo) << "text '" << text << "' pattern '" << pattern << "' flags "
                                    << std::hex << flags;
            else
                ASSERT_EQ(got, static_cast<unsigned int>(expected))
                    << "text '" << text << "' pattern '" << pattern << "' flags " << std::hex
                    << flags;
        }
        ASSERT_EQ(count(text, pattern), referenceCount(text, pattern))
            << "text '" << text << "' pattern '" << pattern << "'";
    };

    // Every text up to four characters and pattern up to two over a small
    // alphabet of word letters, case variants and separators.
    const std::string small = "aA_.";
    std::vector<std::string> texts{""};
    for (std::size_t from = 0; texts[from].size() < 4; ++from)
        for (char c : small)
            texts.push_back(texts[from] + c);
    for (const std::string& text : texts)
        for (const std::string& pattern : texts)
            if (pattern.size() <= 2)
                check(text, pattern);

    // Random longer ones, with patterns often taken from the text.
    std::mt19937 random(12345);
    const std::string alphabet("aA_b. \0\xc1", 8);
    auto word = [&](std::size_t maxLength) {
        std::string s;
        for (std::size_t k = random() % (maxLength + 1); k > 0; --k)
            s += alphabet[random() % alphabet.size()];
        return s;
    };
    for (int round = 0; round < 4000; ++round) {
        std::string text = word(14);
        std::string pattern = word(4);
        if (round % 2 && !text.empty()) {
            std::size_t at = random() % text.size();
            pattern = text.substr(at, random() % 4);
            for (char& c : pattern)
                if (random() % 3 == 0 && c >= 'a' && c <= 'z')
                    c = static_cast<char>(c - 32);
        }
        check(text, pattern);
    }
}

TEST(StrProcess, CountsNonOverlappingOccurrences) {
    EXPECT_EQ(count("C:\\A;c:\\a", "c:\\a"), 2);
    EXPECT_EQ(count("aaaa", "aa"), 2);
    EXPECT_EQ(count("aaa", "aa"), 1);
    EXPECT_EQ(count("A.B.a", "a"), 2);
    EXPECT_EQ(count("abc", "x"), 0);
    EXPECT_EQ(count("ab", "abc"), 0);
    EXPECT_EQ(count("abc", ""), 0); // an empty pattern occurs nowhere
    EXPECT_EQ(count("", ""), 0);
}

// ---- Remove and replace ------------------------------------------------------------

TEST(StrProcess, RemovesListItems) {
    auto remove = [](std::string text, std::string pattern, std::string separator, int start,
                     int flags, bool expected) {
        bool done = KLXStrProcess::removeTemplate(text, pattern, separator, start, flags);
        EXPECT_EQ(done, expected) << text;
        return text;
    };
    EXPECT_EQ(remove("a;b;c", "b", ";", 0, 0, true), "a;c");
    EXPECT_EQ(remove("a;b;c", "a", ";", 0, 0, true), "b;c");
    EXPECT_EQ(remove("a;b;c", "c", ";", 0, 0, true), "a;b");
    EXPECT_EQ(remove("x", "x", ";", 0, 0, true), "");
    EXPECT_EQ(remove("a;bob;c", "B", ";", 0, 0, true), "a;c");
    EXPECT_EQ(remove("ab;b;cb;d", "b", ";", 0, 0, true), "d"); // every item goes
    EXPECT_EQ(remove("a;b;c", "b", ";", 2, 0, true), "a;c");
    EXPECT_EQ(remove("a;b;c", "b", ";", 4, 0, false), "a;b;c");
    EXPECT_EQ(remove("a;b;c", "b", ";", 1, 0, true), "ac");
    EXPECT_EQ(remove("a;b;c", "b", ";", 5, 0, false), "a;b;c");
    EXPECT_EQ(remove("a;b;c", "b", ";", 99, 0, false), "a;b;c");
    EXPECT_EQ(remove("a;b;c", "b", ";", -1, 0, false), "a;b;c");
    EXPECT_EQ(remove("a;b;c", "b", "", 0, 0, false), "a;b;c");
    EXPECT_EQ(remove("a;b;c", "", ";", 0, 0, false), "a;b;c");
    EXPECT_EQ(remove("a;b;c", "x", ";", 0, 0, false), "a;b;c");
    EXPECT_EQ(remove("C:\\x;;D:\\y", "x", ";;", 0, 0, true), "D:\\y");

    // The caller's flags: exact case, whole word, a count limit, at-end.
    EXPECT_EQ(remove("a;B;b", "b", ";", 0, KLX_TEMPLATE_CASE_SENSITIVE, true), "a;B");
    EXPECT_EQ(remove("bx;b;c", "b", ";", 0, KLX_TEMPLATE_WHOLE_WORD, true), "bx;c");
    EXPECT_EQ(remove("b;b;b;c", "b", ";", 0, 2 * KLX_TEMPLATE_MAX_COUNT_UNIT, true), "b;c");
    EXPECT_EQ(
        remove("a;b;b", "b", ";", 0, KLX_TEMPLATE_BACKWARD | KLX_TEMPLATE_MAX_COUNT_UNIT, true),
        "a;b");
    EXPECT_EQ(remove("a;b", "b", ";", 0, KLX_TEMPLATE_AT_END, false), "a;b");

    // The four-argument form ignores case and has no limit.
    std::string text = "x;X;y", pattern = "x", separator = ";";
    EXPECT_TRUE(KLXStrProcess::removeTemplate(text, pattern, separator, 0));
    EXPECT_EQ(text, "y");

    // A pattern that begins with the separator makes a span that removes
    // nothing; that still counts as one removal, and the operation ends.
    EXPECT_EQ(remove("a;b", ";b", ";", 0, 0, true), "a;b");
}

TEST(StrProcess, ReplacesText) {
    auto replace = [](std::string text, std::string pattern, std::string replacement, int start,
                      bool expected) {
        std::string separator = "#"; // plays no part
        bool done = KLXStrProcess::replaceTemplate(text, pattern, separator, replacement, start);
        EXPECT_EQ(done, expected) << text;
        return text;
    };
    EXPECT_EQ(replace("%P%;%P%", "%P%", "x", 0, true), "x;x");
    EXPECT_EQ(replace("%P%;%P%", "%q%", "x", 0, false), "%P%;%P%");
    EXPECT_EQ(replace("1_2_3", "_", ".", 0, true), "1.2.3");
    EXPECT_EQ(replace("1_2_3", "_", ".", 2, true), "1_2.3");
    EXPECT_EQ(replace("Hello", "L", "", 0, true), "Heo");
    EXPECT_EQ(replace("abc", "", "x", 0, false), "abc");
    EXPECT_EQ(replace("", "a", "x", 0, false), "");
    // Text made by a replacement is searched again.
    EXPECT_EQ(replace("aab", "ab", "b", 0, true), "b");
    EXPECT_EQ(replace("aaab", "ab", "ba", 0, true), "baaa");
    // A replacement that holds the pattern replaces each occurrence once.
    EXPECT_EQ(replace("a%P%b", "%P%", "x%P%y", 0, true), "ax%P%yb");
    EXPECT_EQ(replace("aXa", "x", "xX", 0, true), "axXa");
    EXPECT_EQ(replace("aa", "a", "A", 0, true), "AA");
    EXPECT_EQ(replace("a", "a", "a", 0, true), "a");
    // A rewrite that grows for ever ("ab" -> "bba" doubles the b's for each
    // a) is cut off after many replacements.
    std::string grown = replace(std::string(40, 'a') + "b", "ab", "bba", 0, true);
    EXPECT_GT(grown.size(), 41u);
    EXPECT_LT(grown.size(), 41u * 64 * 3 + 200);
    // Short such rewrites still run to their end.
    EXPECT_EQ(replace("aab", "ab", "bba", 0, true), "bbbbaa");
    // So is a length-keeping one that would pass through exponentially many
    // states: a pattern that begins with a NUL matches at every NUL when
    // case is ignored, and each replacement plants new NULs after it.
    std::string nuls = std::string(60, '\0') + "..";
    std::string nulPattern("\0\0\x06", 3), nulReplacement("\x11\0\0", 3), none;
    EXPECT_TRUE(Probe::processTemplate(nuls, nulPattern, none, nulReplacement, 0, false,
                                       KLX_TEMPLATE_BACKWARD));
    EXPECT_EQ(nuls.size(), 62u);

    // processTemplate under the caller's flags with a replacement.
    std::string text = "ab AB ab", pattern = "ab", separator, replacement = "[ab]";
    EXPECT_TRUE(Probe::processTemplate(text, pattern, separator, replacement, 0, false,
                                       KLX_TEMPLATE_CASE_SENSITIVE | KLX_TEMPLATE_BACKWARD));
    EXPECT_EQ(text, "[ab] AB [ab]");
    text = "ab ab ab";
    replacement = "x";
    EXPECT_TRUE(Probe::processTemplate(text, pattern, separator, replacement, 0, false,
                                       KLX_TEMPLATE_BACKWARD | 2 * KLX_TEMPLATE_MAX_COUNT_UNIT));
    EXPECT_EQ(text, "ab x x");
}

TEST(StrProcess, RemoveAndReplaceMatchLiteralReference) {
    std::mt19937 random(777);
    const std::string alphabet = "aA_b;. ";
    auto word = [&](std::size_t maxLength) {
        std::string s;
        for (std::size_t k = random() % (maxLength + 1); k > 0; --k)
            s += alphabet[random() % alphabet.size()];
        return s;
    };
    const int flagChoices[] = {0, 0x10, 0x100, 0x1000, 0x1110, 0x20000, 0x30110, 0x1, 0x2, 0xF1F2};
    for (int round = 0; round < 20000; ++round) {
        std::string text = word(12);
        std::string pattern = round % 2 && !text.empty()
                                  ? text.substr(random() % text.size(), 1 + random() % 3)
                                  : word(3);
        std::string separator = random() % 4 ? std::string(1, ";. "[random() % 3]) : word(2);
        std::string replacement = word(4);
        int start = static_cast<int>(random() % 16) - 2;
        bool wholeItem = random() % 2;
        int flags = flagChoices[random() % (sizeof flagChoices / sizeof flagChoices[0])];
        if (wholeItem)
            replacement.clear();

        std::string expected = text, got = text;
        bool expectedResult =
            referenceProcess(expected, pattern, separator, replacement, start, wholeItem, flags);
        bool gotResult;
        ASSERT_NO_THROW(gotResult = Probe::processTemplate(got, pattern, separator, replacement,
                                                           start, wholeItem, flags));
        ASSERT_EQ(gotResult, expectedResult);
        ASSERT_EQ(got, expected) << "text '" << text << "' pattern '" << pattern << "' sep '"
                                 << separator << "' repl '" << replacement << "' start " << start
                                 << " whole " << wholeItem << " flags " << std::hex << flags;
    }
}

} // namespace
