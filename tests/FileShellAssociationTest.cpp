// KLXFileShellAssociation: the file type an extension names, the description
// and open command given to it, and the programs that cannot be bound (not
// installed, or without a product name in their version resource).
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
#include <vector>

namespace fs = std::filesystem;

namespace {

struct SystemProbe : KLXSystem {
    using KLXSystem::mAppPathTable;
};

// Every value of the HKEY_CLASSES_ROOT key (or `root`), sorted by name, as
// "[name]=text" lines.
std::string keyContent(std::string path, HKEY root = HKEY_CLASSES_ROOT) {
    std::string content;
    for (const auto& value : klxtest::registryValues(root, path))
        content += "[" + value.first + "]=" + value.second + "\n";
    return content;
}

void associate(std::string extension, KLXAppType_e type, std::string arguments) {
    KLXFileShellAssociation(extension).setApplication(type, arguments);
}

class FileShellAssociation : public ::testing::Test {
protected:
    // A registry and C: drive of its own for each test.
    void SetUp() override {
        mRoot = klxtest::freshDir(::testing::UnitTest::GetInstance()->current_test_info()->name());
        klxtest::setEnv("KLX_PREFIX", (mRoot / "prefix").string());
        KLXSystem::resetAppPathTable();
        fs::create_directories(mRoot / "prefix");
    }
    void TearDown() override { KLXSystem::resetAppPathTable(); }

    // Writes C:\Program Files\Keldmar\<name> and makes it the tool `type`.
    void install(KLXAppType_e type, const std::string& name, const std::string& bytes) {
        const fs::path dir = klxtest::cDrive() / "Program Files" / "Keldmar";
        fs::create_directories(dir);
        klxtest::writeBytes(dir / name, bytes);
        SystemProbe::mAppPathTable[type] = "C:\\Program Files\\Keldmar\\" + name;
    }

    fs::path mRoot;
};

const char kWizard[] = "\"C:\\Program Files\\Keldmar\\KlWizard.exe\"";

TEST_F(FileShellAssociation, FileTypeDescriptionAndOpenCommand) {
    // No key, or a key without default value: the extension gets a file type
    // of its own at once, in HKEY_CLASSES_ROOT only.
    std::string scs = ".scs", cvlrc = ".cvlrc", other = "other", value = "x";
    KLXFileShellAssociation association(scs);
    KLXRegistryKey(HKEY_CLASSES_ROOT, cvlrc).setValue(other, value);
    { KLXFileShellAssociation unused(cvlrc); }
    EXPECT_EQ(keyContent(".scs"), "[]=FileAssoc.scs\n");
    EXPECT_EQ(keyContent(".cvlrc"), "[]=FileAssoc.cvlrc\n[other]=x\n");
    EXPECT_EQ(keyContent(".scs", HKEY_CURRENT_USER) + keyContent(".scs", HKEY_LOCAL_MACHINE), "");

    // The path is quoted, %1 is not; empty arguments leave two blanks.
    install(KLX_APP_WIZARD, "KlWizard.exe", klxtest::productImage(1, 0, u"Corvale Wizard \u00e9"));
    install(KLX_APP_CVL_SETTINGS, "KlCvlSettings.exe",
            klxtest::productImage(1, 0, u"Corvale Settings"));
    const std::string command = "FileAssoc.scs\\shell\\open\\command";
    std::string arguments = "-f", none, twoArguments = "-f -q";
    association.setApplication(KLX_APP_WIZARD, arguments);
    EXPECT_EQ(keyContent("FileAssoc.scs"), "[]=Corvale Wizard \xc3\xa9\n");
    EXPECT_EQ(keyContent(command), "[]=" + std::string(kWizard) + " -f %1\n");
    association.setApplication(KLX_APP_WIZARD, none);
    EXPECT_EQ(keyContent(command), "[]=" + std::string(kWizard) + "  %1\n");
    // Binding again to another program leaves only the second one.
    association.setApplication(KLX_APP_CVL_SETTINGS, twoArguments);
    EXPECT_EQ(keyContent("FileAssoc.scs"), "[]=Corvale Settings\n");
    EXPECT_EQ(keyContent(command),
              "[]=\"C:\\Program Files\\Keldmar\\KlCvlSettings.exe\" -f -q %1\n");
    EXPECT_EQ(keyContent(".scs"), "[]=FileAssoc.scs\n");
    // A copy works on the same extension key.
    KLXFileShellAssociation(association).setApplication(KLX_APP_WIZARD, arguments);
    EXPECT_EQ(keyContent("FileAssoc.scs"), "[]=Corvale Wizard \xc3\xa9\n");

    // A file type set by another program is kept, and binding changes that
    // file type rather than making a new one.
    std::string prj = ".prj", foreign = "Other.Project";
    KLXRegistryKey(HKEY_CLASSES_ROOT, prj).setValue(none, foreign);
    associate(".prj", KLX_APP_WIZARD, "-f");
    EXPECT_EQ(keyContent(".prj"), "[]=Other.Project\n");
    EXPECT_EQ(keyContent("Other.Project"), "[]=Corvale Wizard \xc3\xa9\n");
    EXPECT_EQ(keyContent("Other.Project\\shell\\open\\command"),
              "[]=" + std::string(kWizard) + " -f %1\n");
    EXPECT_EQ(keyContent("FileAssoc.prj"), "");
}

TEST_F(FileShellAssociation, ProgramsThatCannotBeBound) {
    auto bindFails = [&](const std::string& extension, KLXAppType_e type) {
        associate(extension, type, "-f");
        const std::string fileType = "FileAssoc" + extension;
        EXPECT_EQ(keyContent(fileType) + keyContent(fileType + "\\shell\\open\\command"), "")
            << extension;
        EXPECT_EQ(keyContent(extension), "[]=" + fileType + "\n");
    };
    // The wizard as the table finds it beside this test program: the file is
    // not there, so it has no product name.
    ASSERT_NE(KLXSystem::getApplicationPath(KLX_APP_WIZARD), "");
    bindFails(".a", KLX_APP_WIZARD);
    // An image without version resource, one without a product name, and a
    // file that is no image at all.
    const std::string images[] = {klxtest::peImage(false, {}), klxtest::productImage(1, 0, u""),
                                  "MZ not an image"};
    for (const std::string& image : images) {
        install(KLX_APP_WIZARD, "KlWizard.exe", image);
        bindFails(".b" + std::to_string(&image - images), KLX_APP_WIZARD);
    }
    // No path at all: no settings object names an Eclipse, and a number
    // outside the table names no tool. Whatever product name the version
    // object falls back on, nothing is bound.
    ASSERT_EQ(KLXSystem::getApplicationPath(KLX_APP_ECLIPSE_EXE), "");
    bindFails(".e", KLX_APP_ECLIPSE_EXE);
    bindFails(".f", static_cast<KLXAppType_e>(25));
    bindFails(".g", static_cast<KLXAppType_e>(-1));
}

} // namespace
