// A throwaway HOME and KLX_PREFIX for a benchmark run, so that the library
// never touches the user's files; removed when the run ends.
#ifndef KLX_BENCH_HOME_H
#define KLX_BENCH_HOME_H

#include <benchmark/benchmark.h>

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <string>

inline const std::filesystem::path& benchDir() {
    static const std::filesystem::path dir = [] {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "klx-bench-XXXXXX").string();
        if (!mkdtemp(pattern.data()))
            std::abort();
        setenv("HOME", pattern.c_str(), 1);
        setenv("KLX_PREFIX", (pattern + "/prefix").c_str(), 1);
        return std::filesystem::path(pattern);
    }();
    return dir;
}

inline void removeBenchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(benchDir(), ignored);
}

// A benchmark program's main: the registered benchmarks run in the throwaway
// home, after `prepare` and before `finish` when given.
inline int runBenchmarksAtHome(int argc, char** argv, void (*prepare)() = nullptr,
                               void (*finish)() = nullptr) {
    benchmark::Initialize(&argc, argv);
    benchDir();
    if (prepare)
        prepare();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (finish)
        finish();
    removeBenchDir();
    return 0;
}

#endif // KLX_BENCH_HOME_H
