// Constructing KLXCorvaleSettings on a large SDK, against a plain walk of the
// same directories in the same run. The SDK has seven elements, each with a
// history of `roots` root directories of 50 version directories; OS libraries
// and firmware carry manifests, firmware an emulator (every fifth only under
// emu/ubex_cvl/Debug). The walk does what the five browsing elements' checks
// do, with opendir/readdir, stat and libxml2's xmlReadFile on the firmware
// manifests; the settings object also reads seven histories from the
// registry and its rc file. Sizes: 20, 40 and 80 roots per history.
#include "KLXCorvaleSettings.h"
#include "KLXPathEnvironment.h"
#include "KLXRegistryKey.h"

#include "BenchHome.h"

#include <benchmark/benchmark.h>

#include <dirent.h>
#include <fnmatch.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

const int kMaxRoots = 80;
const int kVersions = 50;

enum Kind { OsKind, FirmwareKind, PlainKind, BinKind, EclipseKind };

struct Element {
    const char* variable;
    const char* directory;
    Kind kind;
    bool browsed;
};

// In CvlSelectElement_e order.
const Element kElements[7] = {
    {"KL_CVL_IDE_OS_DEFAULT", "OS", OsKind, true},
    {"KL_CVL_IDE_FW_DEFAULT", "Firmware", FirmwareKind, true},
    {"KL_CVL_IDE_PLUGINS", "Plugins", PlainKind, false},
    {"KL_CVL_IDE_GTS_GCC", "GCC", BinKind, true},
    {"KL_CVL_IDE_GTS_ARM", "ARM", PlainKind, false},
    {"KL_CVL_IDE_GTS_MINGW", "MinGW", BinKind, true},
    {"KL_CVL_IDE_ECLIPSE", "Eclipse", EclipseKind, true},
};

fs::path sdkHost() {
    return benchDir() / "prefix" / "drive_c" / "SDK";
}

std::string rootName(int root) {
    char name[16];
    std::snprintf(name, sizeof name, "Root%02d", root);
    return name;
}

std::string versionName(int version) {
    char name[16];
    std::snprintf(name, sizeof name, "V%d.%02d", 1 + version / 10, version % 10);
    return name;
}

void writeFile(const fs::path& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
    if (!out)
        std::abort();
}

// The SDK tree with the largest number of roots; smaller sizes use the first
// roots of each history.
void generateSdk() {
    for (const Element& element : kElements) {
        for (int root = 0; root < kMaxRoots; ++root) {
            for (int version = 0; version < kVersions; ++version) {
                fs::path dir =
                    sdkHost() / element.directory / rootName(root) / versionName(version);
                fs::create_directories(dir);
                switch (element.kind) {
                case OsKind:
                    writeFile(dir / "manifest.xml", "<?xml version=\"1.0\"?>\n<Manifest>\n"
                                                    "  <Api baseband=\"pavan\"/>\n</Manifest>\n");
                    break;
                case FirmwareKind: {
                    writeFile(dir / "manifest.xml",
                              "<?xml version=\"1.0\"?>\n<Manifest>\n"
                              "  <Firmware baseband=\"pavan\"/>\n</Manifest>\n");
                    fs::path emulator = dir;
                    if (version % 5 == 4) {
                        emulator /= "emu/ubex_cvl/Debug";
                        fs::create_directories(emulator);
                    }
                    writeFile(emulator / "emu_pavan.exe", "");
                    break;
                }
                case BinKind:
                    fs::create_directories(dir / "bin");
                    break;
                case EclipseKind:
                    writeFile(dir / "eclipse.exe", "");
                    break;
                case PlainKind:
                    break;
                }
            }
        }
    }
}

// The histories in the registry and the values in the profile's .cvlrc.
void chooseSize(int roots) {
    std::string rc;
    for (const Element& element : kElements) {
        std::string path =
            std::string("Software\\Keldmar\\Corvale Settings\\") + element.variable + " history";
        KLXRegistryKey key(HKEY_CURRENT_USER, path);
        std::string name = "count", value = std::to_string(roots);
        key.setValue(name, value);
        for (int root = 0; root < roots; ++root) {
            name = std::to_string(root);
            value = std::string("C:\\SDK\\") + element.directory + "\\" + rootName(root);
            if (!element.browsed)
                value += "\\" + versionName(0);
            key.setValue(name, value);
        }
        rc += std::string("export ") + element.variable + "=\"C:/SDK/" + element.directory + "/" +
              rootName(0) + "/" + versionName(0) + "\"\n";
    }
    writeFile(benchDir() / ".cvlrc", rc);
}

