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

protected:
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
