// Runs a program with posix_spawn, its output going into files.
#include "ToolRun.h"

#include "TestFiles.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <filesystem>

namespace klxtest {

namespace {

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

} // namespace

ToolResult runTool(const std::string& program, const std::vector<std::string>& arguments,
                   const ToolOptions& options) {
    const std::filesystem::path scratch = freshDir("run");
    const std::string outFile = (scratch / "stdout").string();
    const std::string errFile = (scratch / "stderr").string();

    std::vector<std::string> argv = {program};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    std::vector<std::string> envp = childEnvironment(options);
    std::vector<char*> argvPointers = pointers(argv), envpPointers = pointers(envp);

    // Files, not pipes: the child never blocks on a full pipe while the test
    // waits for it.
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_addopen(&actions, 2, errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    if (!options.workingDirectory.empty())
        posix_spawn_file_actions_addchdir_np(&actions, options.workingDirectory.c_str());

    ToolResult result;
    pid_t child = 0;
    int spawned = posix_spawnp(&child, program.c_str(), &actions, nullptr, argvPointers.data(),
                               envpPointers.data());
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        result.err = "cannot start " + program;
        return result;
    }
    int status = 0;
    pid_t waited;
    do
        waited = waitpid(child, &status, 0);
    while (waited < 0 && errno == EINTR);
    if (waited == child && WIFEXITED(status))
        result.exitCode = WEXITSTATUS(status);
    result.out = readBytes(outFile);
    result.err = readBytes(errFile);
    return result;
}

} // namespace klxtest
