// KlEnv run as an installer runs it: what it prints for each argument, the
// command lines and values it refuses without changing anything, and runs at
// the same time. How the changes are applied is the library's tests'.
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include "Environment.h"
#include "TestFiles.h"
#include "ToolRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

using Lines = std::vector<std::string>;

namespace {

const std::string kAppliedNt =
    "Applied: running programs were told; C:\\klenv.bat holds the new definitions";

klxtest::ToolResult run(const Lines& arguments, const Lines& environment = {}) {
    return klxtest::runTool(KLX_TOOL_KLENV, arguments, environment);
}

TEST(KlEnv, SaysWhatEachArgumentDid) {
    const std::pair<Lines, Lines> steps[] = {
        {{"-s", "KLTOOLS=C:\\kl", "-s", "KLPATH=C:\\a;C:\\Lib;C:\\b", "KLUNSET"},
         {"KLTOOLS=C:\\kl", "KLPATH=C:\\a;C:\\Lib;C:\\b", "KLUNSET=", kAppliedNt}},
        // Items compare without regard to letter case.
        {{"-a", "KLPATH=c:\\B"}, {"KLPATH already holds c:\\B"}},
        {{"-r", "KLPATH=\\LIB", "-a", "KLPATH=C:\\c"},
         {"removed C:\\Lib from KLPATH", "KLPATH=C:\\a;C:\\b", "KLPATH=C:\\a;C:\\b;C:\\c",
          kAppliedNt}},
        // A trial run shows each change and makes none.
        {{"-n", "-a", "KLPATH=C:\\d", "-s", "KLTOOLS=x", "KLTOOLS", "-r", "KLPATH=zz", "-s",
          "KLNEW=1"},
         {"KLTOOLS=x", "no item of KLPATH contains zz",
          "would set KLPATH=C:\\a;C:\\b;C:\\c;C:\\d (now C:\\a;C:\\b;C:\\c)",
          "would set KLTOOLS=x (now C:\\kl)", "would set KLNEW=1 (now not set)",
          "Nothing was changed (-n)"}},
        {{"KLPATH", "KLTOOLS", "KLNEW"}, {"KLPATH=C:\\a;C:\\b;C:\\c", "KLTOOLS=C:\\kl", "KLNEW="}},
    };
    for (const auto& [arguments, out] : steps) {
        klxtest::ToolResult result = run(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(klxtest::outputLines(result.out), out);
    }
}

TEST(KlEnv, NineXSaysAutoexecCallsTheBatchFile) {
    // Windows 98 for the program: KLX_WINDOWS_FAMILY on POSIX hosts, Wine's
    // version for the program on Windows (the test has a Wine machine of its own).
    std::string key = "Software\\Wine\\AppDefaults\\KlEnv.exe", name = "Version", win98 = "win98";
    KLXRegistryKey(HKEY_CURRENT_USER, key).setValue(name, win98);
    klxtest::ToolResult result = run({"-s", "KLCOREHOME=A2"}, {"KLX_WINDOWS_FAMILY=9x"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(klxtest::outputLines(result.out),
              (Lines{"KLCOREHOME=A2", "Applied: C:\\autoexec.bat calls C:\\klenv.bat, which holds "
                                      "the new definitions"}));
}

// Nothing is carried out when any argument is bad, even a late one: a
// mistake (2), or a value that cmd would not read back from klenv.bat (1).
TEST(KlEnv, BadArgumentsChangeNothing) {
    ASSERT_EQ(run({"-s", "KLTOOLS=C:\\kl"}).exitCode, 0);
    const std::string klenv = klxtest::readBytes(klxtest::cDrive() / "klenv.bat");
    struct Row {
        Lines arguments;
        int exitCode;
        std::string named;
    };
    const Row rows[] = {{{"-s", "KLNEW"}, 2, "-s needs NAME=VALUE, not 'KLNEW'"},
                        {{"-s", "=1"}, 2, "-s needs NAME=VALUE"},
                        {{"-a", "KLPATH="}, 2, "no item to add"},
                        {{"-r", "KLPATH="}, 2, "no text to remove"},
                        {{"KLNEW=1"}, 2, "not a variable name (to set one, write -s KLNEW=1)"},
                        {{"-s", "KLNEW=a & del /q C:\\*"}, 1, "\"&\""},
                        {{"-s", "KLNEW=50%"}, 1, "\"%\""},
                        {{"-s", "KLNEW=a\nSET B=1"}, 1, "KLNEW=a\\nSET B=1 cannot be written"},
                        {{"-s", "KL&=1"}, 1, "\"&\""}};
    for (const Row& row : rows) {
        Lines arguments = {"-s", "KLTOOLS=changed"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        SCOPED_TRACE(::testing::PrintToString(arguments));
        klxtest::ToolResult result = run(arguments);
        EXPECT_EQ(result.exitCode, row.exitCode);
        EXPECT_EQ(result.out, "");
        Lines lines = klxtest::outputLines(result.err);
        ASSERT_EQ(lines.size(), row.exitCode == 1 ? 2u : 1u) << result.err;
        EXPECT_EQ(lines.front().rfind("KlEnv: ", 0), 0u) << result.err;
        EXPECT_NE(lines.front().find(row.named), std::string::npos) << result.err;
        EXPECT_EQ(lines.back() == "KlEnv: nothing was changed", row.exitCode == 1);
        EXPECT_EQ(run({"KLTOOLS"}).out, "KLTOOLS=C:\\kl\n");
        EXPECT_EQ(klxtest::readBytes(klxtest::cDrive() / "klenv.bat"), klenv);
    }
}

TEST(KlEnv, HelpAndVersion) {
    EXPECT_EQ(run({"-h"}).out.rfind("Usage: KlEnv ", 0), 0u);
    EXPECT_EQ(run({"-v"}).out.rfind("KlEnv 0.", 0), 0u);
    klxtest::ToolResult none = run({"-n"});
    EXPECT_EQ(none.exitCode, 2);
    EXPECT_EQ(none.err.rfind("Usage: KlEnv ", 0), 0u);
}

// Each run rewrites the environment batch file; runs that overlap take turns,
// so that none of them writes back a file without another's lines.
TEST(KlEnv, RunsAtTheSameTimeKeepEveryDefinition) {
    // A run that failed leaves its definition out too.
    std::vector<std::thread> runs;
    Lines expected;
    for (int run = 0; run < 16; ++run) {
        Lines arguments = {"-s", "KLRUN" + std::to_string(run) + "=x"};
        expected.push_back("SET " + arguments[1]);
        runs.emplace_back([arguments]() mutable {
            std::string program = KLX_TOOL_KLENV;
            KLXSystem::run(program, arguments, true);
        });
    }
    for (std::thread& run : runs)
        run.join();
    Lines lines = klxtest::crlfLines(klxtest::readBytes(klxtest::cDrive() / "klenv.bat"));
    std::sort(lines.begin(), lines.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(lines, expected);
}

} // namespace
