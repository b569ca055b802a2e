// Facts about the emulated Windows machine: its family, its Windows directory
// and the user's profile directory.
#include "platform/Platform.h"

#include <cstdlib>
#include <cstring>

namespace klx {
namespace platform {

namespace {

// GetVersion words of the two families this host can pretend to be: Windows
// XP (5.1, build 2600) and Windows 98 (4.10, bit 31 set, no build number).
const DWORD kVersionWordNt = 0x0A280105u;
const DWORD kVersionWord9x = 0xC0000A04u;

// Drive C maps onto $KLX_PREFIX/drive_c, so the Windows directory lives there.
const char* const kWindowsDirectory = "C:\\windows";

} // namespace

DWORD versionWord() {
    // Read at every call: the caller caches the family it derives.
    const char* family = std::getenv("KLX_WINDOWS_FAMILY");
    if (family != nullptr && std::strcmp(family, "9x") == 0)
        return kVersionWord9x;
    return kVersionWordNt;
}

Result<std::string> windowsDirectory() {
    return Result<std::string>{kWindowsDirectory, 0};
}

Result<std::string> userProfileDirectory() {
    // The profile is $HOME as it stands when asked; without one the query
    // fails, as GetUserProfileDirectoryW does for a token without a profile.
    const char* home = std::getenv("HOME");
    if (home == nullptr || *home == '\0')
        return Result<std::string>{std::string(), ERROR_FILE_NOT_FOUND};
    return Result<std::string>{home, 0};
}

} // namespace platform
} // namespace klx
