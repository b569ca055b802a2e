// KLXCorvaleSettings::readBaseBand on the worst manifests known, in seconds
// per MB of file (the "s/MB" column; the target is at most 0.1), with the
// process's peak memory: an element with 100,000 attributes, a document type
// that gives an element 3,000 default attributes used 20,000 times, 8 MB of
// elements nested 250 deep, a 59 MB manifest whose baseband is on its first
// element, and an inner element with 20,000 namespace declarations whose
// 20,000 children each use one of them.
#include "KLXCorvaleSettings.h"

#include "BenchHome.h"

#include <benchmark/benchmark.h>

#include <sys/resource.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <string>

namespace fs = std::filesystem;

namespace {

// Writes the manifest of component `name` in C:\manifests once; its size in
// MB.
// The manifests are written as they are made, so that the peak memory of the
// process is that of reading them.
double writeManifest(const std::string& name, void (*content)(std::ostream&)) {
    const fs::path dir = benchDir() / "prefix" / "drive_c" / "manifests" / name;
    const fs::path file = dir / "manifest.xml";
    if (!fs::exists(file)) {
        fs::create_directories(dir);
        std::ofstream out(file, std::ios::binary);
        content(out);
    }
    return static_cast<double>(fs::file_size(file)) / (1024.0 * 1024.0);
}

void manyAttributes(std::ostream& out) {
    out << "<Manifest><Api baseband=\"orvan\"";
    for (int i = 0; i < 100000; ++i)
        out << " a" << i << "=\"v\"";
    out << "/></Manifest>";
}

void manyDefaults(std::ostream& out) {
    out << "<!DOCTYPE m [<!ATTLIST e";
    for (int i = 0; i < 3000; ++i)
        out << " d" << i << " CDATA \"v\"";
    out << ">]><m>";
    for (int i = 0; i < 20000; ++i)
        out << "<e/>";
    out << "<Api baseband=\"orvan\"/></m>";
}

void deepNesting(std::ostream& out) {
    out << "<m><Api baseband=\"orvan\"/>";
    const std::string nest = [] {
        std::string text;
        for (int i = 0; i < 250; ++i)
            text += "<a>";
        for (int i = 0; i < 250; ++i)
            text += "</a>";
        return text;
    }();
    for (std::size_t size = 0; size < 8u * 1024 * 1024; size += nest.size())
        out << nest;
    out << "</m>";
}

void hugeFile(std::ostream& out) {
    out << "<Manifest><Api baseband=\"orvan\"/>\n";
    const std::string line =
        "<Item name=\"component\" version=\"1.2.3\" path=\"C:\\SDK\\OS\\V3.10\\lib\\file.a\"/>\n";
    for (std::size_t size = 0; size < 59u * 1024 * 1024; size += line.size())
        out << line;
    out << "</Manifest>\n";
}

// The declarations on an inner element, and as many elements inside it whose
// attributes use them, the Api's baseband among them.
void manyNamespaces(std::ostream& out) {
    out << "<Manifest><Components";
    for (int i = 0; i < 20000; ++i)
        out << " xmlns:p" << i << "=\"urn:u" << i << "\"";
    out << ">";
    for (int i = 0; i < 20000; ++i)
        out << "<Item p" << i << ":baseband=\"other\"/>";
    out << "<Api p7:baseband=\"orvan\"/></Components></Manifest>";
}

void readBaseBand(benchmark::State& state, const std::string& name,
                  void (*content)(std::ostream&)) {
    const double megabytes = writeManifest(name, content);
    std::string dir = "C:\\manifests\\" + name;
    for (auto _ : state) {
        std::string& baseBand = KLXCorvaleSettings::readBaseBand(dir);
        if (baseBand != "orvan")
            state.SkipWithError("wrong baseband");
        benchmark::DoNotOptimize(baseBand);
    }
    // Seconds of processor time per MB.
    state.counters["s/MB"] = benchmark::Counter(
        megabytes, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["MB"] = megabytes;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    state.counters["peak_rss_MB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
}

} // namespace

BENCHMARK_CAPTURE(readBaseBand, ManyAttributes, "attributes", manyAttributes)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readBaseBand, ManyDefaultAttributes, "defaults", manyDefaults)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readBaseBand, DeepNesting, "deep", deepNesting)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readBaseBand, HugeFile, "huge", hugeFile)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readBaseBand, ManyNamespaceDeclarations, "namespaces", manyNamespaces)
    ->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    return runBenchmarksAtHome(argc, argv);
}
