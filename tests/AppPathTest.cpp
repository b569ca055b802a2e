// The tool location table: registry, environment, command-line and settings
// sources, the entries derived from them, caching and reset.
#include "KLXCorvaleSettings.h"
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include "Environment.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct SystemProbe : KLXSystem {
    using KLXSystem::mAppPathTable;
    using KLXSystem::mOsType;
    using KLXSystem::mTheEmptyString;
};

void setRegistry(HKEY root, std::string path, std::string name, std::string value) {
    KLXRegistryKey(root, path).setValue(name, value);
}

const char* const kCygwinKey = "Software\\Cygnus Solutions\\Cygwin\\mounts v2\\/";
const char* const kMachineEnvironment =
    "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
const char* const kMsvc6 = "Software\\Microsoft\\DevStudio\\6.0\\Products\\Microsoft Visual C++";

std::string& entry(KLXAppType_e type) {
    return KLXSystem::getApplicationPath(type);
}
std::string& cached(KLXAppType_e type) {
    return SystemProbe::mAppPathTable[type];
}

// Looks the entries up in the order given.
void expectEntries(std::vector<KLXAppType_e> types, std::vector<std::string> values) {
    ASSERT_EQ(types.size(), values.size());
    for (std::size_t i = 0; i < types.size(); ++i)
        EXPECT_EQ(entry(types[i]), values[i]) << "entry " << types[i];
}

class AppPath : public ::testing::Test {
protected:
    void SetUp() override {
        KLXSystem::resetAppPathTable();
        SystemProbe::mOsType = KLX_OS_NT;
    }
    void TearDown() override { KLXSystem::resetAppPathTable(); }
};

} // namespace

TEST_F(AppPath, SharedEmptyStringRunningProgramAndCommandInterpreter) {
    for (int type : {25, 26, -1, 1000}) {
        std::string& result = entry(static_cast<KLXAppType_e>(type));
        EXPECT_EQ(&result, &SystemProbe::mTheEmptyString);
        EXPECT_EQ(result, "");
    }
    // A real entry is never the shared empty string, even when empty.
    EXPECT_EQ(&entry(KLX_APP_MSVC71_DIR), &cached(KLX_APP_MSVC71_DIR));
    EXPECT_EQ(&entry(KLX_APP_CMD), &SystemProbe::mAppPathTable[24]);
    EXPECT_EQ(entry(KLX_APP_CMD), "C:\\windows\\system32\\cmd.exe");

    // The directory of this test program, as the system names it.
    const std::string self = klxtest::programDirectory().string();
    EXPECT_EQ(entry(KLX_APP_EXE_DIR), self);
    EXPECT_EQ(cached(KLX_APP_IDE_DIR), "");
    EXPECT_EQ(entry(KLX_APP_WIZARD), self + "\\KlWizard.exe");
    EXPECT_EQ(cached(KLX_APP_IDE_DIR), self);
    EXPECT_EQ(entry(KLX_APP_CVL_SETTINGS), self + "\\KlCvlSettings.exe");
    // A filled entry is returned as it stands.
    cached(KLX_APP_IDE_DIR) = "C:\\SDK\\IDE";
    cached(KLX_APP_WIZARD).clear();
    EXPECT_EQ(entry(KLX_APP_WIZARD), "C:\\SDK\\IDE\\KlWizard.exe");
}

