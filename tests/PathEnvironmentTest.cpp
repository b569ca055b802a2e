// Path-valued SDK elements: reading the value, the root path and its format,
// writing the value in every form, and the registry history of choices.
#include "Environment.h"
#include "KLXPathEnvironment.h"
#include "KLXRcFile.h"
#include "KLXRegistryKey.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <sstream>

namespace {

using List = std::vector<std::string>;

// Has no virtual destructor: deleted through its exact type.
struct RcFile final : KLXRcFile {
    using KLXRcFile::KLXRcFile;
};

// Accepts version directories ("V..." or "v...") and scribbles on its
// argument, which must change nothing; records what it was given.
List gChecked;
bool acceptVersion(std::string& path) {
    gChecked.push_back(path);
    const char first = path[path.rfind('\\') + 1];
    path += "\\scribbled";
    return first == 'V' || first == 'v';
}

// The NT family keeps the machine's variables in the registry.
const char* const kEnvironment = "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";

std::string regGet(std::string key, std::string name) {
    HKEY root = key == kEnvironment ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
    return KLXRegistryKey(root, key).retValue(name);
}

// Sets the values "name=value|name=value|..." of a key.
void regSet(std::string key, const std::string& values) {
    KLXRegistryKey opened(key == kEnvironment ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER, key);
    std::istringstream in(values);
    for (std::string value, name; std::getline(in, name, '=') && std::getline(in, value, '|');)
        opened.setValue(name, value);
}

std::unique_ptr<KLXPathEnvironment> element(std::string name, std::string key,
                                            KLXPathEnvFormat_e format, bool browse,
                                            KLXRcFile* rc = nullptr, std::string sub = "") {
    return std::make_unique<KLXPathEnvironment>(name, key, format, acceptVersion, browse,
                                                sub.empty() ? nullptr : &sub, rc);
}

// An rc file holding `content`, read into memory.
std::unique_ptr<RcFile> rcFile(const std::string& content) {
    std::string path = (klxtest::freshDir("rc") / ".cvlrc").string();
    klxtest::writeBytes(path, content);
    return std::make_unique<RcFile>(path, 0);
}

} // namespace

TEST(PathEnvironment, ReadsTheValueFromItsStore) {
    auto rc = rcFile("export OS=\"C:/S/V3\"\nexport SHARE=\"/share/S\"\nexport REF=\"$O/x\"\n"
                     "export CYG=\"/cygdrive/d/S\"\nexport BARE=\"/cygdrive/\"\n");
    regSet(kEnvironment, "ECLIPSE=/cygdrive/c/Eclipse|ENV_SHARE=/share/x");
    // Only a value from an rc file is put on drive U:.
    const std::tuple<const char*, bool, const char*> rows[] = {{"OS", true, "C:\\S\\V3"},
                                                               {"SHARE", true, "U:\\share\\S"},
                                                               {"CYG", true, "d:\\S"},
                                                               {"BARE", true, ""},
                                                               {"REF", true, "$O\\x"},
                                                               {"MISSING", true, ""},
                                                               {"ECLIPSE", false, "c:\\Eclipse"},
                                                               {"ENV_SHARE", false, "\\share\\x"}};
    for (const auto& [name, onRc, value] : rows) {
        auto e =
            element(name, "Software\\PE\\read", KLX_PATH_ENV_WIN, false, onRc ? rc.get() : nullptr);
        EXPECT_EQ(e->getName() + "=" + e->getValue(), std::string(name) + "=" + value);
        // Not browsing: the value is the root path and the history.
        EXPECT_EQ(e->mPathList, *value == 0 ? List{} : List{value});
    }
}

TEST(PathEnvironment, RootPathAndFormatFollowTheVersionDirectory) {
    // Below version 2.1 the variable keeps the Windows form; from 2.1 on, and
    // for names not shaped like a version, it takes the Cygwin form and the
    // "_DOS" twin the Windows one. The sub-path goes first, in its own case.
    const List older = {"V2.00", "V1.05", "V1.5", "v2.00", "V15", "V0.9", "V2.0\\bin"};
    const List newer = {"V2.10", "V21",  "V3.00", "V2", "V2.1",    "v9.99",
                        "V2.x",  "VX.0", "2.00",  "V",  "Release", "V2.0\\BIN"};
    int n = 0;
    for (const List* names : {&older, &newer}) {
        for (const std::string& name : *names) {
            const std::string value = "C:\\SDK\\OS\\" + name;
            regSet(kEnvironment, "PE_V=" + value);
            auto e = element("PE_V", "Software\\PE\\" + std::to_string(n++), KLX_PATH_ENV_AUTO,
                             true, nullptr, "bin");
            const std::string root = name == "V2.0\\BIN" ? "C:\\SDK\\OS\\V2.0" : "C:\\SDK\\OS";
            EXPECT_EQ(e->mHistoryList, List{root}) << value;
            e->updateEnvironment();
            EXPECT_EQ(regGet(kEnvironment, "PE_V") == value, names == &older) << value;
            EXPECT_EQ(regGet(kEnvironment, "PE_V_DOS"), value);
        }
    }
}

