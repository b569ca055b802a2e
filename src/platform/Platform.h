// The library's only way to the operating system.
//
// Subsystem code calls these functions instead of Win32 or the C runtime;
// src/platform/posix and src/platform/win32 implement them under the same file
// names. Every failure is reported as a Win32 ERROR_* code next to the result
// of the call that failed.
#ifndef KLX_PLATFORM_PLATFORM_H
#define KLX_PLATFORM_PLATFORM_H

#include "KLXConstants.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace klx {
namespace platform {

// ---- Files -----------------------------------------------------------------

// Access wanted, and access that other openers may have at the same time.
enum FileAccess : unsigned { AccessRead = 1u, AccessWrite = 2u };
enum FileShare : unsigned { ShareRead = 1u, ShareWrite = 2u };

enum class FileCreation {
    CreateAlways, // create, or empty an existing file
    OpenExisting, // fail when the file does not exist
    OpenAlways,   // open, or create an empty file
};

struct OpenResult {
    HANDLE handle; // INVALID_HANDLE_VALUE on failure
    DWORD error;   // 0 on success
};

// Opens a file the way CreateFileA does: sharing is checked against every
// other open handle of the file, in this process and in others, before an
// existing file is emptied. Paths take Windows or host form.
OpenResult createFile(const std::string& path, unsigned access, unsigned share,
                      FileCreation creation);

// Closes a handle that createFile returned; INVALID_HANDLE_VALUE is ignored.
void closeHandle(HANDLE handle);

struct SizeResult {
    std::uint64_t size;
    DWORD error;
};
SizeResult fileSize(HANDLE handle);

struct IoResult {
    std::size_t done; // bytes transferred
    DWORD error;      // 0 on success
};

// Reads up to `count` bytes from the current position; fewer only at the end
// of the file.
IoResult readFile(HANDLE handle, void* buffer, std::size_t count);
// Reads at `offset`; the file position ends after the bytes read.
IoResult readFileAt(HANDLE handle, std::uint64_t offset, void* buffer, std::size_t count);
// Writes all `count` bytes at `offset`; the file position ends after them.
// On failure the file keeps the length it had.
IoResult writeFileAt(HANDLE handle, std::uint64_t offset, const void* buffer, std::size_t count);
// Cuts the file at the current position.
DWORD setEndOfFile(HANDLE handle);
// Cuts or extends the file to `length` bytes.
DWORD setFileLength(HANDLE handle, std::uint64_t length);

// ---- Memory ----------------------------------------------------------------

// The smallest string capacity that the C library's allocator frees cheaply
// in bulk, or 0 when every size is. glibc keeps small blocks in "fast bins"
// that it later merges one by one, which makes dropping a million short
// strings cost more than making them; a block just above that range is
// merged with its neighbours as it is freed.
std::size_t bulkFreeStringCapacity();

// ---- C runtime ---------------------------------------------------------------

// _strnicmp in the C locale: compares at most `count` bytes, ASCII letters
// without regard to case, stopping after a NUL that both hold.
int compareNoCase(const char* left, const char* right, std::size_t count);
// atoi: blanks, an optional sign, decimal digits; clamped to the range of int.
int parseInt(const char* text);

// Standard output stream; writeStdoutLine adds a line end and flushes.
void writeStdout(const std::string& text);
void writeStdoutLine(const std::string& text);

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_PLATFORM_H
