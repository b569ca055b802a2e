// KLXCorvaleSettings::updateEnvironment on the sample SDK tree (examples/sdk,
// copied to C:\SDK): the histories in the registry, the configuration file
// written back (and read by a real bash), and the shell bindings of ".scs"
// and ".cvlrc".
#include "KLXCorvaleSettings.h"
#include "KLXPathEnvironment.h"
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include "Environment.h"
#include "RegistryValues.h"
#include "TestFiles.h"
#include "VersionImages.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct SystemProbe : KLXSystem {
    using KLXSystem::mAppPathTable;
    using KLXSystem::mUserProfileDir;
};

// Every value of the key, sorted by name, as "name=text" lines: the entries
// by number, then "count".
std::string keyContent(HKEY root, std::string path) {
    std::string content;
    for (const auto& value : klxtest::registryValues(root, path))
        content += value.first + "=" + value.second + " ";
    return content + "\n";
}

// The histories of the seven elements, one line each.
std::string histories() {
    std::string all;
    for (const char* variable :
         {"OS_DEFAULT", "FW_DEFAULT", "PLUGINS", "GTS_GCC", "GTS_ARM", "GTS_MINGW", "ECLIPSE"})
        all += keyContent(HKEY_CURRENT_USER, std::string("Software\\Keldmar\\Corvale Settings\\"
                                                         "KL_CVL_IDE_") +
                                                 variable + " history");
    return all;
}

std::string bindings() {
    std::string all;
    for (const char* key : {".scs", "FileAssoc.scs", "FileAssoc.scs\\shell\\open\\command",
                            ".cvlrc", "FileAssoc.cvlrc", "FileAssoc.cvlrc\\shell\\open\\command"})
        all += keyContent(HKEY_CLASSES_ROOT, key);
    return all;
}

