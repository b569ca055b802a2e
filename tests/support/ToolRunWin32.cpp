// Runs a program with CreateProcessW, its output going into files.
#include "ToolRun.h"

#include "TestFiles.h"

#include <windows.h>

#include <algorithm>
#include <filesystem>

namespace klxtest {

namespace {

std::wstring wide(const std::string& utf8) {
    std::wstring text(utf8.size(), L'\0');
    text.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), &text[0],
                            static_cast<int>(text.size()))));
    return text;
}

// One argument as the Microsoft C runtime splits it back out of a command
// line: quoted when it holds blanks or quotes (or is empty), with the
// backslashes before a quote doubled.
std::string quoted(const std::string& argument) {
    if (!argument.empty() && argument.find_first_of(" \t\"") == std::string::npos)
        return argument;
    std::string result = "\"";
    std::size_t backslashes = 0;
    for (char c : argument) {
        if (c == '\\') {
            ++backslashes;
            continue;
        }
        result.append(c == '"' ? 2 * backslashes + 1 : backslashes, '\\');
        backslashes = 0;
        result += c;
    }
    return result.append(2 * backslashes, '\\') + "\"";
}

// A handle the child inherits.
HANDLE inheritable(const std::filesystem::path& path, DWORD access, DWORD creation) {
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, nullptr, TRUE};
    return CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &attributes,
                       creation, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Text as a POSIX shell would read it: the programs write their lines in
// text mode, each ended by "\r\n".
std::string lineFeeds(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] != '\r' || i + 1 == text.size() || text[i + 1] != '\n')
            result += text[i];
    return result;
}

} // namespace

ToolResult runTool(const std::string& program, const std::vector<std::string>& arguments,
                   const std::vector<std::string>&, const std::string& workingDirectory) {
    const std::filesystem::path out = freshDir("run") / "out", err = out.parent_path() / "err";
    // The program as a Windows shell names it, with backslashes: the child
    // sees its own path in its command line.
    std::string name = program;
    std::replace(name.begin(), name.end(), '/', '\\');
    std::string commandLine = quoted(name);
    for (const std::string& argument : arguments)
        commandLine += " " + quoted(argument);
    std::wstring wideCommandLine = wide(commandLine), directory = wide(workingDirectory);

    // Files, not pipes: the child never blocks on a full pipe while the test
    // waits for it.
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = inheritable(L"NUL", GENERIC_READ, OPEN_EXISTING);
    startup.hStdOutput = inheritable(out, GENERIC_WRITE, CREATE_ALWAYS);
    startup.hStdError = inheritable(err, GENERIC_WRITE, CREATE_ALWAYS);
    PROCESS_INFORMATION process = {};
    const BOOL started =
        CreateProcessW(nullptr, &wideCommandLine[0], nullptr, nullptr, TRUE, 0, nullptr,
                       directory.empty() ? nullptr : directory.c_str(), &startup, &process);
    for (HANDLE handle : {startup.hStdInput, startup.hStdOutput, startup.hStdError})
        if (handle != INVALID_HANDLE_VALUE)
            CloseHandle(handle);

    ToolResult result;
    if (!started) {
        result.err = "cannot start " + program;
        return result;
    }
    DWORD exitCode = 0;
    if (WaitForSingleObject(process.hProcess, INFINITE) == WAIT_OBJECT_0 &&
        GetExitCodeProcess(process.hProcess, &exitCode))
        result.exitCode = static_cast<int>(exitCode);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    result.out = lineFeeds(readBytes(out));
    result.err = lineFeeds(readBytes(err));
    return result;
}

} // namespace klxtest
