// Template operations: the flag-driven search and the count, remove and
// replace operations built on it.
//
// findTemplate runs once per line in the text files' line search, over files
// of a million lines, so the search works on views of the caller's strings,
// allocates nothing, decides the common anchored cases directly and skips to
// candidate positions before comparing.
#include "KLXStrProcess.h"

#include "platform/common/AsciiText.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

constexpr std::size_t kNoPos = std::string_view::npos;

inline unsigned char foldByte(unsigned char c) {
    return static_cast<unsigned char>(klx::platform::foldAscii(static_cast<char>(c)));
}

// The decoded template flags applied to one text and pattern.
struct TemplateSearch {
    std::string_view text;
    std::string_view pattern;
    int position;   // 0 at start, 1 at end, 2 anywhere, 3..15 never
    bool exactCase; // only for a case field of exactly 0x10
    bool backward;  // any nonzero direction field
    bool wholeWord; // only for a word field of exactly 0x1000

    TemplateSearch(std::string_view text, std::string_view pattern, int flags)
        : text(text), pattern(pattern), position(flags & KLX_TEMPLATE_POSITION_MASK),
          exactCase((flags & KLX_TEMPLATE_CASE_MASK) == KLX_TEMPLATE_CASE_SENSITIVE),
          backward((flags & KLX_TEMPLATE_DIRECTION_MASK) != 0),
          wholeWord((flags & KLX_TEMPLATE_WORD_MASK) == KLX_TEMPLATE_WHOLE_WORD) {}

    std::size_t initialStart() const { return backward ? text.size() : 0; }

    // Whether the pattern lies at `at`; the caller ensures that it fits. The
    // case-insensitive comparison is _strnicmp's, which stops at a NUL that
    // both sides hold.
    bool matchesAt(std::size_t at) const {
        const std::size_t m = pattern.size();
        if (exactCase)
            return m == 0 || std::memcmp(text.data() + at, pattern.data(), m) == 0;
        return klx::platform::compareNoCase(text.data() + at, pattern.data(), m) == 0;
    }

    bool isWholeWordAt(std::size_t at) const {
        const std::size_t n = text.size(), m = pattern.size();
        return (at == 0 || !KLXStrProcess::isAWordLetter(text[at - 1])) &&
               (at >= n - m || !KLXStrProcess::isAWordLetter(text[at + m]));
    }

    // First index at or after `from` where the pattern lies, ignoring case.
    std::size_t nextNoCase(std::size_t from) const {
        const std::size_t n = text.size(), m = pattern.size();
        if (m > n)
            return kNoPos;
        const std::size_t last = n - m;
        if (m == 0)
            return from <= last ? from : kNoPos;
        const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
        const unsigned char first = foldByte(static_cast<unsigned char>(pattern[0]));
        const bool letter = first >= 'a' && first <= 'z';
        for (std::size_t i = from; i <= last; ++i) {
            if (letter) {
                while (i <= last && foldByte(bytes[i]) != first)
                    ++i;
                if (i > last)
                    break;
            } else {
                // A byte that has no other case: memchr finds it fastest.
                const void* hit = std::memchr(bytes + i, first, last - i + 1);
                if (!hit)
                    break;
                i = static_cast<std::size_t>(static_cast<const unsigned char*>(hit) - bytes);
            }
            if (matchesAt(i))
                return i;
        }
        return kNoPos;
    }

    // Last index at or before `from` where the pattern lies, ignoring case.
    std::size_t previousNoCase(std::size_t from) const {
        const std::size_t n = text.size(), m = pattern.size();
        if (m > n)
            return kNoPos;
        std::size_t i = std::min(from, n - m);
        if (m == 0)
            return i;
        const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
        const unsigned char first = foldByte(static_cast<unsigned char>(pattern[0]));
        for (;;) {
            if (foldByte(bytes[i]) == first && matchesAt(i))
                return i;
            if (i == 0)
                return kNoPos;
            --i;
        }
    }

    std::size_t candidateFrom(std::size_t from) const {
        if (exactCase)
            return backward ? text.rfind(pattern, from) : text.find(pattern, from);
        return backward ? previousNoCase(from) : nextNoCase(from);
    }

    // The search proper, from a start position: take the next candidate, let
    // the position field accept or refuse it, and with the whole-word test
    // look further while the continuation rules allow.
    std::size_t findFrom(std::size_t start) const {
        const std::size_t n = text.size(), m = pattern.size();
        if (position > KLX_TEMPLATE_ANYWHERE)
            return kNoPos; // 3 to 15 refuse every candidate
        for (;;) {
            const std::size_t at = candidateFrom(start);
            if (at == kNoPos)
                return kNoPos;
            // A candidate exists, so m <= n and n - m does not wrap.
            if (position == KLX_TEMPLATE_AT_START && at != 0)
                return kNoPos;
            if (position == KLX_TEMPLATE_AT_END && at != n - m)
                return kNoPos;
            if (!wholeWord || isWholeWordAt(at))
                return at;
            if (backward) {
                if (at <= 1)
                    return kNoPos;
                start = at - 1;
            } else {
                // An empty candidate that is dropped moves the search one
                // position on; staying would find it again forever.
                const std::size_t next = at + (m == 0 ? 1 : m);
                if (next >= n - m)
                    return kNoPos;
                start = next;
            }
        }
    }

