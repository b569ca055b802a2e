// The machine facts: the Windows family, the Windows directory with its
// drive, and the user's profile directory, each cached until reset.
#include "KLXSystem.h"

#include "Environment.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

struct SystemProbe : KLXSystem {
    using KLXSystem::mOsType;
    using KLXSystem::mSystemDrive;
    using KLXSystem::mUserProfileDir;
    using KLXSystem::mWindowsDirectory;
};

} // namespace

TEST(System, FamilyIsReadOnceFromTheEnvironment) {
    // Only the exact word "9x" selects the 9x family; the family is fixed at
    // the first question.
#ifdef _WIN32
    GTEST_SKIP() << "Windows gives the family from its version, not from KLX_WINDOWS_FAMILY";
#endif
    for (const char* value : {"9x", "", "9X", "nt", "9x ", "95", "unset"}) {
        SCOPED_TRACE(value);
        SystemProbe::mOsType = KLX_OS_UNKNOWN;
        klxtest::setEnv("KLX_WINDOWS_FAMILY", value);
        if (std::string(value) == "unset")
            klxtest::unsetEnv("KLX_WINDOWS_FAMILY");
        const KLXOsType_e expected = std::string(value) == "9x" ? KLX_OS_9X : KLX_OS_NT;
        EXPECT_EQ(KLXSystem::getOsType(), expected);
        klxtest::setEnv("KLX_WINDOWS_FAMILY", expected == KLX_OS_9X ? "nt" : "9x");
        EXPECT_EQ(KLXSystem::getOsType(), expected);
    }
    klxtest::unsetEnv("KLX_WINDOWS_FAMILY");
}

TEST(System, WindowsDirectoryAndDriveAreCachedTogether) {
    // Filled caches are returned as they stand.
    SystemProbe::mWindowsDirectory = "D:\\WINNT";
    SystemProbe::mSystemDrive = "D:\\";
    EXPECT_EQ(KLXSystem::getSystemRoot(), "D:\\WINNT");
    EXPECT_EQ(KLXSystem::getSystemDrive(), "D:\\");
    // Each getter looks only at its own cache, and a read fills both.
    SystemProbe::mSystemDrive.clear();
    EXPECT_EQ(&KLXSystem::getSystemDrive(), &SystemProbe::mSystemDrive);
    EXPECT_EQ(SystemProbe::mSystemDrive, "C:\\");
    EXPECT_EQ(SystemProbe::mWindowsDirectory, "C:\\windows");
    SystemProbe::mWindowsDirectory.clear();
    SystemProbe::mSystemDrive = "D:\\";
    EXPECT_EQ(&KLXSystem::getSystemRoot(), &SystemProbe::mWindowsDirectory);
    EXPECT_EQ(SystemProbe::mWindowsDirectory, "C:\\windows");
    EXPECT_EQ(SystemProbe::mSystemDrive, "C:\\");
}

TEST(System, ProfileIsHomeCachedAndRetriedWhileUnknown) {
    const std::string home = klxtest::profileDirectory();
    EXPECT_EQ(&KLXSystem::getUserProfileDir(), &SystemProbe::mUserProfileDir);
    EXPECT_EQ(SystemProbe::mUserProfileDir, home);
    klxtest::setEnv("HOME", "/elsewhere");
    klxtest::setEnv("USERPROFILE", "C:\\elsewhere");
    EXPECT_EQ(KLXSystem::getUserProfileDir(), home);
#ifdef _WIN32
    GTEST_SKIP() << "a Windows user always has a profile: the rest is the POSIX host's HOME";
#endif

    // Without a profile the result is empty, and the next call asks again.
    SystemProbe::mUserProfileDir.clear();
    klxtest::unsetEnv("HOME");
    EXPECT_EQ(KLXSystem::getUserProfileDir(), "");
    klxtest::setEnv("HOME", "");
    EXPECT_EQ(KLXSystem::getUserProfileDir(), "");
    klxtest::setEnv("HOME", home);
    EXPECT_EQ(KLXSystem::getUserProfileDir(), home);
}
