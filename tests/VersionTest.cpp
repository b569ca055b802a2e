// Version objects: version texts and their comparison, the versions that the
// table's tools tell, version resources of PE images, the library's own
// version, and the directory scans for libraries, scripts and the highest
// version directory. Files live on the emulated C: drive.
#include "KLXRegistryKey.h"
#include "KLXSystem.h"
#include "KLXVersion.h"

#include "support/TestFiles.h"
#include "support/VersionImages.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct SystemProbe : KLXSystem {
    using KLXSystem::mOsType;
};

struct Probe : KLXVersion {
    using KLXVersion::KLXVersion;
    Probe(const KLXVersion& other) : KLXVersion(other) {}
    using KLXVersion::getHighestVersionFromPath;
    using KLXVersion::mTranslation;
    using KLXVersion::mVersionInfo;
    using KLXVersion::parseIntegerVersion;

    std::array<int, 4> parts() const {
        return {mVersion[0], mVersion[1], mVersion[2], mVersion[3]};
    }
    std::string text() {
        std::string out = "unset";
        getProductVersionString(out);
        return out;
    }
};

typedef std::array<int, 4> Parts;

Probe parsed(const std::string& text) {
    Probe version;
    std::string copy = text;
    version.parseIntegerVersion(copy);
    return version;
}

Probe typed(KLXAppType_e type, const std::string& text) {
    std::string copy = text;
    return Probe(type, copy);
}

fs::path drive() {
    return klxtest::testRoot() / "prefix" / "drive_c";
}

void touch(const fs::path& path) {
    fs::create_directories(path.parent_path());
    klxtest::writeBytes(path, "x");
}

void writeScript(const fs::path& path, const std::string& body) {
    fs::create_directories(path.parent_path());
    klxtest::writeBytes(path, "#!/bin/sh\n" + body);
    fs::permissions(path, fs::perms::owner_all);
}

std::string image(std::uint32_t productMS, std::uint32_t productLS, const std::u16string& name) {
    return klxtest::peImage(
        false, {{16, klxtest::versionTree(
                         klxtest::fixedFileInfo(0x00090009u, 0x00090009u, productMS, productLS),
                         {klxtest::StringTable{u"040904b0", {{u"ProductName", name}}}},
                         {{0x0409, 0x04b0}})}});
}

const std::string kCygwinKey = "Software\\Cygnus Solutions\\Cygwin\\mounts v2\\/";

void registerCygwin(std::string root) {
    std::string key = kCygwinKey, native = "native";
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
            unsetenv(name);
        registerCygwin("");
        SystemProbe::mOsType = KLX_OS_NT;
    }
    fs::path mStartDirectory;
};

} // namespace

TEST_F(Version, TextsParseIntoFourSignedComponents) {
    const std::vector<std::pair<std::string, Parts>> cases = {
        {"3.12", {3, 12, 0, 0}},
        {"1_2_3", {1, 2, 3, 0}},
        {"2.10.99", {2, 10, 99, 0}},
        {"1.2.3.4.5", {1, 2, 3, 4}},
        {"b2.1", {12, 1, 0, 0}},
        {"J.a.A7.k1", {9, 0, 7, 0}}, // letters a-j/A-J map to digits; k does not
        {"1b.2x", {1, 2, 0, 0}},     // only a leading letter is mapped
        {"", {0, 0, 0, 0}},
        {".5", {0, 5, 0, 0}},
        {"1..3", {1, 0, 3, 0}},
        {"65535.65536.-3", {-1, 0, -3, 0}}, // low 16 bits, signed
        {"4.1.1 (release)", {4, 1, 1, 0}},
    };
    for (const auto& entry : cases)
        EXPECT_EQ(parsed(entry.first).parts(), entry.second) << entry.first;

    // Parsing leaves the version text alone.
    Probe version = typed(KLX_APP_TCPIP_DIR, "7.7");
    std::string text = "1.2";
    version.parseIntegerVersion(text);
    EXPECT_EQ(version.parts(), (Parts{1, 2, 0, 0}));
    EXPECT_EQ(version.text(), "7.7");
}

