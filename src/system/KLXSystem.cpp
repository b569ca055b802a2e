// KlxCore: the machine facts of KLXSystem, each asked of the system once and
// kept in a module-wide cache. An empty string cache means not computed yet,
// so a fact that could not be determined is asked for again next time.
#include "KLXSystem.h"

#include "platform/Platform.h"

namespace {

// GetWindowsDirectoryA is given a buffer of MAX_PATH characters; a directory
// that needs more does not fit and counts as unread.
const std::size_t kWindowsDirectoryBuffer = 260;

// Bit 31 of the version word marks the Windows 95/98/ME family.
const DWORD kVersionWord9xBit = 0x80000000u;

} // namespace

KLXOsType_e KLXSystem::getOsType() {
    if (mOsType == KLX_OS_UNKNOWN)
        mOsType = (klx::platform::versionWord() & kVersionWord9xBit) != 0 ? KLX_OS_9X : KLX_OS_NT;
    return mOsType;
}

std::string& KLXSystem::getSystemDrive() {
    if (mSystemDrive.empty())
        updateSystemData();
    return mSystemDrive;
}

std::string& KLXSystem::getSystemRoot() {
    if (mWindowsDirectory.empty())
        updateSystemData();
    return mWindowsDirectory;
}

void KLXSystem::updateSystemData() {
    klx::platform::Result<std::string> directory = klx::platform::windowsDirectory();
    // The text up to its first NUL, as the system writes it into the buffer.
    std::string text = directory.value.c_str();
    // Leave both caches empty rather than fill them from a failed read, so
    // that the next call tries again.
    if (directory.error != 0 || text.empty() || text.size() >= kWindowsDirectoryBuffer)
        return;

    mSystemDrive = text;
    mWindowsDirectory = mSystemDrive;
    // The drive is everything up to and including the first backslash.
    std::string::size_type backslash = mSystemDrive.find(KLX_STR_BACKSLASH);
    if (backslash != std::string::npos)
        mSystemDrive.erase(backslash + 1);
}

std::string& KLXSystem::getUserProfileDir() {
    if (!mUserProfileDir.empty())
        return mUserProfileDir;
    klx::platform::Result<std::string> profile = klx::platform::userProfileDirectory();
    if (profile.ok())
        mUserProfileDir = profile.value.c_str();
    return mUserProfileDir;
}
