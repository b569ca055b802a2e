// Version objects: version texts and their order, the versions that the
// table's tools tell, version resources of modules, and the directory scans.
// Files live on the emulated C: drive.
#include "KLXRegistryKey.h"
#include "KLXSystem.h"
#include "KLXVersion.h"

#include "Environment.h"
#include "FakeTool.h"
#include "support/TestFiles.h"
#include "support/VersionImages.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using namespace klxtest;

namespace {

struct SystemProbe : KLXSystem {
    using KLXSystem::mOsType;
};

struct Probe : KLXVersion {
    using KLXVersion::getHighestVersionFromPath;
    using KLXVersion::KLXVersion;
    using KLXVersion::parseIntegerVersion;

    // The components, the version text and the product name.
    std::string show() {
        std::string text;
        getProductVersionString(text);
        return std::to_string(mVersion[0]) + "." + std::to_string(mVersion[1]) + "." +
               std::to_string(mVersion[2]) + "." + std::to_string(mVersion[3]) + " " + text +
               " / " + getProductNameString();
    }
};

// The components of a parsed text, on an object without text or resource.
Probe parsed(std::string text) {
    std::string none;
    Probe version(KLX_APP_GCC_HOME, none);
    version.parseIntegerVersion(text);
    return version;
}

void touch(const fs::path& path, const std::string& bytes = "x") {
    fs::create_directories(path.parent_path());
    writeBytes(path, bytes);
}

void registerCygwin(std::string root) {
    std::string key = "Software\\Cygnus Solutions\\Cygwin\\mounts v2\\/", native = "native";
    KLXRegistryKey(HKEY_CURRENT_USER, key).setValue(native, root);
    KLXSystem::resetAppPathTable();
}

class Version : public ::testing::Test {
protected:
    void SetUp() override {
        SystemProbe::mOsType = KLX_OS_9X; // tool variables from the process
        for (const char* name : {"KLGCCHOME", "KLLIBHOME", "SGT_DIR"})
            unsetEnv(name);
        KLXSystem::resetAppPathTable();
    }
};

} // namespace

TEST_F(Version, ParsingAndComparison) {
    // A letter a-j/A-J leading a component is its digit; components keep
    // their low 16 bits, signed, and compare so; four of them count.
    EXPECT_EQ(parsed("J.65536.-3.4.5").show(), "9.0.-3.4  / ");
    const Probe low = parsed("40000"), high = parsed("1.2");
    EXPECT_TRUE(high > low && high >= low && !(low > high) && !(low >= high) && !(low == high));
    EXPECT_TRUE(low == low && low >= low && !(low > low));
}

TEST_F(Version, TextsOfTheTableTypes) {
    // Plug-in directories: a two-part version counts as x.y.99. Compiler
    // banners: the first line's digits and dots. Scripts directory names:
    // underscores are dots, hex letters stay. Bash: the filter drops the
    // letter and the parentheses, 2.05.01. A type without a text grammar
    // reads its file's resource: a directory has none.
    setEnv("KLLIBHOME", "C:\\");
    struct Case {
        KLXAppType_e type;
        const char *text, *shown;
    };
    // clang-format off
    const Case cases[] = {
        {KLX_APP_TCPIP_DIR, "2.10", "2.10.99.0 2.10"}, {KLX_APP_M2M_DIR, "v3.1b", "3.1.99.0 3.1b"},
        {KLX_APP_M2M_DIR, "", "0.0.0.0 "}, {KLX_APP_SGT_DIR, "b1_0", "11.0.0.0 b1_0"},
        {KLX_APP_ARM_ELF_GCC, "arm-elf-gcc (GCC) 4.1.1\nCopyright (C) 2006 FSF\n", "4.1.1.0 4.1.1"},
        {KLX_APP_BASH, "GNU bash 2.05b.0(1)", "2.5.1.0 2.05.01"}, {KLX_APP_LIB_HOME, "9.9", "0.0.0.0 9.9"}};
    // clang-format on
    for (const auto& c : cases) {
        std::string text = c.text;
        EXPECT_EQ(Probe(c.type, text).show(), std::string(c.shown) + " / ") << c.text;
    }
}

TEST_F(Version, ModuleResourcesGiveTheProductVersionAndName) {
    // The product, not the file, version; words print unsigned and compare
    // signed; no string table for the translation gives no name; without
    // fixed information the translation still leads to the name.
    const std::pair<std::string, const char*> modules[] = {
        {peImage(true, {{16, sampleVersionTree()}}),
         u8"5.2.0.7 5.2.0.7 / Prod\u00fcct \u2603 \U0001D11E"},
        {productImage(0xFFFF0001u, 0x80000002u, u"High"), "-1.1.-32768.2 65535.1.32768.2 / High"},
        {peImage(false,
                 {{16, versionTree(fixedFileInfo(0, 0, 0x10002u, 0), {}, {{0x407, 0x4e4}})}}),
         "1.2.0.0 1.2.0.0 / "},
        {peImage(false, {{16, versionTree("", {{u"040704e4", {{u"ProductName", u"Bare"}}}},
                                          {{0x407, 0x4e4}})}}),
         "0.0.0.0  / Bare"}};
    std::string path = "C:\\mods\\missing.dll";
    EXPECT_EQ(Probe(path).show(), "0.0.0.0  / ");
    for (std::size_t i = 0; i < std::size(modules); ++i) {
        touch(cDrive() / "mods" / (std::to_string(i) + ".dll"), modules[i].first);
        path = "C:\\mods\\" + std::to_string(i) + ".dll";
        EXPECT_EQ(Probe(path).show(), modules[i].second) << path;
    }
    // Copies carry their own block: a copy looks the name up after its
    // source is gone.
    path = "C:\\mods\\0.dll";
    Probe* source = new Probe(path);
    Probe copy(*source), assigned;
    delete source;
    assigned = copy;
    EXPECT_EQ(assigned.show(), modules[0].second);

    // The Cygwin DLL without a text reads its resource.
    registerCygwin("C:/cygroot");
    touch(cDrive() / "cygroot" / "bin" / "cygwin1.dll",
          productImage(0x00010005u, 0x00180000u, u"Cygwin"));
    path.clear();
    EXPECT_EQ(Probe(KLX_APP_CYGWIN_DLL, path).show(), "1.5.24.0 1.5.24.0 / Cygwin");
}

