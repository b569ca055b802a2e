// The setting-change broadcast. The host has no notification that running
// programs listen to for a changed environment: each of them reads its
// environment once, when it starts.
#include "platform/Platform.h"

namespace klx {
namespace platform {

void broadcastSettingChange(const std::string& area) {
    static_cast<void>(area);
}

} // namespace platform
} // namespace klx
