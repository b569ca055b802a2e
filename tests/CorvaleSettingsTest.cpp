// KLXCorvaleSettings on the sample SDK tree (examples/sdk, copied to C:\SDK):
// the element table and the checks, the baseband read from manifests, the
// configuration file, Instance, and the firmware following the OS library's
// family.
#include "KLXCorvaleSettings.h"
#include "KLXPathEnvironment.h"
#include "KLXRegistryKey.h"

#include "Environment.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

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
    // A tag with many attributes reads the same.
    std::string plain;
    for (int i = 0; i < 40; ++i)
        plain += " a" + std::to_string(i) + "=\"v\"";
    band("<m><Api" + plain + " baseband=\"many\"/></m>", "many");
    // Many prefixes declared on an enclosing tag: p3:baseband names the
    // attribute inside that element only.
    std::string prefixes;
    for (int i = 0; i < 40; ++i)
        prefixes += " xmlns:p" + std::to_string(i) + "=\"urn:" + std::to_string(i) + "\"";
    band("<m" + prefixes + "><Api q:baseband=\"\" p3:baseband=\"bound\"/></m>", "bound");
    band("<m><x" + prefixes + "/><Api p3:baseband=\"\" baseband=\"own\"/></m>", "own");

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
    // A chosen file that does not exist is ignored: the profile's .cvlrc is
    // used, and created.
    fs::remove(rcFile());
    EXPECT_EQ(KLXCorvaleSettings(nullptr, missing).getCurrentConfigFile(), "");
    EXPECT_TRUE(fs::exists(rcFile()));
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
    // A chosen file gets paths on a network drive without the drive letter
    // (N: typed "network" in the registry, as on a Wine machine).
    std::string drives = "Software\\Wine\\Drives", letter = "n:", type = "network";
    KLXRegistryKey(HKEY_LOCAL_MACHINE, drives).setValue(letter, type);
    fs::create_directories(klxtest::cDrive() / "share" / "arm");
    fs::create_directory_symlink(klxtest::cDrive() / "share",
                                 klxtest::testRoot() / "prefix" / "dosdevices" / letter);
    std::string arm = "N:\\arm", local = "C:\\SDK\\V1";
    EXPECT_TRUE(settings.updatePathFromString(CVL_ELEMENT_GTS_ARM, arm));
    EXPECT_TRUE(settings.updatePathFromString(CVL_ELEMENT_PLUGINS, local));
    settings.updateEnvironment();
    const std::string saved = klxtest::readBytes(klxtest::cDrive() / "cfg" / "project.cvlrc");
    EXPECT_NE(saved.find("KL_CVL_IDE_GTS_ARM=\"/arm\""), std::string::npos) << saved;
    EXPECT_NE(saved.find("KL_CVL_IDE_PLUGINS=\"C:/SDK/V1\""), std::string::npos) << saved;
}

