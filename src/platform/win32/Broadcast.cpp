// The setting-change broadcast that tells running programs (Explorer above
// all) to read the changed settings again.
#include "platform/Platform.h"
#include "platform/win32/WideText.h"

namespace klx {
namespace platform {

void broadcastSettingChange(const std::string& area) {
    const std::wstring wideArea = toWide(area.c_str());
    // A hung window is skipped, and none holds the caller for more than a
    // second. The outcome is not reported: nobody has to listen.
    ::SendMessageTimeoutW(HWND_BROADCAST, WM_SETTINGCHANGE, 0,
                          reinterpret_cast<LPARAM>(wideArea.c_str()), SMTO_ABORTIFHUNG, 1000,
                          nullptr);
}

} // namespace platform
} // namespace klx
