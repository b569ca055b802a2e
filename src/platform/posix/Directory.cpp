// Directory listings and single entries of the host's file system, with the
// names and attributes that a Windows listing gives.
#include "platform/Platform.h"

#include "platform/posix/Errors.h"
#include "platform/posix/Handles.h"
#include "platform/posix/HostPaths.h"

#include <cerrno>
#include <sys/stat.h>

namespace klx {
namespace platform {

namespace {

// Directories by what the listing says, or for links and file systems that do
// not say, by what the name leads to: a link to a directory is one, a dangling
// link is a file.
unsigned attributesOf(const std::string& hostDirectory, const struct dirent* entry) {
#if defined(_DIRENT_HAVE_D_TYPE)
    if (entry->d_type == DT_DIR)
        return kAttributeDirectory;
    if (entry->d_type != DT_LNK && entry->d_type != DT_UNKNOWN)
        return 0;
#endif
    struct stat info;
    std::string path = hostDirectory + entry->d_name;
    if (::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode))
        return kAttributeDirectory;
    return 0;
}

} // namespace

Result<std::vector<DirectoryEntry>> listDirectory(const std::string& path) {
    Result<std::vector<DirectoryEntry>> result{{}, 0};
    std::string host = hostPath(path);
    if (host.empty())
        host = ".";
    if (host.back() != '/')
        host += '/';
    ScopedDir directory(::opendir(host.c_str()));
    if (!directory) {
        const int error = errno;
        result.error =
            (error == ENOENT || error == ENOTDIR) ? DWORD(ERROR_PATH_NOT_FOUND) : win32Error(error);
        return result;
    }
    while (const struct dirent* listed = ::readdir(directory.get()))
        result.value.push_back(DirectoryEntry{listed->d_name, attributesOf(host, listed)});
    return result;
}

Result<DirectoryEntry> findEntry(const std::string& path) {
    Result<DirectoryEntry> result{{std::string(), 0}, 0};
    const std::string host = hostPath(path);
    struct stat info;
    if (::stat(host.c_str(), &info) == 0) {
        result.value.attributes = S_ISDIR(info.st_mode) ? kAttributeDirectory : 0;
    } else {
        const int error = errno;
        // A dangling link is an entry all the same: a file.
        if (::lstat(host.c_str(), &info) != 0) {
            result.error = win32PathError(error, host);
            return result;
        }
    }
    // hostPath spells each name as the directory holds it.
    const std::string::size_type end = host.find_last_not_of('/');
    const std::string::size_type slash =
        end == std::string::npos ? std::string::npos : host.find_last_of('/', end);
    result.value.name = end == std::string::npos     ? host.substr(0, 1)
                        : slash == std::string::npos ? host.substr(0, end + 1)
                                                     : host.substr(slash + 1, end - slash);
    return result;
}

} // namespace platform
} // namespace klx
