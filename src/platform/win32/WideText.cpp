// UTF-8 <-> UTF-16 with the system's converters, in pieces that fit their
// int lengths, and the paths of the wide calls.
#include "platform/win32/WideText.h"

#include "platform/common/AsciiText.h"

#include "KLXConstants.h"

namespace klx {
namespace platform {

namespace {

// Below INT_MAX for both converters, whatever the growth of a piece.
const std::size_t kPiece = std::size_t(1) << 28;

// Where a piece of at most kPiece elements ends without splitting a sequence.
std::size_t utf8PieceEnd(std::string_view text, std::size_t start) {
    std::size_t end = start + kPiece;
    if (end >= text.size())
        return text.size();
    // Back up over at most three continuation bytes to a lead byte.
    for (int i = 0; i < 3 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80; ++i)
        --end;
    return end;
}

std::size_t utf16PieceEnd(std::wstring_view text, std::size_t start) {
    std::size_t end = start + kPiece;
    if (end >= text.size())
        return text.size();
    if (text[end - 1] >= 0xD800 && text[end - 1] <= 0xDBFF)
        --end; // keep a surrogate pair together
    return end;
}

inline char upperAscii(char c) {
    return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 32) : c;
}

// "/cygdrive/c" and "/cygdrive/c/..." in Windows form; other paths as given.
std::string windowsForm(std::string path) {
    static const char kCygdrive[] = "/cygdrive/";
    const std::size_t prefix = sizeof kCygdrive - 1;
    if (path.compare(0, prefix, kCygdrive) != 0 || path.size() <= prefix ||
        !isAsciiLetter(path[prefix]) || (path.size() > prefix + 1 && path[prefix + 1] != '/'))
        return path;
    std::string drive{upperAscii(path[prefix]), ':', '\\'};
    std::size_t rest = prefix + 1;
    while (rest < path.size() && path[rest] == '/')
        ++rest;
    return drive + path.substr(rest);
}

// The calls' limit on a path; directories take 12 characters less, room for
// an 8.3 name inside them.
const std::size_t kShortPathLimit = MAX_PATH - 12;

// The absolute form of a long path with the prefix that lifts MAX_PATH:
// "\\?\C:\..." or "\\?\UNC\server\share\...".
std::wstring extendedPath(const std::wstring& path) {
    DWORD size = ::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    if (size == 0)
        return path;
    std::wstring full(size, L'\0');
    DWORD length = ::GetFullPathNameW(path.c_str(), size, &full[0], nullptr);
    if (length == 0 || length >= size)
        return path;
    full.resize(length);
    if (full.compare(0, 4, L"\\\\?\\") == 0 || full.compare(0, 4, L"\\\\.\\") == 0)
        return full;
    if (full.compare(0, 2, L"\\\\") == 0)
        return L"\\\\?\\UNC\\" + full.substr(2);
    return L"\\\\?\\" + full;
}

} // namespace

std::wstring toWide(std::string_view text) {
    std::wstring wide;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = utf8PieceEnd(text, start);
        const int count = static_cast<int>(end - start);
        const int units = ::MultiByteToWideChar(CP_UTF8, 0, text.data() + start, count, nullptr, 0);
        const std::size_t at = wide.size();
        wide.resize(at + static_cast<std::size_t>(units));
        ::MultiByteToWideChar(CP_UTF8, 0, text.data() + start, count, &wide[at], units);
        start = end;
    }
    return wide;
}

std::string toUtf8(std::wstring_view text) {
    std::string narrow;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = utf16PieceEnd(text, start);
        const int count = static_cast<int>(end - start);
        const int bytes = ::WideCharToMultiByte(CP_UTF8, 0, text.data() + start, count, nullptr, 0,
                                                nullptr, nullptr);
        const std::size_t at = narrow.size();
        narrow.resize(at + static_cast<std::size_t>(bytes));
        ::WideCharToMultiByte(CP_UTF8, 0, text.data() + start, count, &narrow[at], bytes, nullptr,
                              nullptr);
        start = end;
    }
    return narrow;
}

std::wstring widePath(const std::string& path) {
    std::wstring wide = toWide(windowsForm(path.c_str()));
    for (wchar_t& c : wide) {
        if (c == L'/')
            c = L'\\';
    }
    if (wide.size() >= kShortPathLimit)
        return extendedPath(wide);
    return wide;
}

bool hasOverlongName(const std::wstring& path) {
    const std::size_t kMaxName = 255;
    std::size_t length = 0;
    for (wchar_t c : path) {
        length = c == L'\\' ? 0 : length + 1;
        if (length > kMaxName)
            return true;
    }
    return false;
}

} // namespace platform
} // namespace klx
