#include "platform/common/NameRules.h"

#include "platform/common/AsciiText.h"

#include <cstring>
#include <string_view>

namespace klx {
namespace platform {

bool isDriveRoot(const std::string& root) {
    const std::size_t size = root.size();
    return size >= 2 && size <= 3 && isAsciiLetter(root[0]) && root[1] == ':' &&
           (size == 2 || root[2] == '\\' || root[2] == '/');
}

bool isEnvironmentName(const std::string& name) {
    const char* text = name.c_str();
    return *text != '\0' && std::strchr(text, '=') == nullptr;
}

std::string otherProgramName(const std::string& program) {
    std::size_t nameStart = program.find_last_of("\\/");
    nameStart = nameStart == std::string::npos ? 0 : nameStart + 1;
    const std::string_view name = std::string_view(program).substr(nameStart);
    if (name.empty())
        return std::string();
    if (name.size() >= 4 && equalNoCase(name.substr(name.size() - 4), ".exe"))
        return name.size() == 4 ? std::string() : program.substr(0, program.size() - 4);
    if (name.find('.') == std::string_view::npos)
        return program + ".exe";
    return std::string();
}

} // namespace platform
} // namespace klx