TEST_F(Version, ComparisonsAreLexicographicOnSignedComponents) {
    const Probe v2 = parsed("2.0.0.0"), v15 = parsed("1.5.0.0");
    const Probe a = parsed("1.2.3.4"), b = parsed("1.2.3.4"), c = parsed("1.2.3.5");
    EXPECT_TRUE(v2 > v15);
    EXPECT_FALSE(v15 > v2);
    EXPECT_TRUE(a >= b);
    EXPECT_FALSE(a > b);
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a == c);
    EXPECT_TRUE(c > a);
    EXPECT_FALSE(a >= c);
    EXPECT_TRUE(parsed("1.9") > parsed("1.2.9.9"));
    // A component of 32768 or more is negative and ranks below 1.
    EXPECT_TRUE(parsed("1") > parsed("40000"));
    EXPECT_FALSE(parsed("40000") >= parsed("0"));
}

TEST_F(Version, TextsOfTheTableTypes) {
    // Plug-in directories: a two-part version counts as x.y.99.
    Probe tcpip = typed(KLX_APP_TCPIP_DIR, "2.10");
    EXPECT_EQ(tcpip.parts(), (Parts{2, 10, 99, 0}));
    EXPECT_EQ(tcpip.text(), "2.10");
    EXPECT_EQ(typed(KLX_APP_TCPIP_DIR, "2.10.3").parts(), (Parts{2, 10, 3, 0}));
    EXPECT_TRUE(tcpip > typed(KLX_APP_TCPIP_DIR, "2.10.98"));
    Probe m2m = typed(KLX_APP_M2M_DIR, "v3.1b");
    EXPECT_EQ(m2m.parts(), (Parts{3, 1, 99, 0}));
    EXPECT_EQ(m2m.text(), "3.1b");
    EXPECT_EQ(typed(KLX_APP_M2M_DIR, "7").parts(), (Parts{7, 0, 0, 0}));
    EXPECT_EQ(typed(KLX_APP_M2M_DIR, "").parts(), (Parts{0, 0, 0, 0}));

    // Compiler banners: the first line's digits and dots.
    Probe gcc = typed(KLX_APP_ARM_ELF_GCC,
                      "arm-elf-gcc (GCC) 4.1.1\nCopyright (C) 2006 Free Software Foundation\n");
    EXPECT_EQ(gcc.parts(), (Parts{4, 1, 1, 0}));
    EXPECT_EQ(gcc.text(), "4.1.1");
    EXPECT_EQ(typed(KLX_APP_GCC_BIN_DIR, "gcc-3.4.4").parts(), (Parts{3, 4, 4, 0}));
    Probe empty = typed(KLX_APP_GCC_HOME, "");
    EXPECT_EQ(empty.parts(), (Parts{0, 0, 0, 0}));
    EXPECT_EQ(empty.text(), "");
    EXPECT_EQ(empty.mVersionInfo, nullptr); // parsed, no resource read

    // Scripts directory names: underscores are dots, hex letters stay.
    Probe sgt = typed(KLX_APP_SGT_DIR, "sgt_2_1");
    EXPECT_EQ(sgt.parts(), (Parts{0, 2, 1, 0}));
    EXPECT_EQ(sgt.text(), "_2_1");
    EXPECT_EQ(typed(KLX_APP_SGT_DIR, "b1_0").parts(), (Parts{11, 0, 0, 0}));

    // Cygwin with a text.
    Probe cygwin = typed(KLX_APP_CYGWIN_DLL, "1.5.19");
    EXPECT_EQ(cygwin.parts(), (Parts{1, 5, 19, 0}));
    EXPECT_EQ(cygwin.text(), "1.5.19");
    // The filter drops the letter and the parentheses: 2.05.01.
    EXPECT_EQ(typed(KLX_APP_BASH, "GNU bash 2.05b.0(1)").parts(), (Parts{2, 5, 1, 0}));

    // A type without a text grammar reads its file's resource: a directory
    // has none, so the text stays as given.
    setenv("KLLIBHOME", "C:\\sdk", 1);
    fs::create_directories(drive() / "sdk");
    Probe lib = typed(KLX_APP_LIB_HOME, "9.9");
    EXPECT_EQ(lib.parts(), (Parts{0, 0, 0, 0}));
    EXPECT_EQ(lib.text(), "9.9");
    EXPECT_EQ(lib.mVersionInfo, nullptr);
}

