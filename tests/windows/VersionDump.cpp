// Prints what a version reader finds in each file, in one format for every
// reader, so that the readers can be compared line by line:
//
//   VersionDump [--api] DIR...      each file of the directories
//   VersionDump --images DIR        writes the version test images into DIR
//
// The default reader is the library's (the platform layer's
// readVersionResource under common/VersionInfo): on Linux the POSIX host's
// PE parser, on Windows the Win32 backend. --api, on Windows only, reads
// with GetFileVersionInfoW and VerQueryValueW. Per file, sorted by name:
//
//   NAME: error CODE
//   NAME: fixed FILE PRODUCT MASK FLAGS OS TYPE SUBTYPE  in hex, each version
//                                                         as two words
//   NAME: translation LANG CP ...
//   NAME: LANGCP Key=text               for each standard key that is there
//
// Texts are printed in UTF-8; every line ends with LF.
#include "VersionImages.h"

#include "platform/common/VersionInfo.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#endif

namespace {

namespace fs = std::filesystem;

const char* const kKeys[] = {"Comments",        "CompanyName",      "FileDescription",
                             "FileVersion",     "InternalName",     "LegalCopyright",
                             "LegalTrademarks", "OriginalFilename", "PrivateBuild",
                             "ProductName",     "ProductVersion",   "SpecialBuild"};

// One reader: the block of a file (or its error), and queries in it that
// give bytes (binary values) or UTF-8 (texts).
using Read = std::uint32_t (*)(const fs::path&, std::vector<unsigned char>&);
using Query = bool (*)(std::vector<unsigned char>&, const std::string&, std::string&);

std::uint32_t word32(const std::string& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at + i])) << (8 * i);
    return value;
}

std::string hex(std::uint32_t value, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "%0*x", digits, value);
    return text;
}

void dumpFile(Read read, Query query, const fs::path& path, const std::string& name,
              std::string& out) {
    const std::string head = name + ": ";
    std::vector<unsigned char> block;
    const std::uint32_t error = read(path, block);
    if (error != 0) {
        out += head + "error " + std::to_string(error) + "\n";
        return;
    }
    std::string value;
    if (query(block, "\\", value) && value.size() >= 52 && word32(value, 0) == 0xFEEF04BD) {
        out += head + "fixed";
        for (std::size_t at = 8; at < 44; at += 4)
            out += " " + hex(word32(value, at), 1);
        out += "\n";
    } else {
        out += head + "no fixed information\n";
    }
    std::vector<std::string> tables;
    if (query(block, "\\VarFileInfo\\Translation", value)) {
        out += head + "translation";
        for (std::size_t at = 0; at + 4 <= value.size(); at += 4) {
            const std::uint32_t pair = word32(value, at);
            out += " " + hex(pair & 0xFFFF, 4) + " " + hex(pair >> 16, 4);
            tables.push_back(hex(pair & 0xFFFF, 4) + hex(pair >> 16, 4));
        }
        out += "\n";
    }
    for (const std::string& table : tables)
        for (const char* key : kKeys)
            if (query(block, "\\StringFileInfo\\" + table + "\\" + key, value))
                out += head + table + " " + key + "=" + value + "\n";
}

// ---- The library's reader ----------------------------------------------------

std::uint32_t libraryRead(const fs::path& path, std::vector<unsigned char>& block) {
    const std::string name = path.u8string();
    const klx::platform::Result<std::size_t> size = klx::platform::fileVersionInfoSize(name);
    if (!size.ok())
        return size.error;
    block.assign(size.value, 0);
    return klx::platform::fileVersionInfo(name, block.data(), block.size());
}

bool libraryQuery(std::vector<unsigned char>& block, const std::string& path, std::string& value) {
    const klx::platform::Result<klx::platform::VersionValue> found =
        klx::platform::queryVersionValue(block.data(), block.size(), path);
    if (!found.ok())
        return false;
    value.assign(static_cast<const char*>(found.value.data), found.value.length);
    return true;
}

// ---- Windows' own reader -----------------------------------------------------

