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
#include <vector>

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

// ---- Directory search ------------------------------------------------------

// The attribute bit of a directory (_A_SUBDIR).
constexpr unsigned kAttributeDirectory = 0x10u;

struct DirectoryEntry {
    std::string name;    // the name in its directory, as the file system spells it
    unsigned attributes; // kAttributeDirectory for a directory, else 0
};

// One search of _findfirst, _findnext and _findclose. The pattern is a path in
// Windows, Cygwin or host form whose last name may hold "*" and "?"; they match
// as on Windows, without regard to ASCII letter case ("*.*" also matches names
// without a dot, "*" matches "." and ".."). A last name without wildcards
// names one entry. Entries come in the order of the host's listing; a
// symbolic link to a directory is a directory. The search closes itself.
class DirectorySearch {
public:
    // Opens the search and takes its first entry.
    explicit DirectorySearch(const std::string& pattern);
    ~DirectorySearch();
    DirectorySearch(DirectorySearch&& other) noexcept;
    DirectorySearch& operator=(DirectorySearch&& other) noexcept;
    DirectorySearch(const DirectorySearch&) = delete;
    DirectorySearch& operator=(const DirectorySearch&) = delete;

    // True while entry() holds an entry.
    bool found() const { return mError == 0; }
    const DirectoryEntry& entry() const { return mEntry; }
    // Takes the next entry; false when there is none left.
    bool next();
    // 0 while there is an entry; ERROR_FILE_NOT_FOUND or ERROR_PATH_NOT_FOUND
    // (or another code) when the search found nothing, ERROR_NO_MORE_FILES
    // after the last entry.
    DWORD error() const { return mError; }

private:
    struct State;
    State* mState; // owned open listing; null for a single name and at the end
    DirectoryEntry mEntry;
    DWORD mError;
};

// ---- System facts and environment ------------------------------------------

// GetVersion: the version word; bit 31 is set on the Windows 95/98/ME family.
DWORD versionWord();

struct SystemTextResult {
    std::string text;
    DWORD error; // 0 on success; text is then not empty
};

// GetWindowsDirectoryA: the Windows directory, without a trailing backslash.
SystemTextResult windowsDirectory();
// The profile directory of the user who runs this process
// (GetUserProfileDirectoryA on the process's access token).
SystemTextResult userProfileDirectory();

struct EnvironmentValue {
    bool defined; // false when the process has no such variable
    std::string value;
};

// GetEnvironmentVariableA / SetEnvironmentVariableA on the process environment,
// read in full whatever the length. A name that is empty or holds "=" names
// no variable.
EnvironmentValue getEnvironmentVariable(const std::string& name);
DWORD setEnvironmentVariable(const std::string& name, const std::string& value);

// ---- Broadcast -------------------------------------------------------------

// SendMessageTimeoutA(HWND_BROADCAST, WM_SETTINGCHANGE, 0, area,
// SMTO_ABORTIFHUNG, 1000): tells the running programs that the settings named
// by `area` ("Environment") changed. The outcome is not reported; a host
// without such a notification does nothing.
void broadcastSettingChange(const std::string& area);

// ---- Registry ----------------------------------------------------------------

// Keys and values with the Win32 registry's rules: HKEY_CLASSES_ROOT,
// HKEY_CURRENT_USER and HKEY_LOCAL_MACHINE are separate trees; a key path is
// names separated by backslashes; key names and value names compare without
// regard to ASCII letter case and keep the case they were first written with;
// "" names a key's default value. Names and paths count up to their first
// NUL, as the Win32 calls read them. Every write is all-or-nothing and seen by
// every process of the user as soon as it returns. A key handle is opaque: it
// is only ever passed back to these functions.

struct RegistryKeyResult {
    HKEY key;    // null on failure
    DWORD error; // 0 on success
};

