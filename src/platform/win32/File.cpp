// Files through CreateFileW and synchronous handles: Windows itself checks
// the sharing, and positioned reads and writes pass their offset in an
// OVERLAPPED, which on a synchronous handle also moves the file position to
// the end of the transfer.
#include "platform/Platform.h"
#include "platform/win32/WideText.h"

#include <cstdint>

namespace klx {
namespace platform {

namespace {

// One ReadFile or WriteFile moves at most this much (a DWORD counts it).
const std::size_t kMaxTransfer = std::size_t(1) << 30;

// The update lock's byte: far beyond any data, since a range that a handle
// locks on Windows cannot be read or written through other handles.
const std::uint64_t kLockOffset = 0x7FFFFFFFFFFFFFF0ull;

inline bool isUsable(HANDLE handle) {
    return handle != INVALID_HANDLE_VALUE && handle != nullptr;
}

inline DWORD transferSize(std::size_t remaining) {
    return static_cast<DWORD>(remaining < kMaxTransfer ? remaining : kMaxTransfer);
}

OVERLAPPED at(std::uint64_t offset) {
    OVERLAPPED overlapped = {};
    overlapped.Offset = static_cast<DWORD>(offset);
    overlapped.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return overlapped;
}

DWORD moveTo(HANDLE handle, std::uint64_t offset) {
    LARGE_INTEGER position;
    position.QuadPart = static_cast<LONGLONG>(offset);
    return ::SetFilePointerEx(handle, position, nullptr, FILE_BEGIN) ? 0 : ::GetLastError();
}

// Sets the end of file without moving the file position.
DWORD setLength(HANDLE handle, std::uint64_t length) {
    FILE_END_OF_FILE_INFO info;
    info.EndOfFile.QuadPart = static_cast<LONGLONG>(length);
    return ::SetFileInformationByHandle(handle, FileEndOfFileInfo, &info, sizeof info)
               ? 0
               : ::GetLastError();
}

// Reserves disk space up to `length` so that a full disk fails a write
// before any byte of it is written; false only when the disk is full (file
// systems without reservations are written directly).
bool reserveSpace(HANDLE handle, std::uint64_t length) {
    FILE_ALLOCATION_INFO info;
    info.AllocationSize.QuadPart = static_cast<LONGLONG>(length);
    if (::SetFileInformationByHandle(handle, FileAllocationInfo, &info, sizeof info))
        return true;
    return ::GetLastError() != ERROR_DISK_FULL;
}

// Reads from the current position, or at `offset` when it is given.
Result<std::size_t> readAt(HANDLE handle, const std::uint64_t* offset, void* buffer,
                           std::size_t count) {
    if (!isUsable(handle))
        return {0, ERROR_INVALID_HANDLE};
    char* out = static_cast<char*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        DWORD got = 0;
        BOOL ok;
        if (offset != nullptr) {
            OVERLAPPED overlapped = at(*offset + done);
            ok = ::ReadFile(handle, out + done, transferSize(count - done), &got, &overlapped);
        } else {
            ok = ::ReadFile(handle, out + done, transferSize(count - done), &got, nullptr);
        }
        if (!ok) {
            DWORD error = ::GetLastError();
            if (error == ERROR_HANDLE_EOF || error == ERROR_BROKEN_PIPE)
                break;
            return {done, error};
        }
        if (got == 0)
            break; // end of file
        done += got;
    }
    // Nothing read leaves the position where the read was asked for.
    if (offset != nullptr && done == 0) {
        if (DWORD error = moveTo(handle, *offset))
            return {0, error};
    }
    return {done, 0};
}

} // namespace

Result<HANDLE> createFile(const std::string& path, unsigned access, unsigned share,
                          FileCreation creation) {
    DWORD desired = 0;
    if ((access & AccessRead) != 0)
        desired |= GENERIC_READ;
    if ((access & AccessWrite) != 0)
        desired |= GENERIC_WRITE;
    DWORD shareMode = 0;
    if ((share & ShareRead) != 0)
        shareMode |= FILE_SHARE_READ;
    if ((share & ShareWrite) != 0)
        shareMode |= FILE_SHARE_WRITE;
    DWORD disposition = OPEN_EXISTING;
    if (creation == FileCreation::CreateAlways)
        disposition = CREATE_ALWAYS;
    else if (creation == FileCreation::OpenAlways)
        disposition = OPEN_ALWAYS;

    std::wstring wide = widePath(path);
    if (wide.empty())
        return {INVALID_HANDLE_VALUE, ERROR_PATH_NOT_FOUND};
    if (hasOverlongName(wide))
        return {INVALID_HANDLE_VALUE, ERROR_FILENAME_EXCED_RANGE};
    HANDLE handle = ::CreateFileW(wide.c_str(), desired, shareMode, nullptr, disposition,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return {INVALID_HANDLE_VALUE, ::GetLastError()};
    return {handle, 0};
}

void closeHandle(HANDLE handle) {
    if (isUsable(handle))
        ::CloseHandle(handle);
}

Result<std::uint64_t> fileSize(HANDLE handle) {
    if (!isUsable(handle))
        return {0, ERROR_INVALID_HANDLE};
    LARGE_INTEGER size;
    if (!::GetFileSizeEx(handle, &size))
        return {0, ::GetLastError()};
    return {static_cast<std::uint64_t>(size.QuadPart), 0};
}

Result<std::size_t> readFile(HANDLE handle, void* buffer, std::size_t count) {
    return readAt(handle, nullptr, buffer, count);
}

Result<std::size_t> readFileAt(HANDLE handle, std::uint64_t offset, void* buffer,
                               std::size_t count) {
    if (offset > static_cast<std::uint64_t>(INT64_MAX))
        return {0, ERROR_NEGATIVE_SEEK};
    return readAt(handle, &offset, buffer, count);
}

Result<std::size_t> writeFileAt(HANDLE handle, std::uint64_t offset, const void* buffer,
                                std::size_t count) {
    if (!isUsable(handle))
        return {0, ERROR_INVALID_HANDLE};
    if (offset > static_cast<std::uint64_t>(INT64_MAX) ||
        count > static_cast<std::uint64_t>(INT64_MAX) - offset)
        return {0, ERROR_FILE_TOO_LARGE};
    if (count == 0)
        return {0, moveTo(handle, offset)};

    // A failed write must not leave the file longer than it was.
    LARGE_INTEGER size;
    const bool sized = ::GetFileSizeEx(handle, &size) != 0;
    const std::uint64_t original = sized ? static_cast<std::uint64_t>(size.QuadPart) : 0;
    const bool extends = sized && offset + count > original;
    auto fail = [&](DWORD error) -> Result<std::size_t> {
        if (extends)
            setLength(handle, original);
        return {0, error};
    };

    if (extends && !reserveSpace(handle, offset + count))
        return fail(ERROR_DISK_FULL);
    const char* in = static_cast<const char*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        OVERLAPPED overlapped = at(offset + done);
        DWORD put = 0;
        if (!::WriteFile(handle, in + done, transferSize(count - done), &put, &overlapped))
            return fail(::GetLastError());
        if (put == 0)
            return fail(ERROR_DISK_FULL);
        done += put;
    }
    return {done, 0};
}

DWORD setEndOfFile(HANDLE handle) {
    if (!isUsable(handle))
        return ERROR_INVALID_HANDLE;
    return ::SetEndOfFile(handle) ? 0 : ::GetLastError();
}

DWORD setFileLength(HANDLE handle, std::uint64_t length) {
    if (!isUsable(handle))
        return ERROR_INVALID_HANDLE;
    if (length > static_cast<std::uint64_t>(INT64_MAX))
        return ERROR_FILE_TOO_LARGE;
    return setLength(handle, length);
}

DWORD lockFile(HANDLE handle) {
    if (!isUsable(handle))
        return ERROR_INVALID_HANDLE;
    OVERLAPPED overlapped = at(kLockOffset);
    return ::LockFileEx(handle, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &overlapped) ? 0
                                                                               : ::GetLastError();
}

DWORD unlockFile(HANDLE handle) {
    if (!isUsable(handle))
        return ERROR_INVALID_HANDLE;
    OVERLAPPED overlapped = at(kLockOffset);
    return ::UnlockFileEx(handle, 0, 1, 0, &overlapped) ? 0 : ::GetLastError();
}

} // namespace platform
} // namespace klx
