// Runs a program as a child process, the way a user runs it from a shell,
// and collects what it printed.
#ifndef KLX_TEST_TOOL_RUN_H
#define KLX_TEST_TOOL_RUN_H

#include <string>
#include <vector>

namespace klxtest {

struct ToolResult {
    int exitCode = -1; // -1 when the program could not be started or did not exit
    std::string out;
    std::string err;
};

struct ToolOptions {
    // "NAME=VALUE" sets a variable for the child, "NAME" alone removes it.
    std::vector<std::string> environment;
    // Start from an empty environment instead of the test's own.
    bool cleanEnvironment = false;
    // The child's current directory; empty for the test's own.
    std::string workingDirectory;
};

// Runs `program` (a path, or a name looked up in PATH) with `arguments`,
// stdin from the null device and stdout and stderr into files of a fresh scratch
// directory, and waits for it to end.
ToolResult runTool(const std::string& program, const std::vector<std::string>& arguments,
                   const ToolOptions& options = ToolOptions());

// The environment that runTool gives the child: the test's own (unless a
// clean one is asked for) with the options' changes on top, as "NAME=VALUE".
std::vector<std::string> childEnvironment(const ToolOptions& options);

// The lines of a program's output, without their line breaks.
std::vector<std::string> outputLines(const std::string& text);

} // namespace klxtest

#endif // KLX_TEST_TOOL_RUN_H
