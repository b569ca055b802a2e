// Path-valued SDK elements: reading the value, the root path and its format,
// writing the value in every form, and the registry history of choices.
#include "Environment.h"
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
#include <sstream>

namespace {

using List = std::vector<std::string>;

const char* const kEnvironmentKey =
    "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";

struct Family : KLXSystem {
    using KLXSystem::mOsType;
};

struct Element : KLXPathEnvironment {
    using KLXPathEnvironment::KLXPathEnvironment;
    using KLXPathEnvironment::mFormat;
    using KLXPathEnvironment::mRootPath;
    using KLXPathEnvironment::mValue;
    using KLXPathEnvironment::updateRootPath;
};

// Has no virtual destructor: deleted through its exact type.
struct RcFile final : KLXRcFile {
    using KLXRcFile::KLXRcFile;
};

// Accepts version directories ("V..." or "v..."); on request it also
// scribbles on its argument.
bool gCheckScribbles = false;
bool acceptVersion(std::string& path) {
    std::string last = path.substr(path.rfind('\\') + 1);
    if (gCheckScribbles)
        path += "\\scribbled";
    return !last.empty() && (last[0] == 'V' || last[0] == 'v');
}

bool acceptBin(std::string& path) {
    return path.size() > 4 && path.compare(path.size() - 4, 4, "\\bin") == 0;
}

} // namespace

class PathEnvironment : public ::testing::Test {
protected:
    static std::unique_ptr<Element> element(std::string name, std::string key,
                                            KLXPathEnvFormat_e format = KLX_PATH_ENV_WIN,
                                            bool browse = false, KLXRcFile* rc = nullptr,
                                            const char* subPath = nullptr,
                                            KLXCheckFunction check = acceptVersion) {
        std::string sub = subPath != nullptr ? subPath : "";
        return std::make_unique<Element>(name, key, format, check, browse,
                                         subPath != nullptr ? &sub : nullptr, rc);
    }

    // An rc file holding `content`, read into memory; its path is mRcPath.
    KLXRcFile* rcFile(const std::string& content) {
        mRcPath = (klxtest::freshDir("rc") / ".cvlrc").string();
        klxtest::writeBytes(mRcPath, content);
        mRc = std::make_unique<RcFile>(mRcPath, 0);
        return mRc.get();
    }
    std::string mRcPath;
    std::unique_ptr<RcFile> mRc;

    static std::string rcGet(KLXRcFile& rc, std::string name) { return rc.getValue(name); }
    static std::string regGet(std::string key, std::string name, HKEY root = HKEY_CURRENT_USER) {
        return KLXRegistryKey(root, key).retValue(name);
    }
    static void regSet(std::string key, std::string name, std::string value,
                       HKEY root = HKEY_CURRENT_USER) {
        KLXRegistryKey(root, key).setValue(name, value);
    }

    // Sets the values "name=value|name=value|..." of a history key.
    static void history(const std::string& key, const std::string& values) {
        std::istringstream in(values);
        for (std::string value; std::getline(in, value, '|');)
            regSet(key, value.substr(0, value.find('=')), value.substr(value.find('=') + 1));
    }

    // The stored history: "count" then each numbered entry it covers.
    static List storedHistory(const std::string& key) {
        List stored{regGet(key, "count")};
        for (int i = 0; i < std::atoi(stored[0].c_str()); ++i)
            stored.push_back(regGet(key, std::to_string(i)));
        return stored;
    }

    // A variable where the current family keeps it; "<undefined>" for an
    // unset 9x variable.
    static std::string envGet(const std::string& name) {
        if (Family::mOsType == KLX_OS_NT)
            return regGet(kEnvironmentKey, name, HKEY_LOCAL_MACHINE);
        return klxtest::getEnv(name);
    }
    static void envSet(const std::string& name, const std::string& value) {
        if (Family::mOsType == KLX_OS_NT)
            regSet(kEnvironmentKey, name, value, HKEY_LOCAL_MACHINE);
        else
            klxtest::setEnv(name, value);
    }