bool isDirectory(const std::string& path) {
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool isFile(const std::string& path) {
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

bool hasEmulator(const std::string& dir) {
    DIR* listing = ::opendir(dir.c_str());
    if (listing == nullptr)
        return false;
    bool found = false;
    while (dirent* entry = ::readdir(listing)) {
        if (::fnmatch("emu_*.exe", entry->d_name, FNM_CASEFOLD) == 0) {
            found = true;
            break;
        }
    }
    ::closedir(listing);
    return found;
}

// The "baseband" of the first Api, Firmware or Plug-in element, "pavan" for
// an Api or Plug-in without one.
const xmlNode* findElement(const xmlNode* node, const char* name) {
    for (; node != nullptr; node = node->next) {
        if (node->type != XML_ELEMENT_NODE)
            continue;
        if (std::strcmp(reinterpret_cast<const char*>(node->name), name) == 0)
            return node;
        if (const xmlNode* inner = findElement(node->children, name))
            return inner;
    }
    return nullptr;
}

std::string baseBand(const std::string& dir) {
    xmlDoc* document = xmlReadFile((dir + "/manifest.xml").c_str(), nullptr, XML_PARSE_NONET);
    if (document == nullptr)
        return "";
    std::string result;
    const char* const names[3] = {"Api", "Firmware", "Plug-in"};
    for (int i = 0; i < 3; ++i) {
        const xmlNode* element = findElement(document->children, names[i]);
        if (element == nullptr)
            continue;
        xmlChar* value = xmlGetProp(element, reinterpret_cast<const xmlChar*>("baseband"));
        if (value != nullptr)
            result = reinterpret_cast<const char*>(value);
        xmlFree(value);
        if (result.empty() && i != 1)
            result = "pavan";
        break;
    }
    xmlFreeDoc(document);
    return result;
}

bool accepts(Kind kind, const std::string& dir, const std::string& osBaseBand) {
    switch (kind) {
    case OsKind:
        return isFile(dir + "/manifest.xml");
    case FirmwareKind: {
        const bool sameFamily = baseBand(dir) == osBaseBand;
        const bool emulator = hasEmulator(dir) || hasEmulator(dir + "/emu/ubex_cvl/Debug");
        return sameFamily && emulator;
    }
    case BinKind:
        return isDirectory(dir + "/bin");
    case EclipseKind:
        return isFile(dir + "/eclipse.exe");
    case PlainKind:
        return true;
    }
    return false;
}

// The selectable paths of the five browsing elements, found by hand.
std::size_t plainWalk(int roots) {
    const std::string osBaseBand =
        baseBand((sdkHost() / "OS" / rootName(0) / versionName(0)).string());
    std::size_t accepted = 0;
    for (const Element& element : kElements) {
        if (!element.browsed)
            continue;
        for (int root = 0; root < roots; ++root) {
            const std::string rootDir = (sdkHost() / element.directory / rootName(root)).string();
            DIR* listing = ::opendir(rootDir.c_str());
            if (listing == nullptr)
                continue;
            while (dirent* entry = ::readdir(listing)) {
                if (entry->d_name[0] == '.')
                    continue;
                const std::string dir = rootDir + "/" + entry->d_name;
                if (isDirectory(dir) && accepts(element.kind, dir, osBaseBand))
                    ++accepted;
            }
            ::closedir(listing);
        }
    }
    return accepted;
}

std::size_t selectablePaths(KLXCorvaleSettings& settings) {
    std::size_t count = 0;
    for (int element = 0; element < 7; ++element) {
        if (kElements[element].browsed)
            count += settings.mElements[element]->mPathList.size();
    }
    return count;
}

void PlainWalk(benchmark::State& state) {
    const int roots = static_cast<int>(state.range(0));
    std::size_t accepted = 0;
    for (auto _ : state) {
        accepted = plainWalk(roots);
        benchmark::DoNotOptimize(accepted);
    }
    if (accepted != static_cast<std::size_t>(5 * roots * kVersions))
        state.SkipWithError("the walk missed directories");
    state.counters["paths"] = static_cast<double>(accepted);
    state.SetComplexityN(roots);
}

void SettingsConstruction(benchmark::State& state) {
    const int roots = static_cast<int>(state.range(0));
    chooseSize(roots);
    std::size_t found = 0;
    for (auto _ : state) {
        std::string config;
        KLXCorvaleSettings settings(nullptr, config);
        found = selectablePaths(settings);
        benchmark::DoNotOptimize(found);
    }
    if (found != plainWalk(roots))
        state.SkipWithError("the settings object and the walk disagree");
    state.counters["paths"] = static_cast<double>(found);
    state.SetComplexityN(roots);
}

} // namespace

BENCHMARK(PlainWalk)
    ->Arg(20)
    ->Arg(40)
    ->Arg(80)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Complexity(benchmark::oN);
BENCHMARK(SettingsConstruction)
    ->Arg(20)
    ->Arg(40)
    ->Arg(80)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Complexity(benchmark::oN);

int main(int argc, char** argv) {
    return runBenchmarksAtHome(argc, argv, generateSdk, xmlCleanupParser);
}