TEST_F(Version, ModuleResourcesGiveTheProductVersionAndName) {
    const fs::path dir = drive() / "mods";
    fs::create_directories(dir);
    klxtest::writeBytes(dir / "sample.dll",
                        klxtest::peImage(true, {{16, klxtest::sampleVersionTree()}}));
    std::string file = "C:\\mods\\sample.dll";
    Probe sample(file);
    EXPECT_EQ(sample.parts(), (Parts{5, 2, 0, 7})); // product, not file, version
    EXPECT_EQ(sample.text(), "5.2.0.7");
    EXPECT_EQ(sample.mTranslation, "040904b0");

    // Copies carry their own block: a copy looks the name up after its
    // source is gone, and assignment replaces a block without leaking.
    Probe* source = new Probe(file);
    Probe copy(*source);
    delete source;
    EXPECT_EQ(copy.getProductNameString(), u8"Prod\u00fcct \u2603 \U0001D11E");
    EXPECT_EQ(sample.getProductNameString(), copy.getProductNameString());
    Probe assigned;
    assigned = sample;
    Probe& alias = assigned;
    assigned = alias;
    EXPECT_EQ(assigned.parts(), (Parts{5, 2, 0, 7}));
    EXPECT_EQ(assigned.getProductNameString(), sample.getProductNameString());
    EXPECT_TRUE(assigned == sample);

    // Words print unsigned and compare signed.
    klxtest::writeBytes(dir / "high.dll", image(0xFFFF0001u, 0x80000002u, u"High"));
    file = "C:\\mods\\high.dll";
    Probe high(file);
    EXPECT_EQ(high.parts(), (Parts{-1, 1, -32768, 2}));
    EXPECT_EQ(high.text(), "65535.1.32768.2");
    EXPECT_EQ(high.getProductNameString(), "High");

    // No string table for the translation: no name.
    klxtest::writeBytes(
        dir / "nameless.dll",
        klxtest::peImage(false,
                         {{16, klxtest::versionTree(klxtest::fixedFileInfo(0, 0, 0x10002u, 0), {},
                                                    {{0x0407, 0x04e4}})}}));
    file = "C:\\mods\\nameless.dll";
    Probe nameless(file);
    EXPECT_EQ(nameless.parts(), (Parts{1, 2, 0, 0}));
    EXPECT_EQ(nameless.mTranslation, "040704e4");
    EXPECT_EQ(nameless.getProductNameString(), "");

    // Missing files, files that are no images and images without a version
    // resource leave everything empty.
    klxtest::writeBytes(dir / "text.dll", "MZ and nothing else");
    klxtest::writeBytes(dir / "plain.dll", klxtest::peImage(false, {}));
    for (const char* name :
         {"C:\\mods\\missing.dll", "C:\\mods\\text.dll", "C:\\mods\\plain.dll", "C:\\mods"}) {
        file = name;
        Probe none(file);
        EXPECT_EQ(none.parts(), (Parts{0, 0, 0, 0})) << name;
        EXPECT_EQ(none.text(), "") << name;
        EXPECT_EQ(none.getProductNameString(), "") << name;
        EXPECT_EQ(none.mVersionInfo, nullptr) << name;
    }
}

TEST_F(Version, TheLibrarysOwnModuleTellsItsBuildVersion) {
    Probe self;
    const std::string text = self.text();
    std::smatch match;
    ASSERT_TRUE(std::regex_match(text, match, std::regex("(\\d+)\\.(\\d+)\\.(\\d+)\\.(\\d+)")))
        << text;
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(self.parts()[static_cast<std::size_t>(i)], std::stoi(match[i + 1].str()));
    EXPECT_EQ(self.getProductNameString(), "KlxCore");
    EXPECT_EQ(self.mTranslation, "040904b0");

    std::string name = "klxcore.DLL";
    Probe byName(name);
    EXPECT_EQ(byName.text(), text);
    EXPECT_EQ(byName.getProductNameString(), "KlxCore");

    // A type read from its file while the type has no path reads the
    // library's own module.
    unsetenv("KLLIBHOME");
    Probe lib = typed(KLX_APP_LIB_HOME, "9.9");
    EXPECT_EQ(lib.text(), text);
    EXPECT_TRUE(lib == self);
    Probe wizard(KLX_APP_MSVC6_DIR);
    EXPECT_TRUE(wizard == self);
}

