// The library's own module may not be a PE image (it is not on POSIX hosts),
// and even where it is, its version must match the build, so its version tree
// is made here rather than read from a file. The tree has the layout of a
// compiled version resource, so that the same queries read it.
#include "version/SelfVersionInfo.h"
#include "version/VersionTree.h"

#include <cstddef>
#include <cstdint>

// The build passes the project version; a build without it must not quietly
// report 0.0.0.0.
#if !defined(KLXCORE_VERSION_MAJOR) || !defined(KLXCORE_VERSION_MINOR) ||                          \
    !defined(KLXCORE_VERSION_PATCH)
#error "KLXCORE_VERSION_MAJOR, _MINOR and _PATCH must be defined by the build"
#endif

namespace klx {
namespace version {

const char* const kSelfModuleName = "KlxCore.dll";

namespace {

const std::uint32_t kMajor = KLXCORE_VERSION_MAJOR;
const std::uint32_t kMinor = KLXCORE_VERSION_MINOR;
const std::uint32_t kPatch = KLXCORE_VERSION_PATCH;
const std::uint32_t kBuild = 0;

std::string versionText() {
    return std::to_string(kMajor) + "." + std::to_string(kMinor) + "." + std::to_string(kPatch) +
           "." + std::to_string(kBuild);
}

} // namespace

bool isSelfModule(const std::string& module) {
    const std::string self = kSelfModuleName;
    if (module.size() != self.size())
        return false;
    for (std::size_t i = 0; i < self.size(); ++i) {
        char a = module[i];
        char b = self[i];
        if (a >= 'A' && a <= 'Z')
            a = static_cast<char>(a - 'A' + 'a');
        if (b >= 'A' && b <= 'Z')
            b = static_cast<char>(b - 'A' + 'a');
        if (a != b)
            return false;
    }
    return true;
}

std::string selfVersionTree() {
    const std::uint32_t high = (kMajor << 16) | kMinor, low = (kPatch << 16) | kBuild;
    const std::u16string version = ascii16(versionText());
    const StringTable strings{u"040904b0",
                              {{u"FileDescription", u"KlxCore utility class library"},
                               {u"FileVersion", version},
                               {u"InternalName", u"KlxCore"},
                               {u"OriginalFilename", ascii16(kSelfModuleName)},
                               {u"ProductName", u"KlxCore"},
                               {u"ProductVersion", version}}};
    return versionTree(fixedFileInfo(high, low, high, low), {strings}, {{0x0409, 0x04b0}});
}

} // namespace version
} // namespace klx
