// System environment variables on both Windows families: where each family
// reads and writes them, and how every change is recorded for applying.
#include "KLXEnvVar.h"
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include "Environment.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace {

using Entry = std::vector<std::string>;
using Record = std::vector<Entry>;

const KLXOsType_e kFamilies[] = {KLX_OS_NT, KLX_OS_9X};

struct Family : KLXSystem {
    using KLXSystem::mOsType;
};

// Runs the calls on one variable, as the library's callers do with lvalues:
// "=V" sets V, "!V" sets V with force, "+X" adds X, "-Y" removes Y and
// "*P>Q" replaces P by Q.
struct Var : KLXEnvVar {
    using KLXEnvVar::mModifiedVarsList;
    using KLXEnvVar::updateModifiedVarList;
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
            else
                replaceTemplate(arg.erase(arg.find('>')), with);
        }
    }
};

Record& recorded = Var::mModifiedVarsList;

// Switches the cached family and starts an empty record of changes.
std::string useFamily(KLXOsType_e family) {
    Family::mOsType = family;
    recorded.clear();
    return family == KLX_OS_NT ? "NT" : "9x";
}

// A variable where the family keeps the environment, the machine environment
// key on NT and the process environment on 9x, after setting it to `value`
// when given; "<undefined>" for a process variable that is not set.
std::string env(KLXOsType_e family, std::string name, const char* value = nullptr) {
    std::string path = "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
    std::string text = value == nullptr ? "" : value;
    KLXRegistryKey machine(HKEY_LOCAL_MACHINE, path);
    if (family == KLX_OS_NT && value != nullptr)
        machine.setValue(name, text);
    if (family == KLX_OS_NT)
        return machine.retValue(name);
    if (value != nullptr)
        klxtest::setEnv(name, value);
    return klxtest::getEnv(name);
}

} // namespace

TEST(EnvVar, RecordsEachSequenceOfChanges) {
    // A list far longer than the old 1024-byte read buffer.
    std::string longList;
    for (int i = 0; longList.size() <= 5000; ++i)
        longList += "C:\\tools\\element" + std::to_string(i) + ";";
    // Each row: the stored list, then the calls; the entry after name,
    // separator and value, which is the value after the last call; and that
    // value.
    struct Row {
        Entry calls;
        Entry entry;
        std::string last;
    };
    const std::vector<Row> rows = {
        {{"A", "=V"}, {}, "V"},
        {{"A", "=V", "=W"}, {}, "W"},
        {{"A", "+X"}, {"X"}, "A;X"},
        {{"A;Y", "-Y"}, {"", "Y"}, "A"},
        {{"A;Y", "+X", "-Y"}, {"X", "Y"}, "A;X"},
        {{"A;Y", "-Y", "+X"}, {"", "Y", "X"}, "A;X"},
        {{"A", "+X1", "+X2"}, {"X1", "", "X2"}, "A;X1;X2"},
        {{"A;Y1;B;Y2", "-Y1", "-Y2"}, {"", "Y1", "", "Y2"}, "A;B"},
        {{"A;%P%", "*%P%>Q"}, {}, "A;Q"},
        {{"", "+X"}, {"X"}, "X"}, // no separator before the first item
        {{"A;Y", "-Y", "+X", "-A"}, {"", "Y", "X", "A"}, "X"},
        {{longList + "C:\\old", "+C:\\new", "-C:\\old"},
         {"C:\\new", "C:\\old"},
         longList + "C:\\new"},
    };
    for (KLXOsType_e family : kFamilies) {
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const std::string name = "KLX_TEST_LIST_" + std::to_string(i);
            SCOPED_TRACE(name + " " + useFamily(family));
            const Entry& calls = rows[i].calls;
            env(family, name, calls[0].c_str());
            Var path(name, ";");
            path.run({calls.begin() + 1, calls.end()});
            Entry expected{name, ";", rows[i].last};
            expected.insert(expected.end(), rows[i].entry.begin(), rows[i].entry.end());
            EXPECT_EQ(recorded, Record{expected});
            EXPECT_EQ(env(family, name), rows[i].last);
            EXPECT_EQ(path.getValue(), rows[i].last);
        }
    }
}

