// Path-valued SDK elements: reading the value, the root path and its format,
// writing the value in every form, and the registry history of choices.
#include "KLXEnvVar.h"
#include "KLXPathEnvironment.h"
#include "KLXRcFile.h"
#include "KLXRegistryKey.h"
#include "KLXSystem.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using List = std::vector<std::string>;

const char* const kEnvironmentKey =
    "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
const KLXOsType_e kFamilies[] = {KLX_OS_NT, KLX_OS_9X};

struct Family : KLXSystem {
    using KLXSystem::mOsType;
};

struct Element : KLXPathEnvironment {
    using KLXPathEnvironment::KLXPathEnvironment;
    using KLXPathEnvironment::mAutoFormat;
    using KLXPathEnvironment::mFormat;
    using KLXPathEnvironment::mRootPath;
    using KLXPathEnvironment::mValue;
    using KLXPathEnvironment::updateRootPath;
};

// The check of the tests: accepts version directories ("V..." or "v..."),
// noting what it was asked; on request it also scribbles on its argument.
List gChecked;
bool gCheckScribbles = false;
bool acceptVersion(std::string& path) {
    gChecked.push_back(path);
    std::string last = path.substr(path.rfind('\\') + 1);
    bool accepted = !last.empty() && (last[0] == 'V' || last[0] == 'v');
    if (gCheckScribbles)
        path += "\\scribbled";
    return accepted;
}

bool acceptBin(std::string& path) {
    return path.size() > 4 && path.compare(path.size() - 4, 4, "\\bin") == 0;
}

struct Options {
    KLXPathEnvFormat_e format = KLX_PATH_ENV_WIN;
    bool browse = false;
    KLXRcFile* rc = nullptr;
    const char* subPath = nullptr;
    KLXCheckFunction check = acceptVersion;
};

std::unique_ptr<Element> element(const std::string& name, const std::string& key,
                                 const Options& options) {
    std::string variable = name;
    std::string keyPath = key;
    std::string subPath = options.subPath != nullptr ? options.subPath : "";
    return std::make_unique<Element>(variable, keyPath, options.format, options.check,
                                     options.browse,
                                     options.subPath != nullptr ? &subPath : nullptr, options.rc);
}

std::string regGet(const std::string& key, const std::string& name, HKEY root = HKEY_CURRENT_USER) {
    std::string path = key;
    std::string valueName = name;
    KLXRegistryKey handle(root, path);
    return handle.retValue(valueName);
}

void regSet(const std::string& key, const std::string& name, const std::string& value,
            HKEY root = HKEY_CURRENT_USER) {
    std::string path = key;
    std::string valueName = name;
    std::string text = value;
    KLXRegistryKey handle(root, path);
    handle.setValue(valueName, text);
}

// A history key holding `count` and the numbered entries given.
void history(const std::string& key, const std::string& count, const List& entries) {
    regSet(key, "count", count);
    for (std::size_t i = 0; i < entries.size(); ++i)
        regSet(key, std::to_string(i), entries[i]);
}

// The stored history: "count" then each numbered entry it covers.
List storedHistory(const std::string& key) {
    List stored{regGet(key, "count")};
    int count = std::atoi(stored[0].c_str());
    for (int i = 0; i < count; ++i)
        stored.push_back(regGet(key, std::to_string(i)));
    return stored;
}

// An environment variable where the current family keeps it; "<undefined>"
// for a 9x variable that is not set.
std::string envGet(const std::string& name) {
    if (Family::mOsType == KLX_OS_NT)
        return regGet(kEnvironmentKey, name, HKEY_LOCAL_MACHINE);
    const char* value = std::getenv(name.c_str());
    return value != nullptr ? value : "<undefined>";
}

void envSet(const std::string& name, const std::string& value) {
    if (Family::mOsType == KLX_OS_NT)
        regSet(kEnvironmentKey, name, value, HKEY_LOCAL_MACHINE);
    else
        setenv(name.c_str(), value.c_str(), 1);
}

const char* useFamily(KLXOsType_e family) {
    Family::mOsType = family;
    return family == KLX_OS_NT ? "NT family" : "9x family";
}

