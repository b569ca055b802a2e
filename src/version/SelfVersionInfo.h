// KlxCore: the version information of the library's own module, built in
// memory from the version the library was compiled with.
#ifndef KLX_VERSION_SELF_VERSION_INFO_H
#define KLX_VERSION_SELF_VERSION_INFO_H

#include <string>

namespace klx {
namespace version {

// The module name under which the library's own version is asked for.
extern const char* const kSelfModuleName;

// True when `module` names the library's own module: its bare file name,
// compared without regard to ASCII letter case as Windows compares module
// names.
bool isSelfModule(const std::string& module);

// The VS_VERSIONINFO tree of the library's own module: product and file
// version from the build, product name "KlxCore", one string table and one
// translation (U.S. English, Unicode).
std::string selfVersionTree();

} // namespace version
} // namespace klx

#endif // KLX_VERSION_SELF_VERSION_INFO_H
