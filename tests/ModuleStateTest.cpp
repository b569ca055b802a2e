// The module-wide state as the module leaves it at load, and the line
// breaks that the first text file sets up. Its own test program, so that no
// other test has constructed a text file before these run.
#include "KLXCorvaleSettings.h"
#include "KLXEnvVar.h"
#include "KLXSystem.h"
#include "KLXTextFile.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <vector>

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

TEST(ModuleState, DefaultsAtLoadAndTheLineBreaksOfTheFirstTextFile) {
    EXPECT_EQ(SystemState::mOsType, KLX_OS_UNKNOWN);
    EXPECT_EQ(KLXCorvaleSettings::Instance, nullptr);
    EXPECT_EQ(KLXCorvaleSettings::mOSBaseBand, "pavan");
    EXPECT_EQ(KLXCorvaleSettings::mFormerOSBaseBand, "pavan");
    EXPECT_TRUE(EnvState::mModifiedVarsList.empty());
    std::vector<const std::string*> empty = {
        &SystemState::mSystemDrive,    &SystemState::mWindowsDirectory,
        &SystemState::mSystemInfo,     &SystemState::mTheEmptyString,
        &SystemState::mUserProfileDir, &TextFileState::mLineBreakWin,
        &TextFileState::mLineBreakUnx, &TextFileState::mLineBreakMac};
    for (const std::string& entry : SystemState::mAppPathTable)
        empty.push_back(&entry);
    EXPECT_EQ(empty.size(), 8u + 25u);
    for (const std::string* text : empty)
        EXPECT_TRUE(text->empty()) << text - empty.front();

    // Even a file that cannot be opened sets them up.
    std::string missing = (klxtest::freshDir("state") / "no" / "such.txt").string();
    KLXTextFile unreadable(missing, KLX_TEXT_FILE_WIN, 2);
    EXPECT_EQ(TextFileState::mLineBreakWin + TextFileState::mLineBreakUnx +
                  TextFileState::mLineBreakMac,
              "\r\n\n\r");
}
