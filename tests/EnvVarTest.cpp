// System environment variables on both Windows families: where each family
// reads and writes them, and how every change is recorded for applying.
#include "KLXEnvVar.h"
#include "KLXPathEnvironment.h"
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include "Environment.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Entry = std::vector<std::string>;
using Record = std::vector<Entry>;

struct Family : KLXSystem {
    using KLXSystem::mOsType;
};

// A variable where the family keeps the environment, the machine environment
// key on NT and the process environment on 9x, after setting it to `value`
// when given; "<undefined>" for a process variable that is not set.
std::string env(std::string name, const char* value = nullptr, bool otherFamily = false) {
    std::string path = "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
    std::string text = value == nullptr ? "" : value;
    KLXRegistryKey machine(HKEY_LOCAL_MACHINE, path);
    if ((KLXSystem::getOsType() == KLX_OS_NT) != otherFamily) {
        if (value != nullptr)
            machine.setValue(name, text);
        return machine.retValue(name);
    }
    if (value != nullptr)
        klxtest::setEnv(name, value);
    return klxtest::getEnv(name);
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
    Family::mOsType = family;
    recorded.clear();
    return family == KLX_OS_NT ? "NT" : "9X";
}

} // namespace

TEST(EnvVar, RecordsEachSequenceOfChanges) {
    // A list far longer than the old 1024-byte read buffer.
    std::string longList;
    for (int i = 0; longList.size() <= 5000; ++i)
        longList += "C:\\tools\\element" + std::to_string(i) + ";";
    // Each row: the stored value and the calls on a variable with separator
    // ";"; the name's entry, none when nothing is to be recorded; the value
    // stored afterwards.
    struct Row {
        Entry calls, entry;
        std::string stored;
    };
    const Row rows[] = {
        {{"A", "=V", "=W"}, {";", "W"}, "W"},
        {{"A;Y", "+X", "-Y"}, {";", "A;X", "X", "Y"}, "A;X"},
        {{"A;Y", "-Y", "+X", "-A"}, {";", "X", "", "Y", "X", "A"}, "X"},
        {{"A", "+X1", "+X2"}, {";", "A;X1;X2", "X1", "", "X2"}, "A;X1;X2"},
        {{"A;Y1;B;Y2", "-Y1", "-y2"}, {";", "A;B", "", "Y1", "", "y2"}, "A;B"},
        {{"A;%P%", "*%P%>Q"}, {";", "A;Q"}, "A;Q"},
        {{"", "+X"}, {";", "X", "X"}, "X"},
        {{longList + "C:\\old", "+C:\\new", "-C:\\old"},
         {";", longList + "C:\\new", "C:\\new", "C:\\old"},
         longList + "C:\\new"},
        // The current value unforced, and list edits that change nothing,
        // write and record nothing; force writes the current value.
        {{"SAME", "^BEHIND", "=SAME", "-Z", "-", "*Z>Q", "+"}, {}, "BEHIND"},
        {{"SAME", "^BEHIND", "!SAME"}, {";", "SAME"}, "SAME"},
    };
    for (KLXOsType_e family : {KLX_OS_NT, KLX_OS_9X}) {
        for (const Row& row : rows) {
            const std::string name = "KLX_TEST_LIST_" + std::to_string(&row - rows);
            SCOPED_TRACE(name + " " + useFamily(family));
            env(name, row.calls[0].c_str());
            Var(name, ";").run({row.calls.begin() + 1, row.calls.end()});
            Entry entry = row.entry;
            entry.insert(entry.begin(), name);
            EXPECT_EQ(recorded, row.entry.empty() ? Record{} : Record{entry});
            EXPECT_EQ(env(name), row.stored);
        }
    }
}

TEST(EnvVar, EachFamilyUsesOnlyItsOwnStoreAndEntriesByExactName) {
    // Neither family reads the user's environment key.
    std::string userPath = "Environment", userName = "KLX_TEST_USER", user = "user";
    KLXRegistryKey(HKEY_CURRENT_USER, userPath).setValue(userName, user);
    for (KLXOsType_e family : {KLX_OS_NT, KLX_OS_9X}) {
        const std::string tag = useFamily(family), upperName = "KLXOWN" + tag;
        std::string name = "KlxOwn" + tag, history = "Software\\KlxTest";
        SCOPED_TRACE(name);
        env(name, "elsewhere", true);
        EXPECT_EQ(Var(name, "").getValue() + Var(userName, "").getValue(), "");
        // Names that differ in letter case are two entries, even where the
        // store itself does not tell them apart. Objects of one name share
        // the entry, which keeps the separator of the change that made it.
        // Without a separator there is no list; a name the process
        // environment cannot hold still records the change.
        Var lower(name, ""), upper(upperName, ";");
        lower.run({"=mine", "+X"});
        upper.run({"=two"});
        Var(name, ";").run({"=", "+B"});
        EXPECT_EQ(env(name, nullptr, true), "elsewhere");
        Var("KLX=ODD", "").run({"=x"});
        EXPECT_EQ(klxtest::getEnv("KLX"), "<undefined>");
        EXPECT_EQ(recorded,
                  (Record{{name, "", "B", "B"}, {upperName, ";", "two"}, {"KLX=ODD", "", "x"}}));

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
