// KLXSystem: the machine facts, the tool location table with its sources,
// the information report, and the command lines and results of the runner
// (its tools are the test build's fake tool on drive C:).
#include "KLXCorvaleSettings.h"
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include "Environment.h"
#include "FakeTool.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using namespace klxtest;
using Args = std::vector<std::string>;

namespace {

// The family is forced so that the 9x rows run on any host.
struct SystemProbe : KLXSystem {
    using KLXSystem::mAppPathTable;
    using KLXSystem::mOsType;
    using KLXSystem::mTheEmptyString;
};

void setRegistry(HKEY root, std::string path, std::string name, std::string value) {
    KLXRegistryKey(root, path).setValue(name, value);
}

const char* const kCygwin = "Software\\Cygnus Solutions\\Cygwin\\mounts v2\\/";
const char* const kMsvc6 = "Software\\Microsoft\\DevStudio\\6.0\\Products\\Microsoft Visual C++";
const char* const kMsvc71 = "Software\\Microsoft\\VisualStudio\\7.1";

// Looks the entries up in the order given.
void expectEntries(const std::vector<std::pair<KLXAppType_e, std::string>>& entries) {
    for (const auto& [type, value] : entries)
        EXPECT_EQ(KLXSystem::getApplicationPath(type), value) << "entry " << type;
}

fs::path tool(const std::string& name) {
    return cDrive() / "Tools" / name;
}

class System : public ::testing::Test {
protected:
    void SetUp() override {
        KLXSystem::resetAppPathTable();
        SystemProbe::mOsType = KLX_OS_NT;
        installFakeTool(tool("x.exe"));
    }
    std::string mTool = "C:\\Tools\\x.exe", mMissing = "C:\\Tools\\missing.exe";
};

} // namespace

TEST_F(System, FamilyIsReadOnceFromTheEnvironment) {
#ifdef _WIN32
    GTEST_SKIP() << "Windows gives the family from its version, not from KLX_WINDOWS_FAMILY";
#endif
    // Only the exact word "9x" selects the 9x family; the family is fixed at
    // the first question.
    for (const std::string value : {"9x", "9X"}) {
        SystemProbe::mOsType = KLX_OS_UNKNOWN;
        setEnv("KLX_WINDOWS_FAMILY", value);
        const KLXOsType_e expected = value == "9x" ? KLX_OS_9X : KLX_OS_NT;
        EXPECT_EQ(KLXSystem::getOsType(), expected) << value;
        setEnv("KLX_WINDOWS_FAMILY", expected == KLX_OS_9X ? "nt" : "9x");
        EXPECT_EQ(KLXSystem::getOsType(), expected) << value;
    }
}

TEST_F(System, WindowsDirectoryDriveAndProfile) {
    // The drive is the Windows directory up to and including its first
    // backslash.
    EXPECT_EQ(KLXSystem::getSystemDrive(), "C:\\");
    EXPECT_EQ(KLXSystem::getSystemRoot(), "C:\\windows");
    // The profile is asked again while unknown, then kept.
    const std::string home = profileDirectory();
#ifndef _WIN32
    unsetEnv("HOME");
    EXPECT_EQ(KLXSystem::getUserProfileDir(), "");
    setEnv("HOME", home);
#endif
    std::string& profile = KLXSystem::getUserProfileDir();
    setEnv("HOME", "/elsewhere");
    setEnv("USERPROFILE", "C:\\elsewhere");
    EXPECT_EQ(&KLXSystem::getUserProfileDir(), &profile);
    EXPECT_EQ(profile, home);
}

TEST_F(System, ToolTableProgramDirectoryAndOtherTypes) {
    const std::string self = programDirectory().string();
    expectEntries({{KLX_APP_CMD, "C:\\windows\\system32\\cmd.exe"},
                   {KLX_APP_EXE_DIR, self},
                   {KLX_APP_WIZARD, self + "\\KlWizard.exe"},
                   {KLX_APP_CVL_SETTINGS, self + "\\KlCvlSettings.exe"}});
}