TEST_F(CorvaleSettings, ChecksAndTheFirmwareFollowingTheOsFamily) {
    klxtest::writeBytes(rcFile(), "export KL_CVL_IDE_OS_DEFAULT=\"C:/SDK/OS/V3.10\"\n"
                                  "export KL_CVL_IDE_FW_DEFAULT=\"C:/SDK/Firmware/V3.10_orvan\"\n");
    write("SDK/OS/V9.00/manifest.xml", "not xml");
    write("SDK/OS/V9.10/manifest.xml", "<Api baseband=\"zorvan\"/>");
    fs::create_directories(klxtest::cDrive() / "OS/DirManifest/manifest.xml");
    write("GCC/BinFile/bin", "");
    fs::create_directories(klxtest::cDrive() / "Eclipse/DirExe/eclipse.exe");
    write("FW/NoEmu/manifest.xml", "<Firmware baseband=\"pavan\"/>");
    std::string& family = KLXCorvaleSettings::mOSBaseBand;
    std::string& former = KLXCorvaleSettings::mFormerOSBaseBand;
    family = "pavan";
    std::string none;
    KLXCorvaleSettings settings(nullptr, none);
    const std::string fw = "C:\\SDK\\Firmware\\", orvan = fw + "V3.10_orvan", v1 = fw + "V1.00";
    // The OS family is known before the firmware history is browsed.
    EXPECT_EQ(family + " " + former, "orvan pavan");
    EXPECT_EQ(settings.mElements[CVL_ELEMENT_FW_DEFAULT]->mPathList, std::vector{orvan});

    const auto os = CVL_ELEMENT_OS_DEFAULT, firmware = CVL_ELEMENT_FW_DEFAULT;
    // The element, the path typed or (after "#") the entry picked from its
    // list, whether it is taken, then the families (new and former) and the
    // firmware's value.
    const std::tuple<CvlSelectElement_e, std::string, bool, const char*, std::string> steps[] = {
        // The current value again, with a trailing backslash: no change, so
        // the family is not read again.
        {os, "C:\\SDK\\OS\\V3.10\\", true, "orvan pavan", orvan},
        // An index out of range changes no value but reads the family again.
        {os, "#-1", true, "orvan orvan", orvan},
        // An OS library holds a "manifest.xml" file.
        {os, "C:\\OS\\DirManifest", false, "orvan orvan", orvan},
        // Another family: the firmware moves to the first one of that family.
        {os, "C:\\SDK\\OS\\V2.10", true, "pavan orvan", fw + "V2.00_pavan"},
        // The same family: the firmware stays where the user put it. A
        // firmware holds an emulator, at its top or in emu\ubex_cvl\Debug.
        {firmware, "C:\\FW\\NoEmu", false, "pavan orvan", fw + "V2.00_pavan"},
        {firmware, fw + "V2.10_pavan", true, "pavan orvan", fw + "V2.10_pavan"},
        {os, "#C:\\SDK\\OS\\V2.00", true, "pavan pavan", fw + "V2.10_pavan"},
        {os, "#C:\\SDK\\OS\\V3.10", true, "orvan pavan", orvan},
        // An OS whose family reads empty leaves the firmware alone; then only
        // a firmware without a family is taken.
        {os, "C:\\SDK\\OS\\V9.00", true, " orvan", orvan},
        {firmware, fw + "V2.10_pavan", false, " orvan", orvan},
        {firmware, v1, true, " orvan", v1},
        // An OS without any firmware of its family leaves the firmware alone.
        {os, "C:\\SDK\\OS\\V9.10", true, "zorvan ", v1},
        // The other elements read no family. GCC and MinGW take a "bin"
        // directory, Eclipse anything named "eclipse.exe", the plug-ins and
        // ARM any directory.
        {CVL_ELEMENT_GTS_GCC, "C:\\SDK\\GCC\\V3.4", true, "zorvan ", v1},
        {CVL_ELEMENT_GTS_MINGW, "C:\\GCC\\BinFile", false, "zorvan ", v1},
        {CVL_ELEMENT_ECLIPSE, "C:\\Eclipse\\DirExe", true, "zorvan ", v1},
        {CVL_ELEMENT_ECLIPSE, "C:\\SDK\\Eclipse", false, "zorvan ", v1},
        {CVL_ELEMENT_PLUGINS, "C:\\GCC\\BinFile", true, "zorvan ", v1},
    };
    for (auto [element, path, taken, families, firmwareValue] : steps) {
        const std::vector<std::string>& list = settings.mElements[element]->mPathList;
        const auto at = std::find(list.begin(), list.end(), path.substr(1));
        const int listed = at == list.end() ? -1 : static_cast<int>(at - list.begin());
        if (path[0] != '#')
            EXPECT_EQ(settings.updatePathFromString(element, path), taken) << path;
        else
            settings.updatePathFromHistory(element,
                                           listed < 0 ? std::stoi(path.substr(1)) : listed);
        EXPECT_EQ(family + " " + former, families) << path;
        EXPECT_EQ(settings.mElements[firmware]->getValue(), firmwareValue) << path;
    }
}
