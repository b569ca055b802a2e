// A capturing run of a small program through KLXSystem::runGetOutput, against the
// same run written directly with posix_spawn, a pipe and waitpid, both in the
// same process: once as it starts, and once with 2 GiB of touched memory,
// which a fork-based start would pay for on every child.
#include "KLXSystem.h"

#include "BenchHome.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

extern char** environ;

namespace {

const char* const kProgram = "/bin/echo";

// Touched once and kept for the rest of the run.
void touchBallast() {
    static char* ballast = [] {
        const std::size_t size = std::size_t(2) << 30;
        char* memory = static_cast<char*>(std::malloc(size));
        if (memory == nullptr)
            std::abort();
        std::memset(memory, 1, size);
        return memory;
    }();
    benchmark::DoNotOptimize(ballast);
}

std::string directCapture() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        std::abort();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
    char name[] = "echo";
    char text[] = "hello";
    char* argv[] = {name, text, nullptr};
    pid_t pid = 0;
    if (posix_spawn(&pid, kProgram, &actions, nullptr, argv, environ) != 0)
        std::abort();
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    std::string output;
    char buffer[4096];
    ssize_t got;
    while ((got = read(ends[0], buffer, sizeof buffer)) != 0) {
        if (got > 0)
            output.append(buffer, static_cast<std::size_t>(got));
        else if (errno != EINTR)
            break;
    }
    close(ends[0]);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return output;
}

void DirectCapture(benchmark::State& state, bool ballast) {
    if (ballast)
        touchBallast();
    for (auto _ : state) {
        std::string output = directCapture();
        if (output != "hello\n")
            state.SkipWithError("unexpected output");
        benchmark::DoNotOptimize(output);
    }
}

void LibraryCapture(benchmark::State& state, bool ballast) {
    if (ballast)
        touchBallast();
    for (auto _ : state) {
        std::string program = kProgram;
        std::vector<std::string> arguments = {"hello"};
        int exitCode = -1;
        std::string& output = KLXSystem::runGetOutput(program, arguments, &exitCode);
        if (output != "hello\n" || exitCode != 0)
            state.SkipWithError("unexpected output");
        benchmark::DoNotOptimize(output);
    }
}

} // namespace

BENCHMARK_CAPTURE(DirectCapture, small, false)->UseRealTime();
BENCHMARK_CAPTURE(LibraryCapture, small, false)->UseRealTime();
BENCHMARK_CAPTURE(DirectCapture, touched2GiB, true)->UseRealTime();
BENCHMARK_CAPTURE(LibraryCapture, touched2GiB, true)->UseRealTime();

int main(int argc, char** argv) {
    return runBenchmarksAtHome(argc, argv);
}
