// KLXCorvaleSettings on the sample SDK tree (examples/sdk, copied to C:\SDK):
// the element table and the checks, the baseband read from manifests, the
// configuration file, Instance, and the firmware following the OS library's
// family.
#include "KLXCorvaleSettings.h"
#include "KLXPathEnvironment.h"

#include "Environment.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <tuple>

namespace fs = std::filesystem;

namespace {

const char* const kVariables[] = {
    "KL_CVL_IDE_OS_DEFAULT", "KL_CVL_IDE_FW_DEFAULT", "KL_CVL_IDE_PLUGINS", "KL_CVL_IDE_GTS_GCC",
    "KL_CVL_IDE_GTS_ARM",    "KL_CVL_IDE_GTS_MINGW",  "KL_CVL_IDE_ECLIPSE"};

class CorvaleSettings : public ::testing::Test {
protected:
    void SetUp() override {
        fs::copy(fs::path(__FILE__).parent_path().parent_path() / "examples" / "sdk",
                 klxtest::cDrive() / "SDK",
                 fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    }
    // Writes C:\<relative>, given with slashes.
    static void write(const std::string& relative, const std::string& bytes) {
        fs::create_directories((klxtest::cDrive() / relative).parent_path());
        klxtest::writeBytes(klxtest::cDrive() / relative, bytes);
    }
    static fs::path rcFile() { return fs::path(klxtest::profileDirectory()) / ".cvlrc"; }
};

} // namespace

TEST_F(CorvaleSettings, EachElementTakesOnlyInstallationsOfItsKind) {
    write("OS/Broken/manifest.xml", "<Api baseband=");
    fs::create_directories(klxtest::cDrive() / "OS/DirManifest/manifest.xml");
    write("GCC/BinFile/bin", "");
    fs::create_directories(klxtest::cDrive() / "Eclipse/DirExe/eclipse.exe");
    write("FW/NoEmu/manifest.xml", "<Firmware baseband=\"pavan\"/>");
    const std::string fw = "C:\\SDK\\Firmware\\";
    // The element, the OS library's family, the path typed, and whether the
    // element takes it.
    const std::tuple<CvlSelectElement_e, const char*, std::string, bool> rows[] = {
        // Any "manifest.xml" file will do, but not a directory of the name.
        {CVL_ELEMENT_OS_DEFAULT, "", "C:\\SDK\\OS\\V3.10", true},
        {CVL_ELEMENT_OS_DEFAULT, "", "C:\\OS\\Broken", true},
        {CVL_ELEMENT_OS_DEFAULT, "", "C:\\OS\\DirManifest", false},
        // A "bin" directory, for GCC and MinGW alike.
        {CVL_ELEMENT_GTS_GCC, "", "C:\\SDK\\GCC\\V3.4", true},
        {CVL_ELEMENT_GTS_MINGW, "", "C:\\SDK\\MinGW\\V5.1", true},
        {CVL_ELEMENT_GTS_MINGW, "", "C:\\GCC\\BinFile", false},
        // Anything named "eclipse.exe".
        {CVL_ELEMENT_ECLIPSE, "", "C:\\Eclipse\\DirExe", true},
        {CVL_ELEMENT_ECLIPSE, "", "C:\\SDK\\Eclipse", false},
        // Any directory.
        {CVL_ELEMENT_PLUGINS, "", "C:\\GCC\\BinFile", true},
        // A firmware of the OS's family, exactly, with an emulator at its top
        // or in emu\ubex_cvl\Debug.
        {CVL_ELEMENT_FW_DEFAULT, "pavan", fw + "V2.00_pavan", true},
        {CVL_ELEMENT_FW_DEFAULT, "pavan", fw + "V2.10_pavan", true},
        {CVL_ELEMENT_FW_DEFAULT, "pavan", fw + "V3.10_orvan", false},
        {CVL_ELEMENT_FW_DEFAULT, "pavan", "C:\\FW\\NoEmu", false},
        {CVL_ELEMENT_FW_DEFAULT, "Pavan", fw + "V2.00_pavan", false},
        {CVL_ELEMENT_FW_DEFAULT, "", fw + "V1.00", true},
    };
    std::string none;
    for (auto [element, family, path, accepted] : rows) {
        KLXCorvaleSettings settings(nullptr, none);
        KLXCorvaleSettings::mOSBaseBand = family;
        EXPECT_EQ(settings.updatePathFromString(element, path), accepted) << path << " " << family;
    }
}

TEST_F(CorvaleSettings, ReadBaseBand) {
    // An Api without attribute (or an empty one) means "pavan"; a Firmware
    // without one means none. A manifest is written to C:\M\<n> first.
    int n = 0;
    auto band = [&](std::string path, const char* expected) {
        if (path[0] == '<') {
            write("M/" + std::to_string(++n) + "/manifest.xml", path);
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
    // Tags with many attributes and document types with many default values
    // read the same: a repeated attribute makes the file not well-formed,
    // default values are not in the parsed file.
    std::string plain, defaults;
    for (int i = 0; i < 40; ++i) {
        plain += " a" + std::to_string(i) + "=\"v\"";
        defaults += " d" + std::to_string(i) + " CDATA \"v\"";
    }
    band("<m><Api" + plain + " baseband=\"many\"/></m>", "many");
    band("<m><Api" + plain + " a7=\"again\" baseband=\"x\"/></m>", "");
    band("<!DOCTYPE m [<!ATTLIST Api" + defaults + " baseband CDATA \"dtd\">]><m><Api/></m>",
         "pavan");
    // Entities that expand a billionfold are refused.
    std::string bomb = "<!DOCTYPE m [<!ENTITY e0 \"lol\">";
    for (int i = 1; i <= 9; ++i) {
        bomb += "<!ENTITY e" + std::to_string(i) + " \"";
        for (int j = 0; j < 10; ++j)
            bomb += "&e" + std::to_string(i - 1) + ";";
        bomb += "\">";
    }
    band(bomb + "]><m><Api baseband=\"&e9;\"/></m>", "");

    // One shared result, overwritten by each call, even by one given it.
    std::string first = "C:\\SDK\\OS\\V3.10", second = "C:\\M\\3";
    std::string& result = KLXCorvaleSettings::readBaseBand(first);
    EXPECT_EQ(&KLXCorvaleSettings::readBaseBand(second), &result);
    EXPECT_EQ(KLXCorvaleSettings::readBaseBand(result), "");
}

TEST_F(CorvaleSettings, ConfigurationFileElementsAndInstance) {
    std::string lines;
    for (const char* variable : kVariables)
        lines += std::string("export ") + variable + "=\"C:/SDK/V1\"\n";
    write("cfg/project.cvlrc", lines);
    std::string missing = "C:\\missing.cvlrc", config = "C:\\cfg\\project.cvlrc", none;
    fs::remove(rcFile());
    {
        // A chosen file that does not exist is ignored: the profile's
        // .cvlrc is used, and created empty.
        KLXCorvaleSettings settings(nullptr, missing);
        EXPECT_EQ(settings.getCurrentConfigFile(), "");
        EXPECT_TRUE(fs::exists(rcFile()) && fs::file_size(rcFile()) == 0);
        EXPECT_EQ(settings.mElements[CVL_ELEMENT_ECLIPSE]->getValue(), "");
    }
    EXPECT_FALSE(fs::exists(klxtest::cDrive() / "missing.cvlrc"));
    EXPECT_EQ(KLXCorvaleSettings::Instance, nullptr);

    // A second object does not replace the first as Instance.
    KLXCorvaleSettings settings(nullptr, config);
    EXPECT_EQ(settings.getCurrentConfigFile(), config);
    EXPECT_EQ(KLXCorvaleSettings(nullptr, none).getCurrentConfigFile(), "");
    EXPECT_EQ(KLXCorvaleSettings::Instance, &settings);
    // The plug-in and ARM elements keep their value as history; the others
    // browse the directory above it.
    for (int element = 0; element < 7; ++element) {
        EXPECT_EQ(settings.mElements[element]->getName(), kVariables[element]);
        const char* history = element == 2 || element == 4 ? "C:\\SDK\\V1" : "C:\\SDK";
        EXPECT_EQ(settings.mElements[element]->mHistoryList, std::vector<std::string>{history});
    }
}

TEST_F(CorvaleSettings, FirmwareFollowsTheOsFamily) {
    klxtest::writeBytes(rcFile(), "export KL_CVL_IDE_OS_DEFAULT=\"C:/SDK/OS/V3.10\"\n"
                                  "export KL_CVL_IDE_FW_DEFAULT=\"C:/SDK/Firmware/V3.10_orvan\"\n");
    write("SDK/OS/V9.00/manifest.xml", "not xml");
    write("SDK/OS/V9.10/manifest.xml", "<Api baseband=\"zorvan\"/>");
    const std::string fw = "C:\\SDK\\Firmware\\";
    std::string& family = KLXCorvaleSettings::mOSBaseBand;
    std::string& former = KLXCorvaleSettings::mFormerOSBaseBand;
    family = "pavan";
    std::string none;
    KLXCorvaleSettings settings(nullptr, none);
    // The OS family is known before the firmware history is browsed.
    EXPECT_EQ(family + " " + former, "orvan pavan");
    EXPECT_EQ(settings.mElements[CVL_ELEMENT_FW_DEFAULT]->mPathList,
              std::vector<std::string>{fw + "V3.10_orvan"});

    // The element, the path typed or (after "#") the entry picked from its
    // list, then the families (new and former) and the firmware's value.
    const std::tuple<CvlSelectElement_e, std::string, const char*, std::string> steps[] = {
        // The current value again, with a trailing backslash: no change, so
        // the family is not read again.
        {CVL_ELEMENT_OS_DEFAULT, "C:\\SDK\\OS\\V3.10\\", "orvan pavan", fw + "V3.10_orvan"},
        // An index out of range changes no value but reads the family again.
        {CVL_ELEMENT_OS_DEFAULT, "#99", "orvan orvan", fw + "V3.10_orvan"},
        // Another family: the firmware moves to the first one of that family.
        {CVL_ELEMENT_OS_DEFAULT, "C:\\SDK\\OS\\V2.10", "pavan orvan", fw + "V2.00_pavan"},
        // The same family: the firmware stays where the user put it.
        {CVL_ELEMENT_FW_DEFAULT, fw + "V2.10_pavan", "pavan orvan", fw + "V2.10_pavan"},
        {CVL_ELEMENT_OS_DEFAULT, "#C:\\SDK\\OS\\V2.00", "pavan pavan", fw + "V2.10_pavan"},
        {CVL_ELEMENT_OS_DEFAULT, "#C:\\SDK\\OS\\V3.10", "orvan pavan", fw + "V3.10_orvan"},
        // An OS whose family reads empty, or one without any firmware, leaves
        // the firmware alone.
        {CVL_ELEMENT_OS_DEFAULT, "C:\\SDK\\OS\\V9.00", " orvan", fw + "V3.10_orvan"},
        {CVL_ELEMENT_OS_DEFAULT, "C:\\SDK\\OS\\V9.10", "zorvan ", fw + "V3.10_orvan"},
        // A refused path, and the other elements, read no family.
        {CVL_ELEMENT_OS_DEFAULT, "C:\\SDK\\GCC", "zorvan ", fw + "V3.10_orvan"},
        {CVL_ELEMENT_ECLIPSE, "C:\\SDK\\Eclipse\\V3.2", "zorvan ", fw + "V3.10_orvan"},
        {CVL_ELEMENT_PLUGINS, "#0", "zorvan ", fw + "V3.10_orvan"},
    };
    for (auto [element, path, families, firmware] : steps) {
        const std::vector<std::string>& list = settings.mElements[element]->mPathList;
        const auto listed = std::find(list.begin(), list.end(), path.substr(1)) - list.begin();
        if (path[0] != '#')
            settings.updatePathFromString(element, path);
        else
            settings.updatePathFromHistory(element, path == "#99" ? 99 : static_cast<int>(listed));
        EXPECT_EQ(family + " " + former, families) << path;
        EXPECT_EQ(settings.mElements[CVL_ELEMENT_FW_DEFAULT]->getValue(), firmware) << path;
    }
}
