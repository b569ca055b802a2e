// Starting programs: the command lines that the child receives, exit codes,
// the captured output with its limits, and the framing added by the command
// interpreter and bash forms. The tools are the test build's fake tool on
// drive C:.
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include "Environment.h"
#include "FakeTool.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct SystemProbe : KLXSystem {
    using KLXSystem::mAppPathTable;
    using KLXSystem::mOsType;
    using KLXSystem::mTheEmptyString;
};

using Args = std::vector<std::string>;

fs::path drive() {
    return klxtest::cDrive();
}

class ProcessRunner : public ::testing::Test {
protected:
    void SetUp() override {
        mStartDirectory = fs::current_path();
        KLXSystem::resetAppPathTable();
        SystemProbe::mOsType = KLX_OS_9X; // tool variables from the process
        klxtest::installFakeTool(tool("x"));
    }
    void TearDown() override {
        fs::current_path(mStartDirectory);
        KLXSystem::resetAppPathTable();
        SystemProbe::mOsType = KLX_OS_NT;
    }
    static fs::path tool(const std::string& name) { return drive() / "Tools" / name; }

    fs::path mStartDirectory;
};

} // namespace

TEST_F(ProcessRunner, RunWaitsOrDetachesAndSkipsEmptyArguments) {
    std::string cmd = "C:\\Tools\\x.exe";
    Args args{"7"};
    EXPECT_EQ(KLXSystem::run(cmd, args), 7);
    args = {"0"};
    EXPECT_EQ(KLXSystem::run(cmd, args, true), 0);
    int detached = KLXSystem::run(cmd, args, false);
    EXPECT_NE(detached, -1);
    EXPECT_GT(detached, 0);

    // Empty arguments vanish; the rest reach the child unquoted.
    args = {"log", "a", "", "b"};
    EXPECT_EQ(KLXSystem::run(cmd, args), 0);
    EXPECT_EQ(klxtest::fakeToolLog(tool("x")), "[a]\n[b]\n");
    EXPECT_EQ(args.size(), 4u);
    // A blank splits an argument unless the caller quoted it.
    args = {"log", "two words", "\"one arg\""};
    EXPECT_EQ(KLXSystem::run(cmd, args), 0);
    EXPECT_EQ(klxtest::fakeToolLog(tool("x")), "[two]\n[words]\n[one arg]\n");

    std::string missing = "C:\\Tools\\missing.exe";
    EXPECT_EQ(KLXSystem::run(missing, args), -1);
    EXPECT_EQ(KLXSystem::runApp(KLX_APP_MSVC71_DIR, args, true), -1);
}

TEST_F(ProcessRunner, CaptureTakesShortStandardOutputAndTheExitCode) {
    std::string cmd = "C:\\Tools\\x.exe";
    Args args{"hello"};
    int code = 99;
    std::string& shared = KLXSystem::runGetOutput(cmd, args, &code);
    // The process now stands in the tool's directory.
    EXPECT_EQ(fs::current_path(), fs::canonical(drive() / "Tools"));
    // Standard error is not part of it; only output shorter than the
    // 4096-byte buffer is kept; a zero byte ends the text; a child that floods
    // standard error ends. Every result is the one shared string.
    const struct {
        Args args;
        std::string output;
        int code;
    } cases[] = {{{"hello"}, "hello", 3},
                 {{"5"}, "", 5},
                 {{"size", "4095"}, std::string(4095, 'a'), 4},
                 {{"size", "4096"}, "", 4},
                 {{"size", "100000"}, "", 4},
                 {{"nul"}, "ab", 0},
                 {{"stderr"}, "", 6}};
    for (const auto& c : cases) {
        args = c.args;
        code = 99;
        std::string& result = KLXSystem::runGetOutput(cmd, args, &code);
        EXPECT_EQ(&result, &shared);
        EXPECT_EQ(result, c.output) << args[0];
        EXPECT_EQ(code, c.code) << args[0];
    }

    // Nothing started: the shared result, empty, with -1.
    std::string missing = "C:\\Tools\\missing.exe";
    EXPECT_EQ(&KLXSystem::runGetOutput(missing, args, &code), &shared);
    EXPECT_EQ(shared, "");
    EXPECT_EQ(code, -1);
    // A tool without a path: the module's empty string, code untouched.
    EXPECT_EQ(&KLXSystem::runGetOutput(KLX_APP_MSVC70_DIR, args, &code),
              &SystemProbe::mTheEmptyString);
    EXPECT_EQ(code, -1);
    // A tool with a path.
    klxtest::setEnv("SGT_DIR", "/cygdrive/c/Tools/x");
    args = {"hello"};
    EXPECT_EQ(KLXSystem::runGetOutput(KLX_APP_SGT_DIR, args, &code), "hello");
    EXPECT_EQ(code, 3);
    klxtest::unsetEnv("SGT_DIR");
}

