// KLXFileShellAssociation: the file type an extension names, the description
// and open command given to it, and the programs that cannot be bound (not
// installed, or without a product name in their version resource).
#include "KLXFileShellAssociation.h"
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include "TestFiles.h"
#include "VersionImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct SystemProbe : KLXSystem {
    using KLXSystem::mAppPathTable;
};

struct KeyProbe : KLXRegistryKey {
    using KLXRegistryKey::getValueNames;
    using KLXRegistryKey::KLXRegistryKey;
};

// Every value of the key, sorted by name, as "[name]=text" lines.
std::string keyContent(HKEY root, std::string path) {
    KeyProbe key(root, path);
    std::vector<std::string> names;
    key.getValueNames(names);
    std::sort(names.begin(), names.end());
    std::string content;
    for (std::string& name : names)
        content += "[" + name + "]=" + key.retValue(name) + "\n";
    return content;
}

// A program image whose version resource names the product (none when
// `product` is empty) under the translation 0409/04b0.
std::string programImage(const std::u16string& product) {
    std::vector<std::pair<std::u16string, std::u16string>> strings = {{u"CompanyName", u"Keldmar"}};
    if (!product.empty())
        strings.push_back({u"ProductName", product});
    return klxtest::peImage(
        false, {{16, klxtest::versionTree(klxtest::fixedFileInfo(0x10000, 0, 0x10000, 0),
                                          {{u"040904b0", strings}}, {{0x0409, 0x04b0}})}});
}

class FileShellAssociation : public ::testing::Test {
protected:
    // A registry and C: drive of its own for each test, and a table of tool
    // locations that the test fills itself.
    void SetUp() override {
        mRoot = klxtest::freshDir(::testing::UnitTest::GetInstance()->current_test_info()->name());
        setenv("KLX_PREFIX", (mRoot / "prefix").c_str(), 1);
        KLXSystem::resetAppPathTable();
        fs::create_directories(drive());
    }
    void TearDown() override { KLXSystem::resetAppPathTable(); }

    fs::path drive() const { return mRoot / "prefix" / "drive_c"; }
    // Writes C:\Program Files\Keldmar\<name> and makes it the tool `type`.
    void install(KLXAppType_e type, const std::string& name, const std::string& bytes) {
        fs::create_directories(drive() / "Program Files" / "Keldmar");
        klxtest::writeBytes(drive() / "Program Files" / "Keldmar" / name, bytes);
        SystemProbe::mAppPathTable[type] = "C:\\Program Files\\Keldmar\\" + name;
    }

    fs::path mRoot;
};

TEST_F(FileShellAssociation, FileTypeOfTheExtension) {
    // No key, or a key without default value: the extension gets a file type
    // of its own at once, in HKEY_CLASSES_ROOT only.
    std::string scs = ".scs", cvlrc = ".cvlrc", other = "other", value = "x";
    { KLXFileShellAssociation association(scs); }
    KLXRegistryKey(HKEY_CLASSES_ROOT, cvlrc).setValue(other, value);
    { KLXFileShellAssociation association(cvlrc); }
    EXPECT_EQ(keyContent(HKEY_CLASSES_ROOT, ".scs"), "[]=FileAssoc.scs\n");
    EXPECT_EQ(keyContent(HKEY_CLASSES_ROOT, ".cvlrc"), "[]=FileAssoc.cvlrc\n[other]=x\n");
    EXPECT_EQ(keyContent(HKEY_CURRENT_USER, ".scs"), "");
    EXPECT_EQ(keyContent(HKEY_LOCAL_MACHINE, ".scs"), "");

    // A file type set by another program is kept, and binding changes that
    // file type rather than making a new one.
    std::string ext = ".prj", none, foreign = "Other.Project";
    KLXRegistryKey(HKEY_CLASSES_ROOT, ext).setValue(none, foreign);
    install(KLX_APP_WIZARD, "KlWizard.exe", programImage(u"Corvale Wizard"));
    std::string arguments = "-f";
    KLXFileShellAssociation(ext).setApplication(KLX_APP_WIZARD, arguments);
    EXPECT_EQ(keyContent(HKEY_CLASSES_ROOT, ".prj"), "[]=Other.Project\n");
    EXPECT_EQ(keyContent(HKEY_CLASSES_ROOT, "Other.Project"), "[]=Corvale Wizard\n");
    EXPECT_EQ(keyContent(HKEY_CLASSES_ROOT, "Other.Project\\shell\\open\\command"),
              "[]=\"C:\\Program Files\\Keldmar\\KlWizard.exe\" -f %1\n");
    EXPECT_EQ(keyContent(HKEY_CLASSES_ROOT, "FileAssoc.prj"), "");
}

