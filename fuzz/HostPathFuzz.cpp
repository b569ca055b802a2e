// Fuzzes path forms: the Windows and Cygwin conversions of KLXStrProcess,
// which round-trip every path of the other form, and the library's mapping of
// Windows and Cygwin paths to host files through KLXFile: a file written
// under one form of its path reads back under the others (the Cygwin form,
// other letter case), and a name that Windows refuses is refused.
//
// Input layout: the text up to the first 0x01 is a path for the conversions;
// what follows is a file name and then, after another 0x01, its content.
#include "FuzzSupport.h"

#include "KLXFile.h"
#include "KLXStrProcess.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

struct File : KLXFile {
    File(std::string path, int mode) : KLXFile(path, mode) {}
    bool open() const { return mHandle != INVALID_HANDLE_VALUE; }
};

std::string swapped(std::string text, bool toBackslashes) {
    if (toBackslashes)
        KLXStrProcess::swapSlashes(text);
    else
        KLXStrProcess::swapBackslashes(text);
    return text;
}

void checkConversions(const std::string& path) {
    // A Windows path (a colon at index 1) comes back from its Cygwin form
    // with backslashes only.
    if (path.size() >= 2 && path[1] == ':') {
        std::string text = path;
        KLXStrProcess::convertPath2Cygwin(text);
        KLX_FUZZ_CHECK(text.compare(0, 10, "/cygdrive/") == 0);
        KLXStrProcess::convertPath2Windows(text);
        KLX_FUZZ_CHECK(text == swapped(path, true));
    }
    // A Cygwin drive path comes back from its Windows form with slashes only.
    if (path.size() > 10 && path.compare(0, 10, "/cygdrive/") == 0) {
        std::string text = path;
        KLXStrProcess::convertPath2Windows(text);
        KLX_FUZZ_CHECK(text.size() >= 2 && text[1] == ':');
        KLXStrProcess::convertPath2Cygwin(text);
        KLX_FUZZ_CHECK(text == swapped(path, false));
    }
}

bool refusedByWindows(const std::string& name) {
    for (char c : name) {
        const unsigned char u = static_cast<unsigned char>(c);
        if ((u >= 1 && u <= 31) || std::string("<>\"|?*").find(c) != std::string::npos)
            return true;
    }
    return false;
}

std::string contentOf(const std::string& path) {
    File file(path, 2);
    if (!file.open())
        return "<not open>";
    unsigned long size = 0;
    std::unique_ptr<char[]> bytes(file.read(-1, &size));
    return bytes ? std::string(bytes.get(), size) : "<not read>";
}

void checkFile(std::string name, const std::string& content) {
    // One plain name in the directory C:\fuzz: no separators, no NUL, no
    // name that Windows gives a meaning of its own (".", "..", trailing dots
    // and blanks).
    name = name.substr(0, 120);
    for (char& c : name) {
        if (c == '\\' || c == '/' || c == '\0' || c == ':')
            c = '_';
    }
    while (!name.empty() && (name.back() == '.' || name.back() == ' '))
        name.pop_back();
    if (name.empty())
        return;
    const std::string windows = "C:\\fuzz\\" + name;
    {
        File written(windows, 1);
        if (refusedByWindows(name)) {
            KLX_FUZZ_CHECK(!written.open());
            return;
        }
        KLX_FUZZ_CHECK(written.open());
        unsigned long size = content.size();
        if (size != 0)
            KLX_FUZZ_CHECK(written.write(0, &size, content.data()) == 0);
    }

    std::string cygwin = windows;
    KLXStrProcess::convertPath2Cygwin(cygwin);
    std::string other = windows;
    for (char& c : other) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
        else if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    KLX_FUZZ_CHECK(contentOf(windows) == content);
    KLX_FUZZ_CHECK(contentOf(cygwin) == content);
    KLX_FUZZ_CHECK(contentOf(other) == content);
    std::error_code ignored;
    std::filesystem::remove(klxfuzz::tempRoot() / "prefix" / "drive_c" / "fuzz" / name, ignored);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    klxfuzz::setUpTempRoot();
    std::string dir = "C:\\fuzz\\probe";
    File(dir, 1); // creates the prefix and its drive C:
    std::filesystem::create_directories(klxfuzz::tempRoot() / "prefix" / "drive_c" / "fuzz");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t first = input.find('\x01');
    checkConversions(input.substr(0, first));
    if (first == std::string::npos)
        return 0;
    const std::string rest = input.substr(first + 1);
    const std::size_t second = rest.find('\x01');
    checkFile(rest.substr(0, second), second == std::string::npos ? "" : rest.substr(second + 1));
    return 0;
}
