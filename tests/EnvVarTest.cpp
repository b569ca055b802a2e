// System environment variables on both Windows families: where each family
// reads and writes them, and how every change is recorded for applying.
#include "KLXEnvVar.h"
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

using Entry = std::vector<std::string>;

const char* const kEnvironmentKey =
    "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";

struct Family : KLXSystem {
    using KLXSystem::mOsType;
};

struct EnvProbe : KLXEnvVar {
    using KLXEnvVar::KLXEnvVar;
    using KLXEnvVar::mModifiedVarsList;
    using KLXEnvVar::updateModifiedVarList;
};

std::vector<Entry>& recorded() {
    return EnvProbe::mModifiedVarsList;
}

// The value as the machine environment key of the registry holds it.
std::string registryValue(const std::string& name) {
    std::string path = kEnvironmentKey;
    std::string valueName = name;
    KLXRegistryKey key(HKEY_LOCAL_MACHINE, path);
    return key.retValue(valueName);
}

void setRegistryValue(const std::string& name, const std::string& value) {
    std::string path = kEnvironmentKey;
    std::string valueName = name;
    std::string text = value;
    KLXRegistryKey key(HKEY_LOCAL_MACHINE, path);
    key.setValue(valueName, text);
}

// The process environment; "<undefined>" for a variable that is not set.
std::string processValue(const std::string& name) {
    const char* value = std::getenv(name.c_str());
    return value == nullptr ? "<undefined>" : value;
}

// Builds a variable with its strings as the library's callers pass them.
struct Var {
    Var(const std::string& name, const std::string& separator)
        : mName(name), mSeparator(separator), mVar(mName, mSeparator) {}
    std::string mName;
    std::string mSeparator;
    EnvProbe mVar;

    std::string& value() { return mVar.getValue(); }
    void set(std::string value, bool force = false) { mVar.setValue(value, force); }
    void add(std::string item) { mVar.addToList(item); }
    void remove(std::string pattern) { mVar.removeTemplate(pattern); }
    void replace(std::string pattern, std::string replacement) {
        mVar.replaceTemplate(pattern, replacement);
    }
};

// Tests that hold on either family: the family is switched through the
// cached static, and each test starts with an empty record of changes.
class EnvVarFamily : public ::testing::TestWithParam<KLXOsType_e> {
protected:
    void SetUp() override {
        Family::mOsType = GetParam();
        recorded().clear();
    }
    void TearDown() override { recorded().clear(); }

    bool nt() const { return GetParam() == KLX_OS_NT; }

    // Where this family keeps the environment.
    void store(const std::string& name, const std::string& value) {
        if (nt())
            setRegistryValue(name, value);
        else
            setenv(name.c_str(), value.c_str(), 1);
    }
    std::string stored(const std::string& name) {
        return nt() ? registryValue(name) : processValue(name);
    }
};

std::string familyName(const ::testing::TestParamInfo<KLXOsType_e>& info) {
    return info.param == KLX_OS_NT ? "NT" : "Win9x";
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Families, EnvVarFamily, ::testing::Values(KLX_OS_NT, KLX_OS_9X),
                         familyName);

TEST_P(EnvVarFamily, RecordsEachSequenceOfChanges) {
    struct Row {
        const char* start;
        std::vector<std::vector<std::string>> calls; // {"set"|"add"|"remove"|"replace", args}
        const char* after;
        Entry tail; // the entry after name and separator
    };
    const Row rows[] = {
        {"A", {{"set", "V"}}, "V", {"V"}},
        {"A", {{"add", "X"}}, "A;X", {"A;X", "X"}},
        {"A;Y", {{"remove", "Y"}}, "A", {"A", "", "Y"}},
        {"A;Y", {{"add", "X"}, {"remove", "Y"}}, "A;X", {"A;X", "X", "Y"}},
        {"A;Y", {{"remove", "Y"}, {"add", "X"}}, "A;X", {"A;X", "", "Y", "X"}},
        {"A", {{"add", "X1"}, {"add", "X2"}}, "A;X1;X2", {"A;X1;X2", "X1", "", "X2"}},
        {"A;Y1;B;Y2", {{"remove", "Y1"}, {"remove", "Y2"}}, "A;B", {"A;B", "", "Y1", "", "Y2"}},
        {"A;%P%", {{"replace", "%P%", "Q"}}, "A;Q", {"A;Q"}},
        // An empty list gains its first item without a separator.
        {"", {{"add", "X"}}, "X", {"X", "X"}},
        {"A;Y", {{"remove", "Y"}, {"add", "X"}, {"remove", "A"}}, "X", {"X", "", "Y", "X", "A"}},
    };
    int index = 0;
    for (const Row& row : rows) {
        recorded().clear();
        const std::string name = "KLX_TEST_LIST_" + std::to_string(index++);
        store(name, row.start);
        Var path(name, ";");
        ASSERT_EQ(path.value(), row.start);
        for (const std::vector<std::string>& call : row.calls) {
            if (call[0] == "set")
                path.set(call[1]);
            else if (call[0] == "add")
                path.add(call[1]);
            else if (call[0] == "remove")
                path.remove(call[1]);
            else
                path.replace(call[1], call[2]);
        }
        Entry expected{name, ";"};
        expected.insert(expected.end(), row.tail.begin(), row.tail.end());
        ASSERT_EQ(recorded().size(), 1u) << name;
        EXPECT_EQ(recorded()[0], expected) << name;
        EXPECT_EQ(path.value(), row.after) << name;
        EXPECT_EQ(stored(name), row.after) << name;
    }
}

