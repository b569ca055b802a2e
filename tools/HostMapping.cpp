#include "HostMapping.h"

#include "KLXPathBrowser.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

// The text of the error the last C library call left.
std::string lastError() {
    return std::strerror(errno);
}

} // namespace

bool mappedHost() {
    return fs::path::preferred_separator == '/';
}

std::string prefixDirectory() {
    if (!mappedHost())
        return "";
    std::string prefix = environment("KLX_PREFIX");
    if (prefix.empty()) {
        std::string home = environment("HOME");
        if (home.empty())
            return "";
        prefix = home + "/.klx";
    }
    std::error_code error;
    fs::path absolute = fs::absolute(prefix, error);
    std::string text = error ? prefix : absolute.lexically_normal().string();
    while (text.size() > 1 && text.back() == '/')
        text.pop_back();
    return text;
}

std::string prefixProblem() {
    std::string prefix = prefixDirectory();
    if (prefix.empty())
        return "";
    // The library creates the prefix when it first maps a path.
    std::string drive = "C:\\.", noSubPath;
    KLXPathBrowser(drive, 1, nullptr, noSubPath, nullptr);
    std::error_code error;
    if (fs::is_directory(fs::path(prefix) / "dosdevices", error))
        return "";
    // Trying again tells why the library could not make it.
    if (fs::create_directories(fs::path(prefix) / "dosdevices", error) || !error)
        return "KLX_PREFIX " + prefix + " had no dosdevices directory";
    std::error_code ignored;
    return "KLX_PREFIX " + prefix +
           (fs::exists(prefix, ignored) ? " cannot be opened: " : " cannot be created: ") +
           error.message();
}

std::string registryName() {
    std::string prefix = prefixDirectory();
    return prefix.empty() ? "the registry" : "the registry store " + prefix + "/registry.db";
}

std::string registryReason(const std::string& otherwise) {
    std::string prefix = prefixDirectory();
    if (prefix.empty())
        return otherwise;
    std::string store = prefix + "/registry.db";
    std::FILE* file = std::fopen(store.c_str(), "r+b");
    if (file == nullptr)
        return errno == ENOENT ? otherwise : lastError();
    std::fclose(file);
    return otherwise;
}

std::string hostPath(const std::string& path) {
    std::string prefix = prefixDirectory();
    if (prefix.empty() || path.size() < 2 || path[1] != ':' ||
        !std::isalpha(static_cast<unsigned char>(path[0])))
        return path;
    std::string link = prefix + "/dosdevices/" +
                       static_cast<char>(std::tolower(static_cast<unsigned char>(path[0]))) + ":";
    std::error_code error;
    fs::path drive = fs::canonical(link, error);
    if (error)
        return path;
    std::string rest = path.substr(2);
    std::replace(rest.begin(), rest.end(), '\\', '/');
    while (!rest.empty() && rest[0] == '/')
        rest.erase(0, 1);
    std::string host = drive.string();
    if (rest.empty())
        return host;
    return host + (host.back() == '/' ? "" : "/") + rest;
}

std::string fileProblem(const std::string& path, bool write, bool create) {
    std::error_code error;
    // The path is UTF-8, which Windows' narrow file names are not.
    const fs::path file = fs::u8path(path);
    fs::file_status status = fs::status(file, error);
    if (status.type() == fs::file_type::directory)
        return "it is a directory";
    bool missing = status.type() == fs::file_type::not_found;
    if (missing && !create)
        return "";
    // A missing file is created empty, as the library itself would.
    const char* mode = missing ? "ab" : write ? "r+b" : "rb";
#ifdef _WIN32
    std::FILE* opened =
        ::_wfopen(file.c_str(), std::wstring(mode, mode + std::strlen(mode)).c_str());
#else
    std::FILE* opened = std::fopen(file.c_str(), mode);
#endif
    if (opened == nullptr)
        return lastError();
    std::fclose(opened);
    return "";
}