TEST_F(FileShellAssociation, DescriptionAndOpenCommand) {
    install(KLX_APP_WIZARD, "KlWizard.exe", programImage(u"Corvale Wizard \u00e9"));
    install(KLX_APP_CVL_SETTINGS, "KlCvlSettings.exe", programImage(u"Corvale Settings"));
    std::string scs = ".scs", arguments = "-f", none;
    KLXFileShellAssociation association(scs);
    const std::string command = "FileAssoc.scs\\shell\\open\\command";

    // The path is quoted, %1 is not; empty arguments leave two blanks.
    association.setApplication(KLX_APP_WIZARD, arguments);
    EXPECT_EQ(keyContent(HKEY_CLASSES_ROOT, "FileAssoc.scs"), "[]=Corvale Wizard \xc3\xa9\n");
    EXPECT_EQ(keyContent(HKEY_CLASSES_ROOT, command),
              "[]=\"C:\\Program Files\\Keldmar\\KlWizard.exe\" -f %1\n");
    association.setApplication(KLX_APP_WIZARD, none);
    EXPECT_EQ(keyContent(HKEY_CLASSES_ROOT, command),
              "[]=\"C:\\Program Files\\Keldmar\\KlWizard.exe\"  %1\n");

    // Binding again to another program leaves only the second one.
    std::string twoArguments = "-f -q";
    association.setApplication(KLX_APP_CVL_SETTINGS, twoArguments);
    EXPECT_EQ(keyContent(HKEY_CLASSES_ROOT, "FileAssoc.scs"), "[]=Corvale Settings\n");
    EXPECT_EQ(keyContent(HKEY_CLASSES_ROOT, command),
              "[]=\"C:\\Program Files\\Keldmar\\KlCvlSettings.exe\" -f -q %1\n");
    EXPECT_EQ(keyContent(HKEY_CLASSES_ROOT, ".scs"), "[]=FileAssoc.scs\n");

    // A copy works on the same extension key.
    KLXFileShellAssociation copy(association);
    copy.setApplication(KLX_APP_WIZARD, arguments);
    EXPECT_EQ(keyContent(HKEY_CLASSES_ROOT, "FileAssoc.scs"), "[]=Corvale Wizard \xc3\xa9\n");
}

TEST_F(FileShellAssociation, ProgramsThatCannotBeBound) {
    std::string arguments = "-f";
    auto bindFails = [&](const char* extension, KLXAppType_e type) {
        std::string name = extension;
        KLXFileShellAssociation(name).setApplication(type, arguments);
        const std::string fileType = std::string("FileAssoc") + extension;
        EXPECT_EQ(keyContent(HKEY_CLASSES_ROOT, fileType) +
                      keyContent(HKEY_CLASSES_ROOT, fileType + "\\shell\\open\\command"),
                  "")
            << extension;
        EXPECT_EQ(keyContent(HKEY_CLASSES_ROOT, extension), "[]=" + fileType + "\n");
    };
    // The wizard as the table finds it beside this test program: the file is
    // not there, so it has no product name.
    ASSERT_NE(KLXSystem::getApplicationPath(KLX_APP_WIZARD), "");
    bindFails(".a", KLX_APP_WIZARD);
    // An image without version resource, one without a product name, and a
    // file that is no image at all.
    install(KLX_APP_WIZARD, "KlWizard.exe", klxtest::peImage(false, {}));
    bindFails(".b", KLX_APP_WIZARD);
    install(KLX_APP_WIZARD, "KlWizard.exe", programImage(u""));
    bindFails(".c", KLX_APP_WIZARD);
    install(KLX_APP_WIZARD, "KlWizard.exe", "MZ not an image");
    bindFails(".d", KLX_APP_WIZARD);
    // No path at all: no settings object names an Eclipse, and a number
    // outside the table names no tool. Whatever product name the version
    // object falls back on, nothing is bound.
    ASSERT_EQ(KLXSystem::getApplicationPath(KLX_APP_ECLIPSE_EXE), "");
    bindFails(".e", KLX_APP_ECLIPSE_EXE);
    bindFails(".f", static_cast<KLXAppType_e>(25));
    bindFails(".g", static_cast<KLXAppType_e>(-1));
}

} // namespace
