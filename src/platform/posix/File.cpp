// Files: CreateFileW's opening, sharing and creation rules on POSIX
// descriptors, reads and writes that behave like ReadFile and WriteFile on a
// synchronous handle, and LockFileEx's update lock.
//
// A HANDLE is the descriptor itself, cast to the pointer type, so that
// INVALID_HANDLE_VALUE (-1) is "no descriptor".
//
// Sharing is enforced with open-file-description locks, which belong to one
// open of the file and vanish when it is closed, and which other processes see
// as well. Each open takes a shared lock on the marker bytes that describe it:
// what access it has, and what access it denies to others. It then asks
// whether another open holds a marker that conflicts with its own. The update
// lock is an exclusive lock of the same kind on a byte of its own.
#include "platform/Platform.h"
#include "platform/common/RetryAfterSignal.h"
#include "platform/posix/Errors.h"
#include "platform/posix/Handles.h"
#include "platform/posix/HostPaths.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace klx {
namespace platform {

namespace {

static_assert(sizeof(off_t) >= 8, "the sharing markers lie beyond 32-bit offsets");

// The markers lie far beyond any real data so that they never cover a byte
// that a program locks for itself.
const off_t kMarkerBase = static_cast<off_t>(0x7FFFFFFFFFFF0000LL);
enum Marker : off_t {
    MarkerHasRead = 0,
    MarkerHasWrite = 1,
    MarkerDeniesRead = 2,
    MarkerDeniesWrite = 3,
    MarkerCount = 4
};
// The byte of lockFile's update lock: apart from the markers, so that holding
// it never looks like a sharing claim.
const off_t kUpdateLockByte = kMarkerBase + 8;

// Permissions of a file that createFile creates, before the umask: readable
// by all, as a text editor makes it, but never writable by anyone else.
const mode_t kNewFileMode = 0644;

// Linux caps one read or write at a little under 2 GiB; stay below.
const std::size_t kMaxTransfer = std::size_t(1) << 30;

inline HANDLE toHandle(int fd) {
    return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(fd));
}

// The descriptor of a handle, or -1 when it cannot be one.
inline int toDescriptor(HANDLE handle) {
    std::intptr_t value = reinterpret_cast<std::intptr_t>(handle);
    return (value >= 0 && value <= INT_MAX) ? static_cast<int>(value) : -1;
}

int lockRange(int fd, short type, off_t start, off_t length, int command = F_OFD_SETLK) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = start;
    lock.l_len = length;
    return retryAfterSignal(-1, ::fcntl, fd, command, &lock) == 0 ? 0 : errno;
}

enum class Sharing { Granted, Violated, Unsupported };

// Whether an open of another description holds `marker`.
Sharing othersHold(int fd, off_t marker) {
    struct flock probe = {};
    probe.l_type = F_WRLCK;
    probe.l_whence = SEEK_SET;
    probe.l_start = kMarkerBase + marker;
    probe.l_len = 1;
    if (::fcntl(fd, F_OFD_GETLK, &probe) != 0)
        return Sharing::Unsupported;
    return probe.l_type == F_UNLCK ? Sharing::Granted : Sharing::Violated;
}

// Announces this open's access and denials, then checks them against every
// other open of the file.
Sharing claimSharing(int fd, unsigned access, unsigned share) {
    const bool hasRead = (access & AccessRead) != 0;
    const bool hasWrite = (access & AccessWrite) != 0;
    const bool deniesRead = (share & ShareRead) == 0;
    const bool deniesWrite = (share & ShareWrite) == 0;

    const bool claims[MarkerCount] = {hasRead, hasWrite, deniesRead, deniesWrite};
    for (off_t marker = 0; marker < MarkerCount; ++marker) {
        if (!claims[marker])
            continue;
        int error = lockRange(fd, F_RDLCK, kMarkerBase + marker, 1);
        if (error == EAGAIN || error == EACCES) {
            // Someone holds an exclusive lock on a marker: not one of us, but
            // it claims the file all the same.
            return Sharing::Violated;
        }
        if (error != 0) {
            lockRange(fd, F_UNLCK, kMarkerBase, MarkerCount);
            return Sharing::Unsupported;
        }
    }

    // Each wish against the matching claim of the others.
    const struct {
        bool wanted;
        off_t conflicting;
    } checks[] = {{hasRead, MarkerDeniesRead},
                  {hasWrite, MarkerDeniesWrite},
                  {deniesRead, MarkerHasRead},
                  {deniesWrite, MarkerHasWrite}};
    for (const auto& check : checks) {
        if (!check.wanted)
            continue;
        Sharing result = othersHold(fd, check.conflicting);
        if (result == Sharing::Unsupported)
            lockRange(fd, F_UNLCK, kMarkerBase, MarkerCount);
        if (result != Sharing::Granted)
            return result;
    }
    return Sharing::Granted;
}

