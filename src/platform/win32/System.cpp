// Facts about the machine, as Windows itself tells them.
#include "platform/Platform.h"
#include "platform/win32/Handles.h"
#include "platform/win32/WideText.h"

#include <cwchar>
#include <userenv.h>

namespace klx {
namespace platform {

DWORD versionWord() {
    return ::GetVersion();
}

Result<std::string> windowsDirectory() {
    std::wstring buffer(MAX_PATH, L'\0');
    for (;;) {
        UINT length = ::GetWindowsDirectoryW(&buffer[0], static_cast<UINT>(buffer.size()));
        if (length == 0)
            return {std::string(), ::GetLastError()};
        if (length < buffer.size()) {
            buffer.resize(length);
            break;
        }
        buffer.resize(length); // the size needed, its NUL included
    }
    // Only a drive's root keeps a backslash; drop it too.
    if (!buffer.empty() && buffer.back() == L'\\')
        buffer.pop_back();
    return {toUtf8(buffer), 0};
}

Result<std::string> userProfileDirectory() {
    HANDLE token = nullptr;
    if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token))
        return {std::string(), ::GetLastError()};
    ScopedKernelHandle owned(token);
    DWORD size = MAX_PATH;
    std::wstring buffer;
    for (;;) {
        buffer.assign(size, L'\0');
        if (::GetUserProfileDirectoryW(token, &buffer[0], &size))
            break;
        DWORD error = ::GetLastError();
        if (error != ERROR_INSUFFICIENT_BUFFER || size <= buffer.size())
            return {std::string(), error};
    }
    buffer.resize(size > 0 ? size - 1 : 0); // size counts the NUL
    buffer.resize(wcslen(buffer.c_str()));
    return {toUtf8(buffer), 0};
}

} // namespace platform
} // namespace klx
