// KlCvlSettings run as a user runs it, on a copy of the sample SDK: the show,
// selections by path and by index, what lands in the configuration file and
// the registry histories, and the selections and command lines it refuses.
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include "Environment.h"
#include "TestFiles.h"
#include "ToolRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

namespace {

const char* const kVariables[] = {
    "KL_CVL_IDE_OS_DEFAULT", "KL_CVL_IDE_FW_DEFAULT", "KL_CVL_IDE_PLUGINS", "KL_CVL_IDE_GTS_GCC",
    "KL_CVL_IDE_GTS_ARM",    "KL_CVL_IDE_GTS_MINGW",  "KL_CVL_IDE_ECLIPSE"};
const char* const kShort[] = {"os", "fw", "plugins", "gcc", "arm", "mingw", "eclipse"};
// A choice for each, below the test's directory: the OS library of baseband
// "orvan" and its firmware first.
const char* const kChoice[] = {
    "sdk/OS/V3.10", "sdk/Firmware/V3.10_orvan", "sdk/Plugins/V1.00", "sdk/GCC/V3.4",
    "sdk/GCC/V3.4", "sdk/MinGW/V5.1",           "sdk/Eclipse/V3.2"};

// One element as the show lists it.
struct Element {
    std::string value;
    Lines paths;      // selectable paths in the order shown
    int current = -1; // the one marked "*"
};

struct Show {
    std::map<std::string, Element> elements;
    std::string baseband, configFile;
};

// Reads the show strictly: an element line, then its paths numbered from 0.
Show parseShow(const std::string& out) {
    Show show;
    Element* element = nullptr;
    for (const std::string& line : klxtest::outputLines(out)) {
        std::string::size_type name = line.find(") KL_CVL_IDE_"), equals = line.find(" = ");
        if (line.rfind("OS baseband: ", 0) == 0) {
            show.baseband = line.substr(13);
        } else if (line.rfind("Configuration file: ", 0) == 0) {
            show.configFile = line.substr(20);
        } else if (name != std::string::npos && equals != std::string::npos) {
            element = &show.elements[line.substr(name + 2, equals - name - 2)];
            element->value = line.substr(equals + 3);
        } else if (element != nullptr && line != "      (no selectable paths)" && !line.empty()) {
            std::string number = std::to_string(element->paths.size());
            bool marked = line.rfind("  * " + number + "  ", 0) == 0;
            EXPECT_TRUE(marked || line.rfind("    " + number + "  ", 0) == 0) << line;
            if (marked)
                element->current = static_cast<int>(element->paths.size());
            element->paths.push_back(line.substr(6 + number.size()));
        }
    }
    return show;
}

Lines sorted(Lines lines) {
    std::sort(lines.begin(), lines.end());
    return lines;
}

std::string withSlashes(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

// A history as the registry holds it: "count", then "0", "1", ...
Lines history(const std::string& variable) {
    std::string path = "Software\\Keldmar\\Corvale Settings\\" + variable + " history";
    std::string count = "count";
    KLXRegistryKey key(HKEY_CURRENT_USER, path);
    Lines entries;
    for (int i = 0, n = std::atoi(key.retValue(count).c_str()); i < n; ++i) {
        std::string name = std::to_string(i);
        entries.push_back(key.retValue(name));
    }
    return entries;
}

class KlCvlSettings : public ::testing::Test {
protected:
    // A profile, a registry and a copy of the sample SDK of the test's own.
    void SetUp() override {
        mRoot = klxtest::freshDir("cvl");
        fs::create_directories(mRoot / "home");
        klxtest::setEnv("HOME", (mRoot / "home").string());
        klxtest::setEnv("KLX_PREFIX", (mRoot / "prefix").string());
        fs::copy(KLX_SAMPLE_SDK, mRoot / "sdk", fs::copy_options::recursive);
    }

    // Runs the program in the test's directory, so that relative paths
    // name its files.
    klxtest::ToolResult run(const Lines& arguments) {
        klxtest::ToolOptions options;
        options.workingDirectory = mRoot.string();
        return klxtest::runTool(KLX_TOOL_KLCVLSETTINGS, arguments, options);
    }
    Show show(const Lines& arguments = {}) {
        klxtest::ToolResult result = run(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.err, "");
        return parseShow(result.out);
    }

    std::string host(const std::string& relative) const { return (mRoot / relative).string(); }
    // A host path as the program names it: on drive U:, with backslashes.
    std::string windows(const std::string& relative) const {
        std::string path = "U:" + host(relative);
        std::replace(path.begin(), path.end(), '/', '\\');
        return path;
    }
    fs::path rcFile() const { return mRoot / "home" / ".cvlrc"; }

    // Selects all seven by host path; each says what it became.
    void selectAll() {
        Lines arguments, values, expected;
        for (size_t i = 0; i < 7; ++i) {
            arguments.push_back(std::string(kShort[i]) + "=" + host(kChoice[i]));
            expected.push_back(std::string(kVariables[i]) + " = " + windows(kChoice[i]));
        }
        klxtest::ToolResult result = run(arguments);
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.err, "");
        for (const std::string& line : klxtest::outputLines(result.out))
            if (line.rfind("KL_CVL_IDE_", 0) == 0 || line.rfind("Saved", 0) == 0)
                values.push_back(line);
        expected.push_back("Saved to " + rcFile().string());
        EXPECT_EQ(values, expected);
    }

    // The seven variables as bash sees them after sourcing `file` in a clean
    // environment.
    Lines sourced(const fs::path& file) {
        std::string script = "source \"$1\" || exit 9; printf '%s\\n'";
        for (const char* variable : kVariables)
            script += std::string(" \"$") + variable + "\"";
        klxtest::ToolOptions options;
        options.cleanEnvironment = true;
        options.environment = {"HOME=" + host("home")};
        klxtest::ToolResult result =
            klxtest::runTool("bash", {"-c", script, "bash", file.string()}, options);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        Lines lines = klxtest::outputLines(result.out);
        lines.resize(7);
        return lines;
    }

    // What a refused call must leave alone: the configuration file's bytes
    // and every history.
    std::string saved() {
        std::string state = fs::exists(rcFile()) ? klxtest::readBytes(rcFile()) : "<none>";
        for (const char* variable : kVariables)
            for (const std::string& entry : history(variable))
                state += "\n" + std::string(variable) + ": " + entry;
        return state;
    }
    void expectNothingSaved(const Lines& arguments, int exitCode, const std::string& named) {
        SCOPED_TRACE(::testing::PrintToString(arguments));
        const std::string before = saved();
        klxtest::ToolResult result = run(arguments);
        EXPECT_EQ(result.exitCode, exitCode);
        EXPECT_EQ(klxtest::outputLines(result.err).size(), 1u) << result.err;
        EXPECT_EQ(result.err.rfind("KlCvlSettings: ", 0), 0u) << result.err;
        EXPECT_NE(result.err.find(named), std::string::npos) << result.err;
        EXPECT_EQ(result.out.find("Saved"), std::string::npos) << result.out;
        EXPECT_EQ(saved(), before);
    }

    fs::path mRoot;
};

TEST_F(KlCvlSettings, FirstRunThenAllSevenSelectedByPath) {
    Show first = show();
    ASSERT_EQ(first.elements.size(), 7u);
    for (const char* variable : kVariables) {
        EXPECT_EQ(first.elements[variable].value, "(not set)") << variable;
        EXPECT_TRUE(first.elements[variable].paths.empty()) << variable;
    }
    EXPECT_EQ(first.baseband, "(none)");
    EXPECT_EQ(first.configFile, rcFile().string());

    selectAll();
    Show after = show();
    for (size_t i = 0; i < 7; ++i) {
        const Element& element = after.elements[kVariables[i]];
        SCOPED_TRACE(kVariables[i]);
        EXPECT_EQ(element.value, windows(kChoice[i]));
        ASSERT_GE(element.current, 0);
        EXPECT_EQ(element.paths[element.current], element.value);
        // Only the OS library's history directory holds versions besides.
        EXPECT_EQ(element.paths.size(), i == 0 ? 3u : 1u);
    }
    EXPECT_EQ(sorted(after.elements["KL_CVL_IDE_OS_DEFAULT"].paths),
              (Lines{windows("sdk/OS/V2.00"), windows("sdk/OS/V2.10"), windows("sdk/OS/V3.10")}));
    EXPECT_EQ(after.baseband, "orvan");
}

TEST_F(KlCvlSettings, OsOfTheOtherBasebandByIndexMovesTheFirmware) {
    selectAll();
    const Lines osPaths = show().elements["KL_CVL_IDE_OS_DEFAULT"].paths;
    const std::string pavanOs = windows("sdk/OS/V2.10");
    auto at = std::find(osPaths.begin(), osPaths.end(), pavanOs);
    ASSERT_NE(at, osPaths.end());

    klxtest::ToolResult result = run({"os=" + std::to_string(at - osPaths.begin())});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    Lines lines = klxtest::outputLines(result.out);
    ASSERT_EQ(lines.size(), 3u) << result.out;
    EXPECT_EQ(lines[0], "KL_CVL_IDE_OS_DEFAULT = " + pavanOs);
    const std::string followed =
        "Firmware followed the OS library to baseband pavan: KL_CVL_IDE_FW_DEFAULT = ";
    ASSERT_EQ(lines[1].rfind(followed, 0), 0u) << lines[1];
    const std::string firmware = lines[1].substr(followed.size());
    const Lines pavanFirmware = {windows("sdk/Firmware/V2.00_pavan"),
                                 windows("sdk/Firmware/V2.10_pavan")};
    EXPECT_NE(std::find(pavanFirmware.begin(), pavanFirmware.end(), firmware), pavanFirmware.end());
    EXPECT_EQ(lines[2], "Saved to " + rcFile().string());

    Show after = show();
    EXPECT_EQ(after.baseband, "pavan");
    EXPECT_EQ(after.elements["KL_CVL_IDE_OS_DEFAULT"].value, pavanOs);
    const Element& fw = after.elements["KL_CVL_IDE_FW_DEFAULT"];
    EXPECT_EQ(fw.value, firmware);
    EXPECT_EQ(sorted(fw.paths), pavanFirmware);
    ASSERT_GE(fw.current, 0);
    EXPECT_EQ(fw.paths[fw.current], firmware);

    // The file, read by bash, and the histories hold what was shown: each
    // value with slashes; the directory above it, or the value itself for
    // the elements that take any directory.
    const Lines exported = sourced(rcFile());
    for (size_t i = 0; i < 7; ++i) {
        SCOPED_TRACE(kVariables[i]);
        const std::string& value = after.elements[kVariables[i]].value;
        EXPECT_EQ(exported[i], withSlashes(value));
        bool anyDirectory = kShort[i] == std::string("plugins") || kShort[i] == std::string("arm");
        EXPECT_EQ(history(kVariables[i]),
                  Lines{anyDirectory ? value : value.substr(0, value.rfind('\\'))});
    }

    // Back to "orvan" with no firmware of it left: the firmware stays, and
    // the output says so.
    fs::remove_all(mRoot / "sdk" / "Firmware" / "V3.10_orvan");
    result = run({"os=" + host("sdk/OS/V3.10")});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.out.find("Firmware did not follow: its history holds no firmware of baseband "
                              "orvan with an emulation executable; KL_CVL_IDE_FW_DEFAULT stays " +
                              firmware + "\n"),
              std::string::npos)
        << result.out;
    EXPECT_EQ(show().elements["KL_CVL_IDE_FW_DEFAULT"].value, firmware);
}

