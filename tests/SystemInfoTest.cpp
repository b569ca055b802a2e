// The nine-line information report, on a machine without the tools and on
// one with them.
#include "KLXCorvaleSettings.h"
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include "Environment.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace fs = std::filesystem;

namespace {

struct SystemProbe : KLXSystem {
    using KLXSystem::mAppPathTable;
    using KLXSystem::mOsType;
    using KLXSystem::mSystemInfo;
    using KLXSystem::mUserProfileDir;
};

void setRegistry(HKEY root, std::string path, std::string name, std::string value) {
    KLXRegistryKey key(root, path);
    key.setValue(name, value);
}

const char* const kMsvc6 = "Software\\Microsoft\\DevStudio\\6.0\\Products\\Microsoft Visual C++";
const char* const kMsvc70 = "Software\\Microsoft\\VisualStudio\\7.0";
const char* const kMsvc71 = "Software\\Microsoft\\VisualStudio\\7.1";
const char* const kCygwin = "Software\\Cygnus Solutions\\Cygwin\\mounts v2\\/";

} // namespace

TEST(SystemInfo, ReportWithoutAndWithTheTools) {
    KLXSystem::resetAppPathTable();
    SystemProbe::mOsType = KLX_OS_NT;
    const std::string home = klxtest::profileDirectory();
    const std::string ide = klxtest::programDirectory().string();

    std::string& bare = KLXSystem::getSystemInfo();
    EXPECT_EQ(&bare, &SystemProbe::mSystemInfo);
    EXPECT_EQ(bare, "OS version: Microsoft Windows XP, 2000 or NT-based"
                    "\r\nSystem Drive: C:\\"
                    "\r\nUser profile directory: " +
                        home +
                        "\r\nCygwin Root Path: "
                        "\r\nMicrosoft Visual C++ 6.0 installed: no"
                        "\r\nMicrosoft Visual C++ .NET 2002 installed: no"
                        "\r\nMicrosoft Visual C++ .NET 2003 installed: no"
                        "\r\nEclipse installed: no"
                        "\r\nCorvale IDE path: " +
                        ide);
    // Building the report filled the caches it looked at.
    EXPECT_EQ(SystemProbe::mAppPathTable[KLX_APP_IDE_DIR], ide);

    // Each tool found turns its line to yes; the 9x family shows in line 1.
    setRegistry(HKEY_LOCAL_MACHINE, kMsvc6, "ProductDir", "C:\\VS\\VC98");
    setRegistry(HKEY_LOCAL_MACHINE, kMsvc70, "InstallDir", "C:\\VS70");
    setRegistry(HKEY_LOCAL_MACHINE, kMsvc71, "InstallDir", "C:\\VS71");
    setRegistry(HKEY_CURRENT_USER, kCygwin, "native", "C:/cygwin");
    const fs::path rc = klxtest::freshDir("info") / "tools.cvlrc";
    klxtest::writeBytes(rc, "export KL_CVL_IDE_ECLIPSE=\"C:/eclipse\"\n");
    std::string config = rc.string();
    SystemProbe::mOsType = KLX_OS_9X;
    {
        KLXCorvaleSettings settings(nullptr, config);
        // The report is rebuilt at every call, in the same string.
        std::string& full = KLXSystem::getSystemInfo();
        EXPECT_EQ(&full, &bare);
        EXPECT_EQ(full, "OS version: Microsoft Windows ME, 98 or 95"
                        "\r\nSystem Drive: C:\\"
                        "\r\nUser profile directory: " +
                            home +
                            "\r\nCygwin Root Path: C:\\cygwin"
                            "\r\nMicrosoft Visual C++ 6.0 installed: yes"
                            "\r\nMicrosoft Visual C++ .NET 2002 installed: yes"
                            "\r\nMicrosoft Visual C++ .NET 2003 installed: yes"
                            "\r\nEclipse installed: yes"
                            "\r\nCorvale IDE path: " +
                            ide);
    }

    // Gone from the sources but still cached: the report follows the table.
    for (const char* key : {kMsvc70, kMsvc71})
        setRegistry(HKEY_LOCAL_MACHINE, key, "InstallDir", "");
    EXPECT_NE(KLXSystem::getSystemInfo().find("2002 installed: yes"), std::string::npos);
    KLXSystem::resetAppPathTable();
    const std::string& after = KLXSystem::getSystemInfo();
    EXPECT_NE(after.find("\r\nMicrosoft Visual C++ 6.0 installed: yes"
                         "\r\nMicrosoft Visual C++ .NET 2002 installed: no"
                         "\r\nMicrosoft Visual C++ .NET 2003 installed: no"
                         "\r\nEclipse installed: no\r\n"),
              std::string::npos);

#ifndef _WIN32
    // An unknown profile (no HOME on POSIX) leaves its label followed by the
    // line break.
    SystemProbe::mUserProfileDir.clear();
    klxtest::unsetEnv("HOME");
    EXPECT_NE(KLXSystem::getSystemInfo().find("User profile directory: \r\nCygwin Root Path: "),
              std::string::npos);
    klxtest::setEnv("HOME", home);
#endif
    SystemProbe::mOsType = KLX_OS_NT;
    KLXSystem::resetAppPathTable();
}
