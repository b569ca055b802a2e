// The module-wide state as the module leaves it at load, and the line
// breaks that the first text file sets up. Its own test program, so that no
// other test has constructed a text file before these run.
#include "KLXCorvaleSettings.h"
#include "KLXSystem.h"
#include "KLXTextFile.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct SystemState : KLXSystem {
    using KLXSystem::mOsType;
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
    EXPECT_EQ(KLXCorvaleSettings::mOSBaseBand + KLXCorvaleSettings::mFormerOSBaseBand,
              "pavanpavan");
    // Even a file that cannot be opened sets them up.
    std::string missing = (klxtest::freshDir("state") / "no" / "such.txt").string();
    KLXTextFile unreadable(missing, KLX_TEXT_FILE_WIN, 2);
    EXPECT_EQ(TextFileState::mLineBreakWin + TextFileState::mLineBreakUnx +
                  TextFileState::mLineBreakMac,
              "\r\n\n\r");
}
