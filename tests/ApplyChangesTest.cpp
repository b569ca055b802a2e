// Applying the recorded environment changes: the boot batch file of 9x, the
// environment batch file of both families, the emptied record and the
// forgotten tool locations.
#include "KLXEnvVar.h"
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include "Environment.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;
using Entry = std::vector<std::string>;

const std::string kRemoved = "REM Removed by Keldmar Corvale settings program";
const std::string kCall = "CALL C:\\klenv.bat";
const std::string kMissing = "<missing>";

struct System : KLXSystem {
    using KLXSystem::mAppPathTable;
    using KLXSystem::mOsType;
};

struct Var : KLXEnvVar {
    using KLXEnvVar::mModifiedVarsList;
    Var(std::string name, std::string separator) : KLXEnvVar(name, separator) {}
};

fs::path batch(const char* name) {
    return klxtest::cDrive() / name;
}
fs::path autoexec() {
    return batch("autoexec.bat");
}
fs::path klenv() {
    return batch("klenv.bat");
}

// Puts `bytes` in the file, or removes it for kMissing.
void place(const fs::path& file, const std::string& bytes) {
    fs::remove(file);
    if (bytes != kMissing)
        klxtest::writeBytes(file, bytes);
}

// The file's lines as the batch file type writes them: every break "\r\n".
// A stray "\r" or "\n" stays inside its line and shows in the comparison.
Lines linesOf(const fs::path& file) {
    if (!fs::exists(file))
        return {kMissing};
    return klxtest::crlfLines(klxtest::readBytes(file));
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
        const char* what;
        std::string before;
        std::vector<Entry> entries;
        Lines after;
    };
    const Row rows[] = {
        {"plain variable and PATH with a template removed",
         "SET KLCOREHOME=A\r\nset path=C;OLD;D\r\n",
         {{"KLCOREHOME", "", "B"}, {"PATH", ";", "C;D", "", "OLD"}},
         {kRemoved, "REM SET KLCOREHOME=A", "set path=C;D", kRemoved, "REM set path=C;OLD;D", "",
          kCall}},
        {"every PATH line in any case, \"\\n\" breaks; comments, blanks before SET and PATHEXT "
         "stay",
         "Set Path=A;OLD\nREM SET PATH=OLD\n  SET PATH=OLD\nSET PATHEXT=.OLD\nSET PATH=OLDER;B",
         {{"PATH", ";", "v", "X", "OLD"}},
         {"Set Path=A", kRemoved, "REM Set Path=A;OLD", "REM SET PATH=OLD", "  SET PATH=OLD",
          "SET PATHEXT=.OLD", "SET PATH=B", kRemoved, "REM SET PATH=OLDER;B", kCall}},
        {"PATH only added to, \"\\r\" breaks: its lines stay as they are",
         "SET PATH=A;B\rSET PATH=C\r",
         {{"PATH", ";", "v", "X"}},
         {"SET PATH=A;B", "SET PATH=C", "", kCall}},
        {"a template that matches nothing leaves the line; a later one that matches edits it",
         "SET PATH=C:\\PATH\\bin;D",
         {{"PATH", ";", "v", "", "NONE", "", "PATH"}},
         {"SET PATH=D", kRemoved, "REM SET PATH=C:\\PATH\\bin;D", kCall}},
        {"a variable named path in lower case is a plain variable",
         "SET PATH=A;OLD",
         {{"path", ";", "v", "X", "OLD"}},
         {kRemoved, "REM SET PATH=A;OLD", kCall}},
        {"names that differ only in case: the first disables, the second finds nothing more",
         "SET KLTOOLS=A\r\nSET KLTOOLS=B",
         {{"KLTOOLS", "", "1"}, {"kltools", "", "2"}},
         {kRemoved, "REM SET KLTOOLS=A", kRemoved, "REM SET KLTOOLS=B", kCall}},
        {"a call line already there, in another case, is not added again",
         "call c:\\KLENV.BAT\r\nSET A=1",
         {{"A", "", "2"}},
         {"call c:\\KLENV.BAT", kRemoved, "REM SET A=1"}},
        {"a missing boot batch file is created with the call line alone",
         kMissing,
         {{"A", "", "2"}},
         {kCall}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        place(autoexec(), row.before);
        apply(KLX_OS_9X, row.entries);
        EXPECT_EQ(linesOf(autoexec()), row.after);
        EXPECT_TRUE(Var::mModifiedVarsList.empty());
        EXPECT_EQ(System::mAppPathTable[KLX_APP_GCC_HOME], "");
    }
}

