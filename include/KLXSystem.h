// KlxCore: facts about the machine, the table of tool locations and the
// starting of tools. Static services over module-wide state.
#ifndef KLX_SYSTEM_H
#define KLX_SYSTEM_H

#include "KLXConstants.h"

#include <string>

class KLX_API KLXSystem {
public:
    KLXSystem() {}
    ~KLXSystem() {}
    KLXSystem& operator=(const KLXSystem&) { return *this; }

    // Number of entries of the tool location table, one per KLXAppType_e.
    static constexpr int mAppPathCount = 25;

    // The Windows family, asked for once and then cached; KLX_OS_NT or
    // KLX_OS_9X, never KLX_OS_UNKNOWN.
    static KLXOsType_e getOsType();
    // The root of the drive that holds the Windows directory, such as "C:\".
    static std::string& getSystemDrive();
    // The Windows directory without a trailing backslash, such as
    // "C:\WINDOWS".
    static std::string& getSystemRoot();
    // The profile directory of the user who runs the process; "" when it
    // cannot be determined (asked again at the next call).
    static std::string& getUserProfileDir();

protected:
    // Reads the Windows directory into mWindowsDirectory and mSystemDrive.
    static void updateSystemData();

    // Module-wide caches; an empty string means not computed yet.
    static KLXOsType_e mOsType;
    static std::string mSystemDrive;
    static std::string mWindowsDirectory;
    static std::string mAppPathTable[mAppPathCount];
    static std::string mSystemInfo;
    // The shared empty result; never changed.
    static std::string mTheEmptyString;
    static std::string mUserProfileDir;
};

#endif // KLX_SYSTEM_H