TEST_F(KlCvlSettings, RefusedSelectionsSaveNothing) {
    fs::create_directories(mRoot / "bad" / "OS");
    fs::create_directories(mRoot / "bad" / "GCC" / "lib");
    fs::create_directories(mRoot / "bad" / "Eclipse" / "plugins");
    fs::copy(mRoot / "sdk" / "Firmware" / "V3.10_orvan", mRoot / "bad" / "FwNoEmu");
    fs::remove(mRoot / "bad" / "FwNoEmu" / "emu_orvan.exe");
    // A manifest that does not parse: refused, and the library prints nothing
    // of its own beside the program's one line.
    fs::copy(mRoot / "sdk" / "Firmware" / "V3.10_orvan", mRoot / "bad" / "FwBroken");
    klxtest::writeBytes(mRoot / "bad" / "FwBroken" / "manifest.xml", "<Firmware baseband=");
    selectAll();

    struct Row {
        const char* selection; // element=path relative to the test's directory
        const char* reason;
    };
    const Row rows[] = {
        {"os=sdk/README.md", "not a directory"},
        {"os=sdk/OS/V9.99", "no such directory"},
        {"os=bad/OS", "manifest.xml"},
        {"gcc=bad/GCC", "\"bin\""},
        {"mingw=bad/GCC", "\"bin\""},
        {"eclipse=bad/Eclipse", "eclipse.exe"},
        {"fw=sdk/Firmware/V2.00_pavan", "baseband"},
        {"fw=bad/FwNoEmu", "emu"},
        {"fw=bad/FwBroken", "names no baseband"},
    };
    for (const Row& row : rows) {
        std::string selection = row.selection;
        std::string path = selection.substr(selection.find('=') + 1);
        // A relative path, and an absolute one after a good selection.
        expectNothingSaved({selection}, 1, windows(path) + ": ");
        expectNothingSaved({"plugins=" + host("sdk/GCC"),
                            selection.substr(0, selection.find('=') + 1) + host(path)},
                           1, row.reason);
    }
}

