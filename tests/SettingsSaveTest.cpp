// KLXCorvaleSettings::updateEnvironment on the sample SDK tree (examples/sdk,
// copied to C:\SDK): the histories in the registry, the configuration file
// written back (and read by a real bash), and the shell bindings of ".scs"
// and ".cvlrc".
#include "KLXCorvaleSettings.h"
#include "KLXPathEnvironment.h"
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include "TestFiles.h"
#include "VersionImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct SystemProbe : KLXSystem {
    using KLXSystem::mAppPathTable;
    using KLXSystem::mUserProfileDir;
};

struct KeyProbe : KLXRegistryKey {
    using KLXRegistryKey::getValueNames;
    using KLXRegistryKey::KLXRegistryKey;
};

const char* const kVariables[] = {
    "KL_CVL_IDE_OS_DEFAULT", "KL_CVL_IDE_FW_DEFAULT", "KL_CVL_IDE_PLUGINS", "KL_CVL_IDE_GTS_GCC",
    "KL_CVL_IDE_GTS_ARM",    "KL_CVL_IDE_GTS_MINGW",  "KL_CVL_IDE_ECLIPSE"};

// Every value of the key, in the order of the names, as "name=text" joined by
// blanks: "count=2 0=C:\A 1=C:\B".
std::string keyContent(HKEY root, std::string path) {
    KeyProbe key(root, path);
    std::vector<std::string> names;
    key.getValueNames(names);
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
        // "count" first, then the entries by number.
        if ((a == "count") != (b == "count"))
            return a == "count";
        return a.size() != b.size() ? a.size() < b.size() : a < b;
    });
    std::string content;
    for (std::string& name : names)
        content += (content.empty() ? "" : " ") + name + "=" + key.retValue(name);
    return content;
}

std::string history(const char* variable) {
    return keyContent(HKEY_CURRENT_USER,
                      std::string("Software\\Keldmar\\Corvale Settings\\") + variable + " history");
}

// The histories of the seven elements, one line each.
std::string histories() {
    std::string all;
    for (const char* variable : kVariables)
        all += history(variable) + "\n";
    return all;
}

std::string bindings() {
    std::string all;
    for (const char* key : {".scs", "FileAssoc.scs", "FileAssoc.scs\\shell\\open\\command",
                            ".cvlrc", "FileAssoc.cvlrc", "FileAssoc.cvlrc\\shell\\open\\command"})
        all += keyContent(HKEY_CLASSES_ROOT, key) + "\n";
    return all;
}

std::string programImage(const std::u16string& product) {
    return klxtest::peImage(
        false, {{16, klxtest::versionTree(klxtest::fixedFileInfo(0x10000, 0, 0x10000, 0),
                                          {{u"040904b0", {{u"ProductName", product}}}},
                                          {{0x0409, 0x04b0}})}});
}

// The output of a command run by the host's shell.
std::string runShell(const std::string& command) {
    std::string output;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char buffer[256];
        std::size_t got;
        while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0)
            output.append(buffer, got);
        pclose(pipe);
    }
    return output;
}

