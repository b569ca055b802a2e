// The machine facts: the Windows family, the Windows directory with its
// drive, and the user's profile directory, each cached until reset.
#include "KLXSystem.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

struct SystemProbe : KLXSystem {
    using KLXSystem::mOsType;
    using KLXSystem::mSystemDrive;
    using KLXSystem::mTheEmptyString;
    using KLXSystem::mUserProfileDir;
    using KLXSystem::mWindowsDirectory;
    using KLXSystem::updateSystemData;

    static void reset() {
        mOsType = KLX_OS_UNKNOWN;
        mSystemDrive.clear();
        mWindowsDirectory.clear();
        mUserProfileDir.clear();
    }
};

void setFamily(const char* value) {
    if (value == nullptr)
        unsetenv("KLX_WINDOWS_FAMILY");
    else
        setenv("KLX_WINDOWS_FAMILY", value, 1);
}

} // namespace

TEST(System, FamilyIsAskedForOnceAndKept) {
    SystemProbe::reset();
    setFamily(nullptr);
    EXPECT_EQ(KLXSystem::getOsType(), KLX_OS_NT);
    EXPECT_EQ(SystemProbe::mOsType, KLX_OS_NT);
    // The family is fixed at the first question.
    setFamily("9x");
    EXPECT_EQ(KLXSystem::getOsType(), KLX_OS_NT);

    SystemProbe::reset();
    EXPECT_EQ(KLXSystem::getOsType(), KLX_OS_9X);
    setFamily(nullptr);
    EXPECT_EQ(KLXSystem::getOsType(), KLX_OS_9X);

    // Only the exact word selects 9x.
    for (const char* other : {"", "9X", "nt", "9x ", "95"}) {
        SystemProbe::reset();
        setFamily(other);
        EXPECT_EQ(KLXSystem::getOsType(), KLX_OS_NT) << other;
    }
    setFamily(nullptr);
}

TEST(System, WindowsDirectoryAndDriveAreFilledTogether) {
    SystemProbe::reset();
    std::string& drive = KLXSystem::getSystemDrive();
    EXPECT_EQ(&drive, &SystemProbe::mSystemDrive);
    EXPECT_EQ(drive, "C:\\");
    EXPECT_EQ(SystemProbe::mWindowsDirectory, "C:\\windows");

    SystemProbe::reset();
    std::string& root = KLXSystem::getSystemRoot();
    EXPECT_EQ(&root, &SystemProbe::mWindowsDirectory);
    EXPECT_EQ(root, "C:\\windows");
    EXPECT_EQ(SystemProbe::mSystemDrive, "C:\\");

    // Filled caches are returned as they stand, each getter looking only at
    // its own cache.
    SystemProbe::mWindowsDirectory = "D:\\WINNT";
    SystemProbe::mSystemDrive = "D:\\";
    EXPECT_EQ(KLXSystem::getSystemRoot(), "D:\\WINNT");
    EXPECT_EQ(KLXSystem::getSystemDrive(), "D:\\");
    SystemProbe::mSystemDrive.clear();
    EXPECT_EQ(KLXSystem::getSystemDrive(), "C:\\");
    EXPECT_EQ(SystemProbe::mWindowsDirectory, "C:\\windows");
    SystemProbe::mWindowsDirectory.clear();
    SystemProbe::mSystemDrive = "D:\\";
    EXPECT_EQ(KLXSystem::getSystemRoot(), "C:\\windows");
    EXPECT_EQ(SystemProbe::mSystemDrive, "C:\\");

    SystemProbe::mSystemDrive = "X";
    SystemProbe::mWindowsDirectory = "Y";
    SystemProbe::updateSystemData();
    EXPECT_EQ(SystemProbe::mSystemDrive, "C:\\");
    EXPECT_EQ(SystemProbe::mWindowsDirectory, "C:\\windows");
    EXPECT_TRUE(SystemProbe::mTheEmptyString.empty());
}

TEST(System, ProfileIsHomeAndRetriedWhileUnknown) {
    SystemProbe::reset();
    const std::string home = std::getenv("HOME");
    std::string& profile = KLXSystem::getUserProfileDir();
    EXPECT_EQ(&profile, &SystemProbe::mUserProfileDir);
    EXPECT_EQ(profile, home);

    // Cached: a later change of HOME is not seen until the cache is empty.
    setenv("HOME", "/elsewhere", 1);
    EXPECT_EQ(KLXSystem::getUserProfileDir(), home);
    SystemProbe::mUserProfileDir.clear();
    EXPECT_EQ(KLXSystem::getUserProfileDir(), "/elsewhere");

    // Without a profile the result is empty, and the next call asks again.
    SystemProbe::mUserProfileDir.clear();
    unsetenv("HOME");
    EXPECT_EQ(&KLXSystem::getUserProfileDir(), &SystemProbe::mUserProfileDir);
    EXPECT_EQ(KLXSystem::getUserProfileDir(), "");
    setenv("HOME", "", 1);
    EXPECT_EQ(KLXSystem::getUserProfileDir(), "");
    setenv("HOME", home.c_str(), 1);
    EXPECT_EQ(KLXSystem::getUserProfileDir(), home);
}
