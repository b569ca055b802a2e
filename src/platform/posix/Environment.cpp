// The process environment, standing in for GetEnvironmentVariableA and
// SetEnvironmentVariableA.
#include "platform/Platform.h"

#include "platform/posix/Errors.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace klx {
namespace platform {

namespace {

// The names that getenv and setenv can take: getenv would match "A=B"
// against a variable "A" whose value begins with "B=".
bool isUsableName(const std::string& name) {
    const char* text = name.c_str();
    return *text != '\0' && std::strchr(text, '=') == nullptr;
}

} // namespace

EnvironmentValue getEnvironmentVariable(const std::string& name) {
    if (!isUsableName(name))
        return EnvironmentValue{false, std::string()};
    const char* value = std::getenv(name.c_str());
    if (value == nullptr)
        return EnvironmentValue{false, std::string()};
    return EnvironmentValue{true, value};
}

DWORD setEnvironmentVariable(const std::string& name, const std::string& value) {
    if (!isUsableName(name))
        return ERROR_INVALID_PARAMETER;
    if (setenv(name.c_str(), value.c_str(), 1) != 0)
        return win32Error(errno);
    return 0;
}

} // namespace platform
} // namespace klx