#ifdef _WIN32
std::uint32_t apiRead(const fs::path& path, std::vector<unsigned char>& block) {
    DWORD ignored = 0;
    const DWORD size = ::GetFileVersionInfoSizeW(path.c_str(), &ignored);
    if (size == 0)
        return ::GetLastError();
    block.assign(size, 0);
    return ::GetFileVersionInfoW(path.c_str(), 0, size, block.data()) ? 0 : ::GetLastError();
}

bool apiQuery(std::vector<unsigned char>& block, const std::string& path, std::string& value) {
    std::wstring wide(path.begin(), path.end()); // the paths asked for are ASCII
    void* data = nullptr;
    UINT length = 0;
    if (!::VerQueryValueW(block.data(), wide.c_str(), &data, &length) || data == nullptr)
        return false;
    if (path.rfind("\\StringFileInfo\\", 0) != 0) {
        value.assign(static_cast<const char*>(data), length);
        return true;
    }
    // A text: `length` counts its characters, up to and with the NUL.
    const wchar_t* text = static_cast<const wchar_t*>(data);
    value = fs::path(std::wstring(text, ::wcsnlen(text, length))).u8string();
    return true;
}
#endif

// ---- The test images -----------------------------------------------------------

using klxtest::peImage;
using klxtest::StringTable;

// A tree whose one string table names `language`.
std::string tree(const std::u16string& company, std::uint16_t language) {
    return klxtest::versionTree(
        klxtest::fixedFileInfo(0x00020001u, 0x00000003u, 0x00020001u, 0x00000000u),
        {StringTable{klx::version::ascii16(hex(language, 4) + "04b0"),
                     {{u"CompanyName", company}, {u"FileVersion", u"2.1.0.3"}}}},
        {{language, 0x04b0}});
}

// The choices of language on which FindResource and the POSIX host agree:
// the user's language (English here), language-neutral, else the first; and
// the resource name Windows reads. Languages are listed in ascending order,
// as in a real image: Windows searches them by halves. (Wine tries
// language-neutral before the user's, and the user's primary language with
// neutral sublanguage before the first: images that hold both English and
// neutral, or 0x0009 without 0x0409, would tell Wine from Windows, not the
// library from Windows.) The fuzzer's corpus holds the plain images.
void writeImages(const fs::path& directory) {
    // Windows reads the version resource named 1 only.
    klxtest::ImageLayout layout;
    std::string namedTwo = peImage(false, {{16, klxtest::sampleVersionTree()}}, &layout);
    klxtest::put32(namedTwo, layout.nameDirectories[0] + 16, 2);
    const std::vector<std::pair<const char*, std::string>> images = {
        {"english-and-german.dll",
         peImage(false, {{16, tree(u"Deutsch", 0x0407), 0x0407}, {16, tree(u"English", 0x0409)}})},
        {"neutral-and-german.dll",
         peImage(true, {{16, tree(u"Neutral", 0), 0}, {16, tree(u"Deutsch", 0x0407), 0x0407}})},
        {"german-and-french.dll", peImage(false, {{16, tree(u"Deutsch", 0x0407), 0x0407},
                                                  {16, tree(u"Fran", 0x040c), 0x040c}})},
        {"named-2.dll", namedTwo},
    };
    fs::create_directories(directory);
    for (const auto& image : images)
        std::ofstream(directory / image.first, std::ios::binary) << image.second;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.size() == 2 && args[0] == "--images") {
        writeImages(fs::u8path(args[1]));
        return 0;
    }
    Read read = libraryRead;
    Query query = libraryQuery;
#ifdef _WIN32
    if (!args.empty() && args[0] == "--api") {
        read = apiRead;
        query = apiQuery;
        args.erase(args.begin());
    }
    _setmode(_fileno(stdout), _O_BINARY); // LF stays LF
#endif
    std::vector<std::pair<std::string, fs::path>> files;
    for (const std::string& arg : args)
        for (const fs::directory_entry& entry : fs::directory_iterator(fs::u8path(arg)))
            if (entry.is_regular_file())
                files.emplace_back(entry.path().filename().u8string(), entry.path());
    std::sort(files.begin(), files.end());
    std::string out;
    for (const auto& file : files)
        dumpFile(read, query, file.second, file.first, out);
    std::fwrite(out.data(), 1, out.size(), stdout);
    return args.empty() ? 2 : 0;
}