int openDescriptor(const std::string& path, int flags) {
    return retryAfterSignal(-1, ::open, path.c_str(), flags, kNewFileMode);
}

Result<HANDLE> failure(DWORD error) {
    return Result<HANDLE>{INVALID_HANDLE_VALUE, error};
}

} // namespace

Result<HANDLE> createFile(const std::string& path, unsigned access, unsigned share,
                          FileCreation creation) {
    // Only the C string counts, as for CreateFileA.
    std::string name(path.c_str());
    if (name.empty())
        return failure(ERROR_PATH_NOT_FOUND);
    if (hasInvalidNameCharacter(name))
        return failure(ERROR_INVALID_NAME);
    std::string host = hostPath(name);

    // Never truncate here: an existing file is emptied only once sharing
    // allows this open. A FIFO must not block the open; the flag is dropped
    // again below.
    int flags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    if (creation != FileCreation::OpenExisting)
        flags |= O_CREAT;

    // A write-only open is made read-write where permissions allow, as a
    // shared lock needs a readable descriptor; without one, sharing is not
    // enforced for it.
    ScopedFd fd;
    if ((access & AccessWrite) != 0) {
        fd.reset(openDescriptor(host, flags | O_RDWR));
        if (!fd && (access & AccessRead) == 0 && (errno == EACCES || errno == EPERM))
            fd.reset(openDescriptor(host, flags | O_WRONLY));
    } else {
        fd.reset(openDescriptor(host, flags | O_RDONLY));
    }
    if (!fd)
        return failure(win32PathError(errno, host));

    // Windows refuses to open a directory as a file, whatever the access.
    struct stat info;
    if (::fstat(fd.get(), &info) != 0)
        return failure(win32Error(errno));
    if (S_ISDIR(info.st_mode))
        return failure(ERROR_ACCESS_DENIED);

    int statusFlags = ::fcntl(fd.get(), F_GETFL);
    if (statusFlags < 0 || ::fcntl(fd.get(), F_SETFL, statusFlags & ~O_NONBLOCK) != 0)
        return failure(win32Error(errno));

    if (claimSharing(fd.get(), access, share) == Sharing::Violated)
        return failure(ERROR_SHARING_VIOLATION);

    if (creation == FileCreation::CreateAlways && S_ISREG(info.st_mode) &&
        retryAfterSignal(-1, ::ftruncate, fd.get(), off_t(0)) != 0)
        return failure(win32Error(errno));

    return Result<HANDLE>{toHandle(fd.release()), ERROR_SUCCESS};
}

void closeHandle(HANDLE handle) {
    ScopedFd closed(toDescriptor(handle));
}

Result<std::uint64_t> fileSize(HANDLE handle) {
    int fd = toDescriptor(handle);
    if (fd < 0)
        return Result<std::uint64_t>{0, ERROR_INVALID_HANDLE};
    struct stat info;
    if (::fstat(fd, &info) != 0)
        return Result<std::uint64_t>{0, win32Error(errno)};
    return Result<std::uint64_t>{static_cast<std::uint64_t>(info.st_size), ERROR_SUCCESS};
}

Result<std::size_t> readFile(HANDLE handle, void* buffer, std::size_t count) {
    int fd = toDescriptor(handle);
    if (fd < 0)
        return Result<std::size_t>{0, ERROR_INVALID_HANDLE};
    char* out = static_cast<char*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        std::size_t chunk = count - done < kMaxTransfer ? count - done : kMaxTransfer;
        ssize_t got = retryAfterSignal(-1, ::read, fd, out + done, chunk);
        if (got < 0)
            return Result<std::size_t>{done, win32Error(errno)};
        if (got == 0)
            break; // end of file
        done += static_cast<std::size_t>(got);
    }
    return Result<std::size_t>{done, ERROR_SUCCESS};
}