    static void makeDirs(const List& paths) {
        for (const std::string& path : paths)
            std::filesystem::create_directories(klxtest::cDrive() / path);
    }
};

TEST_F(PathEnvironment, ReadsTheValueAndDerivesRootPathAndFormat) {
    auto rc = rcFile("export OS=\"C:/S/V3\"\nexport SHARE=\"/share/S\"\nexport REF=\"$O/x\"\n"
                     "export CYG=\"/cygdrive/d/S\"\nexport BARE=\"/cygdrive/\"\n");
    const std::pair<const char*, const char*> rows[] = {
        {"OS", "C:\\S\\V3"}, {"SHARE", "U:\\share\\S"}, {"CYG", "d:\\S"},
        {"BARE", ""},        {"REF", "$O\\x"},          {"MISSING", ""}};
    for (const auto& row : rows) {
        auto e = element(row.first, "Software\\PE\\read", KLX_PATH_ENV_WIN, false, rc);
        EXPECT_EQ(e->getValue(), row.second) << row.first;
        EXPECT_EQ(e->getName(), row.first);
        // Not browsing: the value is the root path and the history.
        EXPECT_EQ(e->mPathList, *row.second == 0 ? List{} : List{row.second});
    }

    auto e = element("KLX_PE_UNSET", "Software\\PE\\auto", KLX_PATH_ENV_AUTO, true, nullptr, "bin");
    // Never met a browsable value: still automatic.
    EXPECT_EQ(e->mFormat, KLX_PATH_ENV_AUTO);
    const List names = {"V2.00", "V1.05", "V1.5", "v2.00", "v1.05", "V15",
                        "V0.9",  "V2.10", "V21",  "V3.00", "V2",    "V2.1",
                        "v9.99", "V2.x",  "VX.0", "2.00",  "V",     "Release"};
    auto rootOf = [&e](const std::string& value) {
        e->mValue = value;
        e->updateRootPath();
        return e->mRootPath;
    };
    for (std::size_t i = 0; i < names.size(); ++i) {
        // The sub-path goes before the version directory is looked at.
        EXPECT_EQ(rootOf("C:\\SDK\\OS\\" + names[i] + (i % 2 ? "\\bin" : "")), "C:\\SDK\\OS");
        EXPECT_EQ(e->mFormat, i < 7 ? KLX_PATH_ENV_WIN : KLX_PATH_ENV_CYGWIN_DOS) << e->mValue;
    }
    // Without a backslash, or with nothing but the sub-path, there is no
    // parent to keep. Letter case counts for the sub-path. An empty value
    // leaves the format as it was.
    for (const char* value : {"V3.4", "bin", "\\bin", "V3.4\\bin", "\\V3.4"})
        EXPECT_EQ(rootOf(value), "") << value;
    EXPECT_EQ(rootOf("C:\\G\\V3\\BIN"), "C:\\G\\V3");
    EXPECT_EQ(rootOf("C:\\G\\V2.0\\bin"), "C:\\G");
    EXPECT_EQ(rootOf(""), "");
    EXPECT_EQ(e->mFormat, KLX_PATH_ENV_WIN);

    // A fixed format is never re-derived.
    auto fixed = element("KLX_PE_UNSET", "Software\\PE\\fixed", KLX_PATH_ENV_SLASHES, true);
    fixed->mValue = "C:\\SDK\\OS\\V3.00";
    fixed->updateRootPath();
    EXPECT_EQ(fixed->mFormat, KLX_PATH_ENV_SLASHES);
}

