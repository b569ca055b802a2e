// UTF-8 and UTF-16, and paths in the form the wide Win32 calls take.
//
// The library's strings are UTF-8 on every host; this backend calls only the
// wide ("W") functions and converts at the call, so that the same bytes name
// the same file, key or variable on Windows as on a POSIX host, whatever the
// ANSI code page.
#ifndef KLX_PLATFORM_WIN32_WIDE_TEXT_H
#define KLX_PLATFORM_WIN32_WIDE_TEXT_H

#include <string>
#include <string_view>

namespace klx {
namespace platform {

// Every byte of `text`, NULs included, as UTF-16; a malformed sequence
// becomes U+FFFD.
std::wstring toWide(std::string_view text);
// Every unit of `text`, NULs included, as UTF-8; an unpaired surrogate
// becomes U+FFFD.
std::string toUtf8(std::wstring_view text);

// The path, up to its first NUL, as the wide calls take it: Windows form as
// it is, "/" turned into "\", the Cygwin form "/cygdrive/c/dir" turned into
// "C:\dir". A path too long for the calls' MAX_PATH limit is made absolute
// and given the "\\?\" prefix, which lifts the limit.
std::wstring widePath(const std::string& path);

// True when a name of `path` is longer than the 255 characters file systems
// take (Windows then reports ERROR_FILENAME_EXCED_RANGE, as a POSIX host
// does, only as long as the path itself is short).
bool hasOverlongName(const std::wstring& path);

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_WIN32_WIDE_TEXT_H
