// System environment variables on both Windows families: where each family
// reads and writes them, how every change is recorded, and how the recorded
// changes are applied: the boot batch file of 9x, the environment batch file
// of both families, the emptied record and the forgotten tool locations.
#include "KLXEnvVar.h"
#include "KLXPathEnvironment.h"
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include "Environment.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Entry = std::vector<std::string>;
using Record = std::vector<Entry>;
using Lines = std::vector<std::string>;

struct System : KLXSystem {
    using KLXSystem::mAppPathTable;
    using KLXSystem::mOsType;
};

// A variable where the family keeps the environment, the machine environment
// key on NT and the process environment on 9x, after setting it to `value`
// when given; "<undefined>" for a process variable that is not set.
std::string env(std::string name, const char* value = nullptr, bool otherFamily = false) {
    std::string path = "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
    std::string text = value == nullptr ? "" : value;
    KLXRegistryKey machine(HKEY_LOCAL_MACHINE, path);
    const bool nt = (KLXSystem::getOsType() == KLX_OS_NT) != otherFamily;
    if (value != nullptr && nt)
        machine.setValue(name, text);
    else if (value != nullptr)
        klxtest::setEnv(name, text);
    return nt ? machine.retValue(name) : klxtest::getEnv(name);
}

// Runs the calls on one variable, as the library's callers do with lvalues:
// "=V" sets V, "!V" sets V with force, "+X" adds X, "-Y" removes Y, "*P>Q"
// replaces P by Q, and "^B" stores B behind the object's back.
struct Var : KLXEnvVar {
    using KLXEnvVar::mModifiedVarsList;
    Var(std::string name, std::string separator) : KLXEnvVar(name, separator) {}
    void run(const Entry& calls) {
        for (const std::string& call : calls) {
            std::string arg = call.substr(1), with = arg.substr(arg.find('>') + 1);
            if (call[0] == '=' || call[0] == '!')
                setValue(arg, call[0] == '!');
            else if (call[0] == '+')
                addToList(arg);
            else if (call[0] == '-')
                removeTemplate(arg);
            else if (call[0] == '^')
                env(getName(), arg.c_str());
            else
                replaceTemplate(arg.erase(arg.find('>')), with);
        }
    }
};

Record& recorded = Var::mModifiedVarsList;

// Switches the cached family and starts an empty record of changes.
std::string useFamily(KLXOsType_e family) {
    System::mOsType = family;
    recorded.clear();
    return family == KLX_OS_NT ? "NT" : "9X";
}

const std::string kRemoved = "REM Removed by Keldmar Corvale settings program";
const std::string kCall = "CALL C:\\klenv.bat";

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
void apply(KLXOsType_e family, const Record& entries) {
    System::mOsType = family;
    System::mAppPathTable[KLX_APP_GCC_HOME] = "C:\\gcc";
    recorded = entries;
    KLXEnvVar::applyChanges();
}

} // namespace

TEST(EnvVar, RecordsEachSequenceOfChanges) {
    // Each row: the stored value and the calls on a variable with separator
    // ";"; the name's entry, whose value is then the one stored, or none when
    // nothing is to be written or recorded.
    const std::pair<Entry, Entry> rows[] = {
        {{"A", "=V", "=W"}, {";", "W"}},
        {{"A;Y", "+X", "-Y"}, {";", "A;X", "X", "Y"}},
        {{"A;Y", "-Y", "+X", "-A"}, {";", "X", "", "Y", "X", "A"}},
        {{"A", "+X1", "+X2"}, {";", "A;X1;X2", "X1", "", "X2"}},
        {{"A;Y1;B;Y2", "-Y1", "-y2"}, {";", "A;B", "", "Y1", "", "y2"}},
        {{"A;%P%", "*%P%>Q"}, {";", "A;Q"}},
        {{"", "+X"}, {";", "X", "X"}},
        // The current value unforced, and list edits that change nothing;
        // force writes the current value.
        {{"SAME", "^BEHIND", "=SAME", "-Z", "-", "*Z>Q", "+"}, {}},
        {{"SAME", "^BEHIND", "!SAME"}, {";", "SAME"}},
    };
    for (KLXOsType_e family : {KLX_OS_NT, KLX_OS_9X}) {
        for (const auto& [calls, expected] : rows) {
            const std::string name = "KLX_TEST_LIST_" + std::to_string(&calls - &rows[0].first);
            SCOPED_TRACE(name + " " + useFamily(family));
            env(name, calls[0].c_str());
            Var(name, ";").run({calls.begin() + 1, calls.end()});
            Entry entry = expected;
            entry.insert(entry.begin(), name);
            EXPECT_EQ(recorded, expected.empty() ? Record{} : Record{entry});
            EXPECT_EQ(env(name), expected.empty() ? "BEHIND" : expected[1]);
        }
    }
}

