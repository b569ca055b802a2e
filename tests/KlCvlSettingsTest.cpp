// KlCvlSettings run as a user runs it, on a copy of the sample SDK: what it
// shows and prints, the selections and command lines it refuses, and its
// checks before a save. The settings' own rules are the library's tests'.
#include "Environment.h"
#include "TestFiles.h"
#include "ToolRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

namespace {

const bool kPosix = fs::path::preferred_separator == '/';

struct Element {
    const char *label, *shortName, *variable;
    const char* choice; // the OS library of baseband "orvan" and its firmware
};
const Element kElements[] = {
    {"OS library", "os", "KL_CVL_IDE_OS_DEFAULT", "sdk/OS/V3.10"},
    {"Firmware", "fw", "KL_CVL_IDE_FW_DEFAULT", "sdk/Firmware/V3.10_orvan"},
    {"Plug-ins", "plugins", "KL_CVL_IDE_PLUGINS", "sdk/Plugins/V1.00"},
    {"GCC tool suite", "gcc", "KL_CVL_IDE_GTS_GCC", "sdk/GCC/V3.4"},
    {"ARM tool suite", "arm", "KL_CVL_IDE_GTS_ARM", "sdk/GCC/V3.4"},
    {"MinGW", "mingw", "KL_CVL_IDE_GTS_MINGW", "sdk/MinGW/V5.1"},
    {"Eclipse", "eclipse", "KL_CVL_IDE_ECLIPSE", "sdk/Eclipse/V3.2"}};

class KlCvlSettings : public ::testing::Test {
protected:
    void SetUp() override {
        mRoot = klxtest::freshDir("cvl");
        fs::copy(KLX_SAMPLE_SDK, mRoot / "sdk", fs::copy_options::recursive);
    }

    // In the test's directory, so that relative paths name its files.
    klxtest::ToolResult run(const Lines& arguments, const Lines& environment = {}) {
        return klxtest::runTool(KLX_TOOL_KLCVLSETTINGS, arguments, environment, mRoot.string());
    }
    // The lines printed by a run that must succeed.
    Lines lines(const Lines& arguments = {}) {
        klxtest::ToolResult result = run(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.err, "");
        return klxtest::outputLines(result.out);
    }

    std::string host(const std::string& relative) const {
        return (mRoot / relative).make_preferred().string();
    }
    // A host path as the program names it: with backslashes, on drive U:
    // where the host's paths are not Windows paths already.
    std::string windows(const std::string& relative) const {
        std::string path = (kPosix ? "U:" : "") + host(relative);
        std::replace(path.begin(), path.end(), '/', '\\');
        return path;
    }
    std::string rcFile() const {
        return (fs::path(klxtest::profileDirectory()) / ".cvlrc").string();
    }

    // Selects all seven by host path.
    Lines selectAll() {
        Lines arguments;
        for (const Element& element : kElements)
            arguments.push_back(std::string(element.shortName) + "=" + host(element.choice));
        return lines(arguments);
    }

    // Nothing on stdout, one message on stderr naming `named` (and a last
    // line when a save was refused), and the configuration file untouched.
    void expectNothingSaved(const Lines& arguments, int exitCode, const std::string& named,
                            const Lines& environment = {}) {
        SCOPED_TRACE(::testing::PrintToString(arguments));
        auto saved = [this] {
            return fs::is_regular_file(rcFile()) ? klxtest::readBytes(rcFile()) : "";
        };
        const std::string before = saved();
        klxtest::ToolResult result = run(arguments, environment);
        EXPECT_EQ(result.exitCode, exitCode);
        EXPECT_EQ(result.out, "");
        Lines lines = klxtest::outputLines(result.err);
        bool saving = exitCode != 2 && !arguments.empty();
        ASSERT_EQ(lines.size(), saving ? 2u : 1u) << result.err;
        EXPECT_EQ(lines.back() == "KlCvlSettings: nothing was saved", saving) << result.err;
        EXPECT_NE(lines.front().find(named), std::string::npos) << result.err;
        EXPECT_EQ(saved(), before);
    }