TEST(ApplyChanges, EnvironmentBatchFileAccumulatesOnBothFamilies) {
    for (KLXOsType_e family : {KLX_OS_NT, KLX_OS_9X}) {
        SCOPED_TRACE(family == KLX_OS_NT ? "NT" : "9x");
        const std::string bootBefore = "SET KLCOREHOME=A\r\nSET PATH=A;OLD";
        place(autoexec(), bootBefore);
        place(klenv(), "ECHO OFF\r\nset klcorehome=OLD\r\n");

        apply(family, {{"KLCOREHOME", "", "C:\\core"},
                       {"PATH", ";", "v", "X1", "", "X2"},
                       {"KLEMPTY", "", ""}});
        EXPECT_EQ(linesOf(klenv()), (Lines{"ECHO OFF", "SET KLCOREHOME=C:\\core", "",
                                           "SET PATH=X1;X2;%PATH%", "SET KLEMPTY="}));
        EXPECT_TRUE(Var::mModifiedVarsList.empty());
        EXPECT_EQ(System::mAppPathTable[KLX_APP_GCC_HOME], "");
        if (family == KLX_OS_NT) {
            // The boot batch file is the 9x environment: NT never opens it.
            EXPECT_EQ(klxtest::readBytes(autoexec()), bootBefore);
        }

        // Applied again: replaced where it stands; a new variable appended.
        apply(family, {{"PATH", ";", "w", "", "OLD"}, {"KLTOOLS", "", "T"}});
        EXPECT_EQ(linesOf(klenv()), (Lines{"ECHO OFF", "SET KLCOREHOME=C:\\core", "",
                                           "SET PATH=%PATH%", "SET KLEMPTY=", "SET KLTOOLS=T"}));
        if (family == KLX_OS_NT) {
            EXPECT_EQ(klxtest::readBytes(autoexec()), bootBefore);
        } else {
            EXPECT_EQ(linesOf(autoexec()), (Lines{kRemoved, "REM SET KLCOREHOME=A", "SET PATH=A",
                                                  kRemoved, "REM SET PATH=A;OLD", kCall}));
        }

        // Nothing recorded: no file is touched and the cache stays.
        place(autoexec(), kMissing);
        place(klenv(), kMissing);
        apply(family, {});
        EXPECT_FALSE(fs::exists(autoexec()));
        EXPECT_FALSE(fs::exists(klenv()));
        EXPECT_EQ(System::mAppPathTable[KLX_APP_GCC_HOME], "C:\\gcc");
    }
    // NT creates no boot batch file; added items are joined with the entry's
    // own separator.
    apply(KLX_OS_NT, {{"KLTOOLS", "", "T"}, {"PATH", ",", "v", "X", "Y"}});
    EXPECT_FALSE(fs::exists(autoexec()));
    EXPECT_EQ(linesOf(klenv()), (Lines{"SET KLTOOLS=T", "SET PATH=X,%PATH%"}));
}

TEST(ApplyChanges, AppliesWhatTheVariablesRecorded) {
    // The record made by the variables' own edits, on each family.
    const char* const savedPath = std::getenv("PATH");
    const std::string processPath = savedPath == nullptr ? "" : savedPath;
    std::string keyPath = "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
    for (KLXOsType_e family : {KLX_OS_NT, KLX_OS_9X}) {
        SCOPED_TRACE(family == KLX_OS_NT ? "NT" : "9x");
        System::mOsType = family;
        Var::mModifiedVarsList.clear();
        std::string name = "PATH", list = "C:\\a;C:\\OLD\\bin;C:\\b";
        if (family == KLX_OS_NT)
            KLXRegistryKey(HKEY_LOCAL_MACHINE, keyPath).setValue(name, list);
        else
            klxtest::setEnv("PATH", list);
        place(autoexec(), "SET PATH=C:\\a;C:\\OLD\\bin\r\n");
        place(klenv(), kMissing);

        Var path("PATH", ";");
        std::string removed = "old", added = "C:\\x";
        path.removeTemplate(removed);
        path.addToList(added);
        KLXEnvVar::applyChanges();
        klxtest::setEnv("PATH", processPath);

        EXPECT_EQ(linesOf(klenv()), Lines{"SET PATH=C:\\x;%PATH%"});
        if (family == KLX_OS_9X)
            EXPECT_EQ(linesOf(autoexec()), (Lines{"SET PATH=C:\\a", kRemoved,
                                                  "REM SET PATH=C:\\a;C:\\OLD\\bin", "", kCall}));
        else
            EXPECT_EQ(linesOf(autoexec()), (Lines{"SET PATH=C:\\a;C:\\OLD\\bin", ""}));
        EXPECT_TRUE(Var::mModifiedVarsList.empty());
    }
}