TEST(EnvVar, EachFamilyUsesOnlyItsOwnStoreAndEntriesByExactName) {
    for (KLXOsType_e family : {KLX_OS_NT, KLX_OS_9X}) {
        const std::string tag = useFamily(family), upperName = "KLXOWN" + tag;
        std::string name = "KlxOwn" + tag, history = "Software\\KlxTest";
        SCOPED_TRACE(name);
        env(name, "elsewhere", true);
        EXPECT_EQ(Var(name, "").getValue(), "");
        // Names that differ in letter case are two entries, even where the
        // store itself does not tell them apart. Objects of one name share
        // the entry, which keeps the separator of the change that made it.
        // Without a separator there is no list.
        Var lower(name, ""), upper(upperName, ";");
        lower.run({"=mine", "+X"});
        upper.run({"=two"});
        Var(name, ";").run({"=", "+B"});
        EXPECT_EQ(env(name, nullptr, true), "elsewhere");
        EXPECT_EQ(recorded, (Record{{name, "", "B", "B"}, {upperName, ";", "two"}}));

        // A path element on the environment sets its variable without force:
        // its unchanged value is neither rewritten nor recorded.
        recorded.clear();
        env(name, "C:\\same");
        KLXPathEnvironment element(
            name, history, KLX_PATH_ENV_WIN, [](std::string&) { return true; }, false, nullptr,
            nullptr);
        env(name, "behind");
        element.updateEnvironment();
        EXPECT_EQ(env(name) + std::to_string(recorded.size()), "behind0");
    }
}

TEST(ApplyChanges, NineXDisablesOldDefinitionsInTheBootBatchFile) {
    // Each row: the boot batch file, the record, the boot batch file after.
    const std::tuple<std::string, Record, Lines> rows[] = {
        // A plain variable, and PATH with a template removed; a call line
        // already there, in another case, is not added again.
        {"call c:\\KLENV.BAT\r\nSET KLCOREHOME=A\r\nset path=C;OLD;D\r\n",
         {{"KLCOREHOME", "", "B"}, {"PATH", ";", "C;D", "", "OLD"}},
         {"call c:\\KLENV.BAT", kRemoved, "REM SET KLCOREHOME=A", "set path=C;D", kRemoved,
          "REM set path=C;OLD;D", ""}},
        // Every PATH line in any case, "\n" breaks; comments, blanks before
        // SET and PATHEXT stay; a template that matches nothing is skipped.
        // (PATH only added to stays as it is: see the next test.)
        {"Set Path=A;OLD\nREM SET PATH=OLD\n  SET PATH=OLD\nSET PATHEXT=.OLD\nSET PATH=OLDER;B",
         {{"PATH", ";", "v", "X", "NONE", "", "OLD"}},
         {"Set Path=A", kRemoved, "REM Set Path=A;OLD", "REM SET PATH=OLD", "  SET PATH=OLD",
          "SET PATHEXT=.OLD", "SET PATH=B", kRemoved, "REM SET PATH=OLDER;B", kCall}},
        // A variable named path in lower case is a plain variable.
        {"SET PATH=A", {{"path", ";", "v", "", "A"}}, {kRemoved, "REM SET PATH=A", kCall}},
    };
    for (const auto& [before, entries, after] : rows) {
        place(kAutoexec, before);
        apply(KLX_OS_9X, entries);
        EXPECT_EQ(linesOf(kAutoexec), after) << before;
    }
}

TEST(ApplyChanges, EnvironmentBatchFileOnBothFamilies) {
    for (KLXOsType_e family : {KLX_OS_NT, KLX_OS_9X}) {
        SCOPED_TRACE(family == KLX_OS_NT ? "NT" : "9x");
        // A definition already there is replaced where it stands, new ones
        // are appended; NT never opens the boot batch file.
        place(kAutoexec, "SET KLCOREHOME=A\r\nSET PATH=A;OLD");
        place(kKlenv, "set klcorehome=OLD\r\nECHO OFF\r\nREM");
        apply(family, {{"KLCOREHOME", "", "C:\\core"},
                       {"PATH", ",", "v", "X1", "", "X2"},
                       {"KLEMPTY", "", ""}});
        EXPECT_EQ(linesOf(kKlenv), (Lines{"SET KLCOREHOME=C:\\core", "ECHO OFF", "REM",
                                          "SET PATH=X1,X2,%PATH%", "SET KLEMPTY="}));
        const Lines boot = family == KLX_OS_NT
                               ? Lines{"SET KLCOREHOME=A", "SET PATH=A;OLD"}
                               : Lines{kRemoved, "REM SET KLCOREHOME=A", "SET PATH=A;OLD", kCall};
        EXPECT_EQ(linesOf(kAutoexec), boot);
        EXPECT_TRUE(recorded.empty());
        EXPECT_EQ(System::mAppPathTable[KLX_APP_GCC_HOME], "");

        // Nothing recorded: no file is touched and the cache stays.
        place(kAutoexec, "-");
        place(kKlenv, "-");
        apply(family, {});
        EXPECT_EQ(linesOf(kAutoexec), Lines{"-"});
        EXPECT_EQ(linesOf(kKlenv), Lines{"-"});
        EXPECT_EQ(System::mAppPathTable[KLX_APP_GCC_HOME], "C:\\gcc");
        // A missing boot batch file is made on 9x only, with the call line.
        apply(family, {{"KLTOOLS", "", "T"}});
        EXPECT_EQ(linesOf(kAutoexec), family == KLX_OS_NT ? Lines{"-"} : Lines{kCall});
    }
    // A batch file that cannot be written: the record is emptied all the same.
    place(kKlenv, "-");
    fs::create_directory(klxtest::cDrive() / kKlenv);
    apply(KLX_OS_9X, {{"KLTOOLS", "", "T"}});
    EXPECT_TRUE(recorded.empty());
    fs::remove(klxtest::cDrive() / kKlenv);
}
