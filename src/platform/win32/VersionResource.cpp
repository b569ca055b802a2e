// Version resources through the loader: the image is mapped as a data file,
// and the RT_VERSION resource named 1 is found as FindResourceW finds it (in
// the language that the user's UI language order picks), which is the one
// GetFileVersionInfoW reads. The bytes are handed over as they are;
// common/VersionInfo reads the tree, the same way on every host.
// (GetFileVersionInfoW itself tells no file that is no image from an image
// without a version: 1812 for both.)
#include "platform/Platform.h"
#include "platform/win32/Handles.h"
#include "platform/win32/WideText.h"

namespace klx {
namespace platform {

namespace {

// RT_VERSION in its wide form, whether or not UNICODE is defined.
const LPCWSTR kVersionType = MAKEINTRESOURCEW(16);

// The version resource is the one named 1 (VS_VERSION_INFO), as
// GetFileVersionInfoW reads it, in the language that FindResourceW picks.
Result<std::string> versionResourceOf(HMODULE module) {
    HRSRC resource = ::FindResourceW(module, MAKEINTRESOURCEW(1), kVersionType);
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
