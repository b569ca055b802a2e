#include "ToolPaths.h"

#include "KLXPathBrowser.h"
#include "KLXStrProcess.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

bool startsWith(const std::string& text, const char* prefix) {
    return text.compare(0, std::char_traits<char>::length(prefix), prefix) == 0;
}

// "a/./b/../c/" gives "a/c", keeping a root; the separator is `separator`.
// Paths are UTF-8 on every host: u8path and u8string, since Windows' paths
// from and to narrow strings use the ANSI code page.
std::string normalized(const std::string& path, char separator) {
    std::string generic = path;
    std::replace(generic.begin(), generic.end(), '\\', '/');
    std::string result = fs::u8path(generic).lexically_normal().generic_u8string();
    while (result.size() > 1 && result.back() == '/' && result[result.size() - 2] != ':')
        result.pop_back();
    std::replace(result.begin(), result.end(), '/', separator);
    return result;
}

// A host path made absolute against the current directory.
std::string absoluteHostPath(const std::string& typed) {
    if (!typed.empty() && (typed[0] == '/' || typed[0] == '\\'))
        return typed;
    std::error_code error;
    fs::path current = fs::current_path(error);
    return (current / fs::u8path(typed)).generic_u8string();
}

// The Windows and Cygwin forms, or "" for a host path.
std::string driveForm(const std::string& typed) {
    if (hasDriveLetter(typed))
        return normalized(typed, '\\');
    // "/cygdrive/c" alone or followed by a separator; anything else under
    // /cygdrive is an ordinary host path.
    if (startsWith(typed, "/cygdrive/") && typed.size() > 10 &&
        std::isalpha(static_cast<unsigned char>(typed[10])) &&
        (typed.size() == 11 || typed[11] == '/')) {
        std::string path = typed;
        KLXStrProcess::convertPath2Windows(path);
        return normalized(path, '\\');
    }
    return "";
}

// The path with its drive letter upper-case and each name as the directory
// that holds it spells it, found by a search for that one name (the search
// matches names without regard to letter case, as Windows does). Names from
// the first one that does not exist on are kept as they are.
std::string onDiskSpelling(const std::string& path) {
    std::string result = path.substr(0, 2);
    result[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(result[0])));
    // "C:name" is relative to the drive's current directory: kept as typed.
    if (path.size() > 2 && path[2] != '\\')
        return result + path.substr(2);
    bool found = true;
    size_t start = 2;
    while (start < path.size()) {
        size_t end = path.find('\\', start + 1);
        if (end == std::string::npos)
            end = path.size();
        std::string name = path.substr(start + 1, end - start - 1);
        start = end;
        if (name.empty())
            continue;
        std::string candidate = result + "\\" + name, noSubPath;
        // A name with wildcards would match other entries: it stays as typed.
        if (found && name.find_first_of("*?") == std::string::npos) {
            KLXPathBrowser search(candidate, 1 | 16, nullptr, noSubPath, nullptr);
            found = search.getPathList().size() == 1;
            if (found)
                candidate = result + "\\" + search.getPathList().front();
        }
        result = candidate;
    }
    return result.size() == 2 ? result + "\\" : result;
}

} // namespace

bool hasDriveLetter(const std::string& path) {
    return path.size() >= 2 && std::isalpha(static_cast<unsigned char>(path[0])) && path[1] == ':';
}

std::string windowsPath(const std::string& typed) {
    if (typed.empty() || typed[0] == '$')
        return typed;
    std::string path = driveForm(typed);
    if (path.empty()) {
        path = normalized(absoluteHostPath(typed), '\\');
        // On a host whose current directory has a drive of its own (Windows),
        // the absolute path already carries it.
        if (!hasDriveLetter(path))
            path = "U:" + path;
    }
    return onDiskSpelling(path);
}

std::string filePath(const std::string& typed) {
    if (typed.empty())
        return typed;
    std::string drive = driveForm(typed);
    if (!drive.empty())
        return drive;
    return normalized(absoluteHostPath(typed), '/');
}

std::string displayPath(const std::string& path) {
    if (hasDriveLetter(path))
        return path;
    std::string shown = path;
    std::replace(shown.begin(), shown.end(), '\\', '/');
    return shown;
}

bool pathExists(const std::string& pattern) {
    std::string root = pattern, noSubPath;
    KLXPathBrowser search(root, 1, nullptr, noSubPath, nullptr);
    return search.exist();
}

bool isDirectory(const std::string& path) {
    return pathExists(path + "\\*");
}
