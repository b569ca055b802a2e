// Comparison and parsing of the C locale.
#include "platform/common/AsciiText.h"

#include <climits>

namespace klx {
namespace platform {

namespace {

inline bool isCSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// NTFS orders names by their upper-case form: "_" (0x5F) sorts after every
// letter, whichever its case.
inline unsigned char upperAscii(char c) {
    return static_cast<unsigned char>((c >= 'a' && c <= 'z') ? c - ('a' - 'A') : c);
}

} // namespace

int compareNoCase(const char* left, const char* right, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        int a = static_cast<unsigned char>(foldAscii(left[i]));
        int b = static_cast<unsigned char>(foldAscii(right[i]));
        if (a != b)
            return a - b;
        if (a == 0)
            return 0;
    }
    return 0;
}

bool equalNoCase(std::string_view left, std::string_view right) {
    if (left.size() != right.size())
        return false;
    for (std::size_t i = 0; i < left.size(); ++i) {
        if (foldAscii(left[i]) != foldAscii(right[i]))
            return false;
    }
    return true;
}

bool lessNoCase(std::string_view left, std::string_view right) {
    const std::size_t common = left.size() < right.size() ? left.size() : right.size();
    for (std::size_t i = 0; i < common; ++i) {
        unsigned char a = upperAscii(left[i]);
        unsigned char b = upperAscii(right[i]);
        if (a != b)
            return a < b;
    }
    if (left.size() != right.size())
        return left.size() < right.size();
    // Names that differ only in letter case: by their bytes.
    for (std::size_t i = 0; i < common; ++i) {
        unsigned char a = static_cast<unsigned char>(left[i]);
        unsigned char b = static_cast<unsigned char>(right[i]);
        if (a != b)
            return a < b;
    }
    return false;
}

int parseInt(const char* text) {
    const char* p = text;
    while (isCSpace(*p))
        ++p;
    bool negative = false;
    if (*p == '+' || *p == '-')
        negative = *p++ == '-';
    // Accumulate towards the sign so that INT_MIN is reachable; clamp on
    // overflow as the Windows runtime does.
    long long value = 0;
    for (; *p >= '0' && *p <= '9'; ++p) {
        value = value * 10 + (*p - '0');
        if (value > static_cast<long long>(INT_MAX) + 1)
            break;
    }
    if (negative)
        return value > static_cast<long long>(INT_MAX) ? INT_MIN : static_cast<int>(-value);
    return value > INT_MAX ? INT_MAX : static_cast<int>(value);
}

} // namespace platform
} // namespace klx
