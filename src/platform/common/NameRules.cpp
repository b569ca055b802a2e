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

std::size_t utf16Length(std::string_view text) {
    std::size_t units = 0;
    for (char c : text) {
        const unsigned char byte = static_cast<unsigned char>(c);
        units += (byte & 0xC0) != 0x80 ? 1 : 0;
        units += byte >= 0xF0 ? 1 : 0;
    }
    return units;
}

DWORD registryKeyNames(const std::string& path, std::vector<std::string>& names) {
    const std::string_view text(path.c_str());
    if (!text.empty() && text[0] == '\\')
        return ERROR_BAD_PATHNAME;
    for (std::size_t start = 0; start < text.size();) {
        std::size_t end = text.find('\\', start);
        if (end == std::string_view::npos)
            end = text.size();
        const std::string_view name = text.substr(start, end - start);
        if (utf16Length(name) > kMaxRegistryKeyName)
            return ERROR_INVALID_PARAMETER;
        if (!name.empty()) {
            if (names.size() == kMaxRegistryDepth)
                return ERROR_INVALID_PARAMETER;
            names.emplace_back(name);
        }
        start = end + 1;
    }
    return 0;
}

bool fitsRegistryValueName(const std::string& name) {
    return utf16Length(name.c_str()) <= kMaxRegistryValueName;
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
