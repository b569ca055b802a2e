// The module-wide state as the module leaves it at load, and the line
// breaks that the first text file sets up. Its own test program, so that no
// other test has constructed a text file before these run.
#include "KLXCorvaleSettings.h"
#include "KLXEnvVar.h"
#include "KLXSystem.h"
#include "KLXTextFile.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

namespace {

struct SystemState : KLXSystem {
    using KLXSystem::mAppPathTable;
    using KLXSystem::mOsType;
    using KLXSystem::mSystemDrive;
    using KLXSystem::mSystemInfo;
    using KLXSystem::mTheEmptyString;
    using KLXSystem::mUserProfileDir;
    using KLXSystem::mWindowsDirectory;
};

struct EnvState : KLXEnvVar {
    using KLXEnvVar::mModifiedVarsList;
};

struct TextFileState : KLXTextFile {
    using KLXTextFile::mLineBreakMac;
    using KLXTextFile::mLineBreakUnx;
    using KLXTextFile::mLineBreakWin;
};

} // namespace

TEST(ModuleState, DefaultsAtLoad) {
    EXPECT_EQ(SystemState::mOsType, KLX_OS_UNKNOWN);
    EXPECT_EQ(KLXCorvaleSettings::Instance, nullptr);
    EXPECT_EQ(KLXCorvaleSettings::mOSBaseBand, "pavan");
    EXPECT_EQ(KLXCorvaleSettings::mFormerOSBaseBand, "pavan");
    EXPECT_TRUE(EnvState::mModifiedVarsList.empty());
    EXPECT_TRUE(SystemState::mSystemDrive.empty());
    EXPECT_TRUE(SystemState::mWindowsDirectory.empty());
    EXPECT_TRUE(SystemState::mSystemInfo.empty());
    EXPECT_TRUE(SystemState::mTheEmptyString.empty());
    EXPECT_TRUE(SystemState::mUserProfileDir.empty());
    for (const std::string& entry : SystemState::mAppPathTable)
        EXPECT_TRUE(entry.empty());
    EXPECT_EQ(sizeof(SystemState::mAppPathTable) / sizeof(std::string), 25u);
    EXPECT_TRUE(TextFileState::mLineBreakWin.empty());
    EXPECT_TRUE(TextFileState::mLineBreakUnx.empty());
    EXPECT_TRUE(TextFileState::mLineBreakMac.empty());
}

TEST(ModuleState, FirstTextFileSetsTheLineBreaksForGood) {
    // Even a file that cannot be opened sets them up.
    std::string missing = (klxtest::freshDir("state") / "no" / "such.txt").string();
    KLXTextFile unreadable(missing, KLX_TEXT_FILE_WIN, 2);
    EXPECT_EQ(TextFileState::mLineBreakWin, "\r\n");
    EXPECT_EQ(TextFileState::mLineBreakUnx, "\n");
    EXPECT_EQ(TextFileState::mLineBreakMac, "\r");

    std::string path = (klxtest::freshDir("state") / "a.txt").string();
    KLXTextFile second(path, KLX_TEXT_FILE_MAC, 0);
    EXPECT_EQ(TextFileState::mLineBreakWin, "\r\n");
    EXPECT_EQ(TextFileState::mLineBreakUnx, "\n");
    EXPECT_EQ(TextFileState::mLineBreakMac, "\r");
}