TEST(PathEnvironment, WritesTheValueInEveryForm) {
    auto rc = rcFile("export OTHER=\"x\"\n");
    const auto unknown = static_cast<KLXPathEnvFormat_e>(42);
    const std::string v3 = "C:\\SDK\\V3", os3 = "C:\\SDK\\OS\\V3.10";
    // The format, whether the element browses, the value, the form written
    // and the "_DOS" twin.
    const std::tuple<KLXPathEnvFormat_e, bool, std::string, std::string, std::string> rows[] = {
        {KLX_PATH_ENV_WIN, false, v3, v3, ""},
        {KLX_PATH_ENV_SLASHES, false, v3, "C:/SDK/V3", ""},
        {KLX_PATH_ENV_CYGWIN, false, v3, "/cygdrive/C/SDK/V3", ""},
        {KLX_PATH_ENV_CYGWIN_DOS, false, v3, v3, ""},
        {unknown, false, v3, v3, ""},
        // C: is a local drive and Q: maps nowhere: both keep their letter.
        {KLX_PATH_ENV_SLASHES_NO_NET_DRIVE, false, v3, "C:/SDK/V3", ""},
        {KLX_PATH_ENV_SLASHES_NO_NET_DRIVE, false, "Q:\\SDK", "Q:/SDK", ""},
        // A reference goes as it is.
        {KLX_PATH_ENV_SLASHES, false, "$KLX_OTHER\\x", "$KLX_OTHER\\x", ""},
        {KLX_PATH_ENV_CYGWIN, false, "$", "$", ""},
        // A fixed format is never derived from the version.
        {KLX_PATH_ENV_SLASHES, true, os3, "C:/SDK/OS/V3.10", ""},
        // An automatic element that never met a version stays automatic.
        {KLX_PATH_ENV_AUTO, false, os3, os3, os3},
        {KLX_PATH_ENV_AUTO, true, os3, "/cygdrive/C/SDK/OS/V3.10", os3},
        {KLX_PATH_ENV_AUTO, true, "$KLX_ELSEWHERE", "$KLX_ELSEWHERE", "$KLX_ELSEWHERE"},
        // An empty value writes no line and no variable.
        {KLX_PATH_ENV_AUTO, true, "", "", ""},
    };
    int n = 0;
    for (auto [format, browse, value, written, twin] : rows) {
        // The value on the rc file's line, then in the variable.
        for (RcFile* store : {rc.get(), static_cast<RcFile*>(nullptr)}) {
            std::string name = "PE_W" + std::to_string(n++);
            if (store != nullptr && !value.empty())
                store->setValue(name, value);
            regSet(kEnvironment, name + "=" + (store != nullptr ? "" : value));
            const int lines = rc->getLinesCount();
            element(name, "Software\\PE\\" + name, format, browse, store)->updateEnvironment();
            EXPECT_EQ(store != nullptr ? rc->getValue(name) : regGet(kEnvironment, name), written)
                << name;
            EXPECT_EQ(regGet(kEnvironment, name + "_DOS"), twin) << name;
            EXPECT_EQ(rc->getLinesCount(), lines) << name;
        }
    }
}

