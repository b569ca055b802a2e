// Runs a program as a child process, the way a user runs it from a shell,
// and collects what it printed.
#ifndef KLX_TEST_TOOL_RUN_H
#define KLX_TEST_TOOL_RUN_H

#include <filesystem>
#include <string>
#include <vector>

namespace klxtest {

struct ToolResult {
    int exitCode = -1; // -1 when the program could not be started or did not exit
    std::string out;
    std::string err;
};

// Runs `program` with `arguments` in `workingDirectory` (empty: the test's
// own), stdin from the null device and stdout and stderr into files, and
// waits for it to end. `environment` changes the test's environment for the
// child: "NAME=VALUE" sets a variable, "NAME" alone removes it (POSIX only; a
// Windows child inherits the test's environment as it is).
ToolResult runTool(const std::string& program, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment = {},
                   const std::string& workingDirectory = "");

// The host's part of runTool: starts the program with its output going into
// `out` and `err`, and gives its exit code.
int runToFiles(const std::string& program, const std::vector<std::string>& arguments,
               const std::vector<std::string>& environment, const std::string& workingDirectory,
               const std::filesystem::path& out, const std::filesystem::path& err);

// The lines of a program's output, without their line breaks.
std::vector<std::string> outputLines(const std::string& text);

} // namespace klxtest

#endif // KLX_TEST_TOOL_RUN_H
