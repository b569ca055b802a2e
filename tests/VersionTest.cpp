// Version objects: version texts and their comparison, the versions that the
// table's tools tell, version resources of PE images, the library's own
// version, and the directory scans for libraries, scripts and the highest
// version directory. Files live on the emulated C: drive.
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

namespace fs = std::filesystem;

namespace {

struct SystemProbe : KLXSystem {
    using KLXSystem::mOsType;
};

struct Probe : KLXVersion {
    using KLXVersion::getHighestVersionFromPath;
    using KLXVersion::KLXVersion;
    using KLXVersion::mTranslation;
    using KLXVersion::mVersionInfo;
    using KLXVersion::parseIntegerVersion;

    std::string parts() const {
        return std::to_string(mVersion[0]) + "." + std::to_string(mVersion[1]) + "." +
               std::to_string(mVersion[2]) + "." + std::to_string(mVersion[3]);
    }
    // The components, then the product version text.
    std::string show() {
        std::string out = "unset";
        getProductVersionString(out);
        return parts() + " " + out;
    }
    std::string all() { return show() + " / " + getProductNameString(); }
};

Probe parsed(std::string text) {
    Probe version;
    version.parseIntegerVersion(text);
    return version;
}

Probe typed(KLXAppType_e type, std::string text) {
    return Probe(type, text);
}
Probe file(std::string path) {
    return Probe(path);
}

fs::path drive() {
    return klxtest::cDrive();
}

void touch(const fs::path& path, const std::string& bytes = "x") {
    fs::create_directories(path.parent_path());
    klxtest::writeBytes(path, bytes);
}

void registerCygwin(std::string root) {
    std::string key = "Software\\Cygnus Solutions\\Cygwin\\mounts v2\\/", native = "native";
    KLXRegistryKey(HKEY_CURRENT_USER, key).setValue(native, root);
    KLXSystem::resetAppPathTable();
}

class Version : public ::testing::Test {
protected:
    void SetUp() override {
        mStartDirectory = fs::current_path();
        SystemProbe::mOsType = KLX_OS_9X; // tool variables from the process
        KLXSystem::resetAppPathTable();
    }
    void TearDown() override {
        fs::current_path(mStartDirectory);
        for (const char* name : {"KLGCCHOME", "KLLIBHOME", "SGT_DIR"})
            klxtest::unsetEnv(name);
        registerCygwin("");
        SystemProbe::mOsType = KLX_OS_NT;
    }
    fs::path mStartDirectory;
};

} // namespace

TEST_F(Version, ParsingAndComparison) {
    // Letters a-j/A-J map to digits when they lead a component; components
    // keep their low 16 bits, signed.
    // clang-format off
    const char* const cases[][2] = {
        {"3.12", "3.12.0.0"}, {"1_2_3", "1.2.3.0"}, {"1.2.3.4.5", "1.2.3.4"}, {"b2.1", "12.1.0.0"},
        {"J.a.A7.k1", "9.0.7.0"}, {"1b.2x", "1.2.0.0"}, {"", "0.0.0.0"}, {"1..3", "1.0.3.0"},
        {".5", "0.5.0.0"}, {"65535.65536.-3", "-1.0.-3.0"}, {"4.1.1 (release)", "4.1.1.0"}};
    // clang-format on
    for (const auto& entry : cases)
        EXPECT_EQ(parsed(entry[0]).parts(), entry[1]) << entry[0];

    // Parsing leaves the version text alone.
    Probe version = typed(KLX_APP_TCPIP_DIR, "7.7");
    std::string text = "1.2";
    version.parseIntegerVersion(text);
    EXPECT_EQ(version.show(), "1.2.0.0 7.7");

    const Probe a = parsed("1.2.3.4"), b = parsed("1.2.3.4"), c = parsed("1.2.3.5");
    EXPECT_TRUE(a == b && a >= b && !(a > b));
    EXPECT_TRUE(c > a && !(a >= c) && !(a == c) && !(a > c));
    EXPECT_TRUE(parsed("2") > parsed("1.5") && !(parsed("1.5") > parsed("2")));
    EXPECT_TRUE(parsed("1.9") > parsed("1.2.9.9"));
    // A component of 32768 or more is negative and ranks below 1.
    EXPECT_TRUE(parsed("1") > parsed("40000") && !(parsed("40000") >= parsed("0")));
}

