// The template search of KLXStrProcess: the template flags applied to one
// text and pattern, shared by the search operations and the rewrites of the
// remove and replace operations.
//
// findTemplate runs once per line in the text files' line search, over files
// of a million lines, so the search works on views of the caller's strings,
// allocates nothing, decides the common anchored cases directly and skips to
// candidate positions before comparing.
#ifndef KLX_FOUNDATION_TEMPLATE_SEARCH_H
#define KLX_FOUNDATION_TEMPLATE_SEARCH_H

#include "KLXStrProcess.h"

#include "platform/common/AsciiText.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

namespace klx {
namespace templates {

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
    // look further while the continuation rules allow. The candidates that
    // the whole-word test drops are added to `dropped` when given.
    std::size_t findFrom(std::size_t start, std::vector<std::size_t>* dropped = nullptr) const {
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
            if (dropped != nullptr)
                dropped->push_back(at);
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

} // namespace templates
} // namespace klx

#endif // KLX_FOUNDATION_TEMPLATE_SEARCH_H
