// Applying the recorded environment changes: the boot batch file of 9x, the
// environment batch file of both families, the emptied record and the
// forgotten tool locations.
#include "KLXEnvVar.h"
#include "KLXSystem.h"

#include "Environment.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;
using Entry = std::vector<std::string>;

const std::string kRemoved = "REM Removed by Keldmar Corvale settings program";
const std::string kCall = "CALL C:\\klenv.bat";

struct System : KLXSystem {
    using KLXSystem::mAppPathTable;
    using KLXSystem::mOsType;
};

struct Var : KLXEnvVar {
    using KLXEnvVar::mModifiedVarsList;
};

const fs::path kAutoexec = "autoexec.bat", kKlenv = "klenv.bat";

// Puts `bytes` in the batch file on C:, or removes it for "-".
void place(const fs::path& file, const std::string& bytes) {
    fs::remove(klxtest::cDrive() / file);
    if (bytes != "-")
        klxtest::writeBytes(klxtest::cDrive() / file, bytes);
}

// The file's lines, every break being "\r\n": a stray "\r" or "\n" stays
// inside its line and shows in the comparison. "-" for a missing file.
Lines linesOf(const fs::path& file) {
    if (!fs::exists(klxtest::cDrive() / file))
        return {"-"};
    return klxtest::crlfLines(klxtest::readBytes(klxtest::cDrive() / file));
}

// Applies `entries` on `family` with one tool location cached.
void apply(KLXOsType_e family, const std::vector<Entry>& entries) {
    System::mOsType = family;
    System::mAppPathTable[KLX_APP_GCC_HOME] = "C:\\gcc";
    Var::mModifiedVarsList = entries;
    KLXEnvVar::applyChanges();
}

} // namespace

TEST(ApplyChanges, NineXDisablesOldDefinitionsInTheBootBatchFile) {
    struct Row {
        std::string before;
        std::vector<Entry> entries;
        Lines after;
    };
    const Row rows[] = {
        // A plain variable, and PATH with a template removed.
        {"SET KLCOREHOME=A\r\nset path=C;OLD;D\r\n",
         {{"KLCOREHOME", "", "B"}, {"PATH", ";", "C;D", "", "OLD"}},
         {kRemoved, "REM SET KLCOREHOME=A", "set path=C;D", kRemoved, "REM set path=C;OLD;D", "",
          kCall}},
        // Every PATH line in any case, "\n" breaks; comments, blanks before
        // SET and PATHEXT stay; a template that matches nothing is skipped.
        {"Set Path=A;OLD\nREM SET PATH=OLD\n  SET PATH=OLD\nSET PATHEXT=.OLD\nSET PATH=OLDER;B",
         {{"PATH", ";", "v", "X", "NONE", "", "OLD"}},
         {"Set Path=A", kRemoved, "REM Set Path=A;OLD", "REM SET PATH=OLD", "  SET PATH=OLD",
          "SET PATHEXT=.OLD", "SET PATH=B", kRemoved, "REM SET PATH=OLDER;B", kCall}},
        // PATH only added to, "\r" breaks: its lines stay as they are.
        {"SET PATH=A;B\rSET PATH=C\r",
         {{"PATH", ";", "v", "X"}},
         {"SET PATH=A;B", "SET PATH=C", "", kCall}},
        // A variable named path in lower case is a plain variable.
        {"SET PATH=A;OLD",
         {{"path", ";", "v", "X", "OLD"}},
         {kRemoved, "REM SET PATH=A;OLD", kCall}},
        // A call line already there, in another case, is not added again.
        {"call c:\\KLENV.BAT\r\nSET A=1",
         {{"A", "", "2"}},
         {"call c:\\KLENV.BAT", kRemoved, "REM SET A=1"}},
        {"-", {{"A", "", "2"}}, {kCall}},
    };
    for (const Row& row : rows) {
        place(kAutoexec, row.before);
        apply(KLX_OS_9X, row.entries);
        EXPECT_EQ(linesOf(kAutoexec), row.after) << row.before;
    }
}

TEST(ApplyChanges, EnvironmentBatchFileAccumulatesOnBothFamilies) {
    for (KLXOsType_e family : {KLX_OS_NT, KLX_OS_9X}) {
        SCOPED_TRACE(family == KLX_OS_NT ? "NT" : "9x");
        place(kAutoexec, "SET KLCOREHOME=A\r\nSET PATH=A;OLD");
        place(kKlenv, "ECHO OFF\r\nset klcorehome=OLD\r\n");
        apply(family, {{"KLCOREHOME", "", "C:\\core"},
                       {"PATH", ";", "v", "X1", "", "X2"},
                       {"KLEMPTY", "", ""}});
        EXPECT_EQ(linesOf(kKlenv), (Lines{"ECHO OFF", "SET KLCOREHOME=C:\\core", "",
                                          "SET PATH=X1;X2;%PATH%", "SET KLEMPTY="}));
        EXPECT_TRUE(Var::mModifiedVarsList.empty());
        EXPECT_EQ(System::mAppPathTable[KLX_APP_GCC_HOME], "");

        // Applied again: replaced where it stands; a new variable appended.
        // NT never opens the boot batch file.
        apply(family, {{"PATH", ";", "w", "", "OLD"}, {"KLTOOLS", "", "T"}});
        EXPECT_EQ(linesOf(kKlenv), (Lines{"ECHO OFF", "SET KLCOREHOME=C:\\core", "",
                                          "SET PATH=%PATH%", "SET KLEMPTY=", "SET KLTOOLS=T"}));
        const Lines boot = family == KLX_OS_NT
                               ? Lines{"SET KLCOREHOME=A", "SET PATH=A;OLD"}
                               : Lines{kRemoved, "REM SET KLCOREHOME=A", "SET PATH=A",
                                       kRemoved, "REM SET PATH=A;OLD",   kCall};
        EXPECT_EQ(linesOf(kAutoexec), boot);

        // Nothing recorded: no file is touched and the cache stays.
        place(kAutoexec, "-");
        place(kKlenv, "-");
        apply(family, {});
        EXPECT_FALSE(fs::exists(klxtest::cDrive() / kAutoexec) ||
                     fs::exists(klxtest::cDrive() / kKlenv));
        EXPECT_EQ(System::mAppPathTable[KLX_APP_GCC_HOME], "C:\\gcc");

        // Batch files that cannot be written: the record is emptied all the
        // same.
        fs::create_directory(klxtest::cDrive() / kAutoexec);
        fs::create_directory(klxtest::cDrive() / kKlenv);
        apply(family, {{"KLTOOLS", "", "T"}});
        EXPECT_TRUE(Var::mModifiedVarsList.empty());
        fs::remove(klxtest::cDrive() / kAutoexec);
        fs::remove(klxtest::cDrive() / kKlenv);
    }
    // NT creates no boot batch file; added items are joined with the entry's
    // own separator.
    apply(KLX_OS_NT, {{"KLTOOLS", "", "T"}, {"PATH", ",", "v", "X", "Y"}});
    EXPECT_EQ(linesOf(kAutoexec), Lines{"-"});
    EXPECT_EQ(linesOf(kKlenv), (Lines{"SET KLTOOLS=T", "SET PATH=X,%PATH%"}));
}
