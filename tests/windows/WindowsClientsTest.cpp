// The library against Windows' own programs on the same machine: registry
// values written by KLXRegistryKey as reg.exe reads them and the other way
// round, and the klenv.bat that KlEnv writes as cmd.exe runs it.
//
// reg.exe prints to a pipe in the OEM code page, so a value is compared in
// its `reg query` text where that code page holds all of its characters, and
// always in the UTF-16 file of `reg export`. cmd.exe is started with /u, which
// makes only its own output UTF-16: it reads the batch file as it always does.
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

std::wstring wide(const std::string& utf8) {
    std::wstring text(utf8.size(), L'\0');
    text.resize(static_cast<std::size_t>(
        ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), &text[0],
                              static_cast<int>(text.size()))));
    return text;
}

// One argument as the C runtime splits it back out of a command line.
std::wstring quoted(const std::wstring& argument) {
    std::wstring result = L"\"";
    std::size_t backslashes = 0;
    for (wchar_t c : argument) {
        if (c == L'\\') {
            ++backslashes;
            continue;
        }
        result.append(c == L'"' ? 2 * backslashes + 1 : backslashes, L'\\');
        backslashes = 0;
        result += c;
    }
    return result.append(2 * backslashes, L'\\') + L"\"";
}

std::filesystem::path scratch() {
    return std::filesystem::temp_directory_path() /
           ("klx-clients-" + std::to_string(::GetCurrentProcessId()));
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Runs a command line with its output into a file, and gives that output.
// Each run has a file of its own: a program that KlEnv's broadcast starts
// (Wine's desktop) may keep the one it inherited open.
std::string run(std::wstring commandLine) {
    static int runs = 0;
    const std::filesystem::path output = scratch() / ("output" + std::to_string(++runs));
    SECURITY_ATTRIBUTES inherit = {sizeof inherit, nullptr, TRUE};
    HANDLE file = ::CreateFileW(output.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit,
                                CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = file;
    startup.hStdError = file;
    PROCESS_INFORMATION process = {};
    if (::CreateProcessW(nullptr, &commandLine[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                         &startup, &process)) {
        ::WaitForSingleObject(process.hProcess, INFINITE);
        ::CloseHandle(process.hThread);
        ::CloseHandle(process.hProcess);
    }
    ::CloseHandle(file);
    return readFile(output);
}

// The text after "prefix" on the line of `output` that starts with it.
bool lineAfter(const std::wstring& output, const std::wstring& prefix, std::wstring& rest) {
    for (std::size_t at = 0; at < output.size();) {
        std::size_t end = output.find(L"\r\n", at);
        if (end == std::wstring::npos)
            end = output.size();
        if (output.compare(at, prefix.size(), prefix) == 0) {
            rest = output.substr(at + prefix.size(), end - at - prefix.size());
            return true;
        }
        at = end + 2;
    }
    return false;
}

std::wstring fromUtf16(const std::string& bytes) {
    std::wstring text(bytes.size() / 2, L'\0');
    for (std::size_t i = 0; i < text.size(); ++i)
        text[i] = static_cast<wchar_t>(static_cast<unsigned char>(bytes[2 * i]) |
                                       (static_cast<unsigned char>(bytes[2 * i + 1]) << 8));
    return text;
}

// The OEM form of a text, or false when that code page lacks a character.
bool oemText(const std::wstring& text, std::string& oem) {
    BOOL lost = FALSE;
    oem.assign(text.size() * 2, '\0');
    oem.resize(static_cast<std::size_t>(::WideCharToMultiByte(
        CP_OEMCP, WC_NO_BEST_FIT_CHARS, text.data(), static_cast<int>(text.size()), &oem[0],
        static_cast<int>(oem.size()), nullptr, &lost)));
    return !lost;
}

class WindowsClients : public ::testing::Test {
protected:
    void SetUp() override { std::filesystem::create_directories(scratch()); }
    void TearDown() override {
        ::RegDeleteTreeW(HKEY_CURRENT_USER, kKey);
        std::error_code ignored;
        std::filesystem::remove_all(scratch(), ignored);
    }

    static constexpr const wchar_t* kKey = L"Software\\KlxCore agreement";

    // Values with blanks, quotes, backslashes, = signs, characters of the
    // OEM code page and beyond it (a surrogate pair too).
    const Pairs mValues = {{"Plain", "text"},
                           {"Blanks", " two  blanks "},
                           {"Path", "C:\\Program Files (x86)\\Kl;D:\\x=y\\"},
                           {"Quotes", "say \"hi\""},
                           {"Accents", "Caf\u00e9 \u00fc\u00df"},
                           {"Beyond", "\u2603 \U0001D11E \u00e9"},
                           {"Empty", ""}};
};

TEST_F(WindowsClients, RegistryValuesAreTheSameTextForTheLibraryAndRegExe) {
    const std::wstring key = std::wstring(L"HKCU\\") + kKey;
    std::string libraryPath = "Software\\KlxCore agreement\\library";
    std::string regPath = "Software\\KlxCore agreement\\reg";
    KLXRegistryKey library(HKEY_CURRENT_USER, libraryPath);
    for (auto value : mValues)
        library.setValue(value.first, value.second);
    const std::wstring exported = (scratch() / "values.reg").wstring();
    run(L"reg.exe export " + quoted(key + L"\\library") + L" " + quoted(exported) + L" /y");
    const std::wstring file = fromUtf16(readFile(exported));

    KLXRegistryKey fromReg(HKEY_CURRENT_USER, regPath);
    for (auto value : mValues) {
        SCOPED_TRACE(value.first);
        const std::wstring name = wide(value.first), text = wide(value.second);
        // reg query: "    NAME    REG_SZ    TEXT", in the OEM code page.
        std::string queried = run(L"reg.exe query " + quoted(key + L"\\library") + L" /v " +
                                  quoted(name)),
                    oem;
        const std::size_t line = queried.find("    " + value.first + "    REG_SZ    ");
        ASSERT_NE(line, std::string::npos) << queried;
        if (oemText(text, oem)) {
            EXPECT_EQ(queried.substr(line, queried.find("\r\n", line) - line),
                      "    " + value.first + "    REG_SZ    " + oem);
        }
        // reg export: "NAME"="TEXT", with \ and " escaped.
        std::wstring escaped;
        for (wchar_t c : text)
            escaped += c == L'\\' || c == L'"' ? std::wstring{L'\\', c} : std::wstring{c};
        std::wstring found;
        EXPECT_TRUE(lineAfter(file, L"\"" + name + L"\"=", found) && found == L'"' + escaped + L'"')
            << "exported as " << found.size() << " characters";

        // The other way: reg add, read by the library.
        run(L"reg.exe add " + quoted(key + L"\\reg") + L" /v " + quoted(name) + L" /d " +
            quoted(text) + L" /f");
        EXPECT_EQ(fromReg.retValue(value.first), value.second);
    }
}

// KlEnv's klenv.bat, run by cmd before `set`: cmd must see each value as
// KlEnv was given it, and the PATH item before the PATH cmd had.
TEST_F(WindowsClients, CmdSeesTheValuesThatKlEnvWroteToKlenvBat) {
    std::string environment = "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
    HKEY machine = nullptr;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, wide(environment).c_str(), 0, KEY_ALL_ACCESS,
                        &machine) != ERROR_SUCCESS) {
        GTEST_SKIP() << "the machine environment cannot be written";
    }
    // What KlEnv changes, put back afterwards: PATH's value and type, and
    // klenv.bat.
    std::vector<BYTE> path(65536);
    DWORD pathType = 0, pathSize = static_cast<DWORD>(path.size());
    ASSERT_EQ(::RegQueryValueExW(machine, L"PATH", nullptr, &pathType, path.data(), &pathSize), 0);
    const std::filesystem::path batch = KLXSystem::getSystemDrive() + "klenv.bat";
    const bool hadBatch = std::filesystem::exists(batch);
    const std::string batchBefore = hadBatch ? readFile(batch) : std::string();

    const Pairs values = {{"KLX_AGREE_BLANKS", " a  b "},
                          {"KLX_AGREE_EQUALS", "x=1==2="},
                          {"KLX_AGREE_PARENS", "C:\\Program Files (x86)\\Kl (2)"},
                          {"KLX_AGREE_ACCENTS", "Caf\u00e9 \u00fc\u00df"}};
    const std::string item = "C:\\Kl Tools (x86)\\bin";
    wchar_t self[MAX_PATH];
    ::GetModuleFileNameW(nullptr, self, MAX_PATH);
    const std::wstring program =
        quoted((std::filesystem::path(self).parent_path() / "KlEnv.exe").wstring());
    std::wstring klenv = program;
    for (const auto& value : values)
        klenv += L" -s " + quoted(wide(value.first + "=" + value.second));
    klenv += L" -a " + quoted(wide("PATH=" + item));
    const std::string applied = run(klenv);

    // cmd /c "call C:\klenv.bat & set NAME" for each.
    auto shown = [&](const std::string& name) {
        return fromUtf16(
            run(L"cmd.exe /u /c \"call " + wide(batch.string()) + L" & set " + wide(name) + L"\""));
    };
    std::wstring found;
    for (const auto& value : values) {
        SCOPED_TRACE(value.first);
        EXPECT_TRUE(lineAfter(shown(value.first), wide(value.first) + L"=", found) &&
                    found == wide(value.second))
            << applied << "cmd shows " << found.size() << " characters";
    }
    std::vector<wchar_t> before(32768);
    before.resize(::GetEnvironmentVariableW(L"PATH", before.data(), 32768));
    EXPECT_TRUE(lineAfter(shown("PATH"), L"PATH=", found) &&
                found == wide(item) + L";" + std::wstring(before.begin(), before.end()));
    // A character that the console's code page lacks cannot be written to
    // klenv.bat: KlEnv refuses the value.
    if (::GetOEMCP() != CP_UTF8) {
        EXPECT_NE(run(program + L" -s KLX_AGREE_SNOW=\u2603").find("klenv.bat cannot hold"),
                  std::string::npos);
        EXPECT_FALSE(lineAfter(shown("KLX_AGREE_SNOW"), L"KLX_AGREE_SNOW=", found));
    }

    for (const auto& value : values)
        ::RegDeleteValueW(machine, wide(value.first).c_str());
    ::RegSetValueExW(machine, L"PATH", 0, pathType, path.data(), pathSize);
    ::RegCloseKey(machine);
    if (hadBatch)
        std::ofstream(batch, std::ios::binary) << batchBefore;
    else
        std::filesystem::remove(batch);
}

} // namespace
