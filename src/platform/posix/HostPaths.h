// Where the paths that the library speaks in (Windows form "C:\dir\file",
// Cygwin form "/cygdrive/c/dir/file", or plain host paths) live on this host.
//
// The emulated machine is the prefix directory: $KLX_PREFIX, or ~/.klx. It
// holds "drive_c" and "dosdevices", whose symbolic links "c:", "u:", "z:" give
// each drive letter its directory: "c:" -> ../drive_c, "u:" and "z:" -> /.
// A drive path maps through its letter's link; a backslash separates names
// like a slash; names match without regard to ASCII letter case, as on
// Windows.
#ifndef KLX_PLATFORM_POSIX_HOST_PATHS_H
#define KLX_PLATFORM_POSIX_HOST_PATHS_H

#include "KLXConstants.h"

#include <string>

namespace klx {
namespace platform {

// The prefix directory, absolute, without a trailing slash. KLX_PREFIX is read
// on every call; the directory (private to the user), "drive_c", "dosdevices"
// and any missing drive link are created the first time a prefix is used
// (existing links are kept: the user may have remapped a drive).
std::string prefixDirectory();

// Makes the directory at `path` (a host path) private to the user who runs
// this process: mode 0700 when it is theirs. ERROR_ACCESS_DENIED when it
// belongs to someone else or its mode cannot be changed.
DWORD makePrivateDirectory(const std::string& path);

// The directory that drive `letter` ('a'..'z', either case) maps to:
// prefixDirectory() + "/dosdevices/x:". It need not exist.
std::string driveDirectory(char letter);

// Maps a path to host form without matching names: the text up to the first
// NUL, backslashes turned into slashes, repeated separators merged, a drive
// ("C:\x", "C:x", "C:") or /cygdrive ("/cygdrive/c/x") prefix replaced by the
// drive's directory. Other paths stay host paths.
std::string hostPathLexical(const std::string& path);

// hostPathLexical, then each name that does not exist exactly is replaced by
// the name in its directory that differs only in ASCII letter case (the
// byte-wise smallest if several do). Names that match nothing stay as
// written, so that new files get the caller's spelling. "." and ".." are
// taken literally; the directories of a drive's link and of the prefix are
// never matched. Only looks at directories when the path does not exist
// exactly.
std::string hostPath(const std::string& path);

// True when the path (up to its first NUL) holds a character that Windows
// refuses in file names: < > " | ? * or a control character 1..31.
bool hasInvalidNameCharacter(const std::string& path);

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_POSIX_HOST_PATHS_H