TEST_F(PathEnvironment, WritesTheValueInEveryFormatAndTheDosTwin) {
    Family::mOsType = KLX_OS_9X;
    const std::string content = "export OTHER=\"x\"\nexport KLX_PE_RCAUTO=\"C:/SDK/OS/V3.10\"\n";
    auto rc = rcFile(content);
    // Drive Q: maps nowhere, so it is no network drive.
    const std::vector<std::pair<KLXPathEnvFormat_e, List>> rows = {
        {KLX_PATH_ENV_WIN, {"C:\\SDK\\V3", "Q:\\SDK"}},
        {KLX_PATH_ENV_SLASHES, {"C:/SDK/V3", "Q:/SDK"}},
        {KLX_PATH_ENV_CYGWIN, {"/cygdrive/C/SDK/V3", "/cygdrive/Q/SDK"}},
        {KLX_PATH_ENV_CYGWIN_DOS, {"C:\\SDK\\V3", "Q:\\SDK"}},
        {KLX_PATH_ENV_SLASHES_NO_NET_DRIVE, {"C:/SDK/V3", "Q:/SDK"}},
        {static_cast<KLXPathEnvFormat_e>(42), {"C:\\SDK\\V3", "Q:\\SDK"}},
    };
    const List values = {"C:\\SDK\\V3", "Q:\\SDK", "$KLX_OTHER\\x", "$"};
    for (const auto& row : rows) {
        auto e = element("KLX_PE_OUT", "Software\\PE\\formats", row.first, false, rc);
        for (std::size_t i = 0; i < values.size(); ++i) {
            e->mValue = values[i];
            e->updateEnvironment();
            EXPECT_EQ(rcGet(*rc, "KLX_PE_OUT"), i < 2 ? row.second[i] : values[i]) << row.first;
        }
    }
    // The lines change in memory only; a fixed format has no twin.
    EXPECT_EQ(klxtest::readBytes(mRcPath), content);
    EXPECT_EQ(envGet("KLX_PE_OUT_DOS"), "<undefined>");

    // An empty value writes only the history: no line, no variable, no twin.
    const int lines = rc->getLinesCount();
    history("Software\\PE\\empty", "count=1|0=C:\\Kept");
    element("KLX_PE_EMPTY", "Software\\PE\\empty", KLX_PATH_ENV_WIN, false, rc)
        ->updateEnvironment();
    EXPECT_EQ(rc->getLinesCount(), lines);
    EXPECT_EQ(storedHistory("Software\\PE\\empty"), (List{"1", "C:\\Kept"}));
    element("KLX_PE_EMPTY", "Software\\PE\\none", KLX_PATH_ENV_AUTO)->updateEnvironment();
    EXPECT_EQ(envGet("KLX_PE_EMPTY") + envGet("KLX_PE_EMPTY_DOS"), "<undefined><undefined>");
    EXPECT_EQ(regGet("Software\\PE\\none", "count"), "");

    // An automatic element on an rc file writes its line and a _DOS variable.
    element("KLX_PE_RCAUTO", "Software\\PE\\rc", KLX_PATH_ENV_AUTO, true, rc)->updateEnvironment();
    EXPECT_EQ(rcGet(*rc, "KLX_PE_RCAUTO") + "|" + envGet("KLX_PE_RCAUTO_DOS"),
              "/cygdrive/C/SDK/OS/V3.10|C:\\SDK\\OS\\V3.10");

    makeDirs({"SDK/OS/V3.10", "SDK/OS/V2.00"});
    // NT keeps variables in the registry, 9x in the process environment.
    for (KLXOsType_e family : {KLX_OS_NT, KLX_OS_9X}) {
        Family::mOsType = family;
        SCOPED_TRACE(family == KLX_OS_NT ? "NT family" : "9x family");
        envSet("KLX_PE_ECLIPSE", "/cygdrive/c/Eclipse");
        envSet("KLX_PE_SHARE", "/share/x");
        EXPECT_EQ(element("KLX_PE_ECLIPSE", "Software\\PE\\env")->getValue(), "c:\\Eclipse");
        // Only a value from an rc file is put on drive U:.
        EXPECT_EQ(element("KLX_PE_SHARE", "Software\\PE\\env")->getValue(), "\\share\\x");

        envSet("KLX_PE_TWIN", "C:/SDK/OS/V3.10");
        auto e = element("KLX_PE_TWIN", "Software\\PE\\twin", KLX_PATH_ENV_AUTO, true);
        e->updateEnvironment();
        EXPECT_EQ(envGet("KLX_PE_TWIN") + "|" + envGet("KLX_PE_TWIN_DOS"),
                  "/cygdrive/C/SDK/OS/V3.10|C:\\SDK\\OS\\V3.10");
        // An older version writes the Windows form to both, and a reference
        // goes as it is to both.
        for (std::string picked : {"C:\\SDK\\OS\\V2.00", "$KLX_ELSEWHERE"}) {
            ASSERT_TRUE(e->updatePathFromString(picked));
            e->updateEnvironment();
            EXPECT_EQ(envGet("KLX_PE_TWIN") + "|" + envGet("KLX_PE_TWIN_DOS"),
                      picked + "|" + picked);
        }
    }
}

