// Reading, editing and writing back a 50 MB text file with KLXTextFile,
// against reading and writing the same bytes with plain read and write in
// the same run.
#include "KLXStrProcess.h"
#include "KLXTextFile.h"

#include "BenchHome.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kFileSize = 50u << 20;

// Lines of 10 to 130 characters, like a large configuration or log file,
// with a marker line in the middle for the edit to find.
std::string makeText() {
    std::mt19937 random(42);
    std::uniform_int_distribution<int> length(10, 130);
    std::uniform_int_distribution<int> letter(0, 61);
    const char* alphabet = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    std::string text;
    text.reserve(kFileSize + 256);
    bool markerWritten = false;
    while (text.size() < kFileSize) {
        if (!markerWritten && text.size() > kFileSize / 2) {
            text += "export KLX_BENCH_MARKER=\"middle\"\n";
            markerWritten = true;
            continue;
        }
        int n = length(random);
        for (int i = 0; i < n; ++i)
            text += (i % 9 == 8) ? ' ' : alphabet[letter(random)];
        text += '\n';
    }
    return text;
}

std::string prepareFile(const char* name) {
    static const std::string text = makeText();
    std::filesystem::path path = benchDir() / name;
    std::ofstream(path, std::ios::binary).write(text.data(), static_cast<long>(text.size()));
    return path.string();
}

void PlainReadWrite(benchmark::State& state) {
    std::string path = prepareFile("plain.txt");
    std::size_t bytes = 0;
    for (auto _ : state) {
        int fd = open(path.c_str(), O_RDWR);
        struct stat info;
        fstat(fd, &info);
        std::vector<char> buffer(static_cast<std::size_t>(info.st_size));
        std::size_t done = 0;
        while (done < buffer.size()) {
            ssize_t n = read(fd, buffer.data() + done, buffer.size() - done);
            if (n <= 0)
                break;
            done += static_cast<std::size_t>(n);
        }
        lseek(fd, 0, SEEK_SET);
        std::size_t written = 0;
        while (written < done) {
            ssize_t n = write(fd, buffer.data() + written, done - written);
            if (n <= 0)
                break;
            written += static_cast<std::size_t>(n);
        }
        if (ftruncate(fd, static_cast<off_t>(written)) != 0)
            state.SkipWithError("ftruncate failed");
        close(fd);
        bytes += 2 * written;
    }
    state.SetBytesProcessed(static_cast<int64_t>(bytes));
}

void TextFileReadEditWrite(benchmark::State& state) {
    std::string path = prepareFile("text.txt");
    std::size_t bytes = 0;
    for (auto _ : state) {
        KLXTextFile file(path, KLX_TEXT_FILE_UNX, 0);
        // Find the marker the way the rc file does, rewrite it, comment
        // nothing in a Unix file, and add a line at the end: a small edit of a
        // large file.
        std::string marker = "export KLX_BENCH_MARKER=";
        int index = file.findLine(marker, KLX_TEMPLATE_CASE_SENSITIVE, 0);
        std::string replacement = "export KLX_BENCH_MARKER=\"middle\"";
        file.replaceLine(index, replacement);
        std::string absent = "no such line";
        benchmark::DoNotOptimize(file.findLine(absent, 0, 0));
        int last = file.getLinesCount() - 1;
        std::string tail = file.getLine(last);
        file.replaceLine(last, tail);
        file.write();
        bytes += 2 * kFileSize;
    }
    state.SetBytesProcessed(static_cast<int64_t>(bytes));
}

} // namespace

BENCHMARK(PlainReadWrite)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(TextFileReadEditWrite)->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char** argv) {
    return runBenchmarksAtHome(argc, argv);
}
