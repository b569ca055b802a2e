// The module-wide static members, defined together in one translation unit
// so that they are constructed in this order when the module loads and
// destroyed in the reverse order when it unloads.
#include "KLXCorvaleSettings.h"
#include "KLXEnvVar.h"
#include "KLXSystem.h"
#include "KLXTextFile.h"

// Zero- and null-initialised: they need no construction.
KLXOsType_e KLXSystem::mOsType = KLX_OS_UNKNOWN;
KLXCorvaleSettings* KLXCorvaleSettings::Instance = nullptr;

std::vector<std::vector<std::string>> KLXEnvVar::mModifiedVarsList;
std::string KLXCorvaleSettings::mOSBaseBand = "pavan";
std::string KLXCorvaleSettings::mFormerOSBaseBand = "pavan";
std::string KLXSystem::mSystemDrive;
std::string KLXSystem::mWindowsDirectory;
std::string KLXSystem::mAppPathTable[KLXSystem::mAppPathCount];
std::string KLXSystem::mSystemInfo;
std::string KLXSystem::mTheEmptyString;
std::string KLXSystem::mUserProfileDir;
std::string KLXTextFile::mLineBreakWin;
std::string KLXTextFile::mLineBreakUnx;
std::string KLXTextFile::mLineBreakMac;