TEST_F(Version, CygwinDllWithoutTextReadsItsResource) {
    registerCygwin("C:/cygroot");
    fs::create_directories(drive() / "cygroot" / "bin");
    klxtest::writeBytes(drive() / "cygroot" / "bin" / "cygwin1.dll",
                        image(0x00010005u, 0x00180000u, u"Cygwin"));
    Probe dll = typed(KLX_APP_CYGWIN_DLL, "");
    EXPECT_EQ(dll.parts(), (Parts{1, 5, 24, 0}));
    EXPECT_EQ(dll.text(), "1.5.24.0");
    EXPECT_EQ(dll.getProductNameString(), "Cygwin");
    Probe byType(KLX_APP_CYGWIN_DLL);
    EXPECT_TRUE(byType == dll);
}

TEST_F(Version, LibraryAndScriptChecks) {
    const fs::path dir = drive() / "checks";
    fs::create_directories(dir / "sub");
    fs::create_directories(dir / "lib");
    touch(dir / "a.tar.gz");
    touch(dir / "lib.txt");
    touch(dir / "b.sh.bak");
    std::string path = "C:\\checks";
    EXPECT_FALSE(KLXVersion::checkForLibs(path));
    EXPECT_FALSE(KLXVersion::checkForScripts(path));
    touch(dir / "x.lib");
    touch(dir / "run.sh");
    EXPECT_TRUE(KLXVersion::checkForLibs(path));
    EXPECT_TRUE(KLXVersion::checkForScripts(path));
    EXPECT_EQ(path, "C:\\checks");

    // A directory that matches counts too.
    path = "C:\\checks\\sub";
    fs::create_directories(dir / "sub" / "old.lib");
    EXPECT_TRUE(KLXVersion::checkForLibs(path));
    path = "C:\\missing";
    EXPECT_FALSE(KLXVersion::checkForLibs(path));
    path.clear();
    EXPECT_FALSE(KLXVersion::checkForScripts(path));
}

TEST_F(Version, HighestVersionDirectory) {
    const fs::path dir = drive() / "plugins";
    for (const char* name : {"3.12", "3.12.05", "4.00"})
        touch(dir / name / "core.lib");
    fs::create_directories(dir / "9.99"); // no library
    touch(dir / "8.00" / "readme.txt");   // no library
    touch(dir / ".7.00" / "core.lib");    // hidden
    touch(dir / "5.00.lib");              // a file, not a directory
    Probe probe;
    std::string path = "C:\\plugins";
    std::string& result = probe.getHighestVersionFromPath(path);
    EXPECT_EQ(result, "4.00");

    // 3.12 counts as 31299, above 3.12.05's 31205.
    fs::remove_all(dir / "4.00");
    EXPECT_EQ(probe.getHighestVersionFromPath(path), "3.12");
    fs::remove_all(dir / "3.12");
    EXPECT_EQ(probe.getHighestVersionFromPath(path), "3.12.05");
    // Names keep digits, dots and hexadecimal letters.
    touch(dir / "tcpip_v40.1beta" / "core.lib");
    EXPECT_EQ(probe.getHighestVersionFromPath(path), "c40.1bea");

    // One shared result, emptied by a search that finds nothing.
    Probe other;
    std::string empty = "C:\\plugins\\3.12.05";
    EXPECT_EQ(&other.getHighestVersionFromPath(empty), &result);
    EXPECT_EQ(result, "");
    path = "C:\\missing";
    EXPECT_EQ(probe.getHighestVersionFromPath(path), "");
}

