// KLXFileShellAssociation: the file type an extension names, the description
// and open command given to it, and the programs that cannot be bound; and
// KLXCorvaleSettings::updateEnvironment, which binds ".scs" and ".cvlrc" to
// the wizard and the settings program.
#include "KLXCorvaleSettings.h"
#include "KLXFileShellAssociation.h"
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include "Environment.h"
#include "RegistryValues.h"
#include "TestFiles.h"
#include "VersionImages.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace fs = std::filesystem;

namespace {

struct SystemProbe : KLXSystem {
    using KLXSystem::mAppPathTable;
};

// Binds the extension to the tool `type`, given its program's bytes, and
// gives the values of the extension's key, its file type's and the file
// type's open command, as "[name]=text" lines.
std::string associate(std::string extension, KLXAppType_e type, const std::string& bytes,
                      std::string arguments = "-f", const std::string& fileType = "") {
    if (!bytes.empty()) {
        klxtest::writeBytes(klxtest::cDrive() / "KlTool.exe", bytes);
        SystemProbe::mAppPathTable[type] = "C:\\KlTool.exe";
    }
    KLXFileShellAssociation(extension).setApplication(type, arguments);
    std::string content, name = fileType.empty() ? "FileAssoc" + extension : fileType;
    for (const std::string& key : {extension, name, name + "\\shell\\open\\command"})
        for (const auto& value : klxtest::registryValues(HKEY_CLASSES_ROOT, key))
            content += "[" + value.first + "]=" + value.second + "\n";
    return content;
}

} // namespace

TEST(FileShellAssociation, FileTypeDescriptionAndOpenCommand) {
    // A key without default value gets a file type of its own. The path is
    // quoted, %1 is not; empty arguments leave two blanks.
    std::string scs = ".scs", other = "other", value = "x";
    KLXRegistryKey(HKEY_CLASSES_ROOT, scs).setValue(other, value);
    EXPECT_EQ(associate(".scs", KLX_APP_WIZARD, klxtest::productImage(1, 0, u"Wizard \u00e9"), ""),
              "[]=FileAssoc.scs\n[other]=x\n[]=Wizard \xc3\xa9\n[]=\"C:\\KlTool.exe\"  %1\n");
    // Binding again to another program leaves only the second one.
    EXPECT_EQ(associate(".scs", KLX_APP_CVL_SETTINGS, klxtest::productImage(1, 0, u"Set"), "-f -q"),
              "[]=FileAssoc.scs\n[other]=x\n[]=Set\n[]=\"C:\\KlTool.exe\" -f -q %1\n");
    // A file type set by another program is kept and given the binding.
    std::string prj = ".prj", none, foreign = "Other";
    KLXRegistryKey(HKEY_CLASSES_ROOT, prj).setValue(none, foreign);
    EXPECT_EQ(associate(".prj", KLX_APP_CVL_SETTINGS, "", "-f", "Other"),
              "[]=Other\n[]=Set\n[]=\"C:\\KlTool.exe\" -f %1\n");
}

TEST(FileShellAssociation, ProgramsThatCannotBeBound) {
    // Without a product name, or not installed: the extension names its file
    // type at once, which gets nothing.
    EXPECT_EQ(associate(".a", KLX_APP_WIZARD, klxtest::productImage(1, 0, u"")),
              "[]=FileAssoc.a\n");
    ASSERT_EQ(KLXSystem::getApplicationPath(KLX_APP_ECLIPSE_EXE), "");
    EXPECT_EQ(associate(".e", KLX_APP_ECLIPSE_EXE, ""), "[]=FileAssoc.e\n");
}

TEST(FileShellAssociation, SettingsBindTheirFiles) {
    const fs::path drive = klxtest::cDrive();
    klxtest::writeBytes(drive / "Wizard.exe", klxtest::productImage(1, 0, u"Wizard"));
    klxtest::writeBytes(drive / "Settings.exe", klxtest::productImage(1, 0, u"Settings"));
    SystemProbe::mAppPathTable[KLX_APP_WIZARD] = "C:\\Wizard.exe";
    SystemProbe::mAppPathTable[KLX_APP_CVL_SETTINGS] = "C:\\Settings.exe";
    std::string none;
    KLXCorvaleSettings(nullptr, none).updateEnvironment();
    std::string commands;
    for (const std::string type : {"FileAssoc.scs", "FileAssoc.cvlrc"})
        for (const auto& value :
             klxtest::registryValues(HKEY_CLASSES_ROOT, type + "\\shell\\open\\command"))
            commands += value.second + " ";
    EXPECT_EQ(commands, "\"C:\\Wizard.exe\" -f %1 \"C:\\Settings.exe\" -f %1 ");
}
