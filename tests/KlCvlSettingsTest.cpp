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
    int marks = 0;
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
            element->marks += marked;
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
    klxtest::ToolResult run(const Lines& arguments, const Lines& environment = {}) {
        klxtest::ToolOptions options;
        options.workingDirectory = mRoot.string();
        options.environment = environment;
        return klxtest::runTool(KLX_TOOL_KLCVLSETTINGS, arguments, options);
    }
    Show show(const Lines& arguments = {}) {
        klxtest::ToolResult result = run(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.err, "");
        return parseShow(result.out);
    }

    std::string host(const std::string& relative) const {
        return (mRoot / relative).make_preferred().string();
    }
    // A host path as the program names it: with backslashes, on drive U:
    // where the host's paths are not Windows paths already.
    std::string windows(const std::string& relative) const {
#ifdef _WIN32
        std::string path = host(relative);
#else
        std::string path = "U:" + host(relative);
#endif
        std::replace(path.begin(), path.end(), '/', '\\');
        return path;
    }
    fs::path rcFile() const {
        return fs::path(klxtest::profileDirectory()) / ".cvlrc";
    }

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

    // The seven variables as bash sees them in a clean environment, in the
    // test's directory, after `load` ran with "$1" set to `argument`.
    Lines inBash(const std::string& load, const std::string& argument) {
        std::string script = load + " || exit 9; printf '%s\\n'";
        for (const char* variable : kVariables)
            script += std::string(" \"$") + variable + "\"";
        klxtest::ToolOptions options;
        options.cleanEnvironment = true;
        options.environment = {"HOME=" + host("home")};
        options.workingDirectory = mRoot.string();
        klxtest::ToolResult result =
            klxtest::runTool("bash", {"-c", script, "bash", argument}, options);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        Lines lines = klxtest::outputLines(result.out);
        lines.resize(7);
        return lines;
    }
    Lines sourced(const fs::path& file) {
#ifdef _WIN32
        // No bash here: the values between the double quotes of the export
        // lines, which hold no escapes.
        Lines values(7);
        for (const std::string& line : klxtest::outputLines(klxtest::readBytes(file)))
            for (size_t i = 0; i < 7; ++i)
                if (line.rfind("export " + std::string(kVariables[i]) + "=\"", 0) == 0)
                    values[i] = line.substr(line.find('"') + 1, line.size() - line.find('"') - 2);
        return values;
#else
        return inBash("source \"$1\"", file.string());
#endif
    }

    // What a refused call must leave alone: the configuration file's bytes
    // and every history.
    std::string saved() {
        // Every run creates a missing file empty, as the library does.
        std::string state = fs::is_regular_file(rcFile()) ? klxtest::readBytes(rcFile())
                            : fs::exists(rcFile())        ? "<not a file>"
                                                          : "";
        for (const char* variable : kVariables)
            for (const std::string& entry : history(variable))
                state += "\n" + std::string(variable) + ": " + entry;
        return state;
    }
    // Nothing printed on stdout, every message on stderr in the program's
    // style, and a refused save ends by saying that nothing was saved.
    void expectNothingSaved(const Lines& arguments, int exitCode, const std::string& named,
                            const Lines& environment = {}) {
        SCOPED_TRACE(::testing::PrintToString(arguments));
        const std::string before = saved();
        klxtest::ToolResult result = run(arguments, environment);
        EXPECT_EQ(result.exitCode, exitCode);
        EXPECT_EQ(result.out, "");
        Lines lines = klxtest::outputLines(result.err);
        bool saving = exitCode != 2 && !arguments.empty();
        ASSERT_EQ(lines.size(), saving ? 2u : 1u) << result.err;
        for (const std::string& line : lines)
            EXPECT_EQ(line.rfind("KlCvlSettings: ", 0), 0u) << result.err;
        EXPECT_EQ(lines.back() == "KlCvlSettings: nothing was saved", saving) << result.err;
        EXPECT_NE(lines.front().find(named), std::string::npos) << result.err;
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
    expectNothingSaved({"fw=" + host(kChoice[1])}, 1, "select os first");
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

// Command lines that cannot be read (2), and settings that cannot be read or
// saved (3): the configuration file, the prefix, the registry, the profile.
TEST_F(KlCvlSettings, RunsThatCannotSaveSaveNothing) {
    selectAll();
    const std::string plugins = "plugins=" + host("sdk/GCC");
    fs::create_directories(mRoot / "other");
    klxtest::writeBytes(mRoot / "other" / "registry.db", "not a database");
    const std::string withNul = "# mine\nexport A=\"1\"\nB" + std::string(1, '\0') + "C\n";
    struct Row {
        std::string rcFile; // its bytes, "/" for a directory, "=" for as saved
        Lines environment, arguments;
        int exitCode;
        std::string named;
    };
    const Row rows[] = {
        {"=", {}, {"-x"}, 2, "-x"},
        {"=", {}, {plugins, "foo=1"}, 2, "'foo'"},
        {"=", {}, {plugins, "os="}, 2, "os"},
        {"=", {}, {plugins, "-f"}, 2, "-f"},
        {"=", {}, {"os"}, 2, "'os'"},
        {"=", {}, {"os=3"}, 1, "3"},
        {"=", {}, {plugins, "fw=99999999999999999999999"}, 1, "99999999999999999999999"},
        {"/", {}, {}, 3, ".cvlrc: it is a directory"},
        {"/", {}, {plugins}, 3, ".cvlrc: it is a directory"},
        {withNul, {}, {plugins}, 3, "line 3 holds a NUL byte"},
        {"", {"KLX_PREFIX=" + host("other")}, {plugins}, 3, "other/registry.db"},
        {"",
         {"KLX_PREFIX=" + host("sdk/README.md/x")},
         {},
         3,
         "x cannot be created: Not a directory"},
        {"", {"HOME"}, {plugins}, 3, "HOME is not set"},
    };
    for (const Row& row : rows) {
#ifdef _WIN32
        if (!row.environment.empty())
            continue; // KLX_PREFIX, its store and HOME are the POSIX host's
#endif
        if (row.rcFile != "=")
            fs::remove_all(rcFile());
        if (row.rcFile == "/")
            fs::create_directory(rcFile());
        else if (row.rcFile != "=")
            klxtest::writeBytes(rcFile(), row.rcFile);
        expectNothingSaved(row.arguments, row.exitCode, row.named, row.environment);
    }
}

// The values are written between double quotes without escaping.
TEST_F(KlCvlSettings, DirectoriesBashWouldMisreadAreRefused) {
#ifdef _WIN32
    GTEST_SKIP() << "needs bash to read the file, and file names Windows refuses";
#endif
    selectAll();
    const Lines before = sourced(rcFile());
    for (const std::string name : {"a\"b", "`touch ran`", "$(touch ran)", "$HOME", "a\nb"}) {
        fs::create_directories(mRoot / "odd" / name);
        expectNothingSaved({"plugins=" + host("odd/" + name)}, 1, "refuses");
    }
    expectNothingSaved({"plugins=$KLCOREHOME\\"}, 1, "backslash");
    expectNothingSaved({"plugins=${HOME"}, 1, "not a variable reference");
    EXPECT_EQ(sourced(rcFile()), before);
    EXPECT_FALSE(fs::exists(mRoot / "ran"));
    // A reference to another variable is what bash is meant to expand.
    ASSERT_EQ(run({"plugins=${HOME}"}).exitCode, 0);
    EXPECT_EQ(sourced(rcFile())[2], host("home"));
}

TEST_F(KlCvlSettings, EveryFormOfADirectoryIsOneHistoryEntry) {
    std::string lower = windows("sdk/OS/V2.00"), upper = host("sdk/OS/V2.00");
    std::transform(lower.begin(), lower.end(), lower.begin(), ::tolower);
    std::transform(upper.begin(), upper.end(), upper.begin(), ::toupper);
#ifdef _WIN32
    const std::string cygwin = "/cygdrive/c" + withSlashes(host("sdk/os/v2.00").substr(2));
#else
    const std::string cygwin = "/cygdrive/u" + host("sdk/os/v2.00");
#endif
    for (const std::string& form : Lines{"sdk/OS/./V3.10/../V2.00/", cygwin, lower + "\\", upper}) {
        klxtest::ToolResult result = run({"os=" + form});
        EXPECT_EQ(result.exitCode, 0) << result.err;
    }
    EXPECT_EQ(history("KL_CVL_IDE_OS_DEFAULT"), Lines{windows("sdk/OS")});
    const Element os = show().elements["KL_CVL_IDE_OS_DEFAULT"];
    EXPECT_EQ(os.value, windows("sdk/OS/V2.00"));
    EXPECT_EQ(os.marks, 1);
}

// eval "$(KlCvlSettings -e)" gives a POSIX shell the host paths.
TEST_F(KlCvlSettings, ExportsForAPosixShell) {
#ifdef _WIN32
    GTEST_SKIP() << "host paths for a POSIX shell are the POSIX host's";
#endif
    selectAll();
    fs::create_directories(mRoot / "it's");
    ASSERT_EQ(run({"plugins=it's"}).exitCode, 0);
    klxtest::ToolResult exports = run({"-e"});
    EXPECT_EQ(exports.exitCode, 0) << exports.err;
    Lines expected;
    for (const char* choice : kChoice)
        expected.push_back(host(choice));
    expected[2] = host("it's");
    EXPECT_EQ(inBash("eval \"$1\"", exports.out), expected);
}

TEST_F(KlCvlSettings, AnotherConfigurationFile) {
    selectAll();
    const std::string profileFile = klxtest::readBytes(rcFile());
    fs::create_directories(mRoot / "proj");

    klxtest::ToolResult result = run({"-f", "proj/my.cvlrc", "eclipse=sdk/Eclipse/V3.2"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(withSlashes(klxtest::outputLines(result.out).back()),
              "Saved to " + withSlashes(host("proj/my.cvlrc")));
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

TEST_F(KlCvlSettings, HelpVersionAndInformationReport) {
    const char* const options[][2] = {{"-h", "Usage: KlCvlSettings "},
                                      {"--help", "Usage: KlCvlSettings "},
                                      {"-v", "KlCvlSettings 0."},
                                      {"--version", "KlCvlSettings 0."}};
    for (const auto& [option, start] : options) {
        klxtest::ToolResult result = run({option});
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.out.rfind(start, 0), 0u) << result.out;
        EXPECT_EQ(result.err, "");
    }
    EXPECT_NE(run({"-v"}).out.find(" (Keldmar Corvale SDK)\n"), std::string::npos);
    EXPECT_FALSE(fs::exists(rcFile()));

    // The report closes the output: nine lines from "OS version: " on.
    auto report = [&](const Lines& arguments, const std::string& eclipse) {
        klxtest::ToolResult result = run(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        std::string::size_type start = result.out.find("OS version: ");
        ASSERT_NE(start, std::string::npos) << result.out;
        Lines lines = klxtest::outputLines(result.out.substr(start));
        EXPECT_EQ(lines.size(), 9u) << result.out;
        for (std::string line : {"Eclipse installed: " + eclipse,
                                 "User profile directory: " + klxtest::profileDirectory()})
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
        fs::path(KLX_TOOL_KLCVLSETTINGS).parent_path().make_preferred().string() +
        "\\KlCvlSettings.exe";
    ASSERT_EQ(command, "\"" + program + "\" -f %1");

    std::string started = program;
    std::vector<std::string> arguments = {"-f", host("opened.cvlrc"),
                                          "gcc=" + host("sdk/GCC/V3.4")};
    EXPECT_EQ(KLXSystem::run(started, arguments), 0);
    EXPECT_EQ(klxtest::readBytes(mRoot / "opened.cvlrc"),
              "export KL_CVL_IDE_GTS_GCC=\"" + withSlashes(windows("sdk/GCC/V3.4")) + "\"");
}

} // namespace