TEST_F(Version, PluginAndScriptDirectoriesByType) {
    setenv("KLLIBHOME", "C:\\sdk", 1);
    touch(drive() / "sdk" / "tcpip" / "2.10" / "tcpip.lib");
    touch(drive() / "sdk" / "tcpip" / "2.10.50" / "tcpip.lib");
    touch(drive() / "sdk" / "m2m" / "1.2.3" / "m2m.lib");
    Probe tcpip(KLX_APP_TCPIP_DIR);
    EXPECT_EQ(tcpip.parts(), (Parts{2, 10, 99, 0}));
    EXPECT_EQ(tcpip.text(), "2.10");
    Probe m2m(KLX_APP_M2M_DIR);
    EXPECT_EQ(m2m.parts(), (Parts{1, 2, 3, 0}));
    EXPECT_EQ(m2m.text(), "1.2.3");

    setenv("SGT_DIR", "/cygdrive/c/tools/2_1", 1);
    fs::create_directories(drive() / "tools" / "2_1");
    Probe noScripts(KLX_APP_SGT_DIR);
    EXPECT_EQ(noScripts.parts(), (Parts{0, 0, 0, 0}));
    EXPECT_EQ(noScripts.text(), "");
    touch(drive() / "tools" / "2_1" / "gen.sh");
    Probe sgt(KLX_APP_SGT_DIR);
    EXPECT_EQ(sgt.parts(), (Parts{2, 1, 0, 0}));
    EXPECT_EQ(sgt.text(), "2_1");

    // Nothing installed: zero, without reading any resource.
    unsetenv("KLLIBHOME");
    KLXSystem::resetAppPathTable();
    Probe none(KLX_APP_M2M_DIR);
    EXPECT_EQ(none.parts(), (Parts{0, 0, 0, 0}));
    EXPECT_EQ(none.mVersionInfo, nullptr);
    Probe gccHome(KLX_APP_GCC_HOME);
    EXPECT_EQ(gccHome.parts(), (Parts{0, 0, 0, 0}));
    EXPECT_EQ(gccHome.text(), "");
}

TEST_F(Version, CrossCompilerFromItsDirectoryNameOrItsBanner) {
    const fs::path log = drive() / "bash.log";
    // The compiler's directory name tells the version; bash is not asked.
    registerCygwin("C:/cygroot");
    writeScript(drive() / "cygroot" / "bin" / "bash",
                "echo \"$@\" >> '" + log.string() +
                    "'\n"
                    "[ \"$1\" = --login ] && shift\n"
                    "exec /bin/sh -c \"$(printf '%s' \"$2\" | sed 's#/cygdrive/[cC]#" +
                    drive().string() + "#g')\"\n");
    setenv("KLGCCHOME", "/cygdrive/c/gcc-3.4.4", 1);
    Probe named(KLX_APP_ARM_ELF_GCC);
    EXPECT_EQ(named.parts(), (Parts{3, 4, 4, 0}));
    EXPECT_EQ(named.text(), "3.4.4");
    EXPECT_FALSE(fs::exists(log));

    // An unversioned directory: the banner's first line.
    writeScript(drive() / "gcc" / "bin" / "arm-elf-gcc.exe",
                "[ \"$1\" = --version ] && printf 'arm-elf-gcc (GCC) 4.1.1\\n"
                "Copyright (C) 2006 Free Software Foundation, Inc.\\n'\n");
    setenv("KLGCCHOME", "/cygdrive/c/gcc", 1);
    KLXSystem::resetAppPathTable();
    Probe banner(KLX_APP_ARM_ELF_GCC);
    EXPECT_EQ(banner.parts(), (Parts{4, 1, 1, 0}));
    EXPECT_EQ(banner.text(), "4.1.1");
    EXPECT_EQ(klxtest::readBytes(log), "-c  /cygdrive/c/gcc/bin/arm-elf-gcc.exe --version \n");

    // Without bash there is no banner: 0.0.0.0.
    registerCygwin("");
    Probe noBash(KLX_APP_ARM_ELF_GCC);
    EXPECT_EQ(noBash.parts(), (Parts{0, 0, 0, 0}));
    EXPECT_EQ(noBash.text(), "");
}