TEST_F(Version, TextsOfTheTableTypes) {
    // Plug-in directories: a two-part version counts as x.y.99. Compiler
    // banners: the first line's digits and dots. Scripts directory names:
    // underscores are dots, hex letters stay. Bash: the filter drops the
    // letter and the parentheses, 2.05.01.
    struct Case {
        KLXAppType_e type;
        const char *text, *shown;
    };
    // clang-format off
    const Case cases[] = {
        {KLX_APP_TCPIP_DIR, "2.10", "2.10.99.0 2.10"}, {KLX_APP_TCPIP_DIR, "2.10.3", "2.10.3.0 2.10.3"},
        {KLX_APP_M2M_DIR, "v3.1b", "3.1.99.0 3.1b"}, {KLX_APP_M2M_DIR, "7", "7.0.0.0 7"},
        {KLX_APP_M2M_DIR, "", "0.0.0.0 "}, {KLX_APP_GCC_HOME, "", "0.0.0.0 "},
        {KLX_APP_ARM_ELF_GCC, "arm-elf-gcc (GCC) 4.1.1\nCopyright (C) 2006 FSF\n", "4.1.1.0 4.1.1"},
        {KLX_APP_GCC_BIN_DIR, "gcc-3.4.4", "3.4.4.0 3.4.4"}, {KLX_APP_SGT_DIR, "sgt_2_1", "0.2.1.0 _2_1"},
        {KLX_APP_SGT_DIR, "b1_0", "11.0.0.0 b1_0"}, {KLX_APP_CYGWIN_DLL, "1.5.19", "1.5.19.0 1.5.19"},
        {KLX_APP_BASH, "GNU bash 2.05b.0(1)", "2.5.1.0 2.05.01"}};
    // clang-format on
    for (const auto& c : cases) {
        Probe version = typed(c.type, c.text);
        EXPECT_EQ(version.show(), c.shown) << c.text;
        EXPECT_EQ(version.mVersionInfo, nullptr); // parsed, no resource read
    }
    EXPECT_TRUE(typed(KLX_APP_TCPIP_DIR, "2.10") > typed(KLX_APP_TCPIP_DIR, "2.10.98"));

    // A type without a text grammar reads its file's resource: a directory
    // has none, so the text stays as given.
    klxtest::setEnv("KLLIBHOME", "C:\\sdk");
    fs::create_directories(drive() / "sdk");
    Probe lib = typed(KLX_APP_LIB_HOME, "9.9");
    EXPECT_EQ(lib.show(), "0.0.0.0 9.9");
    EXPECT_EQ(lib.mVersionInfo, nullptr);
}

