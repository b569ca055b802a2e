// The library's only way to the operating system: primitives only.
//
// Subsystem code calls these functions instead of Win32 or the C runtime;
// src/platform/posix and src/platform/win32 implement them under the same file
// names, and the logic that both need sits once in src/platform/common. Every
// call that can fail reports a Win32 ERROR_* code with its result: a Result
// whose `error` is 0 on success, or a bare DWORD when there is no value.
#ifndef KLX_PLATFORM_PLATFORM_H
#define KLX_PLATFORM_PLATFORM_H

#include "KLXConstants.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace klx {
namespace platform {

// The one result shape of this interface: a value, and the Win32 code of the
// failure (0 on success; `value` is then meaningful).
template <typename T> struct Result {
    T value;
    DWORD error;
    bool ok() const { return error == 0; }
};

// ---- Files -----------------------------------------------------------------

enum FileAccess : unsigned { AccessRead = 1u, AccessWrite = 2u };
enum FileShare : unsigned { ShareRead = 1u, ShareWrite = 2u };

enum class FileCreation {
    CreateAlways, // create, or empty an existing file
    OpenExisting, // fail when the file does not exist
    OpenAlways,   // open, or create an empty file
};

// CreateFileW: sharing is checked against every other open handle of the file,
// in this process and in others, before an existing file is emptied. Paths
// take Windows or Cygwin form (and host form on a POSIX host). A file that
// has to be created is never writable by other users. value is
// INVALID_HANDLE_VALUE on failure.
Result<HANDLE> createFile(const std::string& path, unsigned access, unsigned share,
                          FileCreation creation);
// CloseHandle for a handle that createFile returned; INVALID_HANDLE_VALUE is
// ignored.
void closeHandle(HANDLE handle);

Result<std::uint64_t> fileSize(HANDLE handle);
// Reads up to `count` bytes from the current position; fewer only at the end
// of the file. value: bytes read.
Result<std::size_t> readFile(HANDLE handle, void* buffer, std::size_t count);
// Reads at `offset`; the file position ends after the bytes read.
Result<std::size_t> readFileAt(HANDLE handle, std::uint64_t offset, void* buffer,
                               std::size_t count);
// Writes all `count` bytes at `offset`; the file position ends after them.
// On failure the file keeps the length it had.
Result<std::size_t> writeFileAt(HANDLE handle, std::uint64_t offset, const void* buffer,
                                std::size_t count);
// Cuts the file at the current position.
DWORD setEndOfFile(HANDLE handle);
// Cuts or extends the file to `length` bytes.
DWORD setFileLength(HANDLE handle, std::uint64_t length);

// LockFileEx with LOCKFILE_EXCLUSIVE_LOCK: waits until this handle holds the
// file's update lock, which one handle at a time holds, across processes.
// The lock covers no data byte (reads and writes of other handles are not
// blocked): it only orders cooperating read-modify-write cycles. Released by
// unlockFile or by closing the handle. A POSIX host locks only through a
// handle with write access (ERROR_ACCESS_DENIED otherwise).
DWORD lockFile(HANDLE handle);
DWORD unlockFile(HANDLE handle);

// ---- Standard output -------------------------------------------------------

// Standard output stream; writeStdoutLine adds a line end and flushes.
void writeStdout(const std::string& text);
void writeStdoutLine(const std::string& text);

// ---- Batch files -------------------------------------------------------------

// The bytes of a batch file's line in the code page that the host's command
// interpreter reads batch files in: on Windows the OEM code page, which cmd
// and COMMAND.COM use; on a POSIX host UTF-8, so the text as it is. `text` is
// UTF-8. A character that the code page lacks is written as "?", and then
// `lossless`, when given, is set to false.
std::string batchBytes(const std::string& text, bool* lossless = nullptr);
// The UTF-8 text of a batch file's bytes in that code page.
std::string batchText(const std::string& bytes);

// ---- Directories -----------------------------------------------------------

// The attribute bit of a directory (_A_SUBDIR, FILE_ATTRIBUTE_DIRECTORY).
constexpr unsigned kAttributeDirectory = 0x10u;

struct DirectoryEntry {
    std::string name;    // the name in its directory, as the file system spells it
    unsigned attributes; // kAttributeDirectory for a directory, else 0
};

// Every entry of the directory `path` ("." and ".." included), in no
// particular order; a symbolic link to a directory is a directory.
// ERROR_PATH_NOT_FOUND when there is no such directory.
Result<std::vector<DirectoryEntry>> listDirectory(const std::string& path);
// The entry that `path` names, its last name spelt as the file system spells
// it (names match without regard to ASCII letter case).
// ERROR_FILE_NOT_FOUND / ERROR_PATH_NOT_FOUND as Windows tells them apart.
Result<DirectoryEntry> findEntry(const std::string& path);

// One search of _findfirst, _findnext and _findclose (implemented once, in
// common, over listDirectory and findEntry). The pattern is a path whose last
// name may hold "*" and "?"; they match as on Windows, without regard to
// ASCII letter case ("*.*" also matches names without a dot, "*" matches "."
// and ".."). A last name without wildcards names one entry. Entries come in
// the order NTFS lists a directory: by name without regard to ASCII letter
// case, then by bytes.
class DirectorySearch {
public:
    explicit DirectorySearch(const std::string& pattern);
    // True while entry() holds an entry.
    bool found() const { return mError == 0; }
    const DirectoryEntry& entry() const { return mEntries[mNext - 1]; }
    // Takes the next entry; false when there is none left.
    bool next();
    // 0 while there is an entry; ERROR_FILE_NOT_FOUND or ERROR_PATH_NOT_FOUND
    // (or another code) when the search found nothing, ERROR_NO_MORE_FILES
    // after the last entry.
    DWORD error() const { return mError; }

private:
    std::vector<DirectoryEntry> mEntries;
    std::size_t mNext = 0;
    DWORD mError = 0;
};

// ---- System facts and environment ------------------------------------------

// GetVersion: the version word; bit 31 is set on the Windows 95/98/ME family.
DWORD versionWord();
// GetWindowsDirectoryW: the Windows directory, without a trailing backslash.
Result<std::string> windowsDirectory();
// GetUserProfileDirectoryW on the process's access token.
Result<std::string> userProfileDirectory();

// GetEnvironmentVariableW on the process environment, read in full whatever
// the length. ERROR_ENVVAR_NOT_FOUND when the process has no such variable;
// a name that is empty or holds "=" names no variable.
Result<std::string> getEnvironmentVariable(const std::string& name);
// SetEnvironmentVariableW. ERROR_INVALID_PARAMETER for a value longer than
// Windows' 32,767 characters.
DWORD setEnvironmentVariable(const std::string& name, const std::string& value);

// SendMessageTimeoutW(HWND_BROADCAST, WM_SETTINGCHANGE, 0, area,
// SMTO_ABORTIFHUNG, 1000): tells the running programs that the settings named
// by `area` ("Environment") changed. A host without such a notification does
// nothing.
void broadcastSettingChange(const std::string& area);

// ---- Registry ----------------------------------------------------------------

// Keys and values with the Win32 registry's rules: HKEY_CLASSES_ROOT,
// HKEY_CURRENT_USER and HKEY_LOCAL_MACHINE are separate trees; a key path is
// names separated by backslashes; key names and value names compare without
// regard to ASCII letter case and keep the case they were first written with;
// "" names a key's default value. Names and paths count up to their first
// NUL. Every write is all-or-nothing and seen by every process of the user as
// soon as it returns. A key handle is only ever passed back to these calls.

// RegCreateKeyExW with KEY_READ | KEY_WRITE: opens the key `path` below
// `parent`, creating it and its missing parents. Empty names (doubled or
// trailing backslashes) are skipped; a path that starts with a backslash is
// refused (ERROR_BAD_PATHNAME), and so are Windows' limits: names of more
// than 255 characters, more than 512 levels (ERROR_INVALID_PARAMETER).
// value is null on failure.
Result<HKEY> createRegistryKey(HKEY parent, const std::string& path);
// RegOpenKeyExW with KEY_READ: opens the existing key `path` below `parent`;
// ERROR_FILE_NOT_FOUND when it or a parent is missing. Nothing is created.
Result<HKEY> openRegistryKey(HKEY parent, const std::string& path);
// RegOpenKeyExW(key, ""): another handle to the same key, closed on its own.
Result<HKEY> duplicateRegistryKey(HKEY key);
// RegCloseKey. Null and the predefined roots are ignored.
void closeRegistryKey(HKEY key);

struct RegistryValue {
    std::string data; // every byte as stored (a string's NUL included), UTF-8 for texts
    DWORD type;       // REG_SZ, REG_EXPAND_SZ, ...
};
// RegQueryValueExW with a buffer that grows to fit. ERROR_FILE_NOT_FOUND when
// the key has no such value.
Result<RegistryValue> queryRegistryValue(HKEY key, const std::string& name);
// RegSetValueExW: stores `size` bytes as the value `name` of type `type`
// (texts given in UTF-8), keeping the case of an existing name.
DWORD setRegistryValue(HKEY key, const std::string& name, DWORD type, const void* data,
                       std::size_t size);
// RegQueryInfoKeyW's value count. ERROR_KEY_DELETED for a deleted key.
Result<DWORD> queryRegistryValueCount(HKEY key);
// The names of all values the key holds, as RegEnumValueW lists them.
Result<std::vector<std::string>> enumerateRegistryValueNames(HKEY key);

// ---- Drive type --------------------------------------------------------------

constexpr unsigned kDriveUnknown = 0;
constexpr unsigned kDriveNoRootDir = 1;
constexpr unsigned kDriveRemovable = 2;
constexpr unsigned kDriveFixed = 3;
constexpr unsigned kDriveRemote = 4;
constexpr unsigned kDriveCdrom = 5;
constexpr unsigned kDriveRamdisk = 6;

// GetDriveTypeW on a drive root: "N:", "N:\" or "N:/". kDriveNoRootDir for any
// other text and for a letter that names no drive.
unsigned driveType(const std::string& root);

// ---- Processes ---------------------------------------------------------------

// The host file that starts as the program `program`: the path as given,
// then, when that names no file, the path with ".exe" added (for a last name
// without an extension) or removed (for one ending in ".exe", in any letter
// case). "" when none of them is a file. No search along PATH.
std::string programHostPath(const std::string& program);

// _spawnv: starts `program` (programHostPath) with the command line
// `commandLine` (which a POSIX host splits as the Microsoft C runtime does),
// the caller's environment, current directory and standard handles, and no
// other handle. With `wait`, value is the child's exit code once it has ended
// (32 bits on Windows; 0-255 on a POSIX host, 128 + the signal number for a
// child ended by a signal); without, a positive process identifier at once,
// and the child is never left a zombie.
Result<int> spawnProcess(const std::string& program, const std::string& commandLine, bool wait);

struct CapturedRun {
    int exitCode;       // the child's exit code, as spawnProcess gives it
    std::string output; // the first `outputLimit` bytes of its standard output
    bool truncated;     // true when the child wrote more than that
};
// Runs `program` as spawnProcess does with wait, its standard input empty
// (NUL, /dev/null), its standard output captured and its standard error read
// and thrown away, both drained while it runs so that it never stalls on a
// full pipe. The run ends when the child has ended: what is buffered then is
// taken (a grandchild that keeps the pipes open is not waited for).
Result<CapturedRun> captureProcess(const std::string& program, const std::string& commandLine,
                                   std::size_t outputLimit = static_cast<std::size_t>(-1));

// SetCurrentDirectoryW: the calling process's current directory, for good.
DWORD setCurrentDirectory(const std::string& path);

// GetCommandLineW: the running program's command line. On a POSIX host it is
// the full host path of the program's file in double quotes, then each further
// argument of the process after one blank, as given.
std::string processCommandLine();

// ---- Version resources -------------------------------------------------------

// ERROR_RESOURCE_DATA_NOT_FOUND: the version tree is malformed, or a query
// names no value.
constexpr DWORD kErrorResourceDataNotFound = 1812;
// ERROR_RESOURCE_TYPE_NOT_FOUND: the image holds no version resource.
constexpr DWORD kErrorResourceTypeNotFound = 1813;

// The raw VS_VERSIONINFO bytes of the RT_VERSION resource of the PE image at
// `path` (the one named 1, VS_VERSION_INFO, which GetFileVersionInfo reads,
// in the language FindResource picks: the user's UI
// language, language-neutral, U.S. English, then the first). A POSIX host
// also reads the same tree from its own programs (section ".klxversion" of an
// ELF file) and finds "name.exe" as the program "name". Errors: the file's own
// when it cannot be read, ERROR_BAD_EXE_FORMAT when it is no image,
// kErrorResourceTypeNotFound when it has no version resource. The tree is not
// checked here (common/VersionInfo does that).
Result<std::string> readVersionResource(const std::string& path);
// The raw VS_VERSIONINFO bytes of the library's own module.
Result<std::string> ownModuleVersionResource();

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_PLATFORM_H
