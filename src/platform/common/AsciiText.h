// Text comparison and parsing of the C locale, shared by the platform
// backends and the subsystems: the library's one ASCII letter-case folder.
#ifndef KLX_PLATFORM_COMMON_ASCIITEXT_H
#define KLX_PLATFORM_COMMON_ASCIITEXT_H

#include <cstddef>
#include <string_view>

namespace klx {
namespace platform {

// Letter case folding of the C locale: only 'A' to 'Z' have a lower case.
constexpr char foldAscii(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + ('a' - 'A')) : c;
}

constexpr bool isAsciiLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// _strnicmp in the C locale: compares at most `count` bytes, ASCII letters
// without regard to case, stopping after a NUL that both hold.
int compareNoCase(const char* left, const char* right, std::size_t count);
// The two texts are equal without regard to ASCII letter case.
bool equalNoCase(std::string_view left, std::string_view right);
// Orders names as NTFS lists a directory: without regard to ASCII letter
// case, then by bytes (unsigned), so that the order is total.
bool lessNoCase(std::string_view left, std::string_view right);
// atoi: blanks, an optional sign, decimal digits; clamped to the range of int.
int parseInt(const char* text);

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_COMMON_ASCIITEXT_H