class SettingsSave : public ::testing::Test {
protected:
    // A profile, registry and C: drive of its own for each test, with the
    // sample SDK, an Eclipse in a directory with a blank, and the wizard and
    // settings program installed with their product names.
    void SetUp() override {
        mRoot = klxtest::freshDir(::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(mRoot / "home");
        klxtest::setEnv("HOME", (mRoot / "home").string());
        klxtest::setEnv("KLX_PREFIX", (mRoot / "prefix").string());
        SystemProbe::mUserProfileDir.clear();
        fs::remove(rcFile()); // a Windows profile is the machine's
        KLXSystem::resetAppPathTable();
        fs::remove_all(drive() / "SDK"); // a Windows C: drive is the machine's
        fs::copy(fs::path(__FILE__).parent_path().parent_path() / "examples" / "sdk",
                 drive() / "SDK", fs::copy_options::recursive);
        write("Program Files/Eclipse/V3.2/eclipse.exe", "");
        write("IDE/KlWizard.exe", klxtest::productImage(1, 0, u"Corvale Wizard"));
        write("IDE/KlCvlSettings.exe", klxtest::productImage(1, 0, u"Corvale Settings"));
        SystemProbe::mAppPathTable[KLX_APP_WIZARD] = "C:\\IDE\\KlWizard.exe";
        SystemProbe::mAppPathTable[KLX_APP_CVL_SETTINGS] = "C:\\IDE\\KlCvlSettings.exe";
        KLXCorvaleSettings::mOSBaseBand = KLXCorvaleSettings::mFormerOSBaseBand = "pavan";
    }
    void TearDown() override { KLXSystem::resetAppPathTable(); }

    fs::path drive() const { return klxtest::cDrive(); }
    fs::path rcFile() const { return fs::path(klxtest::profileDirectory()) / ".cvlrc"; }
    void write(const std::string& relative, const std::string& bytes) {
        fs::create_directories((drive() / relative).parent_path());
        klxtest::writeBytes(drive() / relative, bytes);
    }

    // Chooses a value for every element but MinGW; all are accepted.
    void choose(KLXCorvaleSettings& settings) {
        // clang-format off
        const char* const values[] = {"C:\\SDK\\OS\\V3.10", "C:\\SDK\\Firmware\\V3.10_orvan",
            "C:\\SDK\\Plugins\\V1.00", "C:\\SDK\\GCC\\V3.4\\", "$KLGCCHOME", nullptr,
            "C:\\Program Files\\Eclipse\\V3.2"};
        // clang-format on
        for (int element = 0; element < 7; ++element) {
            std::string value = values[element] ? values[element] : "";
            EXPECT_TRUE(!values[element] || settings.updatePathFromString(
                                                static_cast<CvlSelectElement_e>(element), value))
                << value;
        }
    }

    fs::path mRoot;
};

const char kChosenLines[] = "export KL_CVL_IDE_OS_DEFAULT=\"C:/SDK/OS/V3.10\"\n"
                            "export KL_CVL_IDE_FW_DEFAULT=\"C:/SDK/Firmware/V3.10_orvan\"\n"
                            "export KL_CVL_IDE_PLUGINS=\"C:/SDK/Plugins/V1.00\"\n"
                            "export KL_CVL_IDE_GTS_GCC=\"C:/SDK/GCC/V3.4\"\n"
                            "export KL_CVL_IDE_GTS_ARM=\"$KLGCCHOME\"";

const char kChosenHistories[] = "0=C:\\SDK\\OS count=1 \n"
                                "0=C:\\SDK\\Firmware count=1 \n"
                                "0=C:\\SDK\\Plugins\\V1.00 count=1 \n"
                                "0=C:\\SDK\\GCC count=1 \n"
                                "0=$KLGCCHOME count=1 \n"
                                "\n"
                                "0=C:\\Program Files\\Eclipse count=1 \n";

const char kBindings[] = "=FileAssoc.scs \n=Corvale Wizard \n=\"C:\\IDE\\KlWizard.exe\" -f %1 \n"
                         "=FileAssoc.cvlrc \n=Corvale Settings \n"
                         "=\"C:\\IDE\\KlCvlSettings.exe\" -f %1 \n";

TEST_F(SettingsSave, HistoriesRcFileAndBindings) {
    // The Eclipse line keeps its place between the other lines; the new
    // definitions follow at the end in element order.
    const std::string before = "# Corvale settings\n"
                               "export KL_CVL_IDE_ECLIPSE=\"C:/old/eclipse\"\n"
                               "alias ll='ls -l'\n";
    klxtest::writeBytes(rcFile(), before);
    std::string none;
    KLXCorvaleSettings settings(nullptr, none);
    choose(settings);
    EXPECT_EQ(settings.mElements[CVL_ELEMENT_GTS_GCC]->getValue(), "C:\\SDK\\GCC\\V3.4");

    // Nothing is saved before updateEnvironment.
    EXPECT_EQ(klxtest::readBytes(rcFile()) + histories() + bindings(),
              before + "\n\n\n\n\n\n\n\n\n\n\n\n\n");
    // A second call with nothing changed writes the same again.
    for (int call = 0; call < 2; ++call) {
        settings.updateEnvironment();
        EXPECT_EQ(klxtest::readBytes(rcFile()),
                  "# Corvale settings\n"
                  "export KL_CVL_IDE_ECLIPSE=\"C:/Program Files/Eclipse/V3.2\"\n"
                  "alias ll='ls -l'\n\n" +
                      std::string(kChosenLines))
            << call;
        EXPECT_EQ(histories(), kChosenHistories) << call;
        EXPECT_EQ(bindings(), kBindings) << call;
    }

    // A clean, non-interactive bash sources the file and lists what it
    // exported; "$KLGCCHOME" is expanded by bash itself.
#ifdef _WIN32
    const bool posixShell = false; // Wine would see the host's bash, not a Windows one
#else
    const bool posixShell = fs::exists("/bin/bash");
#endif
    if (posixShell) {
        std::string output;
        const std::string command =
            "env -i KLGCCHOME=/opt/gcc /bin/bash --noprofile --norc -c '. \"$0\" && exec env' '" +
            rcFile().string() + "' | grep ^KL_CVL_ | sort";
        if (FILE* pipe = popen(command.c_str(), "r")) {
            for (int c; (c = fgetc(pipe)) != EOF;)
                output += static_cast<char>(c);
            pclose(pipe);
        }
        EXPECT_EQ(output, "KL_CVL_IDE_ECLIPSE=C:/Program Files/Eclipse/V3.2\n"
                          "KL_CVL_IDE_FW_DEFAULT=C:/SDK/Firmware/V3.10_orvan\n"
                          "KL_CVL_IDE_GTS_ARM=/opt/gcc\n"
                          "KL_CVL_IDE_GTS_GCC=C:/SDK/GCC/V3.4\n"
                          "KL_CVL_IDE_OS_DEFAULT=C:/SDK/OS/V3.10\n"
                          "KL_CVL_IDE_PLUGINS=C:/SDK/Plugins/V1.00\n");
    }

    // A new object reads everything back; a new root path is appended to the
    // history that was saved.
    KLXCorvaleSettings again(nullptr, none);
    for (int element = 0; element < 7; ++element)
        EXPECT_EQ(again.mElements[element]->getValue(), settings.mElements[element]->getValue());
    std::string eclipse = "C:\\SDK\\Eclipse\\V3.2";
    EXPECT_TRUE(again.updatePathFromString(CVL_ELEMENT_ECLIPSE, eclipse));
    again.updateEnvironment();
    EXPECT_EQ(histories().substr(histories().rfind("\n", histories().size() - 2) + 1),
              "0=C:\\Program Files\\Eclipse 1=C:\\SDK\\Eclipse count=2 \n");
    EXPECT_NE(klxtest::readBytes(rcFile()).find("ECLIPSE=\"C:/SDK/Eclipse/V3.2\"\n"),
              std::string::npos);
}

TEST_F(SettingsSave, EmptyValuesAndChosenConfigurationFile) {
    // All values empty: the file keeps its lines, no history is written, but
    // the bindings are made all the same.
    const std::string lines = "export KL_CVL_IDE_GTS_MINGW=\"\"\n# nothing else";
    klxtest::writeBytes(rcFile(), lines);
    std::string none;
    KLXCorvaleSettings(nullptr, none).updateEnvironment();
    EXPECT_EQ(klxtest::readBytes(rcFile()), lines);
    EXPECT_EQ(histories(), "\n\n\n\n\n\n\n");
    EXPECT_EQ(bindings(), kBindings);

    // A chosen configuration file is the one written; the profile's file is
    // left alone. A path without drive reads back on U:, a local drive, and
    // keeps its drive letter when written.
    write("cfg/project.cvlrc", "export KL_CVL_IDE_GTS_ARM=\"/opt/arm\"\n");
    write("cfg/other.cvlrc", "export KL_CVL_IDE_GTS_ARM=\"/opt/arm\"\n");
    std::string config = "C:\\cfg\\project.cvlrc", other = "C:\\cfg\\other.cvlrc";
    KLXCorvaleSettings settings(nullptr, config);
    choose(settings);
    settings.updateEnvironment();
    EXPECT_EQ(klxtest::readBytes(rcFile()), lines);
    const std::string chosen = kChosenLines;
    EXPECT_EQ(klxtest::readBytes(drive() / "cfg" / "project.cvlrc"),
              "export KL_CVL_IDE_GTS_ARM=\"$KLGCCHOME\"\n\n" +
                  chosen.substr(0, chosen.rfind('\n')) +
                  "\nexport KL_CVL_IDE_ECLIPSE=\"C:/Program Files/Eclipse/V3.2\"");
    EXPECT_EQ(histories(), kChosenHistories);

    KLXCorvaleSettings fromOther(nullptr, other);
    EXPECT_EQ(fromOther.mElements[CVL_ELEMENT_GTS_ARM]->getValue(), "U:\\opt\\arm");
    fromOther.updateEnvironment();
    EXPECT_EQ(klxtest::readBytes(drive() / "cfg" / "other.cvlrc"),
              "export KL_CVL_IDE_GTS_ARM=\"U:/opt/arm\"\n");
}

} // namespace
