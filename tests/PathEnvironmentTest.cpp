// Path-valued SDK elements: reading the value, the root path and its format,
// writing the value in every form, and the registry history of choices.
#include "Environment.h"
#include "KLXPathEnvironment.h"
#include "KLXRcFile.h"
#include "KLXRegistryKey.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>

namespace {

using List = std::vector<std::string>;

// Accepts version directories ("V..." or "v...") and records what it was
// given; scribbles on its argument, which must change nothing.
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
    return KLXRegistryKey(key == kEnvironment ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER, key)
        .retValue(name);
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

} // namespace

TEST(PathEnvironment, ReadsAndWritesTheValueInEveryForm) {
    std::string rcPath = (klxtest::freshDir("rc") / ".cvlrc").string();
    klxtest::writeBytes(rcPath, "export SHARE=\"/share/S\"\n");
    KLXRcFile rc(rcPath, 0);
    // A value without a drive is put on drive U: only when read from an rc
    // file.
    regSet(kEnvironment, "ENV_SHARE=/share/x");
    EXPECT_EQ(element("SHARE", "Software\\PE\\read", KLX_PATH_ENV_WIN, false, &rc)->getValue(),
              "U:\\share\\S");
    EXPECT_EQ(element("ENV_SHARE", "Software\\PE\\read", KLX_PATH_ENV_WIN, false)->getValue(),
              "\\share\\x");

    const std::string v3 = "C:\\SDK\\V3", os3 = "C:\\SDK\\OS\\V3.10", os2 = "C:\\S\\V2.00";
    // The format, whether the element browses, the value as stored, the form
    // written and the "_DOS" twin. Every element has the sub-path "bin".
    const std::tuple<KLXPathEnvFormat_e, bool, std::string, std::string, std::string> rows[] = {
        {static_cast<KLXPathEnvFormat_e>(42), false, "C:/SDK/V3", v3, ""},
        {KLX_PATH_ENV_SLASHES, false, v3, "C:/SDK/V3", ""},
        {KLX_PATH_ENV_CYGWIN, false, "/cygdrive/C/SDK/V3", "/cygdrive/C/SDK/V3", ""},
        {KLX_PATH_ENV_CYGWIN_DOS, false, "/cygdrive/d/x", "d:\\x", ""},
        // C: is a local drive: it keeps its letter.
        {KLX_PATH_ENV_SLASHES_NO_NET_DRIVE, false, v3, "C:/SDK/V3", ""},
        // A reference goes as it is.
        {KLX_PATH_ENV_AUTO, true, "$KLX_ELSEWHERE", "$KLX_ELSEWHERE", "$KLX_ELSEWHERE"},
        // A fixed format is never derived from the version.
        {KLX_PATH_ENV_SLASHES, true, os3, "C:/SDK/OS/V3.10", ""},
        // An automatic element that never met a version stays automatic.
        {KLX_PATH_ENV_AUTO, false, os3, os3, os3},
        // Below version 2.1 the variable keeps the Windows form; from 2.1 on,
        // and for names not shaped like a version, it takes the Cygwin form
        // and the twin the Windows one. The sub-path goes first, in its own
        // letter case.
        {KLX_PATH_ENV_AUTO, true, os2, os2, os2},
        {KLX_PATH_ENV_AUTO, true, "C:\\S\\v1.5", "C:\\S\\v1.5", "C:\\S\\v1.5"},
        {KLX_PATH_ENV_AUTO, true, "C:\\S\\V15\\bin", "C:\\S\\V15\\bin", "C:\\S\\V15\\bin"},
        {KLX_PATH_ENV_AUTO, true, "C:\\S\\V2.10", "/cygdrive/C/S/V2.10", "C:\\S\\V2.10"},
        {KLX_PATH_ENV_AUTO, true, "C:\\S\\V3.00", "/cygdrive/C/S/V3.00", "C:\\S\\V3.00"},
        {KLX_PATH_ENV_AUTO, true, "C:\\S\\V2", "/cygdrive/C/S/V2", "C:\\S\\V2"},
        {KLX_PATH_ENV_AUTO, true, "C:\\S\\VX.0", "/cygdrive/C/S/VX.0", "C:\\S\\VX.0"},
        {KLX_PATH_ENV_AUTO, true, "C:\\S\\V2.0\\BIN", "/cygdrive/C/S/V2.0/BIN", "C:\\S\\V2.0\\BIN"},
        // An empty value writes no line and no variable.
        {KLX_PATH_ENV_AUTO, true, "", "", ""},
    };
    int n = 0;
    for (auto [format, browse, stored, written, twin] : rows) {
        // The value on the rc file's line, then in the variable.
        for (KLXRcFile* store : {&rc, static_cast<KLXRcFile*>(nullptr)}) {
            std::string name = "PE_W" + std::to_string(n++);
            if (store != nullptr && !stored.empty())
                rc.setValue(name, stored);
            regSet(kEnvironment, name + "=" + (store != nullptr ? "" : stored));
            const int lines = rc.getLinesCount();
            element(name, "Software\\PE\\" + name, format, browse, store, "bin")
                ->updateEnvironment();
            EXPECT_EQ(store != nullptr ? rc.getValue(name) : regGet(kEnvironment, name), written)
                << name;
            EXPECT_EQ(regGet(kEnvironment, name + "_DOS"), twin) << name;
            EXPECT_EQ(rc.getLinesCount(), lines) << name;
        }
    }
}