// Directories below drive C:, which maps onto $KLX_PREFIX/drive_c.
void makeDirs(const List& windowsPaths) {
    for (const std::string& path : windowsPaths) {
        std::string relative = path.substr(3);
        std::replace(relative.begin(), relative.end(), '\\', '/');
        fs::create_directories(klxtest::testRoot() / "prefix" / "drive_c" / relative);
    }
}

List sorted(List list) {
    std::sort(list.begin(), list.end());
    return list;
}

std::string rcFileWith(const std::string& content) {
    fs::path path = klxtest::freshDir("rc") / ".cvlrc";
    klxtest::writeBytes(path, content);
    return path.string();
}

std::string rcGet(KLXRcFile& rc, const std::string& name) {
    std::string variable = name;
    return rc.getValue(variable);
}

} // namespace

TEST(PathEnvironment, ReadsTheRcValueInWindowsForm) {
    std::string path = rcFileWith("export OS=\"C:/SDK/OS/V3.10\"\n"
                                  "export SHARE=\"/share/SDK\"\n"
                                  "export CYG=\"/cygdrive/d/SDK\"\n"
                                  "export BARE=\"/cygdrive/\"\n"
                                  "export REF=\"$OTHER/x\"\n");
    KLXRcFile rc(path, 0);
    Options options;
    options.rc = &rc;
    const std::vector<std::pair<const char*, const char*>> rows = {
        {"OS", "C:\\SDK\\OS\\V3.10"}, {"SHARE", "U:\\share\\SDK"},
        {"CYG", "d:\\SDK"},           {"BARE", ""},
        {"REF", "$OTHER\\x"},         {"MISSING", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.first);
        auto e = element(row.first, std::string("Software\\PE\\read ") + row.first, options);
        EXPECT_EQ(e->getValue(), row.second);
        EXPECT_EQ(e->getName(), row.first);
        // Not browsing: the root path is the value, and it is the history.
        EXPECT_EQ(e->mRootPath, row.second);
        EXPECT_EQ(e->mHistoryList, *row.second ? List{row.second} : List{});
        EXPECT_EQ(e->mPathList, e->mHistoryList);
    }
}

TEST(PathEnvironment, ReadsTheEnvironmentValueOnBothFamilies) {
    for (KLXOsType_e family : kFamilies) {
        SCOPED_TRACE(useFamily(family));
        envSet("KLX_PE_ECLIPSE", "/cygdrive/c/Eclipse");
        envSet("KLX_PE_SHARE", "/share/x");
        auto eclipse = element("KLX_PE_ECLIPSE", "Software\\PE\\env", Options());
        EXPECT_EQ(eclipse->getValue(), "c:\\Eclipse");
        // Only a value from an rc file is put on drive U:.
        auto share = element("KLX_PE_SHARE", "Software\\PE\\env share", Options());
        EXPECT_EQ(share->getValue(), "\\share\\x");
    }
}

TEST(PathEnvironment, AutomaticFormatFollowsTheVersionDirectory) {
    Options options;
    options.format = KLX_PATH_ENV_AUTO;
    options.browse = true;
    auto e = element("KLX_PE_UNSET_AUTO", "Software\\PE\\auto", options);
    // Never met a browsable value: still automatic.
    EXPECT_EQ(e->mFormat, KLX_PATH_ENV_AUTO);
    EXPECT_TRUE(e->mAutoFormat);

    const List older = {"V2.00", "V1.05", "V1.5", "v2.00", "v1.05", "V15", "V0.9"};
    const List newer = {"V2.10", "V21",  "V3.00", "V2",   "Release", "V",
                        "2.00",  "V2.x", "VX.0",  "V2.1", "v9.99"};
    for (const std::string& name : older) {
        e->mValue = "C:\\SDK\\OS\\" + name;
        e->updateRootPath();
        EXPECT_EQ(e->mFormat, KLX_PATH_ENV_WIN) << name;
        EXPECT_EQ(e->mRootPath, "C:\\SDK\\OS");
    }
    for (const std::string& name : newer) {
        e->mValue = "C:\\SDK\\OS\\" + name;
        e->updateRootPath();
        EXPECT_EQ(e->mFormat, KLX_PATH_ENV_CYGWIN_DOS) << name;
    }
    // An empty value leaves the format as it was.
    e->mValue.clear();
    e->updateRootPath();
    EXPECT_EQ(e->mFormat, KLX_PATH_ENV_CYGWIN_DOS);
    EXPECT_EQ(e->mRootPath, "");

    // A fixed format is never re-derived.
    options.format = KLX_PATH_ENV_SLASHES;
    auto fixed = element("KLX_PE_UNSET_FIXED", "Software\\PE\\auto fixed", options);
    fixed->mValue = "C:\\SDK\\OS\\V2.00";
    fixed->updateRootPath();
    EXPECT_EQ(fixed->mFormat, KLX_PATH_ENV_SLASHES);
    EXPECT_FALSE(fixed->mAutoFormat);
}

