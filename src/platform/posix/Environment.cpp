// The process environment, standing in for GetEnvironmentVariableW and
// SetEnvironmentVariableW.
#include "platform/Platform.h"
#include "platform/common/NameRules.h"

#include "platform/posix/Errors.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace klx {
namespace platform {

Result<std::string> getEnvironmentVariable(const std::string& name) {
    const char* value = isEnvironmentName(name) ? std::getenv(name.c_str()) : nullptr;
    if (value == nullptr)
        return Result<std::string>{std::string(), ERROR_ENVVAR_NOT_FOUND};
    return Result<std::string>{value, 0};
}

DWORD setEnvironmentVariable(const std::string& name, const std::string& value) {
    if (!isEnvironmentName(name) || utf16Length(value) > kMaxEnvironmentValue)
        return ERROR_INVALID_PARAMETER;
    if (setenv(name.c_str(), value.c_str(), 1) != 0)
        return win32Error(errno);
    return 0;
}

} // namespace platform
} // namespace klx
