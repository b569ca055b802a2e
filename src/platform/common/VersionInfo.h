// GetFileVersionInfoSizeW, GetFileVersionInfoW and VerQueryValueW over the
// raw version trees that the backends read (readVersionResource,
// ownModuleVersionResource): the VS_VERSIONINFO tree's checks, the block
// layout and the queries, once for every host.
#ifndef KLX_PLATFORM_COMMON_VERSIONINFO_H
#define KLX_PLATFORM_COMMON_VERSIONINFO_H

#include "platform/Platform.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace klx {
namespace platform {

// The block that fileVersionInfo fills holds the resource's VS_VERSIONINFO
// tree as stored, followed by room in which queryVersionValue puts the narrow
// form (UTF-8) of the text values it returns, so that each one lives as long
// as the block.

// The name under which the library's own module is asked for.
constexpr char kSelfModuleName[] = "KlxCore.dll";

// The bytes that fileVersionInfo needs for the file at `path`. The library's
// own module (isSelfModule) answers with ownModuleVersionResource, any other
// path with readVersionResource. Fails with their error, or
// kErrorResourceDataNotFound when the tree is malformed.
Result<std::size_t> fileVersionInfoSize(const std::string& path);
// Reads the version block into `buffer`, as fileVersionInfoSize describes
// it; ERROR_INSUFFICIENT_BUFFER when `size` is less than the block needs.
DWORD fileVersionInfo(const std::string& path, void* buffer, std::size_t size);

struct VersionValue {
    const void* data;   // inside the block
    std::size_t length; // bytes; for a text, of its UTF-8 form without the NUL
};

// VerQueryValueW: `subBlock` is a path of backslash-separated key names,
// compared without regard to ASCII letter case. "\\" gives the
// VS_FIXEDFILEINFO (found only with its signature), "\\VarFileInfo\\Translation"
// the (language, code page) WORD pairs, "\\StringFileInfo\\040904b0\\Name" a
// NUL-terminated UTF-8 text. Never reads or writes outside the `blockSize`
// bytes at `block`. kErrorResourceDataNotFound when the path names no value.
Result<VersionValue> queryVersionValue(void* block, std::size_t blockSize,
                                       const std::string& subBlock);
// As above, for a block that fileVersionInfo filled: its size follows from
// the block's own header.
Result<VersionValue> queryVersionValue(void* block, const std::string& subBlock);

// `module` names the library's own module: kSelfModuleName without a
// directory, in any letter case, as Windows compares module names.
bool isSelfModule(const std::string& module);

// FindResource's choice among the languages of one resource name: the user's
// UI language, language-neutral (0), U.S. English (0x0409), then the first.
// The index into `languages`, which is not empty.
std::size_t pickResourceLanguage(const std::vector<std::uint16_t>& languages,
                                 std::uint16_t uiLanguage);

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_COMMON_VERSIONINFO_H
