// Drive types through GetDriveTypeW, on drive roots only.
#include "platform/Platform.h"
#include "platform/common/NameRules.h"

namespace klx {
namespace platform {

unsigned driveType(const std::string& root) {
    if (!isDriveRoot(root))
        return kDriveNoRootDir;
    const wchar_t drive[] = {static_cast<wchar_t>(root[0]), L':', L'\\', L'\0'};
    return ::GetDriveTypeW(drive);
}

} // namespace platform
} // namespace klx