TEST_F(System, ToolTableRegistryRowsTheirDerivedEntriesAndTheReport) {
    std::string& report = KLXSystem::getSystemInfo();
    // Not installed: the directories are empty, the executables are their
    // suffixes alone, and the entries that need a base stay empty.
    expectEntries({{KLX_APP_MSVC71_DIR, ""},
                   {KLX_APP_MSVC71_EXE, "\\DEVENV.EXE"},
                   {KLX_APP_MSVC6_EXE, "\\Common\\MSDev98\\Bin\\MSDEV.EXE"},
                   {KLX_APP_BASH, ""}});
    setRegistry(HKEY_LOCAL_MACHINE, kMsvc6, "ProductDir", "C:\\VS6\\VC98");
    setRegistry(HKEY_LOCAL_MACHINE, kMsvc71, "InstallDir", "C:\\VS2003\\Common7\\IDE\\");
    setRegistry(HKEY_LOCAL_MACHINE, "Software\\Microsoft\\VisualStudio\\7.0", "InstallDir",
                "D:\\VS2002\\IDE");
    setRegistry(HKEY_CURRENT_USER, kCygwin, "native", "C:/cygwin");
    // Entries that are not empty stay until the reset; empty ones are looked
    // up again. Cygwin registered for the user only is found there.
    expectEntries({{KLX_APP_MSVC71_EXE, "\\DEVENV.EXE"},
                   {KLX_APP_MSVC71_DIR, "C:\\VS2003\\Common7\\IDE\\"},
                   {KLX_APP_BASH, "C:\\cygwin\\bin\\bash"}});
    // The machine-wide Cygwin comes first. A derived entry fills its base;
    // the value's own trailing backslash stays.
    setRegistry(HKEY_LOCAL_MACHINE, kCygwin, "native", "D:/cygwin");
    KLXSystem::resetAppPathTable();
    expectEntries({{KLX_APP_MSVC71_EXE, "C:\\VS2003\\Common7\\IDE\\\\DEVENV.EXE"},
                   {KLX_APP_MSVC70_EXE, "D:\\VS2002\\IDE\\DEVENV.EXE"},
                   {KLX_APP_MSVC6_EXE, "C:\\VS6\\Common\\MSDev98\\Bin\\MSDEV.EXE"},
                   {KLX_APP_CYGWIN_DLL, "D:\\cygwin\\bin\\cygwin1.dll"},
                   {KLX_APP_CYGWIN_ROOT, "D:\\cygwin"}});
    // The report is rebuilt at every call, in the same string. The Eclipse
    // entries come from the settings object, once there is one.
    std::string rc = (freshDir("info") / "tools.cvlrc").string();
    writeBytes(rc, "export KL_CVL_IDE_ECLIPSE=\"C:/SDK/Eclipse\"\n");
    KLXCorvaleSettings settings(nullptr, rc);
    SystemProbe::mOsType = KLX_OS_9X;
    KLXSystem::resetAppPathTable();
    expectEntries({{KLX_APP_ECLIPSE_EXE, "C:\\SDK\\Eclipse\\eclipse.exe"}});
    EXPECT_EQ(&KLXSystem::getSystemInfo(), &report);
    EXPECT_EQ(report, "OS version: Microsoft Windows ME, 98 or 95\r\nSystem Drive: C:\\"
                      "\r\nUser profile directory: " +
                          profileDirectory() + "\r\nCygwin Root Path: D:\\cygwin" +
                          "\r\nMicrosoft Visual C++ 6.0 installed: yes"
                          "\r\nMicrosoft Visual C++ .NET 2002 installed: yes"
                          "\r\nMicrosoft Visual C++ .NET 2003 installed: yes"
                          "\r\nEclipse installed: yes"
                          "\r\nCorvale IDE path: " +
                          programDirectory().string());
}

TEST_F(System, ToolTableEnvironmentRowsFollowTheWindowsFamily) {
    // The 9x family reads the process environment. Cygwin paths keep their
    // drive letter as written; the library's path only has its slashes turned.
    SystemProbe::mOsType = KLX_OS_9X;
    setEnv("KLLIBHOME", "C:/SDK/lib");
    setEnv("KLGCCHOME", "/cygdrive/d/gcc");
    setEnv("SGT_DIR", "/cygdrive/c/sgt/dir");
    expectEntries({{KLX_APP_TCPIP_DIR, "C:\\SDK\\lib\\tcpip"},
                   {KLX_APP_ARM_ELF_GCC, "d:\\gcc\\bin\\arm-elf-gcc.exe"},
                   {KLX_APP_SGT_DIR, "c:\\sgt\\dir"}});
    // The NT family reads the machine environment key, not the process.
    KLXSystem::resetAppPathTable();
    SystemProbe::mOsType = KLX_OS_NT;
    EXPECT_EQ(KLXSystem::getApplicationPath(KLX_APP_LIB_HOME), "");
    setRegistry(HKEY_LOCAL_MACHINE,
                "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment", "KLLIBHOME",
                "F:/machine/lib");
    EXPECT_EQ(KLXSystem::getApplicationPath(KLX_APP_TCPIP_DIR), "F:\\machine\\lib\\tcpip");
}

