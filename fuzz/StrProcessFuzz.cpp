// Fuzzes the string operations: every one must end without crashing, throw
// nothing but the path conversions' std::out_of_range for empty paths, and
// findTemplate must only report real matches under its flags.
//
// Input layout: 4 bytes of flags, 1 byte start, 3 length bytes for the
// pattern, separator and replacement (taken after the text, up to 64 bytes
// each), then the text.
#include "FuzzSupport.h"
#include "KLXStrProcess.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

namespace {

struct Probe : KLXStrProcess {
    using KLXStrProcess::processTemplate;
};

// The search, the count, the filters and the path operations take the text
// up to 16 KB, the size of long lists and files' lines; the removals and replacements its first 200
// bytes, where even the rewrites that would run for ever end within a second in a sanitized build.
constexpr std::size_t kMaxRewritten = 200;
constexpr std::size_t kMaxText = 16 * 1024;
constexpr std::size_t kMaxPart = 64;

bool wordLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

int foldByte(unsigned char c) {
    return (c >= 'A' && c <= 'Z') ? c + ('a' - 'A') : c;
}

// Whether `at` is an acceptable result of findTemplate under `flags`.
bool isRealMatch(const std::string& text, const std::string& pattern, int flags, std::size_t at) {
    const std::size_t n = text.size(), m = pattern.size();
    if (m > n || at > n - m)
        return false;
    const int position = flags & 0xF;
    if (position > 2 || (position == 0 && at != 0) || (position == 1 && at != n - m))
        return false;
    if ((flags & 0xF0) == 0x10) {
        if (m != 0 && std::memcmp(text.data() + at, pattern.data(), m) != 0)
            return false;
    } else {
        for (std::size_t i = 0; i < m; ++i) {
            int a = foldByte(static_cast<unsigned char>(text[at + i]));
            if (a != foldByte(static_cast<unsigned char>(pattern[i])))
                return false;
            if (a == 0)
                break; // a NUL on both sides ends the comparison
        }
    }
    if ((flags & 0xF000) == 0x1000) {
        if (at > 0 && wordLetter(text[at - 1]))
            return false;
        if (at < n - m && wordLetter(text[at + m]))
            return false;
    }
    return true;
}

void checkFind(std::string text, std::string pattern, int flags) {
    const std::string textBefore = text, patternBefore = pattern;
    unsigned int at = KLXStrProcess::findTemplate(text, pattern, flags);
    KLX_FUZZ_CHECK(text == textBefore && pattern == patternBefore);
    KLX_FUZZ_CHECK(at == KLXStrProcess::npos || isRealMatch(text, pattern, flags, at));
}

void checkPaths(const std::string& path) {
    std::string s = path;
    KLXStrProcess::swapSlashes(s);
    KLX_FUZZ_CHECK(s.find('/') == std::string::npos && s.size() == path.size());
    s = path;
    KLXStrProcess::swapBackslashes(s);
    KLX_FUZZ_CHECK(s.find('\\') == std::string::npos && s.size() == path.size());

    s = path;
    try {
        KLXStrProcess::convertPath2Cygwin(s);
        KLX_FUZZ_CHECK(!path.empty());
    } catch (const std::out_of_range&) {
        KLX_FUZZ_CHECK(path.empty());
    }
    s = path;
    const bool emptyRest = path.empty() || path == "/cygdrive/";
    try {
        KLXStrProcess::convertPath2Windows(s);
        KLX_FUZZ_CHECK(!emptyRest);
    } catch (const std::out_of_range&) {
        KLX_FUZZ_CHECK(emptyRest);
    }

    s = path;
    KLXStrProcess::removeFileName(s);
    KLX_FUZZ_CHECK(s.size() <= path.size() && path.compare(0, s.size(), s) == 0);
    for (bool removeExtension : {false, true}) {
        s = path;
        KLXStrProcess::extractFileName(s, removeExtension);
        KLX_FUZZ_CHECK(s.size() <= path.size());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 8)
        return 0;
    int flags = 0;
    std::memcpy(&flags, data, sizeof flags);
    const int start = static_cast<std::int8_t>(data[4]);
    const std::size_t patternLength = data[5] % (kMaxPart + 1);
    const std::size_t separatorLength = data[6] % (kMaxPart + 1);
    const std::size_t replacementLength = data[7] % (kMaxPart + 1);
    data += 8;
    size -= 8;

    const std::size_t partsLength = patternLength + separatorLength + replacementLength;
    if (partsLength > size)
        return 0;
    const char* bytes = reinterpret_cast<const char*>(data);
    const std::size_t textLength = size - partsLength;
    if (textLength > kMaxText)
        return 0;
    const std::string whole(bytes, textLength);
    const std::string text = whole.substr(0, kMaxRewritten);
    std::string pattern(bytes + textLength, patternLength);
    std::string separator(bytes + textLength + patternLength, separatorLength);
    std::string replacement(bytes + textLength + patternLength + separatorLength,
                            replacementLength);

    checkFind(whole, pattern, flags);
    // The same search under the other directions and positions.
    checkFind(whole, pattern, flags ^ 0x100);
    checkFind(whole, pattern, (flags & ~0xF) | 2);
    checkFind(whole, pattern, flags & ~0xF);
    checkFind(whole, pattern, (flags & ~0xF) | 1);

    std::string t = whole;
    KLX_FUZZ_CHECK(KLXStrProcess::countTemplate(t, pattern) >= 0);

    t = text;
    bool removed = KLXStrProcess::removeTemplate(t, pattern, separator, start, flags);
    KLX_FUZZ_CHECK(removed || t == text);
    // The first `start` characters never change.
    const std::size_t kept = start > 0 ? std::min(static_cast<std::size_t>(start), text.size()) : 0;
    KLX_FUZZ_CHECK(t.compare(0, kept, text, 0, kept) == 0);
    t = text;
    bool replaced = KLXStrProcess::replaceTemplate(t, pattern, separator, replacement, start);
    KLX_FUZZ_CHECK(replaced || t == text);
    t = text;
    Probe::processTemplate(t, pattern, separator, replacement, start, false, flags);

    t = whole;
    KLXStrProcess::keepChars(t, flags);
    KLX_FUZZ_CHECK(t.size() <= whole.size());
    t = whole;
    KLXStrProcess::convert2Int(t);

    checkPaths(whole);
    return 0;
}
