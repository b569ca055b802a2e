// Runs a program with CreateProcessW.
#include "ToolRun.h"

#include "platform/common/CommandLineSplit.h"

#include <windows.h>

#include <algorithm>

namespace klxtest {

namespace {

// A handle the child inherits.
HANDLE inheritable(const std::filesystem::path& path, DWORD access, DWORD creation) {
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, nullptr, TRUE};
    return CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &attributes,
                       creation, FILE_ATTRIBUTE_NORMAL, nullptr);
}

} // namespace

int runToFiles(const std::string& program, const std::vector<std::string>& arguments,
               const std::vector<std::string>&, const std::string& workingDirectory,
               const std::filesystem::path& out, const std::filesystem::path& err) {
    // The program as a Windows shell names it, with backslashes: the child
    // sees its own path in its command line.
    std::string name = program;
    std::replace(name.begin(), name.end(), '/', '\\');
    std::string commandLine = klx::platform::quoteArgument(name);
    for (const std::string& argument : arguments)
        commandLine += " " + klx::platform::quoteArgument(argument);
    std::wstring wideCommandLine = std::filesystem::u8path(commandLine).wstring(),
                 directory = std::filesystem::u8path(workingDirectory).wstring();

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
    if (!started)
        return -1;
    DWORD exitCode = 0;
    const bool ended = WaitForSingleObject(process.hProcess, INFINITE) == WAIT_OBJECT_0 &&
                       GetExitCodeProcess(process.hProcess, &exitCode);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return ended ? static_cast<int>(exitCode) : -1;
}

} // namespace klxtest
