// Windows and Cygwin path forms mapped onto the host's file system.
#include "platform/posix/HostPaths.h"

#include "platform/common/AsciiText.h"
#include "platform/posix/Errors.h"
#include "platform/posix/Handles.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <mutex>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace klx {
namespace platform {

namespace {

std::string currentDirectory() {
    std::vector<char> buffer(4096);
    for (;;) {
        if (::getcwd(buffer.data(), buffer.size()) != nullptr)
            return buffer.data();
        if (errno != ERANGE)
            return std::string();
        buffer.resize(buffer.size() * 2);
    }
}

// The home directory of the passwd entry, for a process without HOME.
std::string passwdHome() {
    long hint = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(hint > 0 ? static_cast<std::size_t>(hint) : 16384);
    for (;;) {
        struct passwd entry;
        struct passwd* found = nullptr;
        int error = ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
        if (error == 0)
            return (found != nullptr && found->pw_dir != nullptr) ? found->pw_dir : "";
        if (error != ERANGE || buffer.size() >= (1u << 20))
            return std::string();
        buffer.resize(buffer.size() * 2);
    }
}

// The prefix as the environment names it, absolute, without creating it.
std::string prefixFromEnvironment() {
    std::string prefix;
    const char* configured = std::getenv("KLX_PREFIX");
    if (configured != nullptr && *configured != '\0') {
        prefix = configured;
    } else {
        const char* home = std::getenv("HOME");
        prefix = (home != nullptr && *home != '\0') ? std::string(home) : passwdHome();
        if (!prefix.empty() && prefix.back() != '/')
            prefix += '/';
        prefix += ".klx";
    }
    // The process may change its current directory later; keep the prefix
    // where it was meant.
    if (prefix[0] != '/') {
        std::string cwd = currentDirectory();
        if (!cwd.empty())
            prefix = cwd + (cwd.back() == '/' ? "" : "/") + prefix;
    }
    while (prefix.size() > 1 && prefix.back() == '/')
        prefix.pop_back();
    return prefix;
}

bool makeDirectory(const std::string& path, mode_t mode) {
    if (::mkdir(path.c_str(), mode) == 0)
        return true;
    struct stat info;
    return errno == EEXIST && ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// Creates the prefix (private to the user), its parents as mkdir -p would,
// the drive directory and the missing drive links. Another process may be
// doing the same at the same time: whatever already exists is fine.
bool createPrefixTree(const std::string& prefix) {
    for (std::string::size_type slash = prefix.find('/', 1); slash != std::string::npos;
         slash = prefix.find('/', slash + 1)) {
        if (!makeDirectory(prefix.substr(0, slash), 0777))
            return false;
    }
    if (!makeDirectory(prefix, 0700))
        return false;
    // An existing prefix that others may enter is made private; one that
    // belongs to someone else is left alone (the registry refuses it).
    makePrivateDirectory(prefix);
    if (!makeDirectory(prefix + "/drive_c", 0777) || !makeDirectory(prefix + "/dosdevices", 0777))
        return false;

    static const char* const links[][2] = {{"c:", "../drive_c"}, {"u:", "/"}, {"z:", "/"}};
    bool complete = true;
    for (const auto& link : links) {
        std::string name = prefix + "/dosdevices/" + link[0];
        if (::symlink(link[1], name.c_str()) != 0 && errno != EEXIST)
            complete = false;
    }
    return complete;
}

// The prefix, created on the first use of each prefix the process sees.
std::string ensuredPrefix() {
    static std::mutex guard;
    static std::string lastEnsured;

    std::string prefix = prefixFromEnvironment();
    std::lock_guard<std::mutex> lock(guard);
    if (prefix != lastEnsured && createPrefixTree(prefix))
        lastEnsured = prefix;
    return prefix;
}

// The lexical mapping, and where in it the names that may be matched begin:
// a drive's directory and the root are never matched.
struct LexicalPath {
    std::string text;
    std::string::size_type matchFrom;
};

LexicalPath mapLexically(const std::string& path) {
    // Only the C string counts, as in the Win32 calls.
    std::string source(path.c_str());
    for (char& c : source) {
        if (c == '\\')
            c = '/';
    }

    LexicalPath result;
    std::string::size_type rest = 0;
    if (source.size() >= 2 && isAsciiLetter(source[0]) && source[1] == ':') {
        result.text = driveDirectory(source[0]);
        rest = 2;
    } else if (source.compare(0, 10, "/cygdrive/") == 0 && source.size() >= 11 &&
               isAsciiLetter(source[10]) && (source.size() == 11 || source[11] == '/')) {
        result.text = driveDirectory(source[10]);
        rest = 11;
    }
    if (rest != 0) {
        // "C:" names the drive itself; anything after it lies inside it.
        if (rest < source.size())
            result.text += '/';
    } else if (!source.empty() && source[0] == '/') {
        result.text = "/";
    }
    result.matchFrom = result.text.size();

    // The names, with separators merged.
    for (std::string::size_type i = rest; i < source.size(); ++i) {
        if (source[i] == '/' && (result.text.empty() || result.text.back() == '/'))
            continue;
        result.text += source[i];
    }
    return result;
}

// The byte-wise smallest entry of `directory` that equals `name` but for
// ASCII letter case.
bool findNoCase(const std::string& directory, const std::string& name, std::string& found) {
    ScopedDir dir(::opendir(directory.empty() ? "." : directory.c_str()));
    if (!dir)
        return false;
    bool any = false;
    while (const struct dirent* entry = ::readdir(dir.get())) {
        if (!equalNoCase(entry->d_name, name))
            continue;
        if (!any || found.compare(entry->d_name) > 0)
            found = entry->d_name;
        any = true;
    }
    return any;
}

// Errno of looking the exact name up; 0 when it exists (a dangling link
// counts: the name is taken).
int lookUp(const std::string& path) {
    struct stat info;
    return ::lstat(path.c_str(), &info) == 0 ? 0 : errno;
}

inline bool isDotName(const std::string& name) {
    return name == "." || name == "..";
}

} // namespace

DWORD makePrivateDirectory(const std::string& path) {
    struct stat info;
    if (::stat(path.c_str(), &info) != 0)
        return win32PathError(errno, path);
    if (!S_ISDIR(info.st_mode))
        return ERROR_DIRECTORY;
    if (info.st_uid != ::geteuid())
        return ERROR_ACCESS_DENIED;
    if ((info.st_mode & 0777) != 0700 && ::chmod(path.c_str(), 0700) != 0)
        return ERROR_ACCESS_DENIED;
    return ERROR_SUCCESS;
}

std::string prefixDirectory() {
    return ensuredPrefix();
}

std::string driveDirectory(char letter) {
    return ensuredPrefix() + "/dosdevices/" + foldAscii(letter) + ":";
}

std::string hostPathLexical(const std::string& path) {
    return mapLexically(path).text;
}

std::string hostPath(const std::string& path) {
    LexicalPath lexical = mapLexically(path);
    const std::string& text = lexical.text;
    if (text.empty() || lookUp(text) != ENOENT)
        return text;

    std::string::size_type nameEnd = text.find_last_not_of('/');
    if (nameEnd == std::string::npos || nameEnd < lexical.matchFrom)
        return text;
    ++nameEnd;
    std::string::size_type nameBegin = text.rfind('/', nameEnd - 1);
    nameBegin = (nameBegin == std::string::npos) ? 0 : nameBegin + 1;
    if (nameBegin < lexical.matchFrom)
        return text;

    // The usual case: only the last name is missing, as for a file about to
    // be created, or spelled in another case.
    std::string parent = text.substr(0, nameBegin);
    if (lookUp(parent.empty() ? "." : parent) == 0) {
        std::string name = text.substr(nameBegin, nameEnd - nameBegin);
        std::string found;
        if (isDotName(name) || !findNoCase(parent, name, found))
            return text;
        return parent + found + text.substr(nameEnd);
    }

    // Walk from the first name: keep what exists, match what does not, and
    // stop matching at the first name that matches nothing.
    std::string resolved = text.substr(0, lexical.matchFrom);
    std::string::size_type pos = lexical.matchFrom;
    bool matching = true;
    while (pos < text.size()) {
        std::string::size_type slash = text.find('/', pos);
        std::string::size_type end = (slash == std::string::npos) ? text.size() : slash;
        std::string name = text.substr(pos, end - pos);
        if (matching && !isDotName(name)) {
            int error = lookUp(resolved + name);
            if (error != 0) {
                std::string found;
                if (error == ENOENT && findNoCase(resolved, name, found))
                    name = found;
                else
                    matching = false;
            }
        }
        resolved += name;
        if (slash == std::string::npos)
            break;
        resolved += '/';
        pos = slash + 1;
    }
    return resolved;
}

bool hasInvalidNameCharacter(const std::string& path) {
    for (const char* p = path.c_str(); *p != '\0'; ++p) {
        unsigned char c = static_cast<unsigned char>(*p);
        if (c < 32 || std::strchr("<>\"|?*", c) != nullptr)
            return true;
    }
    return false;
}

} // namespace platform
} // namespace klx
