// Registry keys and values through the wide registry calls. Texts are stored
// as UTF-16 and read back as UTF-8, byte for byte what was written.
//
// Windows' documented limits are checked here before calling, with the codes
// a POSIX host gives, since Wine's registry takes longer names and deeper
// paths than Windows does: both hosts refuse the same paths.
#include "platform/Platform.h"
#include "platform/common/NameRules.h"
#include "platform/win32/WideText.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace klx {
namespace platform {

namespace {

const REGSAM kAccess = KEY_READ | KEY_WRITE;

bool isText(DWORD type) {
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

// The predefined roots: sign-extended 0x80000000 to 0x8FFFFFFF.
bool isPredefined(HKEY key) {
    const std::intptr_t value = reinterpret_cast<std::intptr_t>(key);
    return value >= static_cast<std::intptr_t>(static_cast<std::int32_t>(0x80000000u)) &&
           value <= static_cast<std::intptr_t>(static_cast<std::int32_t>(0x8FFFFFFFu));
}

// The key path with its empty names left out, in the form Windows takes.
DWORD keyPath(const std::string& path, std::wstring& wide) {
    std::vector<std::string> names;
    if (DWORD error = registryKeyNames(path, names))
        return error;
    std::string joined;
    for (const std::string& name : names) {
        if (!joined.empty())
            joined += '\\';
        joined += name;
    }
    wide = toWide(joined);
    return 0;
}

} // namespace

Result<HKEY> createRegistryKey(HKEY parent, const std::string& path) {
    std::wstring names;
    if (DWORD error = keyPath(path, names))
        return {nullptr, error};
    HKEY key = nullptr;
    LONG error = ::RegCreateKeyExW(parent, names.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                   kAccess, nullptr, &key, nullptr);
    if (error != ERROR_SUCCESS)
        return {nullptr, static_cast<DWORD>(error)};
    return {key, 0};
}

Result<HKEY> openRegistryKey(HKEY parent, const std::string& path) {
    std::wstring names;
    if (DWORD error = keyPath(path, names))
        return {nullptr, error};
    HKEY key = nullptr;
    LONG error = ::RegOpenKeyExW(parent, names.c_str(), 0, KEY_READ, &key);
    if (error != ERROR_SUCCESS)
        return {nullptr, static_cast<DWORD>(error)};
    return {key, 0};
}

Result<HKEY> duplicateRegistryKey(HKEY key) {
    HKEY copy = nullptr;
    LONG error = ::RegOpenKeyExW(key, L"", 0, kAccess, &copy);
    if (error != ERROR_SUCCESS)
        return {nullptr, static_cast<DWORD>(error)};
    return {copy, 0};
}

void closeRegistryKey(HKEY key) {
    if (key != nullptr && !isPredefined(key))
        ::RegCloseKey(key);
}

Result<RegistryValue> queryRegistryValue(HKEY key, const std::string& name) {
    if (!fitsRegistryValueName(name))
        return {RegistryValue{std::string(), REG_NONE}, ERROR_FILE_NOT_FOUND};
    const std::wstring wideName = toWide(name.c_str());

    std::vector<BYTE> buffer(256);
    DWORD type = REG_NONE;
    DWORD size = 0;
    for (;;) {
        size = static_cast<DWORD>(buffer.size());
        LONG error =
            ::RegQueryValueExW(key, wideName.c_str(), nullptr, &type, buffer.data(), &size);
        if (error == ERROR_SUCCESS)
            break;
        if (error != ERROR_MORE_DATA)
            return {RegistryValue{std::string(), REG_NONE}, static_cast<DWORD>(error)};
        // size is what the value needs now; it may grow again meanwhile.
        buffer.resize(size > buffer.size() ? size : buffer.size() * 2);
    }

    const char* bytes = reinterpret_cast<const char*>(buffer.data());
    if (!isText(type))
        return {RegistryValue{std::string(bytes, size), type}, 0};
    // UTF-16 units, each NUL included; an odd last byte is no character.
    std::wstring units(size / 2, L'\0');
    for (std::size_t i = 0; i < units.size(); ++i)
        units[i] = static_cast<wchar_t>(buffer[2 * i] | (buffer[2 * i + 1] << 8));
    return {RegistryValue{toUtf8(units), type}, 0};
}

DWORD setRegistryValue(HKEY key, const std::string& name, DWORD type, const void* data,
                       std::size_t size) {
    if (!fitsRegistryValueName(name))
        return ERROR_INVALID_PARAMETER;
    const std::wstring wideName = toWide(name.c_str());
    // The size is a DWORD for Windows.
    if (size > 0xFFFFFFFFu || (data == nullptr && size != 0))
        return ERROR_INVALID_PARAMETER;

    const BYTE* bytes = static_cast<const BYTE*>(data);
    DWORD length = static_cast<DWORD>(size);
    std::wstring text;
    if (isText(type) && size != 0) {
        text = toWide(std::string_view(static_cast<const char*>(data), size));
        const std::size_t units = text.size();
        if (units > 0x7FFFFFFFu)
            return ERROR_INVALID_PARAMETER;
        // A text without its NUL is stored as it is: the unit after it must
        // not be a NUL, or Wine counts that one in too.
        text += L'\xFFFF';
        bytes = reinterpret_cast<const BYTE*>(text.data());
        length = static_cast<DWORD>(units * sizeof(wchar_t));
    }
    return static_cast<DWORD>(::RegSetValueExW(key, wideName.c_str(), 0, type, bytes, length));
}

Result<DWORD> queryRegistryValueCount(HKEY key) {
    DWORD count = 0;
    LONG error = ::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                    &count, nullptr, nullptr, nullptr, nullptr);
    if (error != ERROR_SUCCESS)
        return {0, static_cast<DWORD>(error)};
    return {count, 0};
}

Result<std::vector<std::string>> enumerateRegistryValueNames(HKEY key) {
    std::vector<std::string> names;
    DWORD longest = 0;
    LONG error = ::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                    nullptr, &longest, nullptr, nullptr, nullptr);
    if (error != ERROR_SUCCESS)
        return {std::move(names), static_cast<DWORD>(error)};

    std::wstring buffer(std::max<std::size_t>(longest, kMaxRegistryValueName) + 1, L'\0');
    for (DWORD index = 0;; ++index) {
        DWORD length = static_cast<DWORD>(buffer.size());
        error =
            ::RegEnumValueW(key, index, &buffer[0], &length, nullptr, nullptr, nullptr, nullptr);
        if (error == ERROR_NO_MORE_ITEMS)
            break;
        if (error == ERROR_MORE_DATA) {
            // A longer name was written meanwhile: read this index again.
            buffer.resize(buffer.size() * 2);
            --index;
            continue;
        }
        if (error != ERROR_SUCCESS)
            return {std::vector<std::string>(), static_cast<DWORD>(error)};
        names.push_back(toUtf8(std::wstring_view(buffer.data(), length)));
    }
    return {std::move(names), 0};
}

} // namespace platform
} // namespace klx
