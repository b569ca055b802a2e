// The rules that both backends check before they ask the OS: which texts
// name a drive root or an environment variable, how long a variable's value
// may be, and which other name a program file may have. Windows applies
// them itself only in part (and Wine in part differently), so each backend
// checks them here and both refuse the same inputs.
#ifndef KLX_PLATFORM_COMMON_NAME_RULES_H
#define KLX_PLATFORM_COMMON_NAME_RULES_H

#include <cstddef>
#include <string>

namespace klx {
namespace platform {

// Windows' limit on an environment variable's value, in UTF-16 units.
constexpr std::size_t kMaxEnvironmentValue = 32767;

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