TEST(PathEnvironment, HistoryIsReadAndWrittenBack) {
    auto rc = rcFile("export V=\"C:/Z\"\n");
    // Holes and empty entries are skipped; the value's root is appended
    // unless present exactly. A damaged count reads what the key really
    // holds, and values that are not entries do not end the reading early,
    // even with entries far apart.
    const std::pair<std::string, List> rows[] = {
        {"count=3|0=C:\\X|1=|2=C:\\Y", {"C:\\X", "C:\\Y", "C:\\Z"}},
        {"count=abc|0=C:\\X", {"C:\\Z"}},
        {"count=-2|0=C:\\X", {"C:\\Z"}},
        {"count= +2xyz|0=C:\\X|1=C:\\Y|2=C:\\W", {"C:\\X", "C:\\Y", "C:\\Z"}},
        {"count=3|0=C:\\Z|1=c:\\z|2=C:\\Z", {"C:\\Z", "c:\\z", "C:\\Z"}},
        {"count=1|0=c:\\z", {"c:\\z", "C:\\Z"}},
        {"count=40|0=C:\\A|note=C:\\N|=C:\\D|007=C:\\E|39=C:\\B|40=C:\\F",
         {"C:\\A", "C:\\B", "C:\\Z"}},
        {"count=2000000000|0=C:\\A|note=C:\\N|007=C:\\E|1999999999=C:\\Y|2000000000=C:\\F|12=C:\\B",
         {"C:\\A", "C:\\B", "C:\\Y", "C:\\Z"}},
    };
    int n = 0;
    for (const auto& [values, expected] : rows) {
        const std::string key = "Software\\PE\\h" + std::to_string(n++);
        regSet(key, values);
        auto e = element("V", key, KLX_PATH_ENV_WIN, false, rc.get());
        EXPECT_EQ(e->mHistoryList, expected) << values;
        // Written back renumbered, it reads the same without a value.
        e->updateEnvironment();
        EXPECT_EQ(element("NONE", key, KLX_PATH_ENV_WIN, false, rc.get())->mHistoryList, expected);
    }
}

TEST(PathEnvironment, TypedAndPickedPaths) {
    for (const char* directory : {"Acc/V1.0", "Acc/.V8", "Acc/Tools", "New/V3.0", "New/Other"})
        std::filesystem::create_directories(klxtest::cDrive() / directory);
    klxtest::writeBytes(klxtest::cDrive() / "Acc/V9.txt", "");
    auto rc = rcFile("export A=\"C:/Acc/V1.0\"\nexport B=\"C:/New/V3.0\"\n");
    const std::string key = "Software\\PE\\typed", acc = "C:\\Acc\\V1.0";
    // What is typed, whether it is taken, the value then, how often the check
    // saw the path, and the history then. The history gains C:\Sneaked
    // behind the element's back: only a new path reads it again.
    const std::tuple<std::string, bool, std::string, int, List> rows[] = {
        // Listed, with one trailing backslash: taken without a check.
        {acc + "\\", true, acc, 0, {"C:\\Acc"}},
        // A new directory is checked; the new root joins the history.
        {"C:\\New\\V3.0\\", true, "C:\\New\\V3.0", 2, {"C:\\Acc", "C:\\Sneaked", "C:\\New"}},
        // A reference is taken without a check.
        {"$KLX_SOMEWHERE", true, "$KLX_SOMEWHERE", 0, {"C:\\Acc", "C:\\Sneaked"}},
        // Refused: nothing changes but one removed backslash.
        {"", false, acc, 0, {"C:\\Acc"}},
        {"C:\\Acc\\V9.txt", false, acc, 0, {"C:\\Acc"}},
        {"C:\\Acc\\V7", false, acc, 0, {"C:\\Acc"}},
        {"C:\\New\\Other\\", false, acc, 1, {"C:\\Acc"}},
        {acc + "\\\\", false, acc, 0, {"C:\\Acc"}},
    };
    for (const auto& [typed, accepted, value, checks, after] : rows) {
        regSet(key, "count=1|0=C:\\Acc|1=C:\\Sneaked");
        auto e = element("A", key, KLX_PATH_ENV_AUTO, true, rc.get());
        regSet(key, "count=2");
        std::string path = typed;
        gChecked.clear();
        EXPECT_EQ(e->updatePathFromString(path), accepted) << typed;
        EXPECT_EQ(path, typed.substr(0, typed.size() - (!typed.empty() && typed.back() == '\\')));
        EXPECT_EQ(e->getValue(), value) << typed;
        EXPECT_EQ(std::count(gChecked.begin(), gChecked.end(), path), checks) << typed;
        EXPECT_EQ(e->mHistoryList, after) << typed;
    }
    // Nothing reaches the registry before updateEnvironment.
    EXPECT_EQ(regGet(key, "count"), "2");

    // Picking out of range changes nothing; a listed entry sets the value
    // and, through the root path, the format: V1.0 writes the Windows form.
    regSet("Software\\PE\\pick", "count=1|0=C:\\Acc");
    auto pick = element("B", "Software\\PE\\pick", KLX_PATH_ENV_AUTO, true, rc.get());
    ASSERT_EQ(pick->mPathList, (List{acc, "C:\\New\\V3.0"}));
    for (int index : {-1, 2, INT_MIN, INT_MAX}) {
        pick->updatePathFromHistory(index);
        EXPECT_EQ(pick->getValue(), "C:\\New\\V3.0") << index;
    }
    pick->updatePathFromHistory(0);
    pick->updateEnvironment();
    std::string b = "B";
    EXPECT_EQ(rc->getValue(b), acc);
}