TEST_F(Version, ModuleResourcesGiveTheProductVersionAndName) {
    const fs::path dir = drive() / "mods";
    touch(dir / "sample.dll", klxtest::peImage(true, {{16, klxtest::sampleVersionTree()}}));
    Probe sample = file("C:\\mods\\sample.dll");
    EXPECT_EQ(sample.show(), "5.2.0.7 5.2.0.7"); // product, not file, version
    EXPECT_EQ(sample.mTranslation, "040904b0");

    // Copies carry their own block: a copy looks the name up after its
    // source is gone, and assignment replaces a block without leaking.
    Probe* source = new Probe(file("C:\\mods\\sample.dll"));
    Probe copy(*source);
    delete source;
    EXPECT_EQ(copy.all(), u8"5.2.0.7 5.2.0.7 / Prod\u00fcct \u2603 \U0001D11E");
    Probe assigned;
    assigned = sample;
    Probe& alias = assigned;
    assigned = alias;
    EXPECT_EQ(assigned.all(), copy.all());
    EXPECT_TRUE(assigned == sample);

    // Words print unsigned and compare signed.
    touch(dir / "high.dll", klxtest::productImage(0xFFFF0001u, 0x80000002u, u"High"));
    Probe high = file("C:\\mods\\high.dll");
    EXPECT_EQ(high.all(), "-1.1.-32768.2 65535.1.32768.2 / High");

    // No string table for the translation: no name.
    touch(dir / "nameless.dll",
          klxtest::peImage(false,
                           {{16, klxtest::versionTree(klxtest::fixedFileInfo(0, 0, 0x10002u, 0), {},
                                                      {{0x0407, 0x04e4}})}}));
    Probe nameless = file("C:\\mods\\nameless.dll");
    EXPECT_EQ(nameless.all() + nameless.mTranslation, "1.2.0.0 1.2.0.0 / 040704e4");

    // Missing files, files that are no images and images without a version
    // resource leave everything empty.
    touch(dir / "text.dll", "MZ and nothing else");
    touch(dir / "plain.dll", klxtest::peImage(false, {}));
    for (const char* name :
         {"C:\\mods\\missing.dll", "C:\\mods\\text.dll", "C:\\mods\\plain.dll", "C:\\mods"}) {
        Probe none = file(name);
        EXPECT_EQ(none.all(), "0.0.0.0  / ") << name;
        EXPECT_EQ(none.mVersionInfo, nullptr) << name;
    }

    // The Cygwin DLL without a text reads its resource.
    registerCygwin("C:/cygroot");
    touch(drive() / "cygroot" / "bin" / "cygwin1.dll",
          klxtest::productImage(0x00010005u, 0x00180000u, u"Cygwin"));
    Probe dll = typed(KLX_APP_CYGWIN_DLL, "");
    EXPECT_EQ(dll.all(), "1.5.24.0 1.5.24.0 / Cygwin");
    EXPECT_TRUE(Probe(KLX_APP_CYGWIN_DLL) == dll);
}

TEST_F(Version, TheLibrarysOwnModuleTellsItsBuildVersion) {
    Probe self;
    const std::string shown = self.show();
    std::smatch m;
    ASSERT_TRUE(std::regex_match(shown, m, std::regex("(\\d+\\.\\d+\\.\\d+\\.\\d+) (.*)")))
        << shown;
    EXPECT_EQ(m[1].str(), m[2].str());
    EXPECT_EQ(self.all() + " " + self.mTranslation, shown + " / KlxCore 040904b0");
    EXPECT_EQ(file("klxcore.DLL").all(), self.all());

    // A type read from its file while the type has no path reads the
    // library's own module.
    klxtest::unsetEnv("KLLIBHOME");
    EXPECT_EQ(typed(KLX_APP_LIB_HOME, "9.9").show(), shown);
    EXPECT_TRUE(Probe(KLX_APP_MSVC6_DIR) == self);
}

TEST_F(Version, LibraryScriptAndHighestVersionDirectories) {
    const fs::path dir = drive() / "checks";
    fs::create_directories(dir / "lib");
    for (const char* name : {"a.tar.gz", "lib.txt", "b.sh.bak"})
        touch(dir / name);
    std::string path = "C:\\checks", sub = "C:\\checks\\sub", missing = "C:\\missing", none;
    EXPECT_FALSE(KLXVersion::checkForLibs(path) || KLXVersion::checkForScripts(path));
    touch(dir / "x.lib");
    touch(dir / "run.sh");
    EXPECT_TRUE(KLXVersion::checkForLibs(path) && KLXVersion::checkForScripts(path));
    EXPECT_EQ(path, "C:\\checks");
    // A directory that matches counts too.
    fs::create_directories(dir / "sub" / "old.lib");
    EXPECT_TRUE(KLXVersion::checkForLibs(sub));
    EXPECT_FALSE(KLXVersion::checkForLibs(missing) || KLXVersion::checkForScripts(none));

    const fs::path plugins = drive() / "plugins";
    for (const char* name : {"3.12", "3.12.05", "4.00", ".7.00"}) // .7.00 is hidden
        touch(plugins / name / "core.lib");
    fs::create_directories(plugins / "9.99"); // no library
    touch(plugins / "8.00" / "readme.txt");   // no library
    touch(plugins / "5.00.lib");              // a file, not a directory
    Probe probe;
    path = "C:\\plugins";
    std::string& result = probe.getHighestVersionFromPath(path);
    EXPECT_EQ(result, "4.00");
    // 3.12 counts as 31299, above 3.12.05's 31205.
    fs::remove_all(plugins / "4.00");
    EXPECT_EQ(probe.getHighestVersionFromPath(path), "3.12");
    fs::remove_all(plugins / "3.12");
    EXPECT_EQ(probe.getHighestVersionFromPath(path), "3.12.05");
    // Names keep digits, dots and hexadecimal letters.
    touch(plugins / "tcpip_v40.1beta" / "core.lib");
    EXPECT_EQ(probe.getHighestVersionFromPath(path), "c40.1bea");
    // One shared result, emptied by a search that finds nothing.
    std::string empty = "C:\\plugins\\3.12.05";
    EXPECT_EQ(&Probe().getHighestVersionFromPath(empty), &result);
    EXPECT_EQ(result, "");
}