TEST_F(ProcessRunner, CommandInterpreterAndBashFraming) {
    // A command interpreter where the table says.
    klxtest::installFakeTool(tool("cmd.exe"));
    SystemProbe::mAppPathTable[KLX_APP_CMD] = "C:\\Tools\\cmd.exe";
    std::string cmd = "dir";
    Args args{"C:\\"};
    EXPECT_EQ(KLXSystem::runCmd(cmd, args, true), 0);
    EXPECT_EQ(klxtest::fakeToolLog(tool("cmd")), "[/c]\n[dir]\n[C:\\]\n");
    EXPECT_EQ(args, Args{"C:\\"});

    // Without Cygwin there is no bash to run.
    std::string make = "exit";
    args = {"7"};
    EXPECT_EQ(KLXSystem::runBash(make, args, true), -1);

    // A bash of a Cygwin root registered for the user: it logs its
    // arguments and runs the command string with Cygwin drive paths mapped.
    std::string cygwinKey = "Software\\Cygnus Solutions\\Cygwin\\mounts v2\\/";
    std::string native = "native", root = "C:/cygroot";
    KLXRegistryKey(HKEY_CURRENT_USER, cygwinKey).setValue(native, root);
    KLXSystem::resetAppPathTable();
    const fs::path bash = drive() / "cygroot" / "bin" / "bash";
    klxtest::installFakeTool(bash);
    EXPECT_EQ(KLXSystem::runBash(make, args, true), 7);
    EXPECT_EQ(klxtest::fakeToolLog(bash), "[--login]\n[-c]\n[ exit 7 ]\n");

    // The compiler's banner through a bash that is no login shell.
    klxtest::installFakeTool(drive() / "gcc" / "bin" / "arm-elf-gcc.exe");
    klxtest::setEnv("KLGCCHOME", "/cygdrive/c/gcc");
    args = {"--version"};
    int code = 99;
    EXPECT_EQ(KLXSystem::runBashGetOutput(KLX_APP_ARM_ELF_GCC, args, &code, false),
              "arm-elf-gcc (GCC) 4.1.1\n");
    EXPECT_EQ(code, 0);
    EXPECT_EQ(klxtest::fakeToolLog(bash),
              "[-c]\n[ /cygdrive/c/gcc/bin/arm-elf-gcc.exe --version ]\n");
    EXPECT_EQ(fs::current_path(), fs::canonical(drive() / "cygroot" / "bin"));
    std::string gcc = "c:\\gcc\\bin\\arm-elf-gcc.exe";
    EXPECT_EQ(KLXSystem::runBashGetOutput(gcc, args, &code, true), "arm-elf-gcc (GCC) 4.1.1\n");
    EXPECT_EQ(klxtest::fakeToolLog(bash),
              "[--login]\n[-c]\n[ /cygdrive/c/gcc/bin/arm-elf-gcc.exe --version ]\n");
    klxtest::unsetEnv("KLGCCHOME");

    // A command that does not exist runs nothing.
    std::string missing = "C:\\gcc\\bin\\missing.exe";
    code = 42;
    EXPECT_EQ(&KLXSystem::runBashGetOutput(missing, args, &code, true),
              &SystemProbe::mTheEmptyString);
    EXPECT_EQ(code, 42);
    KLXSystem::resetAppPathTable();
    EXPECT_EQ(&KLXSystem::runBashGetOutput(KLX_APP_ARM_ELF_GCC, args, &code, false),
              &SystemProbe::mTheEmptyString);
    EXPECT_EQ(code, 42);
    root.clear();
    KLXRegistryKey(HKEY_CURRENT_USER, cygwinKey).setValue(native, root);
}
