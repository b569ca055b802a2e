// The process environment through GetEnvironmentVariableW and
// SetEnvironmentVariableW.
#include "platform/Platform.h"
#include "platform/common/NameRules.h"
#include "platform/win32/WideText.h"

#include <cstring>

namespace klx {
namespace platform {

Result<std::string> getEnvironmentVariable(const std::string& name) {
    if (!isEnvironmentName(name))
        return {std::string(), ERROR_ENVVAR_NOT_FOUND};
    const std::wstring wideName = toWide(name.c_str());
    std::wstring buffer(256, L'\0');
    for (;;) {
        ::SetLastError(0);
        DWORD length = ::GetEnvironmentVariableW(wideName.c_str(), &buffer[0],
                                                 static_cast<DWORD>(buffer.size()));
        if (length == 0) {
            DWORD error = ::GetLastError();
            if (error != 0)
                return {std::string(), error};
            return {std::string(), 0}; // defined, and empty
        }
        if (length < buffer.size()) {
            buffer.resize(length);
            return {toUtf8(buffer), 0};
        }
        // Too small: length is the size needed. Another thread may change
        // the variable in between, so ask again.
        buffer.assign(length, L'\0');
    }
}

DWORD setEnvironmentVariable(const std::string& name, const std::string& value) {
    if (!isEnvironmentName(name))
        return ERROR_INVALID_PARAMETER;
    const std::wstring wideValue = toWide(value.c_str());
    // Windows keeps longer values, garbled on some versions.
    if (wideValue.size() > kMaxEnvironmentValue)
        return ERROR_INVALID_PARAMETER;
    const std::wstring wideName = toWide(name.c_str());
    if (!::SetEnvironmentVariableW(wideName.c_str(), wideValue.c_str()))
        return ::GetLastError();
    return 0;
}

} // namespace platform
} // namespace klx
