// KLXCorvaleSettings::updateEnvironment: every element's history and value
// saved, the configuration file written back, and ".scs" and ".cvlrc" bound
// to the wizard and the settings program.
#include "KLXCorvaleSettings.h"
#include "KLXSystem.h"

#include "Environment.h"
#include "RegistryValues.h"
#include "TestFiles.h"
#include "VersionImages.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace fs = std::filesystem;

struct SystemProbe : KLXSystem {
    using KLXSystem::mAppPathTable;
};

TEST(SettingsSave, HistoriesConfigurationFileAndBindings) {
    // The sample SDK on C:, and the two programs with their product names.
    const fs::path drive = klxtest::cDrive();
    fs::remove_all(drive / "SDK"); // a Windows C: drive is the machine's
    fs::copy(fs::path(__FILE__).parent_path().parent_path() / "examples" / "sdk", drive / "SDK",
             fs::copy_options::recursive);
    klxtest::writeBytes(drive / "Wizard.exe", klxtest::productImage(1, 0, u"Wizard"));
    klxtest::writeBytes(drive / "Settings.exe", klxtest::productImage(1, 0, u"Settings"));
    SystemProbe::mAppPathTable[KLX_APP_WIZARD] = "C:\\Wizard.exe";
    SystemProbe::mAppPathTable[KLX_APP_CVL_SETTINGS] = "C:\\Settings.exe";

    // A definition keeps its place between the other lines; new ones follow
    // at the end.
    const fs::path rcFile = fs::path(klxtest::profileDirectory()) / ".cvlrc";
    klxtest::writeBytes(rcFile, "# Corvale\nexport KL_CVL_IDE_PLUGINS=\"C:/old\"\nalias ll='ls'\n");
    std::string none, plugins = "C:\\SDK\\Plugins\\V1.00", arm = "$KLGCCHOME";
    KLXCorvaleSettings settings(nullptr, none);
    ASSERT_TRUE(settings.updatePathFromString(CVL_ELEMENT_PLUGINS, plugins));
    ASSERT_TRUE(settings.updatePathFromString(CVL_ELEMENT_GTS_ARM, arm));
    settings.updateEnvironment();
    EXPECT_EQ(klxtest::readBytes(rcFile),
              "# Corvale\nexport KL_CVL_IDE_PLUGINS=\"C:/SDK/Plugins/V1.00\"\n"
              "alias ll='ls'\n\nexport KL_CVL_IDE_GTS_ARM=\"$KLGCCHOME\"");

    // Each key's values, sorted by name, as "name=text " pieces.
    std::string saved;
    const std::string history = "Software\\Keldmar\\Corvale Settings\\KL_CVL_IDE_";
    for (const std::string& key : {history + "PLUGINS history", history + "GTS_ARM history"})
        for (const auto& value : klxtest::registryValues(HKEY_CURRENT_USER, key))
            saved += value.first + "=" + value.second + " ";
    for (const char* key :
         {"FileAssoc.scs\\shell\\open\\command", "FileAssoc.cvlrc\\shell\\open\\command"})
        for (const auto& value : klxtest::registryValues(HKEY_CLASSES_ROOT, key))
            saved += value.first + "=" + value.second + " ";
    EXPECT_EQ(saved, "0=C:\\SDK\\Plugins\\V1.00 count=1 0=$KLGCCHOME count=1 "
                     "=\"C:\\Wizard.exe\" -f %1 =\"C:\\Settings.exe\" -f %1 ");
}