// RegCreateKeyExA with KEY_READ | KEY_WRITE: opens the key `path` below
// `parent` (a predefined root or an open key), creating it and its missing
// parents. Empty names (doubled or trailing backslashes) are skipped; a path
// that starts with a backslash is refused (ERROR_BAD_PATHNAME), and so are
// Windows' limits: names of more than 255 characters, more than 512 levels
// (ERROR_INVALID_PARAMETER). A store that cannot be opened or written gives
// no key.
RegistryKeyResult createRegistryKey(HKEY parent, const std::string& path);
// RegOpenKeyExA(key, ""): another handle to the same key, closed on its own.
RegistryKeyResult duplicateRegistryKey(HKEY key);
// RegCloseKey. Null and the predefined roots are ignored.
void closeRegistryKey(HKEY key);

// RegQueryValueExA with a buffer that grows to fit: `data` receives every byte
// of the value as it was stored (a string's terminating NUL included) and
// `type` its type (REG_SZ, REG_EXPAND_SZ, ...). ERROR_FILE_NOT_FOUND when the
// key has no such value; `data` is empty after any failure.
DWORD queryRegistryValue(HKEY key, const std::string& name, std::string& data, DWORD& type);
// RegSetValueExA: stores `size` bytes as the value `name` of type `type`,
// replacing the value's data and type but keeping the case of its name.
DWORD setRegistryValue(HKEY key, const std::string& name, DWORD type, const void* data,
                       std::size_t size);
// RegQueryInfoKeyA's value count: how many values the key holds, its default
// value included when it has one. ERROR_KEY_DELETED for a key that no longer
// exists; `count` is 0 after any failure.
DWORD queryRegistryValueCount(HKEY key, DWORD& count);
// The names of all values the key holds, as RegEnumValueA lists them.
DWORD enumerateRegistryValueNames(HKEY key, std::vector<std::string>& names);

// ---- Drive type --------------------------------------------------------------

// GetDriveTypeA's results.
constexpr unsigned kDriveUnknown = 0;
constexpr unsigned kDriveNoRootDir = 1;
constexpr unsigned kDriveRemovable = 2;
constexpr unsigned kDriveFixed = 3;
constexpr unsigned kDriveRemote = 4;
constexpr unsigned kDriveCdrom = 5;
constexpr unsigned kDriveRamdisk = 6;

// GetDriveTypeA on a drive root: "N:", "N:\" or "N:/". kDriveNoRootDir for any
// other text and for a letter that maps to no existing directory.
unsigned driveType(const std::string& root);
// The drive type of a directory that lies on a file system of type `magic`
// (statfs f_type): network file systems are kDriveRemote.
unsigned driveTypeOfFileSystem(std::uint32_t magic);

// ---- Processes ---------------------------------------------------------------

// The arguments that the Microsoft C runtime (2008 and later) gives main()
// for a command line. Blanks (space, tab) outside double quotes separate
// arguments; double quotes group and are removed. 2n backslashes before a
// double quote give n backslashes and the quote groups; 2n+1 give n
// backslashes and a literal quote. Backslashes before anything else are
// literal. Inside a quoted part, "" gives one literal quote and the part goes
// on. A quoted part that is empty ("") is an empty argument. Every other
// byte, 0x80-0xFF included, is copied as it is.
std::vector<std::string> splitCommandLine(const std::string& line);

// The host file that starts as the program `program`: the path mapped as
// every path is, then, when that names no file, the path with ".exe" added
// (for a last name without an extension) or removed (for one ending in ".exe",
// in any letter case). "" when none of them is a file. No search along PATH,
// as _spawnv does none.
std::string programHostPath(const std::string& program);

// _spawnv: starts `program` (programHostPath) with the arguments
// splitCommandLine(commandLine), the caller's environment, current directory
// and standard handles, and no other handle. With `wait`, returns the child's
// exit code once it has ended; without, a positive process identifier at
// once, and the child is reaped in the background when it ends (no zombie is
// left; the caller must not wait for it). -1 when the program cannot be
// started. A child ended by a signal gives 128 + the signal number.
int spawnProcess(const std::string& program, const std::string& commandLine, bool wait);