TEST(PathEnvironment, RootPathDropsSubPathAndVersionDirectory) {
    Options options;
    options.format = KLX_PATH_ENV_AUTO;
    options.browse = true;
    options.subPath = "bin";
    auto e = element("KLX_PE_UNSET_ROOT", "Software\\PE\\root", options);
    const std::vector<std::pair<const char*, const char*>> rows = {
        {"C:\\GCC\\V3.4\\bin", "C:\\GCC"},
        {"C:\\GCC\\V3.4", "C:\\GCC"},
        // Letter case counts for the sub-path.
        {"C:\\GCC\\V3.4\\BIN", "C:\\GCC\\V3.4"},
        // No backslash, or nothing but the sub-path: no parent to keep.
        {"V3.4", ""},
        {"bin", ""},
        {"\\bin", ""},
        {"V3.4\\bin", ""},
        {"\\V3.4", ""},
    };
    for (const auto& row : rows) {
        e->mValue = row.first;
        e->updateRootPath();
        EXPECT_EQ(e->mRootPath, row.second) << row.first;
    }
    e->mValue = "C:\\GCC\\V3.4\\bin";
    e->updateRootPath();
    EXPECT_EQ(e->mFormat, KLX_PATH_ENV_CYGWIN_DOS);
    e->mValue = "C:\\GCC\\V2.0\\bin";
    e->updateRootPath();
    EXPECT_EQ(e->mFormat, KLX_PATH_ENV_WIN);
}