Result<std::size_t> readFileAt(HANDLE handle, std::uint64_t offset, void* buffer,
                               std::size_t count) {
    int fd = toDescriptor(handle);
    if (fd < 0)
        return Result<std::size_t>{0, ERROR_INVALID_HANDLE};
    if (offset > static_cast<std::uint64_t>(INT64_MAX))
        return Result<std::size_t>{0, ERROR_NEGATIVE_SEEK};
    // Moving first leaves the position after the bytes read, as ReadFile
    // with an offset does on a synchronous handle.
    if (::lseek(fd, static_cast<off_t>(offset), SEEK_SET) < 0)
        return Result<std::size_t>{0, win32Error(errno)};
    return readFile(handle, buffer, count);
}

Result<std::size_t> writeFileAt(HANDLE handle, std::uint64_t offset, const void* buffer,
                                std::size_t count) {
    int fd = toDescriptor(handle);
    if (fd < 0)
        return Result<std::size_t>{0, ERROR_INVALID_HANDLE};
    if (offset > static_cast<std::uint64_t>(INT64_MAX) ||
        count > static_cast<std::uint64_t>(INT64_MAX) - offset)
        return Result<std::size_t>{0, ERROR_FILE_TOO_LARGE};
    struct stat info;
    if (::fstat(fd, &info) != 0)
        return Result<std::size_t>{0, win32Error(errno)};

    const off_t original = info.st_size;
    const off_t start = static_cast<off_t>(offset);
    const off_t end = static_cast<off_t>(offset + count);
    const bool extends = S_ISREG(info.st_mode) && end > original;

    // A failed write must not leave the file longer or shorter than it was.
    auto fail = [&](int error) {
        if (extends)
            (void)::ftruncate(fd, original);
        return Result<std::size_t>{0, win32Error(error)};
    };

    // Reserving the new space first makes a full disk fail before any byte
    // is overwritten. File systems without the call are written directly.
    if (extends && retryAfterSignal(-1, ::fallocate, fd, 0, start, end - start) != 0) {
        if (errno != EOPNOTSUPP && errno != ENOSYS && errno != EINVAL)
            return fail(errno);
    }

    if (::lseek(fd, start, SEEK_SET) < 0)
        return fail(errno);
    const char* in = static_cast<const char*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        std::size_t chunk = count - done < kMaxTransfer ? count - done : kMaxTransfer;
        ssize_t put = retryAfterSignal(-1, ::write, fd, in + done, chunk);
        if (put < 0)
            return fail(errno);
        if (put == 0)
            return fail(ENOSPC);
        done += static_cast<std::size_t>(put);
    }
    return Result<std::size_t>{done, ERROR_SUCCESS};
}

DWORD setFileLength(HANDLE handle, std::uint64_t length) {
    int fd = toDescriptor(handle);
    if (fd < 0)
        return ERROR_INVALID_HANDLE;
    if (length > static_cast<std::uint64_t>(INT64_MAX))
        return ERROR_FILE_TOO_LARGE;
    if (retryAfterSignal(-1, ::ftruncate, fd, static_cast<off_t>(length)) != 0)
        return win32Error(errno);
    return ERROR_SUCCESS;
}

DWORD setEndOfFile(HANDLE handle) {
    int fd = toDescriptor(handle);
    if (fd < 0)
        return ERROR_INVALID_HANDLE;
    off_t position = ::lseek(fd, 0, SEEK_CUR);
    if (position < 0)
        return win32Error(errno);
    if (retryAfterSignal(-1, ::ftruncate, fd, position) != 0)
        return win32Error(errno);
    return ERROR_SUCCESS;
}

DWORD lockFile(HANDLE handle) {
    int fd = toDescriptor(handle);
    if (fd < 0)
        return ERROR_INVALID_HANDLE;
    // An exclusive lock needs a descriptor open for writing.
    int error = lockRange(fd, F_WRLCK, kUpdateLockByte, 1, F_OFD_SETLKW);
    return error == EBADF ? DWORD(ERROR_ACCESS_DENIED) : win32Error(error);
}

DWORD unlockFile(HANDLE handle) {
    int fd = toDescriptor(handle);
    if (fd < 0)
        return ERROR_INVALID_HANDLE;
    return win32Error(lockRange(fd, F_UNLCK, kUpdateLockByte, 1));
}

} // namespace platform
} // namespace klx