TEST_F(PathEnvironment, HistoryTypingAndPicking) {
    Family::mOsType = KLX_OS_9X;
    auto rc = rcFile("export V=\"C:/Z\"\n");
    // Holes and empty entries are skipped; the value's root is appended
    // unless present exactly. A damaged count reads what the key really
    // holds, and values that are not entries do not end the reading early,
    // even with entries far apart.
    const std::vector<std::pair<std::string, List>> cases = {
        {"count=3|0=C:\\X|1=|2=C:\\Y", {"C:\\X", "C:\\Y", "C:\\Z"}},
        {"count=abc|0=C:\\X", {"C:\\Z"}},
        {"count=-2|0=C:\\X", {"C:\\Z"}},
        {"count= +2xyz|0=C:\\X|1=C:\\Y|2=C:\\W", {"C:\\X", "C:\\Y", "C:\\Z"}},
        {"count=3|0=C:\\Z|1=c:\\z|2=C:\\Z", {"C:\\Z", "c:\\z", "C:\\Z"}},
        {"count=1|0=c:\\z", {"c:\\z", "C:\\Z"}},
        {"count=2000000000|0=|1=C:\\A|2=C:\\B|5=C:\\C", {"C:\\A", "C:\\B", "C:\\C", "C:\\Z"}},
        {"count=99999999999|0=C:\\A", {"C:\\A", "C:\\Z"}},
        {"count=40|0=C:\\A|note=C:\\N|=C:\\D|007=C:\\E|39=C:\\B|40=C:\\F",
         {"C:\\A", "C:\\B", "C:\\Z"}},
        {"count=2000000000|0=C:\\A|note=C:\\N|007=C:\\E|1999999999=C:\\Y|2000000000=C:\\F|12=C:\\B",
         {"C:\\A", "C:\\B", "C:\\Y", "C:\\Z"}},
    };
    int n = 0;
    for (const auto& [values, expected] : cases) {
        const std::string key = "Software\\PE\\h" + std::to_string(n++);
        history(key, values);
        auto e = element("V", key, KLX_PATH_ENV_AUTO, false, rc);
        EXPECT_EQ(e->mHistoryList, expected) << values;
        e->updateEnvironment();
        List stored = expected;
        stored.insert(stored.begin(), std::to_string(expected.size()));
        EXPECT_EQ(storedHistory(key), stored);
        // Not browsing, an automatic element never leaves automatic: the
        // value goes unchanged to the line and the twin.
        EXPECT_EQ(rcGet(*rc, "V") + envGet("V_DOS"), "C:\\ZC:\\Z");
    }

    makeDirs({"Acc/V1.0", "Acc/.V8", "Acc/Tools", "New/V3.0", "New/Other", "GCC/V3.4/bin"});
    klxtest::writeBytes(klxtest::cDrive() / "Acc/V9.txt", "");
    const std::string key = "Software\\PE\\accept";
    rc = rcFile("export A=\"C:/Acc/V1.0\"\n");
    // Browsing lists the accepted directories below the root path, which
    // is the history; reading writes nothing.
    auto e = element("A", key, KLX_PATH_ENV_AUTO, true, rc);
    EXPECT_EQ(e->mHistoryList, List{"C:\\Acc"});
    ASSERT_EQ(e->mPathList, List{"C:\\Acc\\V1.0"});
    EXPECT_EQ(regGet(key, "count"), "");

    // Listed, with one trailing backslash: taken without re-reading.
    history(key, "count=2|0=C:\\Acc|1=C:\\Sneaked");
    std::string listed = "C:\\Acc\\V1.0\\";
    EXPECT_TRUE(e->updatePathFromString(listed));
    EXPECT_EQ(listed, "C:\\Acc\\V1.0");
    EXPECT_EQ(e->mHistoryList, List{"C:\\Acc"});

    // Refused: nothing changes but one removed backslash, whatever the check
    // did to its argument. A reference is taken without a check.
    gCheckScribbles = true;
    for (std::string refused :
         {"", "C:\\Acc\\V9.txt", "C:\\Acc\\V7", "C:\\New\\Other\\", "C:\\Acc\\V1.0\\\\"}) {
        std::string typed = refused;
        EXPECT_FALSE(e->updatePathFromString(typed)) << refused;
        EXPECT_EQ(typed,
                  refused.substr(0, refused.size() - (!refused.empty() && refused.back() == '\\')));
        EXPECT_EQ(e->getValue(), "C:\\Acc\\V1.0");
    }
    gCheckScribbles = false;
    std::string reference = "$KLX_SOMEWHERE";
    EXPECT_TRUE(e->updatePathFromString(reference));
    EXPECT_EQ(e->getValue(), reference);
    EXPECT_EQ(e->mHistoryList, (List{"C:\\Acc", "C:\\Sneaked"}));

    // A new directory is checked; the history is read again, the new root
    // joins it and it is browsed.
    std::string fresh = "C:\\New\\V3.0\\";
    EXPECT_TRUE(e->updatePathFromString(fresh));
    EXPECT_EQ(e->getValue(), "C:\\New\\V3.0");
    EXPECT_EQ(e->mHistoryList, (List{"C:\\Acc", "C:\\Sneaked", "C:\\New"}));
    List paths = e->mPathList;
    std::sort(paths.begin(), paths.end());
    EXPECT_EQ(paths, (List{"C:\\Acc\\V1.0", "C:\\New\\V3.0"}));
    EXPECT_EQ(e->mFormat, KLX_PATH_ENV_CYGWIN_DOS);

    // Picking out of range changes nothing; a listed entry sets value, root
    // path and format.
    for (int index : {-1, 2, INT_MIN, INT_MAX}) {
        e->updatePathFromHistory(index);
        EXPECT_EQ(e->getValue(), "C:\\New\\V3.0") << index;
    }
    e->updatePathFromHistory(e->mPathList[0] == "C:\\Acc\\V1.0" ? 0 : 1);
    EXPECT_EQ(e->getValue(), "C:\\Acc\\V1.0");
    EXPECT_EQ(e->mFormat, KLX_PATH_ENV_WIN);

    // Nothing reaches the registry or the rc file before updateEnvironment.
    e.reset();
    EXPECT_EQ(storedHistory(key), (List{"2", "C:\\Acc", "C:\\Sneaked"}));
    EXPECT_EQ(rcGet(*rc, "A"), "C:/Acc/V1.0");
    EXPECT_EQ(klxtest::readBytes(mRcPath), "export A=\"C:/Acc/V1.0\"\n");

    // A sub-path is offered when the version directory itself is rejected;
    // a history entry that is gone adds nothing.
    history("Software\\PE\\bin", "count=2|0=C:\\Gone|1=C:\\GCC");
    auto gcc =
        element("GCC", "Software\\PE\\bin", KLX_PATH_ENV_WIN, true, nullptr, "bin", acceptBin);
    EXPECT_EQ(gcc->mHistoryList, (List{"C:\\Gone", "C:\\GCC"}));
    EXPECT_EQ(gcc->mPathList, List{"C:\\GCC\\V3.4\\bin"});
}