TEST_F(Version, TheLibrarysOwnModuleTellsItsBuildVersion) {
    // The text is the components themselves.
    const std::string shown = Probe().show();
    EXPECT_TRUE(std::regex_match(shown, std::regex("(\\d+\\.\\d+\\.\\d+\\.\\d+) \\1 / KlxCore")))
        << shown;
    std::string name = "klxcore.DLL", text = "9.9";
    EXPECT_EQ(Probe(name).show(), shown);
    // A type read from its file while the type has no path reads the
    // library's own module.
    EXPECT_EQ(Probe(KLX_APP_LIB_HOME, text).show(), shown);
}

TEST_F(Version, LibraryScriptAndHighestVersionDirectories) {
    // Files and directories match; other extensions do not.
    const fs::path checks = cDrive() / "checks";
    std::string dir = "C:\\checks";
    touch(checks / "a.sh.bak");
    EXPECT_FALSE(KLXVersion::checkForLibs(dir) || KLXVersion::checkForScripts(dir));
    fs::create_directories(checks / "x.lib");
    touch(checks / "run.sh");
    EXPECT_TRUE(KLXVersion::checkForLibs(dir) && KLXVersion::checkForScripts(dir));

    // Only subdirectories that hold a library and are not hidden count; a
    // number below 1000 counts as n*100+99 (3.12 above 3.12.05, 9.99 above
    // 10.00); names keep digits, dots and hex letters; on a tie the first
    // listed wins. One result string serves every object.
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        {{"3.12", "3.12.05", "4.00"}, "4.00"},
        {{"3.12", "3.12.05"}, "3.12"},
        {{"9.99", "10.00"}, "9.99"},
        {{"tcpip_v40.1beta"}, "c40.1bea"},
        {{"3.12", "3_12"}, "3.12"},
        {{}, ""}};
    std::string& shared = Probe().getHighestVersionFromPath(dir);
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const fs::path plugins = cDrive() / ("p" + std::to_string(i));
        for (const char* name : cases[i].first)
            touch(plugins / name / "core.lib");
        touch(plugins / ".9.00" / "core.lib");
        touch(plugins / "8.00" / "readme.txt");
        touch(plugins / "5.00.lib");
        dir = "C:\\p" + std::to_string(i);
        EXPECT_EQ(&Probe().getHighestVersionFromPath(dir), &shared);
        EXPECT_EQ(shared, cases[i].second) << i;
    }
}

TEST_F(Version, PluginScriptAndCompilerVersionsByType) {
    setEnv("KLLIBHOME", "C:\\sdk");
    for (const char* lib : {"tcpip/2.10/t.lib", "tcpip/2.10.50/t.lib"})
        touch(cDrive() / "sdk" / lib);
    EXPECT_EQ(Probe(KLX_APP_TCPIP_DIR).show(), "2.10.99.0 2.10 / ");
    // The scripts directory's name, extension and all, once it holds a script.
    setEnv("SGT_DIR", "/cygdrive/c/tools/2_1.5");
    touch(cDrive() / "tools" / "2_1.5" / "gen.sh");
    EXPECT_EQ(Probe(KLX_APP_SGT_DIR).show(), "2.1.5.0 2_1.5 / ");

    // The compiler's directory name tells its version; bash is not asked.
    const fs::path bash = cDrive() / "cygroot" / "bin" / "bash";
    registerCygwin("C:/cygroot");
    installFakeTool(bash);
    installFakeTool(cDrive() / "gcc" / "bin" / "arm-elf-gcc.exe");
    setEnv("KLGCCHOME", "/cygdrive/c/gcc-3.4.4");
    EXPECT_EQ(Probe(KLX_APP_ARM_ELF_GCC).show(), "3.4.4.0 3.4.4 / ");
    EXPECT_FALSE(fs::exists(fs::path(bash).replace_extension(".log")));
    // An unversioned directory: the banner's first line, through a bash that
    // is no login shell; without bash there is none.
    setEnv("KLGCCHOME", "/cygdrive/c/gcc");
    KLXSystem::resetAppPathTable();
    EXPECT_EQ(Probe(KLX_APP_ARM_ELF_GCC).show(), "4.1.1.0 4.1.1 / ");
    EXPECT_EQ(fakeToolLog(bash), "[-c]\n[ /cygdrive/c/gcc/bin/arm-elf-gcc.exe --version ]\n");
    registerCygwin("");
    EXPECT_EQ(Probe(KLX_APP_ARM_ELF_GCC).show(), "0.0.0.0  / ");
}