struct CaptureResult {
    int exitCode;         // the child's exit code; -1 when no child ran
    std::string output;   // the first `outputLimit` bytes of its standard output
    bool outputTruncated; // true when the child wrote more than that
    DWORD error;          // 0 when the child ran and was waited for
};

// Runs `program` as spawnProcess does with wait, its standard input at its
// end, its standard output captured and its standard error read and thrown
// away, both drained while it runs so that it never stalls on a full pipe.
// The run ends when the child has ended (a grandchild that keeps the pipes
// open is not waited for). The exit code is the child's (0-255 on this host,
// 128 + the signal number for a child ended by a signal).
CaptureResult captureProcess(const std::string& program, const std::string& commandLine,
                             std::size_t outputLimit = static_cast<std::size_t>(-1));

// SetCurrentDirectoryA: the calling process's current directory, for good.
DWORD setCurrentDirectory(const std::string& path);

// GetCommandLineA: the running program's command line. On a POSIX host it is
// the full host path of the program's file (/proc/self/exe) in double quotes,
// then each further argument of the process after one blank, as given; ""
// when the program's path cannot be read.
std::string processCommandLine();

// ---- Version resources -------------------------------------------------------

// GetFileVersionInfoSizeA, GetFileVersionInfoA and VerQueryValueA on the
// version resource of a PE32 or PE32+ image: resource type 16 (RT_VERSION),
// its first name, that name's first language. Hosts whose programs are not PE
// images may read the same tree from a place of their own in the program
// file, and find "name.exe" as the program "name". The block that fileVersionInfo
// fills holds the resource's VS_VERSIONINFO tree as stored, followed by room
// in which queryVersionValue puts the narrow form (UTF-8) of the text values
// it returns, so that each one lives as long as the block.

// ERROR_RESOURCE_DATA_NOT_FOUND: the version tree is malformed, or a query
// names no value.
constexpr DWORD kErrorResourceDataNotFound = 1812;
// ERROR_RESOURCE_TYPE_NOT_FOUND: the image holds no version resource.
constexpr DWORD kErrorResourceTypeNotFound = 1813;

struct VersionInfoSizeResult {
    std::size_t size; // 0 on failure
    DWORD error;      // 0 on success
};

// The bytes that fileVersionInfo needs for the file at `path` (Windows,
// Cygwin or host form). Fails with the file's own error when it cannot be
// read, ERROR_BAD_EXE_FORMAT when it is no PE image or its headers or
// resource directory are broken, kErrorResourceTypeNotFound when it has no
// version resource and kErrorResourceDataNotFound when that resource is not
// a well-formed version tree.
VersionInfoSizeResult fileVersionInfoSize(const std::string& path);
// Reads the version block into `buffer`, as fileVersionInfoSize describes
// it; ERROR_INSUFFICIENT_BUFFER when `size` is less than the block needs.
DWORD fileVersionInfo(const std::string& path, void* buffer, std::size_t size);

struct VersionValueResult {
    const void* data;   // inside the block; null on failure
    std::size_t length; // bytes; for a text, of its UTF-8 form without the NUL
    DWORD error;        // 0 on success
};

// VerQueryValueA: `subBlock` is a path of backslash-separated key names,
// compared without regard to ASCII letter case. "\\" gives the
// VS_FIXEDFILEINFO (found only with its signature), "\\VarFileInfo\\Translation"
// the (language, code page) WORD pairs, "\\StringFileInfo\\040904b0\\Name" a
// NUL-terminated UTF-8 text. Never reads or writes outside the `blockSize`
// bytes at `block`.
VersionValueResult queryVersionValue(void* block, std::size_t blockSize,
                                     const std::string& subBlock);
// As above, for a block that fileVersionInfo filled: its size follows from
// the block's own header.
VersionValueResult queryVersionValue(void* block, const std::string& subBlock);

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_PLATFORM_H
