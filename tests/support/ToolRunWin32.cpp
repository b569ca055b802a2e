// Runs a program with CreateProcess, its output going into files.
#include "ToolRun.h"

#include "TestFiles.h"

#include <windows.h>

#include <filesystem>

namespace klxtest {

namespace {

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
    result.append(2 * backslashes, '\\');
    return result + "\"";
}

// A handle the child inherits.
HANDLE inheritable(const std::string& path, DWORD access, DWORD creation) {
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, nullptr, TRUE};
    return CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &attributes,
                       creation, FILE_ATTRIBUTE_NORMAL, nullptr);
}

std::string lineFeeds(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] != '\r' || i + 1 == text.size() || text[i + 1] != '\n')
            result += text[i];
    return result;
}

} // namespace

ToolResult runTool(const std::string& program, const std::vector<std::string>& arguments,
                   const ToolOptions& options) {
    const std::filesystem::path scratch = freshDir("run");
    const std::string outFile = (scratch / "stdout").string();
    const std::string errFile = (scratch / "stderr").string();

    // The program as a Windows shell names it, with backslashes: the child
    // sees its own path in its command line.
    std::string commandLine = quoted(std::filesystem::path(program).make_preferred().string());
    for (const std::string& argument : arguments)
        commandLine += " " + quoted(argument);
    // The environment block: "NAME=VALUE" strings, each ended by a NUL, and
    // one more NUL at the end.
    std::string block;
    for (const std::string& entry : childEnvironment(options))
        block += entry + '\0';
    block += '\0';
    if (block.size() == 1)
        block += '\0';

    // Files, not pipes: the child never blocks on a full pipe while the test
    // waits for it.
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = inheritable("NUL", GENERIC_READ, OPEN_EXISTING);
    startup.hStdOutput = inheritable(outFile, GENERIC_WRITE, CREATE_ALWAYS);
    startup.hStdError = inheritable(errFile, GENERIC_WRITE, CREATE_ALWAYS);
    PROCESS_INFORMATION process = {};
    const BOOL started = CreateProcessA(
        nullptr, &commandLine[0], nullptr, nullptr, TRUE, 0, &block[0],
        options.workingDirectory.empty() ? nullptr : options.workingDirectory.c_str(), &startup,
        &process);
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
    // Text as a POSIX shell would read it: the programs write their lines in
    // text mode, each ended by "\r\n".
    result.out = lineFeeds(readBytes(outFile));
    result.err = lineFeeds(readBytes(errFile));
    return result;
}

} // namespace klxtest