    fs::path mRoot;
};

TEST_F(KlCvlSettings, ShowsSelectsAndSaysWhetherTheFirmwareFollowed) {
    Lines shown, selected;
    for (const Element& element : kElements)
        shown.insert(shown.end(), {std::string(element.label) + " (" + element.shortName + ") " +
                                       element.variable + " = (not set)",
                                   "      (no selectable paths)"});
    shown.insert(shown.end(), {"", "OS baseband: (none)", "Configuration file: " + rcFile()});
    EXPECT_EQ(lines(), shown);

    // The firmware, chosen in the same call, is not said to stay. The OS
    // libraries beside the chosen one are selectable too.
    shown.clear();
    for (const Element& element : kElements) {
        const std::string value = windows(element.choice);
        selected.push_back(std::string(element.variable) + " = " + value);
        shown.push_back(std::string(element.label) + " (" + element.shortName + ") " +
                        selected.back());
        if (&element == &kElements[0])
            shown.insert(shown.end(), {"    0  " + windows("sdk/OS/V2.00"),
                                       "    1  " + windows("sdk/OS/V2.10"), "  * 2  " + value});
        else
            shown.push_back("  * 0  " + value);
    }
    selected.push_back("Saved to " + rcFile());
    shown.insert(shown.end(), {"", "OS baseband: orvan", "Configuration file: " + rcFile()});
    EXPECT_EQ(selectAll(), selected);
    EXPECT_EQ(lines(), shown);

    // The OS library of the other baseband, by its index.
    Lines printed = lines({"os=1"});
    ASSERT_EQ(printed.size(), 3u);
    EXPECT_EQ(printed[0], "KL_CVL_IDE_OS_DEFAULT = " + windows("sdk/OS/V2.10"));
    const std::string followed =
        "Firmware followed the OS library to baseband pavan: KL_CVL_IDE_FW_DEFAULT = ";
    ASSERT_EQ(printed[1].rfind(followed + windows("sdk/Firmware/V2."), 0), 0u) << printed[1];
    EXPECT_EQ(printed[2], "Saved to " + rcFile());
    const std::string firmware = printed[1].substr(followed.size());

    // Back to "orvan" with no firmware of it left.
    fs::remove_all(mRoot / "sdk" / "Firmware" / "V3.10_orvan");
    EXPECT_EQ(lines({"os=" + host("sdk/OS/V3.10")})[1],
              "Firmware did not follow: its history holds no firmware of baseband orvan with an "
              "emulation executable; KL_CVL_IDE_FW_DEFAULT stays " +
                  firmware);
}

// Element names in any letter case and every form of one directory: one
// spelling printed.
TEST_F(KlCvlSettings, EveryFormOfADirectoryIsSavedInOneSpelling) {
    std::string lower = windows("sdk/OS/V2.00");
    std::transform(lower.begin(), lower.end(), lower.begin(), ::tolower);
    std::string cygwin = "/cygdrive/" + lower.substr(0, 1) + lower.substr(2);
    std::replace(cygwin.begin(), cygwin.end(), '\\', '/');
    for (const std::string& selection : Lines{"os=sdk/OS/./V3.10/../V2.00/", "OS=" + cygwin,
                                              "kl_cvl_ide_os_default=" + lower + "\\"})
        EXPECT_EQ(lines({selection}).front(), "KL_CVL_IDE_OS_DEFAULT = " + windows("sdk/OS/V2.00"));
}

TEST_F(KlCvlSettings, RefusedSelectionsSaveNothing) {
    for (const char* directory : {"OS", "GCC", "Eclipse"})
        fs::create_directories(mRoot / "bad" / directory);
    fs::copy(mRoot / "sdk" / "Firmware" / "V3.10_orvan", mRoot / "bad" / "FwNoEmu");
    fs::remove(mRoot / "bad" / "FwNoEmu" / "emu_orvan.exe");
    expectNothingSaved({"fw=" + host(kElements[1].choice)}, 1, "select os first");
    expectNothingSaved({"os=0"}, 1, "index 0 is out of range: KL_CVL_IDE_OS_DEFAULT has no");
    selectAll();

    const std::pair<Lines, std::string> rows[] = {
        {{"os=sdk/README.md"}, "refuses " + windows("sdk/README.md") + ": not a directory"},
        {{"os=sdk/OS/V9.99"}, windows("sdk/OS/V9.99") + ": no such directory"},
        {{"os=bad/OS"}, "manifest.xml"},
        {{"plugins=" + host("sdk/GCC"), "gcc=" + host("bad/GCC")}, "\"bin\""},
        {{"eclipse=bad/Eclipse"}, "eclipse.exe"},
        {{"fw=sdk/Firmware/V2.00_pavan"}, "baseband \"orvan\" (its baseband is \"pavan\")"},
        {{"fw=bad/FwNoEmu"}, "emu"},
        {{"os=3"},
         "index 3 is out of range: KL_CVL_IDE_OS_DEFAULT has 3 selectable paths, "
         "numbered 0 to 2"},
        // Values bash would misread or run when it sources the file.
        {{"plugins=a\"b"}, "double quote"},
        {{"plugins=a\nb"}, "line break"},
        {{"plugins=`touch ran`"}, "backquote"},
        {{"plugins=odd/$(touch ran)"}, "a \"$\", which"},
        {{"plugins=${HOME:-x}"}, "not a variable reference"},
        {{"plugins=$1"}, "not a variable reference"},
        {{"plugins=$KLCOREHOME\\"}, "backslash"},
    };
    for (const auto& [arguments, named] : rows)
        expectNothingSaved(arguments, 1, named);
    // A reference to another variable is what bash is meant to expand.
    EXPECT_EQ(run({"plugins=${HOME}"}).exitCode, 0);
}

// Command lines that cannot be read (2), and settings that cannot be read or
// saved (3): the configuration file, the prefix, the registry, the profile.
TEST_F(KlCvlSettings, RunsThatCannotSaveSaveNothing) {
    const std::string plugins = "plugins=" + host("sdk/GCC");
    fs::create_directories(mRoot / "other");
    klxtest::writeBytes(mRoot / "other" / "registry.db", "not a database");
    struct Row {
        std::string rcFile; // its bytes, or "/" for a directory
        Lines environment, arguments;
        int exitCode;
        std::string named;
    };
    const Row rows[] = {
        {"", {}, {"-x"}, 2, "unknown option -x"},
        {"", {}, {plugins, "foo=1"}, 2, "'foo'"},
        {"", {}, {plugins, "os="}, 2, "os"},
        {"", {}, {plugins, "-f"}, 2, "-f needs a value"},
        {"", {}, {"-f", "a", "-f", "b"}, 2, "-f given twice"},
        {"", {}, {"os"}, 2, "'os'"},
        {"/", {}, {plugins}, 3, ".cvlrc: it is a directory"},
        {"\r\nB" + std::string(1, '\0') + "C\n", {}, {plugins}, 3, "line 2 holds a NUL byte"},
        {"", {"KLX_PREFIX=" + host("other")}, {plugins}, 3, "other/registry.db"},
        {"", {"KLX_PREFIX=" + host("sdk/README.md/x")}, {}, 3, "x cannot be created"},
        {"", {"HOME"}, {plugins}, 3, "HOME is not set"},
    };
    for (const Row& row : rows) {
        // KLX_PREFIX, its store and HOME are the POSIX host's.
        if (!kPosix && !row.environment.empty())
            continue;
        fs::remove_all(rcFile());
        if (row.rcFile == "/")
            fs::create_directory(rcFile());
        else
            klxtest::writeBytes(rcFile(), row.rcFile);
        expectNothingSaved(row.arguments, row.exitCode, row.named, row.environment);
    }
}

// eval "$(KlCvlSettings -e)" gives a POSIX shell the host paths.
TEST_F(KlCvlSettings, ExportsForAPosixShell) {
#ifdef _WIN32
    GTEST_SKIP() << "host paths for a POSIX shell are the POSIX host's";
#endif
    EXPECT_EQ(lines({"-e"})[2], "# KL_CVL_IDE_PLUGINS is not set");
    selectAll();
    fs::create_directories(mRoot / "it's");
    lines({"plugins=it's"});
    const Lines exports = lines({"-e"});
    ASSERT_EQ(exports.size(), 7u);
    EXPECT_EQ(exports[2], "export KL_CVL_IDE_PLUGINS='" + host("it") + "'\\''s'");
}

TEST_F(KlCvlSettings, AnotherConfigurationFile) {
    selectAll();
    const std::string profileFile = klxtest::readBytes(rcFile());
    fs::create_directories(mRoot / "proj");
    EXPECT_EQ(fs::path(lines({"-f", "proj/my.cvlrc", "eclipse=sdk/Eclipse/V3.2"}).back().substr(9)),
              fs::path(host("proj/my.cvlrc")));
    Lines shown = lines({"-f", host("proj/my.cvlrc")});
    EXPECT_EQ(shown.back(), "Configuration file: " + host("proj/my.cvlrc"));
    EXPECT_NE(std::find(shown.begin(), shown.end(),
                        "Eclipse (eclipse) KL_CVL_IDE_ECLIPSE = " + windows("sdk/Eclipse/V3.2")),
              shown.end());

    // A missing file is created empty and stays the one worked on.
    EXPECT_EQ(lines({"-f", host("new.cvlrc")}).back(), "Configuration file: " + host("new.cvlrc"));
    EXPECT_TRUE(fs::is_regular_file(mRoot / "new.cvlrc"));
    EXPECT_EQ(klxtest::readBytes(rcFile()), profileFile);
}

TEST_F(KlCvlSettings, HelpVersionAndInformationReport) {
    EXPECT_EQ(lines({"--help"}).front().rfind("Usage: KlCvlSettings ", 0), 0u);
    EXPECT_NE(lines({"--version"}).front().find(" (Keldmar Corvale SDK)"), std::string::npos);

    // The report follows what a save printed.
    klxtest::ToolResult result = run({"-i", "eclipse=sdk/Eclipse/V3.2"});
    EXPECT_EQ(result.out.find('\r'), std::string::npos);
    Lines printed = klxtest::outputLines(result.out);
    ASSERT_GE(printed.size(), 3u) << result.err;
    EXPECT_EQ(printed[1], "Saved to " + rcFile());
    EXPECT_EQ(printed[2].rfind("OS version: ", 0), 0u);
}

} // namespace