class SettingsSave : public ::testing::Test {
protected:
    // A profile, registry and C: drive of its own for each test, with the
    // sample SDK, an Eclipse in a directory with a blank, and the wizard and
    // settings program installed with their product names.
    void SetUp() override {
        mRoot = klxtest::freshDir(::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(mRoot / "home");
        setenv("HOME", (mRoot / "home").c_str(), 1);
        setenv("KLX_PREFIX", (mRoot / "prefix").c_str(), 1);
        SystemProbe::mUserProfileDir.clear();
        KLXSystem::resetAppPathTable();
        fs::create_directories(drive());
        fs::copy(fs::path(__FILE__).parent_path().parent_path() / "examples" / "sdk",
                 drive() / "SDK", fs::copy_options::recursive);
        write("Program Files\\Eclipse\\V3.2\\eclipse.exe", "");
        write("IDE\\KlWizard.exe", programImage(u"Corvale Wizard"));
        write("IDE\\KlCvlSettings.exe", programImage(u"Corvale Settings"));
        SystemProbe::mAppPathTable[KLX_APP_WIZARD] = "C:\\IDE\\KlWizard.exe";
        SystemProbe::mAppPathTable[KLX_APP_CVL_SETTINGS] = "C:\\IDE\\KlCvlSettings.exe";
        KLXCorvaleSettings::mOSBaseBand = KLXCorvaleSettings::mFormerOSBaseBand = "pavan";
    }
    void TearDown() override { KLXSystem::resetAppPathTable(); }

    fs::path drive() const { return mRoot / "prefix" / "drive_c"; }
    fs::path rcFile() const { return mRoot / "home" / ".cvlrc"; }
    void write(std::string relative, const std::string& bytes) {
        std::replace(relative.begin(), relative.end(), '\\', '/');
        fs::create_directories((drive() / relative).parent_path());
        klxtest::writeBytes(drive() / relative, bytes);
    }

    // Chooses a value for every element but MinGW; all are accepted.
    void choose(KLXCorvaleSettings& settings) {
        const char* const values[] = {"C:\\SDK\\OS\\V3.10",
                                      "C:\\SDK\\Firmware\\V3.10_orvan",
                                      "C:\\SDK\\Plugins\\V1.00",
                                      "C:\\SDK\\GCC\\V3.4\\",
                                      "$KLGCCHOME",
                                      nullptr,
                                      "C:\\Program Files\\Eclipse\\V3.2"};
        for (int element = 0; element < 7; ++element) {
            if (values[element] == nullptr)
                continue;
            std::string value = values[element];
            EXPECT_TRUE(
                settings.updatePathFromString(static_cast<CvlSelectElement_e>(element), value))
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

const char kChosenHistories[] = "count=1 0=C:\\SDK\\OS\n"
                                "count=1 0=C:\\SDK\\Firmware\n"
                                "count=1 0=C:\\SDK\\Plugins\\V1.00\n"
                                "count=1 0=C:\\SDK\\GCC\n"
                                "count=1 0=$KLGCCHOME\n"
                                "\n"
                                "count=1 0=C:\\Program Files\\Eclipse\n";

const char kBindings[] = "=FileAssoc.scs\n"
                         "=Corvale Wizard\n"
                         "=\"C:\\IDE\\KlWizard.exe\" -f %1\n"
                         "=FileAssoc.cvlrc\n"
                         "=Corvale Settings\n"
                         "=\"C:\\IDE\\KlCvlSettings.exe\" -f %1\n";

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
    EXPECT_EQ(klxtest::readBytes(rcFile()), before);
    EXPECT_EQ(histories(), "\n\n\n\n\n\n\n");
    EXPECT_EQ(bindings(), "\n\n\n\n\n\n");

    const std::string after = "# Corvale settings\n"
                              "export KL_CVL_IDE_ECLIPSE=\"C:/Program Files/Eclipse/V3.2\"\n"
                              "alias ll='ls -l'\n"
                              "\n" +
                              std::string(kChosenLines);
    // A second call with nothing changed writes the same again.
    for (int call = 0; call < 2; ++call) {
        SCOPED_TRACE(call);
        settings.updateEnvironment();
        EXPECT_EQ(klxtest::readBytes(rcFile()), after);
        EXPECT_EQ(histories(), kChosenHistories);
        EXPECT_EQ(bindings(), kBindings);
    }

    // A new object reads everything back; a new root path is appended to the
    // history that was saved.
    {
        KLXCorvaleSettings again(nullptr, none);
        for (int element = 0; element < 7; ++element)
            EXPECT_EQ(again.mElements[element]->getValue(),
                      settings.mElements[element]->getValue());
        std::string eclipse = "C:\\SDK\\Eclipse\\V3.2";
        EXPECT_TRUE(again.updatePathFromString(CVL_ELEMENT_ECLIPSE, eclipse));
        again.updateEnvironment();
    }
    EXPECT_EQ(history("KL_CVL_IDE_ECLIPSE"),
              "count=2 0=C:\\Program Files\\Eclipse 1=C:\\SDK\\Eclipse");
    EXPECT_NE(klxtest::readBytes(rcFile()).find("ECLIPSE=\"C:/SDK/Eclipse/V3.2\"\n"),
              std::string::npos);
}

TEST_F(SettingsSave, EmptyValuesAndChosenConfigurationFile) {
    // All values empty: the file keeps its lines, no history is written, but
    // the bindings are made all the same.
    const std::string lines = "export KL_CVL_IDE_GTS_MINGW=\"\"\n# nothing else";
    klxtest::writeBytes(rcFile(), lines);
    std::string none;
    {
        KLXCorvaleSettings settings(nullptr, none);
        settings.updateEnvironment();
    }
    EXPECT_EQ(klxtest::readBytes(rcFile()), lines);
    EXPECT_EQ(histories(), "\n\n\n\n\n\n\n");
    EXPECT_EQ(bindings(), kBindings);

    // A chosen configuration file is the one written; the profile's file is
    // left alone. A path without drive reads back on U:, a local drive, and
    // keeps its drive letter when written.
    write("cfg\\project.cvlrc", "export KL_CVL_IDE_GTS_ARM=\"/opt/arm\"\n");
    std::string config = "C:\\cfg\\project.cvlrc";
    {
        KLXCorvaleSettings settings(nullptr, config);
        choose(settings);
        settings.updateEnvironment();
    }
    EXPECT_EQ(klxtest::readBytes(rcFile()), lines);
    const std::string written = klxtest::readBytes(drive() / "cfg" / "project.cvlrc");
    std::string expected =
        "export KL_CVL_IDE_GTS_ARM=\"$KLGCCHOME\"\n\n" +
        std::string(kChosenLines).substr(0, std::string(kChosenLines).rfind('\n')) +
        "\nexport KL_CVL_IDE_ECLIPSE=\"C:/Program Files/Eclipse/V3.2\"";
    EXPECT_EQ(written, expected);
    EXPECT_EQ(histories(), kChosenHistories);

    {
        write("cfg\\other.cvlrc", "export KL_CVL_IDE_GTS_ARM=\"/opt/arm\"\n");
        std::string other = "C:\\cfg\\other.cvlrc";
        KLXCorvaleSettings settings(nullptr, other);
        EXPECT_EQ(settings.mElements[CVL_ELEMENT_GTS_ARM]->getValue(), "U:\\opt\\arm");
        settings.updateEnvironment();
    }
    EXPECT_EQ(klxtest::readBytes(drive() / "cfg" / "other.cvlrc"),
              "export KL_CVL_IDE_GTS_ARM=\"U:/opt/arm\"\n");
}

TEST_F(SettingsSave, BashReadsTheWrittenFile) {
    std::string none;
    {
        KLXCorvaleSettings settings(nullptr, none);
        choose(settings);
        settings.updateEnvironment();
    }
    if (!fs::exists("/bin/bash"))
        GTEST_SKIP() << "no /bin/bash";
    // A clean, non-interactive bash that sources the file and lists what it
    // exported; "$KLGCCHOME" is expanded by bash itself.
    const std::string output =
        runShell("env -i KLGCCHOME=/opt/gcc /bin/bash --noprofile --norc -c '. \"$0\" && "
                 "exec env' '" +
                 rcFile().string() + "' | grep ^KL_CVL_ | sort");
    EXPECT_EQ(output, "KL_CVL_IDE_ECLIPSE=C:/Program Files/Eclipse/V3.2\n"
                      "KL_CVL_IDE_FW_DEFAULT=C:/SDK/Firmware/V3.10_orvan\n"
                      "KL_CVL_IDE_GTS_ARM=/opt/gcc\n"
                      "KL_CVL_IDE_GTS_GCC=C:/SDK/GCC/V3.4\n"
                      "KL_CVL_IDE_OS_DEFAULT=C:/SDK/OS/V3.10\n"
                      "KL_CVL_IDE_PLUGINS=C:/SDK/Plugins/V1.00\n");
}

} // namespace