TEST_F(Version, PluginAndScriptDirectoriesByType) {
    klxtest::setEnv("KLLIBHOME", "C:\\sdk");
    for (const char* lib : {"tcpip/2.10/tcpip.lib", "tcpip/2.10.50/tcpip.lib", "m2m/1.2.3/m2m.lib"})
        touch(drive() / "sdk" / lib);
    EXPECT_EQ(Probe(KLX_APP_TCPIP_DIR).show(), "2.10.99.0 2.10");
    EXPECT_EQ(Probe(KLX_APP_M2M_DIR).show(), "1.2.3.0 1.2.3");

    klxtest::setEnv("SGT_DIR", "/cygdrive/c/tools/2_1");
    fs::create_directories(drive() / "tools" / "2_1");
    EXPECT_EQ(Probe(KLX_APP_SGT_DIR).show(), "0.0.0.0 ");
    touch(drive() / "tools" / "2_1" / "gen.sh");
    EXPECT_EQ(Probe(KLX_APP_SGT_DIR).show(), "2.1.0.0 2_1");

    // Nothing installed: zero, without reading any resource.
    klxtest::unsetEnv("KLLIBHOME");
    KLXSystem::resetAppPathTable();
    Probe none(KLX_APP_M2M_DIR);
    EXPECT_EQ(none.show(), "0.0.0.0 ");
    EXPECT_EQ(none.mVersionInfo, nullptr);
    EXPECT_EQ(Probe(KLX_APP_GCC_HOME).show(), "0.0.0.0 ");
}

TEST_F(Version, CrossCompilerFromItsDirectoryNameOrItsBanner) {
    const fs::path bash = drive() / "cygroot" / "bin" / "bash";
    // The compiler's directory name tells the version; bash is not asked.
    registerCygwin("C:/cygroot");
    klxtest::installFakeTool(bash);
    klxtest::installFakeTool(drive() / "gcc" / "bin" / "arm-elf-gcc.exe");
    klxtest::setEnv("KLGCCHOME", "/cygdrive/c/gcc-3.4.4");
    EXPECT_EQ(Probe(KLX_APP_ARM_ELF_GCC).show(), "3.4.4.0 3.4.4");
    EXPECT_FALSE(fs::exists(fs::path(bash).replace_extension(".log")));

    // An unversioned directory: the banner's first line.
    klxtest::setEnv("KLGCCHOME", "/cygdrive/c/gcc");
    KLXSystem::resetAppPathTable();
    EXPECT_EQ(Probe(KLX_APP_ARM_ELF_GCC).show(), "4.1.1.0 4.1.1");
    EXPECT_EQ(klxtest::fakeToolLog(bash),
              "[-c]\n[ /cygdrive/c/gcc/bin/arm-elf-gcc.exe --version ]\n");

    // Without bash there is no banner.
    registerCygwin("");
    EXPECT_EQ(Probe(KLX_APP_ARM_ELF_GCC).show(), "0.0.0.0 ");
}