TEST(PathEnvironment, WritesTheRcValueInEveryFormat) {
    Family::mOsType = KLX_OS_9X;
    std::string path = rcFileWith("");
    KLXRcFile rc(path, 0);
    // Drive Q: maps nowhere, so it is no network drive.
    const std::vector<std::pair<KLXPathEnvFormat_e, List>> rows = {
        {KLX_PATH_ENV_WIN, {"C:\\SDK\\OS\\V3.10", "Q:\\SDK"}},
        {KLX_PATH_ENV_SLASHES, {"C:/SDK/OS/V3.10", "Q:/SDK"}},
        {KLX_PATH_ENV_CYGWIN, {"/cygdrive/C/SDK/OS/V3.10", "/cygdrive/Q/SDK"}},
        {KLX_PATH_ENV_CYGWIN_DOS, {"C:\\SDK\\OS\\V3.10", "Q:\\SDK"}},
        {KLX_PATH_ENV_SLASHES_NO_NET_DRIVE, {"C:/SDK/OS/V3.10", "Q:/SDK"}},
        {static_cast<KLXPathEnvFormat_e>(42), {"C:\\SDK\\OS\\V3.10", "Q:\\SDK"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.first);
        const List values = {"C:\\SDK\\OS\\V3.10", "Q:\\SDK", "$KLX_OTHER\\x", "$"};
        const List expected = {row.second[0], row.second[1], values[2], values[3]};
        for (std::size_t i = 0; i < values.size(); ++i) {
            Options options;
            options.format = row.first;
            options.rc = &rc;
            auto e = element("KLX_PE_OUT", "Software\\PE\\formats", options);
            e->mValue = values[i];
            e->updateEnvironment();
            EXPECT_EQ(rcGet(rc, "KLX_PE_OUT"), expected[i]);
        }
    }
    // The lines change in memory only; a fixed format has no twin.
    EXPECT_EQ(klxtest::readBytes(path), "");
    EXPECT_EQ(envGet("KLX_PE_OUT_DOS"), "<undefined>");
}

TEST(PathEnvironment, AutomaticElementWritesItsDosTwinOnBothFamilies) {
    for (KLXOsType_e family : kFamilies) {
        SCOPED_TRACE(useFamily(family));
        makeDirs({"C:\\SDK\\OS\\V3.10", "C:\\SDK\\OS\\V2.00"});
        const std::string name = std::string("KLX_PE_TWIN_") + (family == KLX_OS_NT ? "NT" : "9X");
        const std::string twin = name + "_DOS";
        envSet(name, "C:/SDK/OS/V3.10");
        Options options;
        options.format = KLX_PATH_ENV_AUTO;
        options.browse = true;
        auto e = element(name, "Software\\PE\\twin", options);
        EXPECT_EQ(e->mFormat, KLX_PATH_ENV_CYGWIN_DOS);
        e->updateEnvironment();
        EXPECT_EQ(envGet(name), "/cygdrive/C/SDK/OS/V3.10");
        EXPECT_EQ(envGet(twin), "C:\\SDK\\OS\\V3.10");

        // An older version: the Windows form in both, after a pick alone.
        std::string older = "C:\\SDK\\OS\\V2.00";
        ASSERT_TRUE(e->updatePathFromString(older));
        EXPECT_EQ(e->mFormat, KLX_PATH_ENV_WIN);
        e->updateEnvironment();
        EXPECT_EQ(envGet(name), older);
        EXPECT_EQ(envGet(twin), older);

        // A reference is written as it is to both.
        std::string reference = "$KLX_ELSEWHERE";
        ASSERT_TRUE(e->updatePathFromString(reference));
        EXPECT_EQ(e->mFormat, KLX_PATH_ENV_CYGWIN_DOS);
        e->updateEnvironment();
        EXPECT_EQ(envGet(name), reference);
        EXPECT_EQ(envGet(twin), reference);

        // Not browsing: never leaves automatic, the value goes unchanged to
        // both.
        const std::string plain = name + "_PLAIN";
        envSet(plain, "C:\\SDK\\OS\\V3.10");
        options.browse = false;
        auto p = element(plain, "Software\\PE\\twin plain", options);
        p->updateEnvironment();
        EXPECT_EQ(p->mFormat, KLX_PATH_ENV_AUTO);
        EXPECT_EQ(envGet(plain), "C:\\SDK\\OS\\V3.10");
        EXPECT_EQ(envGet(plain + "_DOS"), "C:\\SDK\\OS\\V3.10");
    }
}

TEST(PathEnvironment, AutomaticElementOnAnRcFileWritesItsLineToo) {
    Family::mOsType = KLX_OS_9X;
    std::string path = rcFileWith("export KLX_PE_RCAUTO=\"C:/SDK/OS/V3.10\"\n");
    KLXRcFile rc(path, 0);
    Options options;
    options.format = KLX_PATH_ENV_AUTO;
    options.browse = true;
    options.rc = &rc;
    auto e = element("KLX_PE_RCAUTO", "Software\\PE\\rc auto", options);
    e->updateEnvironment();
    EXPECT_EQ(rcGet(rc, "KLX_PE_RCAUTO"), "/cygdrive/C/SDK/OS/V3.10");
    EXPECT_EQ(envGet("KLX_PE_RCAUTO_DOS"), "C:\\SDK\\OS\\V3.10");
}

TEST(PathEnvironment, EmptyValueWritesOnlyTheHistory) {
    Family::mOsType = KLX_OS_9X;
    const std::string key = "Software\\PE\\empty";
    history(key, "1", {"C:\\Kept"});
    std::string path = rcFileWith("export OTHER=\"x\"\n");
    KLXRcFile rc(path, 0);
    Options options;
    options.rc = &rc;
    const int lines = rc.getLinesCount();
    auto onRc = element("KLX_PE_EMPTY", key, options);
    onRc->updateEnvironment();
    EXPECT_EQ(rc.getLinesCount(), lines);
    EXPECT_EQ(rcGet(rc, "OTHER"), "x");
    EXPECT_EQ(storedHistory(key), (List{"1", "C:\\Kept"}));

    options.rc = nullptr;
    options.format = KLX_PATH_ENV_AUTO;
    auto onEnv = element("KLX_PE_EMPTY", key, options);
    onEnv->updateEnvironment();
    EXPECT_EQ(envGet("KLX_PE_EMPTY"), "<undefined>");
    EXPECT_EQ(envGet("KLX_PE_EMPTY_DOS"), "<undefined>");

    // An empty history writes nothing either.
    auto none = element("KLX_PE_EMPTY", "Software\\PE\\empty none", options);
    none->updateEnvironment();
    EXPECT_EQ(regGet("Software\\PE\\empty none", "count"), "");
}

TEST(PathEnvironment, BrowsingElementBuildsItsHistoryFromTheValue) {
    makeDirs(
        {"C:\\SDK\\OS\\V3.10", "C:\\SDK\\OS\\V2.00", "C:\\SDK\\OS\\.V9", "C:\\SDK\\OS\\Tools"});
    klxtest::writeBytes(klxtest::testRoot() / "prefix/drive_c/SDK/OS/V5.file", "");
    std::string path = rcFileWith("export OS=\"C:/SDK/OS/V3.10\"\n");
    KLXRcFile rc(path, 0);
    Options options;
    options.browse = true;
    options.rc = &rc;
    options.subPath = "";
    const std::string key = "Software\\PE\\browse";
    auto e = element("OS", key, options);
    EXPECT_EQ(e->mHistoryList, List{"C:\\SDK\\OS"});
    EXPECT_EQ(sorted(e->mPathList), (List{"C:\\SDK\\OS\\V2.00", "C:\\SDK\\OS\\V3.10"}));
    // Reading never writes.
    EXPECT_EQ(regGet(key, "count"), "");
    e->updateEnvironment();
    EXPECT_EQ(storedHistory(key), (List{"1", "C:\\SDK\\OS"}));

    // A sub-path is offered when the version directory itself is rejected;
    // a history entry that is gone adds nothing.
    makeDirs({"C:\\GCC\\V3.4\\bin"});
    history("Software\\PE\\browse bin", "2", {"C:\\Gone", "C:\\GCC"});
    options.subPath = "bin";
    options.check = acceptBin;
    auto gcc = element("GCC", "Software\\PE\\browse bin", options);
    EXPECT_EQ(gcc->mHistoryList, (List{"C:\\Gone", "C:\\GCC"}));
    EXPECT_EQ(gcc->mPathList, List{"C:\\GCC\\V3.4\\bin"});
}

TEST(PathEnvironment, HistoryReadingSkipsEmptyEntriesAndStopsAtTheCount) {
    std::string path = rcFileWith("export V=\"C:/Z\"\n");
    KLXRcFile rc(path, 0);
    Options options;
    options.rc = &rc;
    auto historyOf = [&](const std::string& key) {
        return element("V", key, options)->mHistoryList;
    };

    history("Software\\PE\\h holes", "3", {"C:\\X", "", "C:\\Y"});
    auto e = element("V", "Software\\PE\\h holes", options);
    EXPECT_EQ(e->mHistoryList, (List{"C:\\X", "C:\\Y", "C:\\Z"}));
    e->updateEnvironment();
    EXPECT_EQ(storedHistory("Software\\PE\\h holes"), (List{"3", "C:\\X", "C:\\Y", "C:\\Z"}));

    history("Software\\PE\\h abc", "abc", {"C:\\X"});
    EXPECT_EQ(historyOf("Software\\PE\\h abc"), List{"C:\\Z"});
    history("Software\\PE\\h neg", "-2", {"C:\\X"});
    EXPECT_EQ(historyOf("Software\\PE\\h neg"), List{"C:\\Z"});
    history("Software\\PE\\h blank", " +2xyz", {"C:\\X", "C:\\Y", "C:\\W"});
    EXPECT_EQ(historyOf("Software\\PE\\h blank"), (List{"C:\\X", "C:\\Y", "C:\\Z"}));
    // Present exactly: not appended again. Another letter case or a double
    // stays as it is.
    history("Software\\PE\\h case", "3", {"C:\\Z", "c:\\z", "C:\\Z"});
    EXPECT_EQ(historyOf("Software\\PE\\h case"), (List{"C:\\Z", "c:\\z", "C:\\Z"}));
    history("Software\\PE\\h lower", "1", {"c:\\z"});
    EXPECT_EQ(historyOf("Software\\PE\\h lower"), (List{"c:\\z", "C:\\Z"}));

    // A damaged count reads what the key really holds, also with holes and
    // an empty entry (and the test ends).
    const std::string big = "Software\\PE\\h big";
    history(big, "2000000000", {"", "C:\\A", "C:\\B"});
    regSet(big, "5", "C:\\C");
    EXPECT_EQ(historyOf(big), (List{"C:\\A", "C:\\B", "C:\\C", "C:\\Z"}));
    history("Software\\PE\\h max", "99999999999", {"C:\\A"});
    EXPECT_EQ(historyOf("Software\\PE\\h max"), (List{"C:\\A", "C:\\Z"}));
    // Values that are not entries do not end the reading early.
    const std::string mixed = "Software\\PE\\h mixed";
    history(mixed, "40", {"C:\\A"});
    regSet(mixed, "note", "C:\\N");
    regSet(mixed, "", "C:\\D");
    regSet(mixed, "007", "C:\\E");
    regSet(mixed, "39", "C:\\B");
    regSet(mixed, "40", "C:\\F");
    EXPECT_EQ(historyOf(mixed), (List{"C:\\A", "C:\\B", "C:\\Z"}));
    // The same with a damaged count: entries far apart, among other values.
    const std::string sparse = "Software\\PE\\h sparse";
    history(sparse, "2000000000", {"C:\\A"});
    regSet(sparse, "note", "C:\\N");
    regSet(sparse, "007", "C:\\E");
    regSet(sparse, "1999999999", "C:\\Y");
    regSet(sparse, "2000000000", "C:\\F");
    regSet(sparse, "12", "C:\\B");
    EXPECT_EQ(historyOf(sparse), (List{"C:\\A", "C:\\B", "C:\\Y", "C:\\Z"}));
}

TEST(PathEnvironment, PickingFromThePathList) {
    makeDirs({"C:\\Pick\\V1.0", "C:\\Pick\\V3.0"});
    std::string path = rcFileWith("export P=\"C:/Pick/V1.0\"\n");
    KLXRcFile rc(path, 0);
    Options options;
    options.format = KLX_PATH_ENV_AUTO;
    options.browse = true;
    options.rc = &rc;
    auto e = element("P", "Software\\PE\\pick", options);
    ASSERT_EQ(e->mPathList.size(), 2u);
    for (int index : {-1, 2, INT_MIN, INT_MAX}) {
        e->updatePathFromHistory(index);
        EXPECT_EQ(e->getValue(), "C:\\Pick\\V1.0") << index;
        EXPECT_EQ(e->mFormat, KLX_PATH_ENV_WIN);
    }
    int newer = e->mPathList[0] == "C:\\Pick\\V3.0" ? 0 : 1;
    e->updatePathFromHistory(newer);
    EXPECT_EQ(e->getValue(), "C:\\Pick\\V3.0");
    EXPECT_EQ(e->mRootPath, "C:\\Pick");
    EXPECT_EQ(e->mFormat, KLX_PATH_ENV_CYGWIN_DOS);
}

TEST(PathEnvironment, AcceptingATypedPath) {
    makeDirs({"C:\\Acc\\V1.0", "C:\\New\\V2.0", "C:\\New\\Other"});
    klxtest::writeBytes(klxtest::testRoot() / "prefix/drive_c/Acc/V9.txt", "");
    const std::string key = "Software\\PE\\accept";
    history(key, "1", {"C:\\Acc"});
    std::string rcPath = rcFileWith("export A=\"C:/Acc/V1.0\"\n");
    KLXRcFile rc(rcPath, 0);
    Options options;
    options.browse = true;
    options.rc = &rc;
    auto e = element("A", key, options);
    ASSERT_EQ(e->mPathList, List{"C:\\Acc\\V1.0"});

    // Listed, with one trailing backslash: taken without check or re-read.
    regSet(key, "count", "2");
    regSet(key, "1", "C:\\Sneaked");
    gChecked.clear();
    std::string listed = "C:\\Acc\\V1.0\\";
    EXPECT_TRUE(e->updatePathFromString(listed));
    EXPECT_EQ(listed, "C:\\Acc\\V1.0");
    EXPECT_EQ(gChecked, List{});
    EXPECT_EQ(e->mHistoryList, List{"C:\\Acc"});

    // Refused: nothing changes but one removed backslash, whatever the check
    // did to its argument.
    gCheckScribbles = true;
    for (std::string refused :
         {"", "C:\\Acc\\V9.txt", "C:\\Acc\\V7", "C:\\New\\Other\\", "C:\\Acc\\V1.0\\\\"}) {
        std::string typed = refused;
        EXPECT_FALSE(e->updatePathFromString(typed)) << refused;
        std::string expected = refused;
        if (!expected.empty() && expected.back() == '\\')
            expected.pop_back();
        EXPECT_EQ(typed, expected);
        EXPECT_EQ(e->getValue(), "C:\\Acc\\V1.0");
    }
    gCheckScribbles = false;

    // A reference is taken without a check of its own; the history is read
    // again (and browsed) as for any new path.
    gChecked.clear();
    std::string reference = "$KLX_SOMEWHERE";
    EXPECT_TRUE(e->updatePathFromString(reference));
    EXPECT_EQ(std::count(gChecked.begin(), gChecked.end(), reference), 0);
    EXPECT_EQ(e->mHistoryList, (List{"C:\\Acc", "C:\\Sneaked"}));
    EXPECT_EQ(e->getValue(), reference);

    // A new directory is checked and its root joins the history, re-read
    // from the key.
    std::string fresh = "C:\\New\\V2.0\\";
    EXPECT_TRUE(e->updatePathFromString(fresh));
    EXPECT_EQ(e->getValue(), "C:\\New\\V2.0");
    EXPECT_EQ(e->mHistoryList, (List{"C:\\Acc", "C:\\Sneaked", "C:\\New"}));
    EXPECT_EQ(sorted(e->mPathList), (List{"C:\\Acc\\V1.0", "C:\\New\\V2.0"}));

    // Nothing reaches the registry or the rc file before updateEnvironment.
    e.reset();
    EXPECT_EQ(storedHistory(key), (List{"2", "C:\\Acc", "C:\\Sneaked"}));
    EXPECT_EQ(rcGet(rc, "A"), "C:/Acc/V1.0");
    EXPECT_EQ(klxtest::readBytes(rcPath), "export A=\"C:/Acc/V1.0\"\n");
    auto again = element("A", key, options);
    EXPECT_EQ(again->mHistoryList, (List{"C:\\Acc", "C:\\Sneaked"}));

    // A non-browsing element lists its history itself, and a new path joins
    // it whole.
    options.browse = false;
    auto flat = element("A", key, options);
    std::string other = "C:\\New\\V2.0";
    EXPECT_TRUE(flat->updatePathFromString(other));
    EXPECT_EQ(flat->mPathList, (List{"C:\\Acc", "C:\\Sneaked", "C:\\New\\V2.0"}));
    flat->updateEnvironment();
    EXPECT_EQ(storedHistory(key), (List{"3", "C:\\Acc", "C:\\Sneaked", "C:\\New\\V2.0"}));
    EXPECT_EQ(rcGet(rc, "A"), "C:\\New\\V2.0");
}