TEST_F(System, RunWaitsOrDetachesAndJoinsTheArguments) {
    Args args{"7"};
    EXPECT_EQ(KLXSystem::run(mTool, args), 7);
    EXPECT_GT(KLXSystem::run(mTool, args, false), 0);
    EXPECT_EQ(KLXSystem::run(mMissing, args), -1);
    // The arguments are joined with one blank each, unquoted: an empty one
    // adds nothing, and a blank splits an argument unless it is quoted.
    args = {"log", "\"a", "", "b\"", "two words"};
    EXPECT_EQ(KLXSystem::run(mTool, args), 0);
    EXPECT_EQ(fakeToolLog(tool("x.exe")), "[a b]\n[two]\n[words]\n");
}

TEST_F(System, CaptureKeepsShortOutputInOneSharedString) {
    // Only output shorter than 4096 bytes is kept, up to a zero byte.
    const std::pair<Args, std::pair<std::string, int>> cases[] = {
        {{"hello"}, {"hello", 3}},
        {{"size", "4095"}, {std::string(4095, 'a'), 4}},
        {{"size", "4096"}, {"", 4}},
        {{"nul"}, {"ab", 0}}};
    int code = 99;
    Args args;
    std::string& shared = KLXSystem::runGetOutput(mMissing, args, &code);
    EXPECT_EQ(code, -1);
    for (const auto& c : cases) {
        args = c.first;
        EXPECT_EQ(&KLXSystem::runGetOutput(mTool, args, &code), &shared);
        EXPECT_EQ(std::make_pair(shared, code), c.second) << args[0];
    }
    // The process now stands in the tool's directory. A tool without a path
    // gives the module's empty string and leaves the code alone.
    EXPECT_EQ(fs::current_path(), fs::canonical(tool("")));
    EXPECT_EQ(&KLXSystem::runGetOutput(KLX_APP_MSVC70_DIR, args, &code),
              &SystemProbe::mTheEmptyString);
    EXPECT_EQ(code, 0);
}

TEST_F(System, CommandInterpreterAndBashFraming) {
    installFakeTool(tool("cmd.exe"));
    SystemProbe::mAppPathTable[KLX_APP_CMD] = "C:\\Tools\\cmd.exe";
    std::string command = "dir";
    Args args{"C:\\"};
    EXPECT_EQ(KLXSystem::runCmd(command, args, true), 0);
    EXPECT_EQ(fakeToolLog(tool("cmd.exe")), "[/c]\n[dir]\n[C:\\]\n");

    // Without Cygwin there is no bash to run; with one, bash runs the command
    // and its arguments as one command string.
    command = "exit";
    args = {"7"};
    EXPECT_EQ(KLXSystem::runBash(command, args, true), -1);
    setRegistry(HKEY_CURRENT_USER, kCygwin, "native", "C:/cygroot");
    KLXSystem::resetAppPathTable();
    const fs::path bash = cDrive() / "cygroot" / "bin" / "bash";
    installFakeTool(bash);
    EXPECT_EQ(KLXSystem::runBash(command, args, true), 7);
    EXPECT_EQ(fakeToolLog(bash), "[--login]\n[-c]\n[ exit 7 ]\n");

    // Captured through bash, on the command's Cygwin path.
    args = {"hello"};
    int code = 0;
    EXPECT_EQ(KLXSystem::runBashGetOutput(mTool, args, &code, false), "hello");
    EXPECT_EQ(code, 3);
    EXPECT_EQ(fakeToolLog(bash), "[-c]\n[ /cygdrive/C/Tools/x.exe hello ]\n");
    KLXSystem::runBashGetOutput(mTool, args, &code, true);
    EXPECT_EQ(fakeToolLog(bash), "[--login]\n[-c]\n[ /cygdrive/C/Tools/x.exe hello ]\n");
    // A command that does not exist runs nothing.
    EXPECT_EQ(&KLXSystem::runBashGetOutput(mMissing, args, &code, true),
              &SystemProbe::mTheEmptyString);
    EXPECT_EQ(code, 3);
}