    std::size_t find() const {
        const std::size_t n = text.size(), m = pattern.size();
        // Anchored cases decided directly. Forward at the start: the first
        // candidate is accepted only at 0, and a dropped one leaves only later
        // candidates, which the position refuses. Backward at the end: the
        // last candidate is at n - m exactly when the pattern lies there.
        if (position == KLX_TEMPLATE_AT_START && !backward) {
            if (m > n || !matchesAt(0) || (wholeWord && !isWholeWordAt(0)))
                return kNoPos;
            return 0;
        }
        if (position == KLX_TEMPLATE_AT_END && backward) {
            if (m > n || !matchesAt(n - m) || (wholeWord && !isWholeWordAt(n - m)))
                return kNoPos;
            return n - m;
        }
        return findFrom(initialStart());
    }
};

unsigned int toResult(std::size_t at) {
    return at == kNoPos ? KLXStrProcess::npos : static_cast<unsigned int>(at);
}

} // namespace

unsigned int KLXStrProcess::findTemplate(std::string& text, std::string& pattern, int flags) {
    return toResult(TemplateSearch(text, pattern, flags).find());
}

int KLXStrProcess::countTemplate(std::string& text, std::string& pattern) {
    // An empty pattern occurs nowhere, as in the other template operations.
    if (pattern.empty())
        return 0;
    // Searching on from the end of each match is the same as cutting the
    // matched prefix off a copy and searching again, without the copies.
    const TemplateSearch search(text, pattern, KLX_TEMPLATE_ANYWHERE);
    int count = 0;
    std::size_t at = search.nextNoCase(0);
    while (at != kNoPos) {
        ++count;
        at = search.nextNoCase(at + pattern.size());
    }
    return count;
}

bool KLXStrProcess::replaceTemplate(std::string& text, std::string& pattern, std::string& separator,
                                    std::string& replacement, int start) {
    return processTemplate(text, pattern, separator, replacement, start, false, 0);
}

bool KLXStrProcess::removeTemplate(std::string& text, std::string& pattern, std::string& separator,
                                   int start) {
    return removeTemplate(text, pattern, separator, start, 0);
}

bool KLXStrProcess::removeTemplate(std::string& text, std::string& pattern, std::string& separator,
                                   int start, int flags) {
    std::string nothing;
    return processTemplate(text, pattern, separator, nothing, start, true, flags);
}

bool KLXStrProcess::processTemplate(std::string& text, std::string& pattern, std::string& separator,
                                    std::string& replacement, int start, bool wholeItem,
                                    int flags) {
    if ((wholeItem && separator.empty()) || pattern.empty())
        return false;
    // The first `start` characters take no part; a start outside the text
    // leaves nothing to search.
    if (start < 0 || static_cast<std::size_t>(start) >= text.size())
        return false;
    std::string copy = text.substr(static_cast<std::size_t>(start));

    // The position is forced to anywhere; a caller's at-end becomes 3, which
    // never matches.
    const int searchFlags = flags | KLX_TEMPLATE_ANYWHERE;
    const unsigned limit =
        static_cast<unsigned>(flags & KLX_TEMPLATE_MAX_COUNT_MASK) / KLX_TEMPLATE_MAX_COUNT_UNIT;
    const std::size_t m = pattern.size();

    // Each pass normally searches the whole copy again, so that text made by
    // a replacement can match once more. A replacement that itself holds the
    // pattern would be found again on every pass, so without a count limit
    // each occurrence is replaced once, in one pass that goes on after the
    // inserted text: "a%P%b" with "%P%" -> "x%P%y" gives "ax%P%yb".
    const int containFlags = (flags & ~KLX_TEMPLATE_POSITION_MASK) | KLX_TEMPLATE_ANYWHERE;
    const bool onePass =
        limit == 0 && TemplateSearch(replacement, pattern, containFlags).find() != kNoPos;
    const bool backward = (flags & KLX_TEMPLATE_DIRECTION_MASK) != 0;

    // Rewrites whose output meets its surroundings to form new matches can
    // run for ever or nearly so: replacing "ab" by "bba" doubles the b's for
    // every a, and length-keeping rewrites can count through exponentially
    // many states. Rewrites that shrink the copy end within its length, so a
    // generous bound on the number of replacements stops only the runaway
    // ones.
    const std::size_t replacementBound = (copy.size() + 1) * 64;

    std::size_t resume = backward ? copy.size() : 0;
    std::size_t replacements = 0;
    for (;;) {
        const TemplateSearch search(copy, pattern, searchFlags);
        const std::size_t at = onePass ? search.findFrom(resume) : search.find();
        if (at == kNoPos)
            break;

        std::size_t spanStart = at, spanLength = m;
        if (wholeItem) {
            // The item around the match, with the separator before it, or
            // with the one after it when it is the first item.
            std::size_t before = copy.rfind(separator, at);
            if (before == std::string::npos)
                before = 0;
            std::size_t after = copy.find(separator, at);
            if (after == std::string::npos)
                after = copy.size();
            if (before != 0) {
                spanStart = before;
                spanLength = after - before;
            } else {
                spanStart = 0;
                spanLength = std::min(after + separator.size(), copy.size());
            }
        }

        // A span that already reads as its replacement leaves the copy as it
        // was: the next pass would find the same match and change nothing
        // again, so stop (the count limit, if any, would end it unchanged).
        const bool unchanged = copy.compare(spanStart, spanLength, replacement) == 0;
        copy.replace(spanStart, spanLength, replacement);
        ++replacements;

        if (limit != 0 && replacements >= limit)
            break;
        if (onePass) {
            if (!backward) {
                resume = spanStart + replacement.size();
            } else {
                // Only occurrences that end before the inserted text.
                if (spanStart < m)
                    break;
                resume = spanStart - m;
            }
        } else if (unchanged) {
            break;
        }
        if (replacements > replacementBound)
            break;
    }

    if (replacements == 0)
        return false;
    text.replace(static_cast<std::size_t>(start), std::string::npos, copy);
    return true;
}
