// KLXCorvaleSettings::updateEnvironment: every element's value saved, the
// configuration file written back, and ".scs" and ".cvlrc" bound to the
// wizard and the settings program.
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

TEST(SettingsSave, ConfigurationFileAndBindings) {
    // The two programs with their product names.
    const fs::path drive = klxtest::cDrive();
    klxtest::writeBytes(drive / "Wizard.exe", klxtest::productImage(1, 0, u"Wizard"));
    klxtest::writeBytes(drive / "Settings.exe", klxtest::productImage(1, 0, u"Settings"));
    SystemProbe::mAppPathTable[KLX_APP_WIZARD] = "C:\\Wizard.exe";
    SystemProbe::mAppPathTable[KLX_APP_CVL_SETTINGS] = "C:\\Settings.exe";

    // The elements write their values into the configuration file's lines,
    // and the file is written back.
    const fs::path rcFile = fs::path(klxtest::profileDirectory()) / ".cvlrc";
    klxtest::writeBytes(rcFile, "export KL_CVL_IDE_PLUGINS=\"C:/old\"\n");
    std::string none, plugins = "$KLPLUGINS", arm = "$KLGCCHOME";
    KLXCorvaleSettings settings(nullptr, none);
    ASSERT_TRUE(settings.updatePathFromString(CVL_ELEMENT_PLUGINS, plugins));
    ASSERT_TRUE(settings.updatePathFromString(CVL_ELEMENT_GTS_ARM, arm));
    settings.updateEnvironment();
    EXPECT_EQ(klxtest::readBytes(rcFile), "export KL_CVL_IDE_PLUGINS=\"$KLPLUGINS\"\n\n"
                                          "export KL_CVL_IDE_GTS_ARM=\"$KLGCCHOME\"");
    // The open commands of both file types.
    std::string commands;
    for (const std::string type : {"FileAssoc.scs", "FileAssoc.cvlrc"})
        for (const auto& value :
             klxtest::registryValues(HKEY_CLASSES_ROOT, type + "\\shell\\open\\command"))
            commands += value.second + " ";
    EXPECT_EQ(commands, "\"C:\\Wizard.exe\" -f %1 \"C:\\Settings.exe\" -f %1 ");
}
