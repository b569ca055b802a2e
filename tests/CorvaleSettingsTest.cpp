// KLXCorvaleSettings on the sample SDK tree (examples/sdk, copied to C:\SDK):
// the path checks, the baseband read from manifests, the configuration file
// and registry keys the constructor uses, Instance, and the firmware following
// the OS library's family.
#include "KLXCorvaleSettings.h"
#include "KLXPathEnvironment.h"
#include "KLXRcFile.h"
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include "Environment.h"
#include "TestFiles.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

namespace {

struct Probe : KLXCorvaleSettings {
    using KLXCorvaleSettings::CheckPathKL_CVL_IDE_ECLIPSE;
    using KLXCorvaleSettings::CheckPathKL_CVL_IDE_FW_DEFAULT;
    using KLXCorvaleSettings::CheckPathKL_CVL_IDE_GTS_GCC;
    using KLXCorvaleSettings::CheckPathKL_CVL_IDE_OS_DEFAULT;
    using KLXCorvaleSettings::CheckPathVOID;
    using KLXCorvaleSettings::KLXCorvaleSettings;
    using KLXCorvaleSettings::mSelectCallback;
    using KLXCorvaleSettings::specificUpdateProcess;

    std::string& value(int element) { return mElements[element]->getValue(); }
    Names sortedList(int element) {
        Names list = mElements[element]->mPathList;
        std::sort(list.begin(), list.end());
        return list;
    }
};

// Reaches an element's protected members through member pointers, which are
// valid on any KLXPathEnvironment.
struct ElementProbe : KLXPathEnvironment {
    static KLXPathEnvFormat_e format(KLXPathEnvironment* element) {
        return element->*(&ElementProbe::mFormat);
    }
};

struct SystemProbe : KLXSystem {
    using KLXSystem::mUserProfileDir;
};

const char* const kVariables[] = {
    "KL_CVL_IDE_OS_DEFAULT", "KL_CVL_IDE_FW_DEFAULT", "KL_CVL_IDE_PLUGINS", "KL_CVL_IDE_GTS_GCC",
    "KL_CVL_IDE_GTS_ARM",    "KL_CVL_IDE_GTS_MINGW",  "KL_CVL_IDE_ECLIPSE"};

int gCallbackCalls = 0;
void countCall(CvlSelectElement_e) {
    ++gCallbackCalls;
}

std::string historyKey(const std::string& variable) {
    return std::string("Software\\Keldmar\\Corvale Settings\\") + variable + " history";
}

void writeHistory(const std::string& variable, std::string entry) {
    std::string path = historyKey(variable), count = "count", one = "1", zero = "0";
    KLXRegistryKey key(HKEY_CURRENT_USER, path);
    key.setValue(count, one);
    key.setValue(zero, entry);
}

// The keys below the settings key, each as "name:number of values", and the
// settings key's own number of values; read from the registry's database.
Names settingsKeys() {
    Names rows;
    sqlite3* db = nullptr;
    std::string database = std::string(std::getenv("KLX_PREFIX")) + "/registry.db";
    if (sqlite3_open_v2(database.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK)
        sqlite3_exec(
            db,
            "SELECT CAST(k.name AS TEXT) || ':' ||"
            " (SELECT COUNT(*) FROM reg_values v WHERE v.key_id = k.id) FROM reg_keys k,"
            " (SELECT id FROM reg_keys WHERE CAST(name AS TEXT) = 'Corvale Settings') s"
            " WHERE k.id = s.id OR k.parent = s.id ORDER BY 1",
            [](void* out, int, char** values, char**) {
                return static_cast<Names*>(out)->push_back(values[0]), 0;
            },
            &rows, nullptr);
    sqlite3_close(db);
    return rows;
}

class CorvaleSettings : public ::testing::Test {
protected:
    // Every test gets a machine of its own: profile, registry and a C: drive
    // holding the sample SDK.
    void SetUp() override {
        mRoot = klxtest::freshDir(::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(mRoot / "home");
        fs::create_directories(drive());
        klxtest::setEnv("HOME", (mRoot / "home").string());
        klxtest::setEnv("KLX_PREFIX", (mRoot / "prefix").string());
        SystemProbe::mUserProfileDir.clear();
        fs::copy(fs::path(__FILE__).parent_path().parent_path() / "examples" / "sdk",
                 drive() / "SDK", fs::copy_options::recursive);
        KLXCorvaleSettings::mOSBaseBand = KLXCorvaleSettings::mFormerOSBaseBand = "pavan";
        ASSERT_EQ(KLXCorvaleSettings::Instance, nullptr);
    }
    void TearDown() override { EXPECT_EQ(KLXCorvaleSettings::Instance, nullptr); }

    fs::path drive() const { return mRoot / "prefix" / "drive_c"; }
    fs::path rcFile() const { return mRoot / "home" / ".cvlrc"; }
    // Writes C:\<relative>.
    void write(std::string relative, const std::string& bytes) {
        std::replace(relative.begin(), relative.end(), '\\', '/');
        fs::create_directories((drive() / relative).parent_path());
        klxtest::writeBytes(drive() / relative, bytes);
    }

    // The sample SDK chosen in the profile's .cvlrc (an OS of the family
    // "orvan" and a firmware of "pavan"), with histories for both.
    void chooseSampleSdk() {
        klxtest::writeBytes(rcFile(),
                            "# Corvale\n"
                            "export KL_CVL_IDE_OS_DEFAULT=\"C:/SDK/OS/V3.10\"\n"
                            "export KL_CVL_IDE_FW_DEFAULT=\"C:/SDK/Firmware/V2.00_pavan\"\n");
        writeHistory("KL_CVL_IDE_OS_DEFAULT", "C:\\SDK\\OS");
        writeHistory("KL_CVL_IDE_FW_DEFAULT", "C:\\SDK\\Firmware");
    }

    fs::path mRoot;
};

TEST_F(CorvaleSettings, PathChecksAndReadBaseBand) {
    write("OS\\Broken\\manifest.xml", "<Api baseband=");
    fs::create_directories(drive() / "OS" / "DirManifest" / "manifest.xml");
    write("GCC\\BinFile\\bin", "");
    fs::create_directories(drive() / "Eclipse" / "DirExe" / "eclipse.exe");
    write("FW\\NoEmu\\manifest.xml", "<Firmware baseband=\"pavan\"/>");
    // Each path with the answer expected: '+' accepted, '-' refused.
    auto expect = [](bool (*check)(std::string&), const char* band, Names paths) {
        KLXCorvaleSettings::mOSBaseBand = band;
        for (const std::string& entry : paths) {
            std::string path = entry.substr(1);
            EXPECT_EQ(check(path), entry[0] == '+') << entry << " " << band;
        }
    };
    expect(
        Probe::CheckPathKL_CVL_IDE_OS_DEFAULT, "",
        {"+C:\\SDK\\OS\\V3.10", "+C:\\OS\\Broken", "-C:\\OS\\DirManifest", "-C:\\SDK\\GCC\\V3.4"});
    expect(Probe::CheckPathKL_CVL_IDE_GTS_GCC, "",
           {"+C:\\SDK\\GCC\\V3.4", "+C:\\SDK\\MinGW\\V5.1", "-C:\\GCC\\BinFile", "-C:\\SDK\\GCC"});
    expect(Probe::CheckPathKL_CVL_IDE_ECLIPSE, "",
           {"+C:\\SDK\\Eclipse\\V3.2", "+C:\\Eclipse\\DirExe", "-C:\\SDK\\Eclipse"});
    expect(Probe::CheckPathVOID, "", {"+", "+C:\\missing"});
    // The firmware must be of the selected OS's family (exactly) and hold an
    // emulator, at its top or in emu\ubex_cvl\Debug.
    const auto fw = Probe::CheckPathKL_CVL_IDE_FW_DEFAULT;
    expect(fw, "pavan",
           {"+C:\\SDK\\Firmware\\V2.00_pavan", "+C:\\SDK\\Firmware\\V2.10_pavan",
            "-C:\\SDK\\Firmware\\V3.10_orvan", "-C:\\SDK\\Firmware\\V1.00", "-C:\\FW\\NoEmu"});
    expect(fw, "orvan", {"+C:\\SDK\\Firmware\\V3.10_orvan", "-C:\\SDK\\Firmware\\V2.00_pavan"});
    expect(fw, "Pavan", {"-C:\\SDK\\Firmware\\V2.00_pavan"});
    expect(fw, "", {"+C:\\SDK\\Firmware\\V1.00", "-C:\\missing"});

    // An Api without attribute (or an empty one) means "pavan"; a Firmware
    // without one means none. A manifest is written to C:\M\<n> first.
    int n = 0;
    auto band = [&](std::string path, const char* expected) {
        if (path[0] == '<') {
            write("M\\" + std::to_string(++n) + "\\manifest.xml", path);
            path = "C:\\M\\" + std::to_string(n);
        }
        EXPECT_EQ(KLXCorvaleSettings::readBaseBand(path), expected) << path;
    };
    band("<M><Firmware baseband=\"fw\"/><Api baseband=\"api\"/></M>", "api");
    band("<Api baseband=\"\"/>", "pavan");
    band("<a><b><c><Firmware baseband=\"deep\"/></c></b></a>", "deep");
    band("<m><Api baseband=\"one\"/><Api baseband=\"two\"/></m>", "one");
    band("<Plug-in baseband=\"plug\"/>", "plug");
    band("<Manifest><api baseband=\"lower\"/></Manifest>", "");
    band("<Api baseband=\"x\">", "");
    band("<Firmware Baseband=\"x\"/>", "");
    band("C:\\SDK\\OS\\V3.10", "orvan");
    band("C:\\SDK\\OS\\V2.10", "pavan");
    band("C:\\SDK\\Firmware\\V1.00", "");
    band("C:\\SDK\\Plugins\\V1.00", "pavan");
    band("C:\\missing", "");

    // One shared result, overwritten by each call, even by one given it.
    std::string first = "C:\\SDK\\OS\\V3.10", second = "C:\\M\\3";
    std::string& result = KLXCorvaleSettings::readBaseBand(first);
    EXPECT_EQ(&KLXCorvaleSettings::readBaseBand(second), &result);
    EXPECT_EQ(result, "deep");
    EXPECT_EQ(KLXCorvaleSettings::readBaseBand(result), "");
}

TEST_F(CorvaleSettings, ConfigurationFileRegistryKeysAndInstance) {
    for (std::string config : {"", "C:\\missing.cvlrc", "C:\\SDK\\no*.rc"}) {
        SCOPED_TRACE(config);
        fs::remove(rcFile());
        Probe settings(countCall, config);
        EXPECT_EQ(KLXCorvaleSettings::Instance, &settings);
        EXPECT_EQ(settings.mSelectCallback, &countCall);
        EXPECT_EQ(settings.getCurrentConfigFile(), "");
        ASSERT_TRUE(fs::is_regular_file(rcFile()));
        EXPECT_EQ(fs::file_size(rcFile()), 0u);
        for (int element = 0; element < 7; ++element) {
            EXPECT_EQ(settings.value(element), "");
            EXPECT_EQ(settings.mElements[element]->getName(), kVariables[element]);
            EXPECT_EQ(ElementProbe::format(settings.mElements[element]), KLX_PATH_ENV_SLASHES);
        }
        // The settings key and its seven history keys exist, all without
        // values: only updateEnvironment writes the histories.
        Names expected = {"Corvale Settings:0"};
        for (const char* variable : kVariables)
            expected.push_back(std::string(variable) + " history:0");
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(settingsKeys(), expected);
    }
    EXPECT_FALSE(fs::exists(drive() / "missing.cvlrc"));
    EXPECT_EQ(KLXCorvaleSettings::Instance, nullptr);

    // A chosen file that exists holds the values, and the profile's file is
    // not touched. A second object does not replace the first as Instance.
    fs::remove(rcFile());
    write("cfg\\project.cvlrc", "export KL_CVL_IDE_ECLIPSE=\"C:/SDK/Eclipse/V3.2\"\n"
                                "export KL_CVL_IDE_GTS_ARM=\"/opt/arm\"\n");
    std::string config = "C:\\cfg\\project.cvlrc", none;
    Probe settings(nullptr, config);
    EXPECT_EQ(settings.getCurrentConfigFile(), "C:\\cfg\\project.cvlrc");
    EXPECT_FALSE(fs::exists(rcFile()));
    { Probe second(nullptr, none); }
    EXPECT_EQ(KLXCorvaleSettings::Instance, &settings);
    EXPECT_EQ(settings.value(CVL_ELEMENT_ECLIPSE), "C:\\SDK\\Eclipse\\V3.2");
    EXPECT_EQ(settings.value(CVL_ELEMENT_GTS_ARM), "U:\\opt\\arm");
    EXPECT_EQ(ElementProbe::format(settings.mElements[6]), KLX_PATH_ENV_SLASHES_NO_NET_DRIVE);
    EXPECT_EQ(gCallbackCalls, 0);
}

TEST_F(CorvaleSettings, FirmwareFollowsTheOsFamily) {
    chooseSampleSdk();
    const std::string before = klxtest::readBytes(rcFile()), fw = "C:\\SDK\\Firmware\\";
    std::string none;
    Probe settings(nullptr, none);
    auto& osBand = KLXCorvaleSettings::mOSBaseBand;
    auto& formerBand = KLXCorvaleSettings::mFormerOSBaseBand;

    // The OS family is known before the firmware history is browsed; the
    // firmware value itself is not moved by the constructor.
    EXPECT_EQ(osBand + formerBand, "orvanpavan");
    EXPECT_EQ(settings.sortedList(CVL_ELEMENT_OS_DEFAULT),
              (Names{"C:\\SDK\\OS\\V2.00", "C:\\SDK\\OS\\V2.10", "C:\\SDK\\OS\\V3.10"}));
    EXPECT_EQ(settings.sortedList(CVL_ELEMENT_FW_DEFAULT), Names{fw + "V3.10_orvan"});
    EXPECT_EQ(settings.value(CVL_ELEMENT_FW_DEFAULT), fw + "V2.00_pavan");

    // The current value again, with a trailing backslash: accepted, no
    // baseband step.
    formerBand = "untouched";
    std::string same = "C:\\SDK\\OS\\V3.10\\";
    EXPECT_TRUE(settings.updatePathFromString(CVL_ELEMENT_OS_DEFAULT, same));
    EXPECT_EQ(same, "C:\\SDK\\OS\\V3.10");
    EXPECT_EQ(formerBand, "untouched");

    // An index out of range changes no value but reads the baseband again.
    settings.updatePathFromHistory(CVL_ELEMENT_OS_DEFAULT, 99);
    EXPECT_EQ(settings.value(CVL_ELEMENT_OS_DEFAULT), "C:\\SDK\\OS\\V3.10");
    EXPECT_EQ(formerBand + osBand, "orvanorvan");
    EXPECT_EQ(settings.value(CVL_ELEMENT_FW_DEFAULT), fw + "V2.00_pavan");

    // Another family: the firmware moves to the first one of that family.
    std::string pavanOs = "C:\\SDK\\OS\\V2.10";
    EXPECT_TRUE(settings.updatePathFromString(CVL_ELEMENT_OS_DEFAULT, pavanOs));
    EXPECT_EQ(osBand + formerBand, "pavanorvan");
    EXPECT_EQ(settings.sortedList(CVL_ELEMENT_FW_DEFAULT),
              (Names{fw + "V2.00_pavan", fw + "V2.10_pavan"}));
    EXPECT_EQ(settings.value(CVL_ELEMENT_FW_DEFAULT), settings.mElements[1]->mPathList[0]);

    // The same family: the firmware stays where the user put it.
    std::string chosen = fw + "V2.10_pavan";
    EXPECT_TRUE(settings.updatePathFromString(CVL_ELEMENT_FW_DEFAULT, chosen));
    const Names& osList = settings.mElements[CVL_ELEMENT_OS_DEFAULT]->mPathList;
    auto indexOf = [&](const char* path) {
        return static_cast<int>(std::find(osList.begin(), osList.end(), path) - osList.begin());
    };
    settings.updatePathFromHistory(CVL_ELEMENT_OS_DEFAULT, indexOf("C:\\SDK\\OS\\V2.00"));
    EXPECT_EQ(settings.value(CVL_ELEMENT_OS_DEFAULT), "C:\\SDK\\OS\\V2.00");
    EXPECT_EQ(formerBand + osBand, "pavanpavan");
    EXPECT_EQ(settings.value(CVL_ELEMENT_FW_DEFAULT), chosen);

    // Back to the other family through the history.
    settings.updatePathFromHistory(CVL_ELEMENT_OS_DEFAULT, indexOf("C:\\SDK\\OS\\V3.10"));
    EXPECT_EQ(osBand, "orvan");
    EXPECT_EQ(settings.value(CVL_ELEMENT_FW_DEFAULT), fw + "V3.10_orvan");

    // An OS whose family reads empty, or one without any firmware, leaves the
    // firmware alone.
    write("SDK\\OS\\V9.00\\manifest.xml", "not xml");
    write("SDK\\OS\\V9.10\\manifest.xml", "<Api baseband=\"zorvan\"/>");
    for (std::string os : {"C:\\SDK\\OS\\V9.00", "C:\\SDK\\OS\\V9.10"}) {
        EXPECT_TRUE(settings.updatePathFromString(CVL_ELEMENT_OS_DEFAULT, os));
        EXPECT_EQ(settings.value(CVL_ELEMENT_FW_DEFAULT), fw + "V3.10_orvan");
    }
    EXPECT_EQ(osBand, "zorvan");
    EXPECT_TRUE(settings.sortedList(CVL_ELEMENT_FW_DEFAULT).empty());

    // A refused path runs nothing; nor do the other elements, or numbers that
    // name no element.
    std::string refused = "C:\\SDK\\GCC";
    osBand = "a", formerBand = "b";
    EXPECT_FALSE(settings.updatePathFromString(CVL_ELEMENT_OS_DEFAULT, refused));
    for (int element : {1, 2, 3, 4, 5, 6, 7, -1, 1000}) {
        settings.specificUpdateProcess(static_cast<CvlSelectElement_e>(element));
        settings.updatePathFromHistory(static_cast<CvlSelectElement_e>(element), 0);
    }
    std::string eclipse = "C:\\SDK\\Eclipse\\V3.2";
    EXPECT_TRUE(settings.updatePathFromString(CVL_ELEMENT_ECLIPSE, eclipse));
    EXPECT_EQ(osBand + formerBand, "ab");

    // Nothing reaches the disk or the registry without updateEnvironment.
    EXPECT_EQ(klxtest::readBytes(rcFile()), before);
    Names keys = settingsKeys();
    EXPECT_EQ(keys[0] + " " + keys[2] + " " + keys[3],
              "Corvale Settings:0 KL_CVL_IDE_FW_DEFAULT history:2 KL_CVL_IDE_GTS_ARM history:0");
    EXPECT_EQ(gCallbackCalls, 0);
}

} // namespace