TEST_P(EnvVarFamily, WritesOnlyWhatChanges) {
    store("KLX_TEST_FORCE", "SAME");
    Var plain("KLX_TEST_FORCE", "");
    ASSERT_EQ(plain.value(), "SAME");

    // The unchanged value with force false neither writes nor records;
    // with force true it writes and makes the entry.
    store("KLX_TEST_FORCE", "BEHIND");
    plain.set("SAME");
    EXPECT_EQ(stored("KLX_TEST_FORCE"), "BEHIND");
    EXPECT_TRUE(recorded().empty());
    plain.set("SAME", true);
    EXPECT_EQ(stored("KLX_TEST_FORCE"), "SAME");
    EXPECT_EQ(recorded(), (std::vector<Entry>{{"KLX_TEST_FORCE", "", "SAME"}}));

    // List edits that change nothing write and record nothing.
    recorded().clear();
    store("KLX_TEST_NOOP", "A;B");
    Var list("KLX_TEST_NOOP", ";");
    store("KLX_TEST_NOOP", "BEHIND");
    list.remove("Z");
    list.remove("");
    list.replace("Z", "Q");
    list.add("");
    plain.add("X");
    EXPECT_EQ(list.value(), "A;B");
    EXPECT_EQ(plain.value(), "SAME");
    EXPECT_EQ(stored("KLX_TEST_NOOP"), "BEHIND");
    EXPECT_TRUE(recorded().empty());

    // Letter case of the template does not matter to the removal; the entry
    // keeps the template as given.
    list.remove("b");
    EXPECT_EQ(list.value(), "A");
    EXPECT_EQ(recorded(), (std::vector<Entry>{{"KLX_TEST_NOOP", ";", "A", "", "b"}}));
}

TEST_P(EnvVarFamily, EntriesAreFoundByExactName) {
    // Names that differ in letter case are two entries, even where the store
    // itself does not tell them apart.
    store("KlxTestCase", "");
    store("KLXTESTCASE", "");
    Var lower("KlxTestCase", ";");
    Var upper("KLXTESTCASE", ";");
    lower.set("one");
    upper.set("two");
    ASSERT_EQ(recorded().size(), 2u);
    EXPECT_EQ(recorded()[0], (Entry{"KlxTestCase", ";", "one"}));
    EXPECT_EQ(recorded()[1], (Entry{"KLXTESTCASE", ";", "two"}));

    // Objects of one name share the entry; it keeps the separator of the
    // object that made it and follows the latest value.
    recorded().clear();
    store("KLX_TEST_SHARED", "");
    Var first("KLX_TEST_SHARED", ";");
    Var second("KLX_TEST_SHARED", ",");
    first.set("A");
    second.add("B");
    second.remove("Q");
    EXPECT_EQ(second.value(), "B");
    EXPECT_EQ(recorded(), (std::vector<Entry>{{"KLX_TEST_SHARED", ";", "B", "B"}}));
    first.set("C");
    EXPECT_EQ(recorded(), (std::vector<Entry>{{"KLX_TEST_SHARED", ";", "C", "B"}}));
    EXPECT_EQ(stored("KLX_TEST_SHARED"), "C");

    // Entries stand in the order of the variables' first changes.
    lower.set("three");
    ASSERT_EQ(recorded().size(), 2u);
    EXPECT_EQ(recorded()[1], (Entry{"KlxTestCase", ";", "three"}));

    std::string none;
    EnvProbe::updateModifiedVarList(nullptr, none, none);
    EXPECT_EQ(recorded().size(), 2u);
}

