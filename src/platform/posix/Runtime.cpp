// C runtime services: bounded case-insensitive comparison, integer parsing
// and the standard output stream.
#include "platform/Platform.h"

#include <climits>
#include <iostream>

namespace klx {
namespace platform {

namespace {

// Letter case folding of the C locale: only 'A' to 'Z' have a lower case.
inline int foldAscii(unsigned char c) {
    return (c >= 'A' && c <= 'Z') ? c + ('a' - 'A') : c;
}

inline bool isCSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

} // namespace

std::size_t bulkFreeStringCapacity() {
#if defined(__GLIBC__)
    // Fast bins hold blocks of up to 128 bytes, header included; a capacity
    // of 120 plus the terminating NUL needs a block of 144.
    return 120;
#else
    return 0;
#endif
}

int compareNoCase(const char* left, const char* right, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        int a = foldAscii(static_cast<unsigned char>(left[i]));
        int b = foldAscii(static_cast<unsigned char>(right[i]));
        if (a != b)
            return a - b;
        if (a == 0)
            return 0;
    }
    return 0;
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

void writeStdout(const std::string& text) {
    std::cout << text;
}

void writeStdoutLine(const std::string& text) {
    std::cout << text << std::endl;
}

} // namespace platform
} // namespace klx
