// Windows' file-name wildcards, matched as a set of positions over the name.
#include "platform/common/Wildcard.h"

#include "platform/common/AsciiText.h"

#include <algorithm>

namespace klx {
namespace platform {

namespace {

enum Token : int {
    kStar = 256,    // "*": any run of characters
    kDosStar = 257, // "*" before ".": any run that does not take the last dot
    kDosQm = 258,   // "?": one character, or none before a dot or at the end
    kDosDot = 259,  // "." before a wildcard or at the end: a dot, or the end
};

inline int literal(char c) {
    return static_cast<unsigned char>(foldAscii(c));
}

} // namespace

bool hasWildcard(std::string_view lastName) {
    return lastName.find_first_of("*?") != std::string_view::npos;
}

// Win32 hands the file system a pattern rewritten this way, which is what
// makes "*.*" match "abc", "*." match names without a dot and "a?.txt" match
// "a.txt".
WildcardPattern::WildcardPattern(std::string_view lastName) {
    mTokens.reserve(lastName.size());
    for (std::size_t i = 0; i < lastName.size(); ++i) {
        const char c = lastName[i];
        const char after = (i + 1 < lastName.size()) ? lastName[i + 1] : '\0';
        if (c == '?')
            mTokens.push_back(kDosQm);
        else if (c == '*')
            mTokens.push_back(after == '.' ? kDosStar : kStar);
        else if (c == '.' && (after == '?' || after == '*' || after == '\0'))
            mTokens.push_back(kDosDot);
        else
            mTokens.push_back(literal(c));
    }
}

bool WildcardPattern::matches(std::string_view name) const {
    const std::size_t count = mTokens.size();
    const std::size_t length = name.size();
    const std::size_t lastDot = name.rfind('.');

    // active[p]: the pattern may stand before token p after the characters
    // taken so far. Work in proportion to the two lengths multiplied.
    std::vector<char> active(count + 1, 0);
    std::vector<char> following(count + 1, 0);
    active[0] = 1;
    for (std::size_t at = 0;; ++at) {
        const bool atEnd = at == length;
        const char c = atEnd ? '\0' : name[at];
        // Moves that take no character; they only lead forward, so one pass
        // reaches all of them.
        for (std::size_t p = 0; p < count; ++p) {
            if (!active[p])
                continue;
            const int token = mTokens[p];
            if (token == kStar || token == kDosStar || (token == kDosQm && (atEnd || c == '.')) ||
                (token == kDosDot && atEnd))
                active[p + 1] = 1;
        }
        if (atEnd)
            return active[count] != 0;

        std::fill(following.begin(), following.end(), 0);
        bool any = false;
        for (std::size_t p = 0; p < count; ++p) {
            if (!active[p])
                continue;
            const int token = mTokens[p];
            std::size_t to = count + 1; // none
            if (token == kStar || (token == kDosStar && at != lastDot))
                to = p;
            else if ((token == kDosQm && c != '.') || (token == kDosDot && c == '.'))
                to = p + 1;
            else if (token < 256 && token == literal(c))
                to = p + 1;
            if (to <= count) {
                following[to] = 1;
                any = true;
            }
        }
        if (!any)
            return false;
        active.swap(following);
    }
}

} // namespace platform
} // namespace klx