TEST_F(AppPath, VisualCppFromTheMachineRegistry) {
    // Not installed: the directories are empty, the executables are their
    // suffixes alone.
    expectEntries({KLX_APP_MSVC71_DIR, KLX_APP_MSVC71_EXE, KLX_APP_MSVC70_DIR, KLX_APP_MSVC70_EXE,
                   KLX_APP_MSVC6_BIN_DIR, KLX_APP_MSVC6_EXE},
                  {"", "\\DEVENV.EXE", "", "\\DEVENV.EXE", "\\Common\\MSDev98\\Bin",
                   "\\Common\\MSDev98\\Bin\\MSDEV.EXE"});

    setRegistry(HKEY_LOCAL_MACHINE, kMsvc6, "ProductDir",
                "C:\\Program Files\\Microsoft Visual Studio\\VC98");
    setRegistry(HKEY_LOCAL_MACHINE, "Software\\Microsoft\\VisualStudio\\7.1", "InstallDir",
                "C:\\VS2003\\Common7\\IDE\\");
    setRegistry(HKEY_LOCAL_MACHINE, "Software\\Microsoft\\VisualStudio\\7.0", "InstallDir",
                "D:\\VS2002\\IDE");
    // Entries that are not empty stay as they were until the reset; an empty
    // entry is looked up again.
    expectEntries(
        {KLX_APP_MSVC71_EXE, KLX_APP_MSVC6_EXE, KLX_APP_MSVC71_DIR},
        {"\\DEVENV.EXE", "\\Common\\MSDev98\\Bin\\MSDEV.EXE", "C:\\VS2003\\Common7\\IDE\\"});

    KLXSystem::resetAppPathTable();
    for (const std::string& value : SystemProbe::mAppPathTable)
        EXPECT_EQ(value, "");
    // A derived entry fills its base; the value's own trailing backslash stays.
    EXPECT_EQ(entry(KLX_APP_MSVC71_EXE), "C:\\VS2003\\Common7\\IDE\\\\DEVENV.EXE");
    EXPECT_EQ(cached(KLX_APP_MSVC71_DIR), "C:\\VS2003\\Common7\\IDE\\");
    EXPECT_EQ(entry(KLX_APP_MSVC70_EXE), "D:\\VS2002\\IDE\\DEVENV.EXE");
    const std::string vs = "C:\\Program Files\\Microsoft Visual Studio\\";
    EXPECT_EQ(entry(KLX_APP_MSVC6_EXE), vs + "Common\\MSDev98\\Bin\\MSDEV.EXE");
    EXPECT_EQ(cached(KLX_APP_MSVC6_BIN_DIR), vs + "Common\\MSDev98\\Bin");
    EXPECT_EQ(cached(KLX_APP_MSVC6_DIR), vs + "VC98");

    // A product directory without a backslash is kept whole.
    setRegistry(HKEY_LOCAL_MACHINE, kMsvc6, "ProductDir", "VC98");
    KLXSystem::resetAppPathTable();
    EXPECT_EQ(entry(KLX_APP_MSVC6_BIN_DIR), "VC98\\Common\\MSDev98\\Bin");
}

TEST_F(AppPath, CygwinRootMachineFirstThenUser) {
    // Absent everywhere: every Cygwin entry is empty and asked again.
    expectEntries({KLX_APP_CYGWIN_ROOT, KLX_APP_CYGWIN_BIN_DIR, KLX_APP_CYGWIN_DLL, KLX_APP_BASH},
                  {"", "", "", ""});
    EXPECT_EQ(&KLXSystem::getGygwinRoot(), &entry(KLX_APP_CYGWIN_ROOT));

    // Registered for the current user only, with forward slashes.
    setRegistry(HKEY_CURRENT_USER, kCygwinKey, "native", "C:/cygwin");
    expectEntries(
        {KLX_APP_BASH, KLX_APP_CYGWIN_DLL, KLX_APP_CYGWIN_BIN_DIR, KLX_APP_CYGWIN_ROOT},
        {"C:\\cygwin\\bin\\bash", "C:\\cygwin\\bin\\cygwin1.dll", "C:\\cygwin\\bin", "C:\\cygwin"});

    // The machine-wide install wins, but only after the reset.
    setRegistry(HKEY_LOCAL_MACHINE, kCygwinKey, "native", "D:/tools/cygwin");
    EXPECT_EQ(KLXSystem::getGygwinRoot(), "C:\\cygwin");
    KLXSystem::resetAppPathTable();
    EXPECT_EQ(KLXSystem::getGygwinRoot(), "D:\\tools\\cygwin");
    EXPECT_EQ(entry(KLX_APP_BASH), "D:\\tools\\cygwin\\bin\\bash");
    setRegistry(HKEY_LOCAL_MACHINE, kCygwinKey, "native", "");
    setRegistry(HKEY_CURRENT_USER, kCygwinKey, "native", "");
}

