// Runs a program through the shell and env(1).
#include "ToolRun.h"

#include <sys/wait.h>

#include <cstdlib>

namespace klxtest {

namespace {

// A word the shell takes as it is.
std::string quoted(const std::string& text) {
    std::string result = "'";
    for (char c : text)
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

} // namespace

int runToFiles(const std::string& program, const std::vector<std::string>& arguments,
               const std::vector<std::string>& environment, const std::string& workingDirectory,
               const std::filesystem::path& out, const std::filesystem::path& err) {
    // env takes its removals before the first assignment.
    std::string command = "exec </dev/null >" + quoted(out) + " 2>" + quoted(err) + "; cd " +
                          quoted(workingDirectory.empty() ? "." : workingDirectory) +
                          " && exec env",
                assignments;
    for (const std::string& entry : environment) {
        if (entry.find('=') == std::string::npos)
            command += " -u " + quoted(entry);
        else
            assignments += " " + quoted(entry);
    }
    command += assignments + " " + quoted(program);
    for (const std::string& argument : arguments)
        command += " " + quoted(argument);
    const int status = std::system(command.c_str());
    return status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace klxtest
