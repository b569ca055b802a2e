// errno to Win32 error codes.
#include "platform/posix/Errors.h"

#include <cerrno>
#include <sys/stat.h>

namespace klx {
namespace platform {

DWORD win32Error(int errnoValue) {
    switch (errnoValue) {
    case 0:
        return ERROR_SUCCESS;
    case ENOENT:
        return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
        return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EISDIR:
        return ERROR_ACCESS_DENIED;
    case EROFS:
        return ERROR_WRITE_PROTECT;
    case EMFILE:
    case ENFILE:
        return ERROR_TOO_MANY_OPEN_FILES;
    case ENOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    case ENOSPC:
    case EDQUOT:
        return ERROR_DISK_FULL;
    case ENAMETOOLONG:
        return ERROR_FILENAME_EXCED_RANGE;
    case ELOOP:
        return ERROR_CANT_RESOLVE_FILENAME;
    case EINVAL:
        return ERROR_INVALID_PARAMETER;
    case EFBIG:
        return ERROR_FILE_TOO_LARGE;
    case EBADF:
        return ERROR_INVALID_HANDLE;
    case EIO:
        return ERROR_IO_DEVICE;
    case EEXIST:
        return ERROR_FILE_EXISTS;
    // A file in use in a way that excludes us: Windows calls that sharing.
    case ETXTBSY:
    case EAGAIN:
        return ERROR_SHARING_VIOLATION;
    case EBUSY:
        return ERROR_BUSY;
    default:
        return ERROR_GEN_FAILURE;
    }
}

DWORD win32PathError(int errnoValue, const std::string& hostPath) {
    if (errnoValue != ENOENT)
        return win32Error(errnoValue);

    // The directory part: everything before the last name, ignoring
    // separators at the end.
    std::string::size_type end = hostPath.find_last_not_of('/');
    std::string parent;
    if (end == std::string::npos) {
        parent = hostPath.empty() ? "." : "/";
    } else {
        std::string::size_type slash = hostPath.rfind('/', end);
        if (slash == std::string::npos)
            parent = ".";
        else if (slash == 0)
            parent = "/";
        else
            parent = hostPath.substr(0, slash + 1);
    }
    struct stat info;
    if (::stat(parent.c_str(), &info) == 0 && S_ISDIR(info.st_mode))
        return ERROR_FILE_NOT_FOUND;
    return ERROR_PATH_NOT_FOUND;
}

} // namespace platform
} // namespace klx
