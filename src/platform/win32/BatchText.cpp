// Batch files in the OEM code page: cmd reads a batch file in the console's
// code page, which is the OEM one unless changed with chcp (and Wine's cmd
// always in the OEM one), so a value written in UTF-8 would come out altered.
#include "platform/Platform.h"
#include "platform/win32/WideText.h"

#include <windows.h>

namespace klx {
namespace platform {

std::string batchBytes(const std::string& text, bool* lossless) {
    const std::wstring wide = toWide(text);
    BOOL replaced = FALSE;
    // UTF-8 and UTF-7 as OEM code page take no default character.
    const UINT codePage = ::GetOEMCP();
    const bool utf = codePage == CP_UTF8 || codePage == CP_UTF7;
    BOOL* lost = utf ? nullptr : &replaced;
    const DWORD flags = utf ? 0 : WC_NO_BEST_FIT_CHARS;
    const int length = static_cast<int>(wide.size());
    std::string bytes;
    const int size =
        ::WideCharToMultiByte(codePage, flags, wide.data(), length, nullptr, 0, nullptr, lost);
    if (size > 0) {
        bytes.resize(static_cast<std::size_t>(size));
        ::WideCharToMultiByte(codePage, flags, wide.data(), length, &bytes[0], size, nullptr, lost);
    }
    if (lossless != nullptr)
        *lossless = !replaced && toUtf8(wide) == text;
    return bytes;
}

std::string batchText(const std::string& bytes) {
    const int length = static_cast<int>(bytes.size());
    std::wstring wide;
    const int size = ::MultiByteToWideChar(CP_OEMCP, 0, bytes.data(), length, nullptr, 0);
    if (size > 0) {
        wide.resize(static_cast<std::size_t>(size));
        ::MultiByteToWideChar(CP_OEMCP, 0, bytes.data(), length, &wide[0], size);
    }
    return toUtf8(wide);
}

} // namespace platform
} // namespace klx
