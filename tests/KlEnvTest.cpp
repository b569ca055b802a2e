// KlEnv run as an installer runs it: on 9x the boot batch file and the
// environment batch file, on NT the machine environment in the registry, and
// command lines that must change nothing, and runs at the same time.
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include "Environment.h"
#include "TestFiles.h"
#include "ToolRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

namespace {

const std::string kRemoved = "REM Removed by Keldmar Corvale settings program";

class KlEnv : public ::testing::Test {
protected:
    void SetUp() override {
        fs::path root = klxtest::freshDir("env");
        fs::create_directories(root / "home");
        klxtest::setEnv("HOME", (root / "home").string());
        klxtest::setEnv("KLX_PREFIX", (root / "prefix").string());
        fs::create_directories(drive());
    }

    klxtest::ToolResult run(const Lines& arguments, const Lines& environment = {}) {
        klxtest::ToolOptions options;
        options.environment = environment;
        return klxtest::runTool(KLX_TOOL_KLENV, arguments, options);
    }

    static fs::path drive() { return klxtest::cDrive(); }
    static std::string bytesOf(const char* name) {
        return fs::exists(drive() / name) ? klxtest::readBytes(drive() / name) : "<none>";
    }
    // The lines of a batch file, each of which must end in CR LF.
    static Lines batchLines(const char* name) { return klxtest::crlfLines(bytesOf(name)); }
    // A variable of the machine environment.
    static std::string machine(std::string name) {
        std::string path = "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
        return KLXRegistryKey(HKEY_LOCAL_MACHINE, path).retValue(name);
    }
};

TEST_F(KlEnv, NineXDisablesOldDefinitionsAndCallsTheBatchFileOnce) {
    klxtest::writeBytes(drive() / "autoexec.bat", "SET KLCOREHOME=A\r\nset path=C;OLD;D\r\n");
    // On 9x the variables live in the process environment.
    Lines nineX = klxtest::nineXFamilyFor("KlEnv.exe");
    nineX.insert(nineX.end(), {"PATH=C;OLD;D", "KLCOREHOME"});
    const Lines arguments = {"-s", "KLCOREHOME=A2", "-r", "PATH=OLD", "-a", "PATH=C:\\KL"};
    const Lines autoexec = {
        kRemoved, "REM SET KLCOREHOME=A", "set path=C;D", kRemoved, "REM set path=C;OLD;D",
        "",       "CALL C:\\klenv.bat"};
    const Lines klenv = {"SET KLCOREHOME=A2", "SET PATH=C:\\KL;%PATH%"};

    for (int pass = 1; pass <= 2; ++pass) {
        SCOPED_TRACE(pass);
        klxtest::ToolResult result = run(arguments, nineX);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(klxtest::outputLines(result.out),
                  (Lines{"KLCOREHOME=A2", "removed OLD from PATH", "PATH=C;D", "PATH=C;D;C:\\KL",
                         "Applied: C:\\autoexec.bat calls C:\\klenv.bat, which holds the new "
                         "definitions"}));
        // Disabled lines are comments the second time: nothing more to do,
        // and the call line is not added again.
        EXPECT_EQ(batchLines("autoexec.bat"), autoexec);
        EXPECT_EQ(batchLines("klenv.bat"), klenv);
    }
    EXPECT_EQ(machine("KLCOREHOME"), "");
}

TEST_F(KlEnv, NtChangesTheMachineEnvironment) {
    klxtest::ToolResult set = run({"-s", "KLTOOLS=C:\\kl", "-s", "KLPATH=C:\\a;C:\\b"});
    EXPECT_EQ(set.exitCode, 0) << set.err;
    EXPECT_EQ(set.err, "");
    EXPECT_EQ(machine("KLTOOLS"), "C:\\kl");
    EXPECT_EQ(machine("KLPATH"), "C:\\a;C:\\b");
    EXPECT_EQ(batchLines("klenv.bat"), (Lines{"SET KLTOOLS=C:\\kl", "SET KLPATH=C:\\a;C:\\b"}));
    EXPECT_EQ(bytesOf("autoexec.bat"), "<none>");

    klxtest::ToolResult shown = run({"KLTOOLS", "KLPATH", "KLUNSET"});
    EXPECT_EQ(shown.exitCode, 0);
    EXPECT_EQ(shown.out, "KLTOOLS=C:\\kl\nKLPATH=C:\\a;C:\\b\nKLUNSET=\n");

    // An item already there, in any letter case, is reported and not added.
    const std::string klenvBefore = bytesOf("klenv.bat");
    klxtest::ToolResult present = run({"-a", "KLPATH=c:\\B"});
    EXPECT_EQ(present.exitCode, 0);
    EXPECT_EQ(present.out, "KLPATH already holds c:\\B\n");
    EXPECT_EQ(machine("KLPATH"), "C:\\a;C:\\b");
    EXPECT_EQ(bytesOf("klenv.bat"), klenvBefore);

    klxtest::ToolResult edited = run({"-a", "KLPATH=C:\\c", "-r", "KLPATH=\\a"});
    EXPECT_EQ(edited.exitCode, 0) << edited.err;
    EXPECT_EQ(machine("KLPATH"), "C:\\b;C:\\c");

    // A trial run shows each change and makes none.
    const std::string before = bytesOf("klenv.bat");
    klxtest::ToolResult trial =
        run({"-n", "-a", "KLPATH=C:\\d", "-s", "KLTOOLS=x", "KLTOOLS", "-r", "KLPATH=zz"});
    EXPECT_EQ(trial.exitCode, 0) << trial.err;
    EXPECT_EQ(klxtest::outputLines(trial.out),
              (Lines{"KLTOOLS=x", "no item of KLPATH contains zz",
                     "would set KLPATH=C:\\b;C:\\c;C:\\d (now C:\\b;C:\\c)",
                     "would set KLTOOLS=x (now C:\\kl)", "Nothing was changed (-n)"}));

    // Nothing is carried out when any argument is bad, even a late one: a
    // mistake (2), or a value that cmd would not read back from klenv.bat (1).
    const std::pair<Lines, int> bad[] = {{{"-s", "KLNEW"}, 2},
                                         {{"-a", "KLPATH="}, 2},
                                         {{"-r", "KLPATH="}, 2},
                                         {{"-x"}, 2},
                                         {{"KLNEW=1"}, 2},
                                         {{"-s"}, 2},
                                         {{"-s", "KLNEW=a & del /q C:\\*"}, 1},
                                         {{"-a", "PATH=C:\\R&D\\bin"}, 1},
                                         {{"-s", "KLNEW=a|b<c>d^e"}, 1},
                                         {{"-s", "KLNEW=50%"}, 1},
                                         {{"-s", "KLNEW=a\nSET B=1"}, 1}};
    for (const auto& [tail, exitCode] : bad) {
        for (Lines arguments : {Lines{}, Lines{"-s", "KLTOOLS=changed", "-a", "KLPATH=C:\\d"}}) {
            arguments.insert(arguments.end(), tail.begin(), tail.end());
            SCOPED_TRACE(::testing::PrintToString(arguments));
            klxtest::ToolResult result = run(arguments);
            EXPECT_EQ(result.exitCode, exitCode);
            EXPECT_EQ(result.out, "");
            Lines lines = klxtest::outputLines(result.err);
            EXPECT_EQ(lines.size(), exitCode == 1 ? 2u : 1u) << result.err;
            EXPECT_EQ(lines.back() == "KlEnv: nothing was changed", exitCode == 1) << result.err;
            EXPECT_EQ(result.err.rfind("KlEnv: ", 0), 0u) << result.err;
            EXPECT_EQ(machine("KLTOOLS"), "C:\\kl");
            EXPECT_EQ(machine("KLPATH"), "C:\\b;C:\\c");
            EXPECT_EQ(machine("KLNEW"), "");
            EXPECT_EQ(bytesOf("klenv.bat"), before);
        }
    }
}

TEST_F(KlEnv, RemovalMatchesItemsInAnyLetterCase) {
    // Items compare without regard to case when added; removal must agree.
    ASSERT_EQ(run({"-s", "KLPATH=C:\\a;C:\\Lib;C:\\b"}).exitCode, 0);
    klxtest::ToolResult removed = run({"-r", "KLPATH=\\LIB"});
    EXPECT_EQ(removed.exitCode, 0) << removed.err;
    Lines lines = klxtest::outputLines(removed.out);
    lines.resize(2);
    EXPECT_EQ(lines, (Lines{"removed C:\\Lib from KLPATH", "KLPATH=C:\\a;C:\\b"}));
    EXPECT_EQ(machine("KLPATH"), "C:\\a;C:\\b");
}

// A store that cannot be opened is named: no value is shown as unset, and
// nothing is claimed applied.
TEST_F(KlEnv, AStoreThatCannotBeOpenedIsNamed) {
#ifdef _WIN32
    GTEST_SKIP() << "the registry store in a file is the POSIX host's";
#endif
    const fs::path other = fs::path(std::getenv("KLX_PREFIX")).parent_path() / "other";
    fs::create_directories(other);
    klxtest::writeBytes(other / "registry.db", "not a database");
    for (const Lines& arguments : {Lines{"-s", "KLNEW=1"}, Lines{"KLNEW"}}) {
        klxtest::ToolResult result = run(arguments, {"KLX_PREFIX=" + other.string()});
        EXPECT_EQ(result.exitCode, 3);
        EXPECT_EQ(result.out, "");
        EXPECT_NE(
            result.err.find("cannot open the registry store " + other.string() + "/registry.db"),
            std::string::npos)
            << result.err;
    }
    EXPECT_FALSE(fs::exists(other / "drive_c" / "klenv.bat"));
}

TEST_F(KlEnv, HelpAndVersion) {
    for (const char* option : {"--help", "-v", "--version"}) {
        klxtest::ToolResult result = run({option});
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.out.rfind(option[2] == 'h' ? "Usage: KlEnv " : "KlEnv 0.", 0), 0u)
            << result.out;
    }
}

TEST_F(KlEnv, RunsAtTheSameTimeKeepEveryDefinition) {
    // Each run rewrites the environment batch file; runs that overlap take
    // turns, so that none of them writes back a file without another's lines.
    const int kRuns = 16, kEach = 5;
    std::vector<int> exitCodes(kRuns, -1);
    std::vector<std::thread> runs;
    Lines expected;
    for (int run = 0; run < kRuns; ++run) {
        Lines arguments;
        for (int n = run * kEach; n < (run + 1) * kEach; ++n) {
            arguments.insert(arguments.end(), {"-s", "KLRUN" + std::to_string(n) + "=x"});
            expected.push_back("SET KLRUN" + std::to_string(n) + "=x");
        }
        runs.emplace_back([run, arguments, &exitCodes]() mutable {
            std::string program = KLX_TOOL_KLENV;
            exitCodes[run] = KLXSystem::run(program, arguments, true);
        });
    }
    for (std::thread& run : runs)
        run.join();
    EXPECT_EQ(exitCodes, std::vector<int>(kRuns, 0));
    Lines lines = batchLines("klenv.bat");
    std::sort(lines.begin(), lines.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(lines, expected);
}

} // namespace
