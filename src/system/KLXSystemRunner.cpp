// KlxCore: starting programs, directly, as a tool of the location table,
// through the command interpreter or through Cygwin's bash, either awaited,
// detached or with their standard output captured.
#include "KLXSystem.h"

#include "KLXPath.h"
#include "KLXPathBrowser.h"
#include "KLXStrProcess.h"

#include "platform/Platform.h"

namespace {

// The captured output is taken only when it fits this buffer with room left
// for a terminating zero byte.
const std::size_t kOutputBuffer = 4096;

// The child's command line: the quoted program path, then every non-empty
// argument after one blank, without quoting of its own.
std::string commandLineOf(const std::string& cmd, const std::vector<std::string>& args) {
    std::string line = "\"" + cmd + "\"";
    for (const std::string& argument : args) {
        if (argument.empty())
            continue;
        line += KLX_STR_SPACE;
        line += argument;
    }
    return line;
}

} // namespace

int KLXSystem::run(std::string& cmd, std::vector<std::string>& args) {
    return run(cmd, args, true);
}

int KLXSystem::run(std::string& cmd, std::vector<std::string>& args, bool wait) {
    return klx::platform::spawnProcess(cmd, commandLineOf(cmd, args), wait).value;
}

int KLXSystem::runApp(KLXAppType_e type, std::vector<std::string>& args, bool wait) {
    std::string path = getApplicationPath(type);
    if (path.empty())
        return -1;
    return run(path, args, wait);
}

int KLXSystem::runCmd(std::string& cmd, std::vector<std::string>& args, bool wait) {
    std::vector<std::string> arguments;
    arguments.reserve(args.size() + 2);
    arguments.push_back("/c");
    arguments.push_back(cmd);
    arguments.insert(arguments.end(), args.begin(), args.end());
    return runApp(KLX_APP_CMD, arguments, wait);
}

int KLXSystem::runBash(std::string& cmd, std::vector<std::string>& args, bool wait) {
    // The lone quotes frame cmd and its arguments as one command string.
    std::vector<std::string> arguments;
    arguments.reserve(args.size() + 5);
    arguments.push_back("--login");
    arguments.push_back("-c");
    arguments.push_back("\"");
    arguments.push_back(cmd);
    arguments.insert(arguments.end(), args.begin(), args.end());
    arguments.push_back("\"");
    return runApp(KLX_APP_BASH, arguments, wait);
}

std::string& KLXSystem::runGetOutput(std::string& cmd, std::vector<std::string>& args,
                                     int* exitCode) {
    static std::string result;
    int ignored = 0;
    if (exitCode == nullptr)
        exitCode = &ignored;
    result.clear();
    *exitCode = -1;

    // The tool runs in its own directory; the former one is not restored.
    std::string directory = cmd;
    KLXStrProcess::removeFileName(directory);
    klx::platform::setCurrentDirectory(directory);

    klx::platform::Result<klx::platform::CapturedRun> capture =
        klx::platform::captureProcess(cmd, commandLineOf(cmd, args), kOutputBuffer);
    if (!capture.ok() && capture.value.exitCode == -1)
        return result; // nothing was started
    const klx::platform::CapturedRun& run = capture.value;
    if (!run.truncated && run.output.size() < kOutputBuffer)
        result.append(run.output.c_str()); // a zero byte ends the text
    *exitCode = run.exitCode;
    return result;
}

std::string& KLXSystem::runGetOutput(KLXAppType_e type, std::vector<std::string>& args,
                                     int* exitCode) {
    std::string path = getApplicationPath(type);
    if (path.empty())
        return mTheEmptyString;
    return runGetOutput(path, args, exitCode);
}

std::string& KLXSystem::runBashGetOutput(std::string& cmd, std::vector<std::string>& args,
                                         int* exitCode, bool login) {
    std::string noSubPath;
    KLXPathBrowser browser(cmd, 1, nullptr, noSubPath, nullptr);
    if (!browser.exist())
        return mTheEmptyString;

    KLXPath path(cmd);
    std::vector<std::string> arguments;
    arguments.reserve(args.size() + 5);
    if (login)
        arguments.push_back("--login");
    arguments.push_back("-c");
    arguments.push_back("\"");
    arguments.push_back(path.getCygwinValue());
    arguments.insert(arguments.end(), args.begin(), args.end());
    arguments.push_back("\"");
    return runGetOutput(KLX_APP_BASH, arguments, exitCode);
}

std::string& KLXSystem::runBashGetOutput(KLXAppType_e type, std::vector<std::string>& args,
                                         int* exitCode, bool login) {
    std::string path = getApplicationPath(type);
    return runBashGetOutput(path, args, exitCode, login);
}