TEST_F(KlCvlSettings, CommandLineErrorsSaveNothing) {
    selectAll();
    const std::string eclipse = "eclipse=" + host("sdk/Eclipse/V3.2");
    const std::string plugins = "plugins=" + host("sdk/GCC");
    expectNothingSaved({"-x"}, 2, "-x");
    expectNothingSaved({plugins, "foo=1"}, 2, "'foo'");
    expectNothingSaved({plugins, "os="}, 2, "os");
    expectNothingSaved({eclipse, "-f"}, 2, "-f");
    expectNothingSaved({"os"}, 2, "'os'");
    expectNothingSaved({"os=3"}, 1, "3");
    expectNothingSaved({plugins, "fw=99999999999999999999999"}, 1, "99999999999999999999999");
}

TEST_F(KlCvlSettings, AnotherConfigurationFile) {
    selectAll();
    const std::string profileFile = klxtest::readBytes(rcFile());
    fs::create_directories(mRoot / "proj");

    klxtest::ToolResult result = run({"-f", "proj/my.cvlrc", "eclipse=sdk/Eclipse/V3.2"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(klxtest::outputLines(result.out).back(), "Saved to " + host("proj/my.cvlrc"));
    const Lines exported = sourced(mRoot / "proj" / "my.cvlrc");
    EXPECT_EQ(exported, (Lines{"", "", "", "", "", "", withSlashes(windows("sdk/Eclipse/V3.2"))}));

    Show project = show({"-f", host("proj/my.cvlrc")});
    EXPECT_EQ(project.configFile, host("proj/my.cvlrc"));
    EXPECT_EQ(project.elements["KL_CVL_IDE_ECLIPSE"].value, windows("sdk/Eclipse/V3.2"));
    EXPECT_EQ(project.elements["KL_CVL_IDE_OS_DEFAULT"].value, "(not set)");

    // A missing file is created empty and stays the one worked on.
    EXPECT_EQ(show({"-f", host("new.cvlrc")}).configFile, host("new.cvlrc"));
    EXPECT_TRUE(fs::is_regular_file(mRoot / "new.cvlrc"));
    EXPECT_EQ(klxtest::readBytes(rcFile()), profileFile);
}

TEST_F(KlCvlSettings, HelpAndInformationReport) {
    klxtest::ToolResult help = run({"-h"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_EQ(help.out.rfind("Usage: KlCvlSettings ", 0), 0u) << help.out;
    EXPECT_EQ(help.err, "");
    EXPECT_FALSE(fs::exists(rcFile()));

    // The report closes the output: nine lines from "OS version: " on.
    auto report = [&](const Lines& arguments, const std::string& eclipse) {
        klxtest::ToolResult result = run(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        std::string::size_type start = result.out.find("OS version: ");
        ASSERT_NE(start, std::string::npos) << result.out;
        Lines lines = klxtest::outputLines(result.out.substr(start));
        EXPECT_EQ(lines.size(), 9u) << result.out;
        for (std::string line :
             {"Eclipse installed: " + eclipse, "User profile directory: " + host("home")})
            EXPECT_NE(std::find(lines.begin(), lines.end(), line), lines.end()) << result.out;
    };
    report({"-i"}, "no");
    report({"-i", "eclipse=sdk/Eclipse/V3.2"}, "yes");
    report({"-i"}, "yes");
}

// A save binds ".cvlrc" files to the program with "-f"; the command that the
// binding holds starts it, found as the library finds programs.
TEST_F(KlCvlSettings, SavedSettingsBindCvlrcFilesToTheProgram) {
    selectAll();
    std::string extension = ".cvlrc", none;
    std::string fileType = KLXRegistryKey(HKEY_CLASSES_ROOT, extension).retValue(none);
    ASSERT_EQ(fileType, "FileAssoc.cvlrc");
    EXPECT_EQ(KLXRegistryKey(HKEY_CLASSES_ROOT, fileType).retValue(none), "Keldmar Corvale SDK");
    std::string commandKey = fileType + "\\shell\\open\\command";
    const std::string command = KLXRegistryKey(HKEY_CLASSES_ROOT, commandKey).retValue(none);
    const std::string program =
        fs::path(KLX_TOOL_KLCVLSETTINGS).parent_path().string() + "\\KlCvlSettings.exe";
    ASSERT_EQ(command, "\"" + program + "\" -f %1");

    std::string started = program;
    std::vector<std::string> arguments = {"-f", host("opened.cvlrc"),
                                          "gcc=" + host("sdk/GCC/V3.4")};
    EXPECT_EQ(KLXSystem::run(started, arguments), 0);
    EXPECT_EQ(klxtest::readBytes(mRoot / "opened.cvlrc"),
              "export KL_CVL_IDE_GTS_GCC=\"" + withSlashes(windows("sdk/GCC/V3.4")) + "\"");
}

} // namespace