TEST(EnvVar, WritesAndRecordsOnlyChangesUnlessForced) {
    for (KLXOsType_e family : kFamilies) {
        SCOPED_TRACE(useFamily(family));
        env(family, "KLX_TEST_FORCE", "SAME");
        env(family, "KLX_TEST_NOOP", "A;B");
        Var plain("KLX_TEST_FORCE", "");
        Var list("KLX_TEST_NOOP", ";");
        env(family, "KLX_TEST_FORCE", "BEHIND");
        env(family, "KLX_TEST_NOOP", "BEHIND");
        // The current value unforced and list edits that change nothing
        // write and record nothing.
        plain.run({"=SAME", "+X"});
        list.run({"-Z", "-", "*Z>Q", "+"});
        EXPECT_EQ(env(family, "KLX_TEST_FORCE") + env(family, "KLX_TEST_NOOP"), "BEHINDBEHIND");
        EXPECT_TRUE(recorded.empty());
        // Force writes the current value; removal ignores letter case and its
        // entry keeps the template as given.
        plain.run({"!SAME"});
        list.run({"-b"});
        EXPECT_EQ(env(family, "KLX_TEST_FORCE"), "SAME");
        EXPECT_EQ(recorded,
                  (Record{{"KLX_TEST_FORCE", "", "SAME"}, {"KLX_TEST_NOOP", ";", "A", "", "b"}}));
    }
}

TEST(EnvVar, EntriesAreKeptByExactName) {
    for (KLXOsType_e family : kFamilies) {
        SCOPED_TRACE(useFamily(family));
        env(family, "KlxTestCase", "");
        env(family, "KLXTESTCASE", "");
        Var lower("KlxTestCase", ";");
        Var upper("KLXTESTCASE", ";");
        Var again("KlxTestCase", ",");
        // Names that differ in letter case are two entries, even where the
        // store itself does not tell them apart. Objects of one name share
        // the entry, which keeps the separator of the change that made it and
        // the value of the latest one.
        lower.run({"=A"});
        upper.run({"=two"});
        again.run({"+B"});
        std::string none;
        Var::updateModifiedVarList(nullptr, none, none);
        EXPECT_EQ(recorded, (Record{{"KlxTestCase", ";", "B", "B"}, {"KLXTESTCASE", ";", "two"}}));
    }
}

TEST(EnvVar, EachFamilyUsesOnlyItsOwnStore) {
    // Neither family reads the user's environment key.
    std::string userPath = "Environment", userName = "KLX_TEST_USER_ONLY", user = "user";
    KLXRegistryKey(HKEY_CURRENT_USER, userPath).setValue(userName, user);
    for (KLXOsType_e family : kFamilies) {
        const std::string name = "KLX_TEST_OWN_" + useFamily(family);
        SCOPED_TRACE(name);
        const KLXOsType_e other = family == KLX_OS_NT ? KLX_OS_9X : KLX_OS_NT;
        env(other, name, "elsewhere");
        EXPECT_EQ(Var(name, "").getValue(), "");
        EXPECT_EQ(Var(userName, "").getValue(), "");
        Var variable(name, "");
        variable.run({"=mine"});
        EXPECT_EQ(env(other, name), "elsewhere");
        EXPECT_EQ(Var(name, "").getValue(), "mine");
        // The empty value keeps the variable, empty; a name the process
        // environment cannot hold still records the change.
        variable.run({"="});
        EXPECT_EQ(env(family, name), "");
        Var odd("KLX=ODD", "");
        odd.run({"=x"});
        EXPECT_EQ(env(KLX_OS_9X, "KLX"), "<undefined>");
        EXPECT_EQ(recorded, (Record{{name, "", ""}, {"KLX=ODD", "", "x"}}));
    }
}