TEST_F(AppPath, EnvironmentEntriesFollowTheWindowsFamily) {
    // The 9x family reads the process environment.
    SystemProbe::mOsType = KLX_OS_9X;
    for (KLXAppType_e type :
         {KLX_APP_GCC_HOME, KLX_APP_GCC_BIN_DIR, KLX_APP_ARM_ELF_GCC, KLX_APP_SGT_DIR,
          KLX_APP_LIB_HOME, KLX_APP_TCPIP_DIR, KLX_APP_M2M_DIR})
        EXPECT_EQ(entry(type), "");

    klxtest::setEnv("KLLIBHOME", "C:/SDK/lib");
    klxtest::setEnv("KLGCCHOME", "/cygdrive/d/gcc");
    // The Cygwin conversion keeps the drive letter as written.
    klxtest::setEnv("SGT_DIR", "/cygdrive/c/sgt/dir");
    expectEntries({KLX_APP_TCPIP_DIR, KLX_APP_M2M_DIR, KLX_APP_LIB_HOME, KLX_APP_ARM_ELF_GCC,
                   KLX_APP_GCC_BIN_DIR, KLX_APP_SGT_DIR},
                  {"C:\\SDK\\lib\\tcpip", "C:\\SDK\\lib\\m2m", "C:\\SDK\\lib",
                   "d:\\gcc\\bin\\arm-elf-gcc.exe", "d:\\gcc\\bin", "c:\\sgt\\dir"});

    // A resolved entry ignores later changes of its variable until the reset.
    klxtest::setEnv("KLLIBHOME", "E:/other");
    EXPECT_EQ(entry(KLX_APP_M2M_DIR), "C:\\SDK\\lib\\m2m");
    KLXSystem::resetAppPathTable();
    EXPECT_EQ(entry(KLX_APP_M2M_DIR), "E:\\other\\m2m");
    klxtest::unsetEnv("KLGCCHOME");
    klxtest::unsetEnv("SGT_DIR");

    // The NT family reads the machine environment key, not the process.
    KLXSystem::resetAppPathTable();
    SystemProbe::mOsType = KLX_OS_NT;
    klxtest::setEnv("KLLIBHOME", "C:/process/only");
    EXPECT_EQ(entry(KLX_APP_LIB_HOME), "");
    setRegistry(HKEY_LOCAL_MACHINE, kMachineEnvironment, "KLLIBHOME", "F:/machine/lib");
    setRegistry(HKEY_LOCAL_MACHINE, kMachineEnvironment, "KLGCCHOME", "/cygdrive/c/gcc");
    EXPECT_EQ(entry(KLX_APP_TCPIP_DIR), "F:\\machine\\lib\\tcpip");
    EXPECT_EQ(entry(KLX_APP_ARM_ELF_GCC), "c:\\gcc\\bin\\arm-elf-gcc.exe");
    klxtest::unsetEnv("KLLIBHOME");
    setRegistry(HKEY_LOCAL_MACHINE, kMachineEnvironment, "KLLIBHOME", "");
    setRegistry(HKEY_LOCAL_MACHINE, kMachineEnvironment, "KLGCCHOME", "");
}

TEST_F(AppPath, EclipseFromTheSettingsObject) {
    ASSERT_EQ(KLXCorvaleSettings::Instance, nullptr);
    expectEntries({KLX_APP_ECLIPSE_DIR, KLX_APP_ECLIPSE_EXE}, {"", ""});

    const fs::path rc = klxtest::freshDir("eclipse") / "project.cvlrc";
    klxtest::writeBytes(rc, "export KL_CVL_IDE_ECLIPSE=\"C:/SDK/Eclipse/V3.2\"\n");
    std::string config = rc.string();
    {
        KLXCorvaleSettings settings(nullptr, config);
        ASSERT_EQ(KLXCorvaleSettings::Instance, &settings);
        // Found at the next request, unconverted from the element's value.
        expectEntries({KLX_APP_ECLIPSE_EXE, KLX_APP_ECLIPSE_DIR},
                      {"C:\\SDK\\Eclipse\\V3.2\\eclipse.exe", "C:\\SDK\\Eclipse\\V3.2"});
    }
    // The cached entry outlives the object until the reset.
    EXPECT_EQ(entry(KLX_APP_ECLIPSE_DIR), "C:\\SDK\\Eclipse\\V3.2");
    KLXSystem::resetAppPathTable();
    EXPECT_EQ(entry(KLX_APP_ECLIPSE_EXE), "");
}