TEST(PathEnvironment, HistoryIsReadAndWrittenBack) {
    // Holes and empty entries are skipped; the value's root is appended
    // unless present exactly. A damaged count reads what the key really
    // holds, and values that are not entries do not end the reading early,
    // even with entries far apart.
    const std::pair<std::string, List> rows[] = {
        {"count=3|0=C:\\X|1=|2=C:\\Y", {"C:\\X", "C:\\Y", "C:\\S"}},
        {"count=abc|0=C:\\X", {"C:\\S"}},
        {"count=-2|0=C:\\X", {"C:\\S"}},
        {"count= +2xyz|0=C:\\X|1=C:\\Y|2=C:\\W", {"C:\\X", "C:\\Y", "C:\\S"}},
        {"count=3|0=C:\\S|1=c:\\s|2=C:\\S", {"C:\\S", "c:\\s", "C:\\S"}},
        {"count=1|0=c:\\s", {"c:\\s", "C:\\S"}},
        {"count=40|0=C:\\A|note=C:\\N|=C:\\D|007=C:\\E|39=C:\\B|40=C:\\F",
         {"C:\\A", "C:\\B", "C:\\S"}},
    };
    regSet(kEnvironment, "V=C:/S");
    int n = 0;
    for (const auto& [values, expected] : rows) {
        const std::string key = "Software\\PE\\h" + std::to_string(n++);
        regSet(key, values);
        auto e = element("V", key, KLX_PATH_ENV_WIN, false);
        EXPECT_EQ(e->mHistoryList, expected) << values;
        // Written back renumbered, it reads the same without a value.
        e->updateEnvironment();
        EXPECT_EQ(element("NONE", key, KLX_PATH_ENV_WIN, false)->mHistoryList, expected);
    }
}

TEST(PathEnvironment, TypedAndPickedPaths) {
    for (const char* directory : {"Acc/V1.0", "Acc/.V8", "Acc/Tools", "New/V3.0", "New/Other"})
        std::filesystem::create_directories(klxtest::cDrive() / directory);
    klxtest::writeBytes(klxtest::cDrive() / "Acc/V9.txt", "");
    regSet(kEnvironment, "A=C:/Acc/V1.0|B=C:/New/V3.0");
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
        {"C:\\New\\Other\\", false, acc, 1, {"C:\\Acc"}},
        {acc + "\\\\", false, acc, 0, {"C:\\Acc"}},
    };
    for (const auto& [typed, accepted, value, checks, after] : rows) {
        regSet(key, "count=1|0=C:\\Acc|1=C:\\Sneaked");
        auto e = element("A", key, KLX_PATH_ENV_AUTO, true);
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

    // Picking a listed entry sets the value and, through the root path, the
    // format: V1.0 writes the Windows form.
    regSet("Software\\PE\\pick", "count=1|0=C:\\Acc");
    auto pick = element("B", "Software\\PE\\pick", KLX_PATH_ENV_AUTO, true);
    ASSERT_EQ(pick->mPathList, (List{acc, "C:\\New\\V3.0"}));
    pick->updatePathFromHistory(0);
    pick->updateEnvironment();
    EXPECT_EQ(regGet(kEnvironment, "B"), acc);
}
