// Version resources through the loader: the image is mapped as a data file,
// and the RT_VERSION resource is found as FindResourceW finds it (its first
// name, in the language that the user's UI language order picks). The bytes
// are handed over as they are; common/VersionInfo reads the tree, the same
// way on every host. (GetFileVersionInfoW is not used: Wine's answers 1812
// for every file.)
#include "platform/Platform.h"
#include "platform/win32/Handles.h"
#include "platform/win32/WideText.h"

namespace klx {
namespace platform {

namespace {

// RT_VERSION in its wide form, whether or not UNICODE is defined.
const LPCWSTR kVersionType = MAKEINTRESOURCEW(16);

// The first name of a resource type, as FindResourceW takes it.
struct ResourceName {
    bool found = false;
    bool isNumber = false;
    WORD number = 0;
    std::wstring text;

    LPCWSTR get() const { return isNumber ? MAKEINTRESOURCEW(number) : text.c_str(); }
};

BOOL CALLBACK takeFirstName(HMODULE, LPCWSTR, LPWSTR name, LONG_PTR context) {
    ResourceName& first = *reinterpret_cast<ResourceName*>(context);
    first.found = true;
    first.isNumber = IS_INTRESOURCE(name);
    if (first.isNumber)
        first.number = static_cast<WORD>(reinterpret_cast<ULONG_PTR>(name));
    else
        first.text = name;
    return FALSE; // the first is all we need
}

Result<std::string> versionResourceOf(HMODULE module) {
    ResourceName first;
    // The image's own resources only, not those of its language files.
    ::EnumResourceNamesExW(module, kVersionType, takeFirstName, reinterpret_cast<LONG_PTR>(&first),
                           RESOURCE_ENUM_LN, 0);
    if (!first.found)
        return {std::string(), kErrorResourceTypeNotFound};
    HRSRC resource = ::FindResourceW(module, first.get(), kVersionType);
    if (resource == nullptr)
        return {std::string(), kErrorResourceTypeNotFound};
    HGLOBAL loaded = ::LoadResource(module, resource);
    const void* data = loaded != nullptr ? ::LockResource(loaded) : nullptr;
    if (data == nullptr)
        return {std::string(), ::GetLastError()};
    return {std::string(static_cast<const char*>(data), ::SizeofResource(module, resource)), 0};
}

// The full path of the image, so that the loader looks nowhere else, with a
// final "." when its name has no extension (the loader would add ".dll").
std::wstring loaderPath(const std::wstring& path) {
    DWORD size = ::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    std::wstring full(size, L'\0');
    DWORD length = size != 0 ? ::GetFullPathNameW(path.c_str(), size, &full[0], nullptr) : 0;
    if (length == 0 || length >= size)
        full = path;
    else
        full.resize(length);
    const std::size_t nameStart = full.find_last_of(L"\\/");
    const std::size_t dot = full.rfind(L'.');
    if (dot == std::wstring::npos || (nameStart != std::wstring::npos && dot < nameStart))
        full += L'.';
    return full;
}

} // namespace

Result<std::string> readVersionResource(const std::string& path) {
    const std::wstring wide = widePath(path);
    {
        // The file's own error first (not found, a directory, not shared...):
        // the loader would tell them all as one.
        ScopedFileHandle file(::CreateFileW(
            wide.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
            nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!file)
            return {std::string(), ::GetLastError()};
        if (::GetFileType(file.get()) != FILE_TYPE_DISK)
            return {std::string(), ERROR_BAD_EXE_FORMAT};
    }
    // Mapped as a plain data file, as the version is read: the loader then
    // checks no more of the headers than it needs to find the resources.
    ScopedModule module(
        ::LoadLibraryExW(loaderPath(wide).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    // A file that can be read and yet not mapped is no image.
    if (!module)
        return {std::string(), ERROR_BAD_EXE_FORMAT};
    return versionResourceOf(module.get());
}

Result<std::string> ownModuleVersionResource() {
    // Any address inside the library names its module.
    static const char anchor = 0;
    HMODULE self = nullptr;
    if (!::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                  GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                              reinterpret_cast<LPCWSTR>(&anchor), &self))
        return {std::string(), ::GetLastError()};
    return versionResourceOf(self);
}

} // namespace platform
} // namespace klx
