// Where the library's Windows paths and its registry live on the host.
//
// On a POSIX host the library keeps its emulated machine in $KLX_PREFIX
// (default $HOME/.klx): the drive letter X is the directory the link
// $KLX_PREFIX/dosdevices/x: leads to, and the registry is the file
// registry.db. On Windows the paths are real and none of this applies.
#ifndef KLX_TOOLS_HOST_MAPPING_H
#define KLX_TOOLS_HOST_MAPPING_H

#include <string>

// True when the programs run on a POSIX host through the library's mapping.
bool mappedHost();

// The prefix directory, absolute; "" on Windows or when neither KLX_PREFIX
// nor HOME names one.
std::string prefixDirectory();

// Why the prefix is unusable, in words that name it ("KLX_PREFIX
// /x/y cannot be created: Not a directory"); "" when it is usable or there is
// none. Call it after the library has been used once: the library creates the
// prefix on first use.
std::string prefixProblem();

// The registry as a user finds it: the store's file on a POSIX host, else
// "the registry".
std::string registryName();

// Why the registry store cannot be opened or written, as far as the file
// itself tells ("Is a directory", "Permission denied"), or `otherwise`.
std::string registryReason(const std::string& otherwise);

// A Windows path on a mapped drive as the host names it: "U:\opt\sdk" gives
// "/opt/sdk" and "C:\SDK" the directory drive_c/SDK of the prefix. Anything
// else (no drive letter, no mapping for the drive, a Windows host) is
// returned as it is.
std::string hostPath(const std::string& path);

// Why the file `path` cannot be read (or, with `write`, read and replaced),
// in the system's words; "" when it can. A missing file is no problem, or
// with `create` it is created empty, as the library would create it.
std::string fileProblem(const std::string& path, bool write, bool create);

#endif // KLX_TOOLS_HOST_MAPPING_H
