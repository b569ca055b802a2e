// KlxCore: a plain-text report of the machine facts and of the tools found,
// to be read by a person.
#include "KLXSystem.h"

namespace {

const char* yesOrNo(KLXAppType_e type) {
    return KLXSystem::getApplicationPath(type).empty() ? KLX_STR_NO : KLX_STR_YES;
}

} // namespace

std::string& KLXSystem::getSystemInfo() {
    // The tool checks come first; each fills its table entry as it goes.
    std::string eclipse = yesOrNo(KLX_APP_ECLIPSE_DIR);
    std::string msvc71 = yesOrNo(KLX_APP_MSVC71_DIR);
    std::string msvc70 = yesOrNo(KLX_APP_MSVC70_DIR);
    std::string msvc6 = yesOrNo(KLX_APP_MSVC6_DIR);

    std::string report = "OS version: ";
    report += getOsType() == KLX_OS_9X ? "Microsoft Windows ME, 98 or 95"
                                       : "Microsoft Windows XP, 2000 or NT-based";
    report += "\r\nSystem Drive: ";
    report += getSystemDrive();
    report += "\r\nUser profile directory: ";
    report += getUserProfileDir();
    report += "\r\nCygwin Root Path: ";
    report += getGygwinRoot();
    report += "\r\nMicrosoft Visual C++ 6.0 installed: ";
    report += msvc6;
    report += "\r\nMicrosoft Visual C++ .NET 2002 installed: ";
    report += msvc70;
    report += "\r\nMicrosoft Visual C++ .NET 2003 installed: ";
    report += msvc71;
    report += "\r\nEclipse installed: ";
    report += eclipse;
    report += "\r\nCorvale IDE path: ";
    report += getApplicationPath(KLX_APP_IDE_DIR);
    mSystemInfo = report;
    return mSystemInfo;
}