TEST_P(EnvVarFamily, LongValuesAreReadAndEditedInFull) {
    std::string longList;
    for (int i = 0; longList.size() <= 5000; ++i)
        longList += "C:\\tools\\element" + std::to_string(i) + ";";
    longList += "C:\\old";
    store("KLX_TEST_LONG", longList);

    Var path("KLX_TEST_LONG", ";");
    EXPECT_EQ(path.value(), longList);
    path.add("C:\\new");
    EXPECT_EQ(stored("KLX_TEST_LONG"), longList + ";C:\\new");
    path.remove("C:\\old");
    std::string expected = longList.substr(0, longList.size() - 6) + "C:\\new";
    EXPECT_EQ(stored("KLX_TEST_LONG"), expected);
    Var again("KLX_TEST_LONG", ";");
    EXPECT_EQ(again.value(), expected);

    // Just around the size of the old read buffer.
    for (std::size_t size : {1022u, 1023u, 1024u, 1025u}) {
        std::string value(size, 'v');
        store("KLX_TEST_EDGE", value);
        Var edge("KLX_TEST_EDGE", "");
        EXPECT_EQ(edge.value(), value) << size;
    }
}

TEST(EnvVarNT, OnlyTheMachineEnvironmentKeyCounts) {
    Family::mOsType = KLX_OS_NT;
    recorded().clear();

    // A variable of the process or of the user's environment reads as "".
    setRegistryValue("KLX_TEST_PROCESS_ONLY", "");
    setenv("KLX_TEST_PROCESS_ONLY", "process", 1);
    std::string userPath = "Environment";
    std::string userName = "KLX_TEST_USER_ONLY";
    std::string userValue = "user";
    KLXRegistryKey user(HKEY_CURRENT_USER, userPath);
    user.setValue(userName, userValue);
    EXPECT_EQ(Var("KLX_TEST_PROCESS_ONLY", "").value(), "");
    EXPECT_EQ(Var("KLX_TEST_USER_ONLY", "").value(), "");

    // Writing goes to the registry and leaves the process environment alone.
    Var variable("KLX_TEST_PROCESS_ONLY", "");
    variable.set("machine");
    EXPECT_EQ(registryValue("KLX_TEST_PROCESS_ONLY"), "machine");
    EXPECT_EQ(processValue("KLX_TEST_PROCESS_ONLY"), "process");
    EXPECT_EQ(Var("KLX_TEST_PROCESS_ONLY", "").value(), "machine");
    EXPECT_TRUE(Var("KLX_TEST_MISSING", ";").value().empty());
    EXPECT_EQ(recorded(), (std::vector<Entry>{{"KLX_TEST_PROCESS_ONLY", "", "machine"}}));
    recorded().clear();
}

TEST(EnvVar9x, OnlyTheProcessEnvironmentCounts) {
    Family::mOsType = KLX_OS_9X;
    recorded().clear();

    setRegistryValue("KLX_TEST_REGISTRY_ONLY", "registry");
    EXPECT_EQ(Var("KLX_TEST_REGISTRY_ONLY", "").value(), "");
    unsetenv("KLX_TEST_UNDEFINED");
    EXPECT_EQ(Var("KLX_TEST_UNDEFINED", "").value(), "");

    // Writing goes to the process environment and leaves the registry alone.
    Var variable("KLX_TEST_REGISTRY_ONLY", "");
    variable.set("process");
    EXPECT_EQ(processValue("KLX_TEST_REGISTRY_ONLY"), "process");
    EXPECT_EQ(registryValue("KLX_TEST_REGISTRY_ONLY"), "registry");
    EXPECT_EQ(Var("KLX_TEST_REGISTRY_ONLY", "").value(), "process");

    // Setting the empty value keeps the variable, empty; a name the process
    // environment cannot hold still records the change.
    variable.set("");
    EXPECT_EQ(processValue("KLX_TEST_REGISTRY_ONLY"), "");
    Var odd("KLX=ODD", "");
    odd.set("x");
    EXPECT_EQ(odd.value(), "x");
    EXPECT_EQ(processValue("KLX"), "<undefined>");
    EXPECT_EQ(recorded(),
              (std::vector<Entry>{{"KLX_TEST_REGISTRY_ONLY", "", ""}, {"KLX=ODD", "", "x"}}));
    recorded().clear();
}
