// The rules that both backends check before they ask the OS: which texts
// name a drive root, an environment variable or a registry key, how long a
// variable's value and a registry name may be, and which other name a program
// file may have. Windows applies
// them itself only in part (and Wine in part differently), so each backend
// checks them here and both refuse the same inputs.
#ifndef KLX_PLATFORM_COMMON_NAME_RULES_H
#define KLX_PLATFORM_COMMON_NAME_RULES_H

#include "KLXConstants.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace klx {
namespace platform {

// Windows' limits, in UTF-16 units: an environment variable's value, a
// registry key's name and a registry value's name; and how many keys deep a
// registry path may go.
constexpr std::size_t kMaxEnvironmentValue = 32767;
constexpr std::size_t kMaxRegistryKeyName = 255;
constexpr std::size_t kMaxRegistryValueName = 16383;
constexpr std::size_t kMaxRegistryDepth = 512;

// The UTF-16 units of UTF-8 text: one per sequence, two for the four-byte
// ones. Limits count in these units on both hosts.
std::size_t utf16Length(std::string_view text);

// The names of a registry key path, read up to its first NUL. Doubled and
// trailing backslashes name nothing; a leading one is refused
// (ERROR_BAD_PATHNAME), as Windows does for a path below a key, and so are
// a name or a depth beyond Windows' limits (ERROR_INVALID_PARAMETER).
DWORD registryKeyNames(const std::string& path, std::vector<std::string>& names);

// Whether a registry value name, read up to its first NUL, is within
// Windows' limit.
bool fitsRegistryValueName(const std::string& name);

// "N:", optionally with one separator: only a drive root names a drive
// (Windows would also answer for any directory of it).
bool isDriveRoot(const std::string& root);

// A name that names an environment variable: not empty, without "=" (Windows
// keeps the current directories of the drives under "=C:" and the like, and
// getenv would match "A=B" against a variable "A" whose value begins "B=").
bool isEnvironmentName(const std::string& name);

// The other file that starts as `program` when `program` names none: with
// ".exe" removed from a last name ending in it (any letter case), or added to
// a last name without an extension. "" when there is no other name.
std::string otherProgramName(const std::string& program);

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_COMMON_NAME_RULES_H
