// The library against Windows' own programs on the same machine: registry
// values that reg.exe wrote as KLXRegistryKey reads them, and the klenv.bat
// that KlEnv writes as cmd.exe runs it. cmd.exe started with /u prints in
// UTF-16, and reads the batch file as it always does.
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include "Environment.h"
#include "ToolRun.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

// UTF-16 bytes as UTF-8.
std::string fromUtf16(const std::string& bytes) {
    std::wstring text(bytes.size() / 2, L'\0');
    std::memcpy(&text[0], bytes.data(), text.size() * sizeof(wchar_t));
    return std::filesystem::path(text).u8string();
}

// The text after `prefix` on the line of `text` that starts with it.
std::string lineAfter(const std::string& text, const std::string& prefix) {
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = std::min(text.find("\r\n", at), text.size());
        if (text.compare(at, prefix.size(), prefix) == 0)
            return text.substr(at + prefix.size(), end - at - prefix.size());
        at = end + 2;
    }
    return "<none>";
}

// reg.exe, cmd.exe and KlEnv see the machine's registry, not the scratch
// keys that a test process points its roots at.
class WindowsClients : public ::testing::Test {
protected:
    void SetUp() override {
        if (klxtest::getEnv("KLX_TEST_OWN_MACHINE") != "1")
            GTEST_SKIP() << "needs a Wine machine of its own (tests/support/own-wine-machine)";
    }
};

// What reg.exe writes, in UTF-16, the library reads as the same text: were
// the library's conversion wrong both ways, its own round trips would hide it.
TEST_F(WindowsClients, TheLibraryReadsTheTextsThatRegExeWrote) {
    // Blanks, quotes, backslashes, = signs, characters of the OEM code page
    // and beyond it (a surrogate pair too).
    const Pairs values = {{"Path", "C:\\Program Files (x86)\\Kl;D:\\x=y\\"},
                          {"Quotes", "say \"hi\""},
                          {"Accents", "Caf\u00e9 \u00fc\u00df"},
                          {"Beyond", "\u2603 \U0001D11E \u00e9"},
                          {"Empty", ""}};
    std::string path = "Software\\KlxCore agreement";
    KLXRegistryKey key(HKEY_CURRENT_USER, path);
    for (auto value : values) {
        klxtest::runTool("reg.exe",
                         {"add", "HKCU\\" + path, "/v", value.first, "/d", value.second, "/f"});
        EXPECT_EQ(key.retValue(value.first), value.second);
    }
}

// KlEnv's klenv.bat, run by cmd before `set`: cmd must see each value as
// KlEnv was given it, and the PATH item before the PATH cmd had.
TEST_F(WindowsClients, CmdSeesTheValuesThatKlEnvWroteToKlenvBat) {
    const Pairs values = {{"KLX_AGREE_BLANKS", " a  b "},
                          {"KLX_AGREE_PARENS", "C:\\Program Files (x86)\\Kl (2)"},
                          {"KLX_AGREE_ACCENTS", "Caf\u00e9 \u00fc\u00df"}};
    const std::string item = "C:\\Kl Tools (x86)\\bin";
    std::vector<std::string> arguments = {"-a", "PATH=" + item};
    for (const auto& value : values)
        arguments.insert(arguments.end(), {"-s", value.first + "=" + value.second});
    const std::string program = (klxtest::programDirectory() / "KlEnv.exe").string();
    klxtest::ToolResult applied = klxtest::runTool(program, arguments);
    ASSERT_EQ(applied.exitCode, 0) << applied.err;

    auto shown = [](const std::string& name) {
        const std::string batch = KLXSystem::getSystemDrive() + "klenv.bat";
        klxtest::ToolResult set =
            klxtest::runTool("cmd.exe", {"/u", "/c", "call " + batch + " & set " + name});
        return lineAfter(fromUtf16(set.out), name + "=");
    };
    for (const auto& value : values)
        EXPECT_EQ(shown(value.first), value.second);
    EXPECT_EQ(shown("PATH"), item + ";" + klxtest::getEnv("PATH"));
    // A character that the console's code page lacks cannot be written to
    // klenv.bat: KlEnv refuses the value.
    if (GetOEMCP() != CP_UTF8) {
        EXPECT_EQ(klxtest::runTool(program, {"-s", "KLX_AGREE_SNOW=\u2603"}).exitCode, 1);
        EXPECT_EQ(shown("KLX_AGREE_SNOW"), "<none>");
    }
}

} // namespace
