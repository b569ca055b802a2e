// Paths typed on the command line, turned into the forms the library speaks.
#ifndef KLX_TOOLS_TOOL_PATHS_H
#define KLX_TOOLS_TOOL_PATHS_H

#include <string>

// A directory typed by the user, in Windows form:
//  - "C:\SDK\OS" and "C:/SDK/OS" give C:\SDK\OS;
//  - "/cygdrive/c/SDK/OS" gives c:\SDK\OS;
//  - a host path, absolute or relative to the current directory, is made
//    absolute and given the drive "U:", the drive the library itself puts in
//    front of a path that has none: /home/me/sdk gives U:\home\me\sdk;
//  - a "$" reference to another variable is kept as it is.
// "." and ".." are resolved and trailing separators dropped, the drive letter
// is upper-case and each existing name is spelt as on disk, so that every form
// of one directory gives the same text.
std::string windowsPath(const std::string& typed);

// A file typed by the user: Windows and Cygwin forms as windowsPath gives
// them, a host path made absolute but kept in host form.
std::string filePath(const std::string& typed);

// A path the library names, as a user reads it: a path without a drive
// letter is a host path and is shown with slashes.
std::string displayPath(const std::string& path);

// True when the path begins with a drive letter and a colon.
bool hasDriveLetter(const std::string& path);

// True when anything matches the path or wildcard pattern, as the library
// searches.
bool pathExists(const std::string& pattern);
// True when the path is a directory: it lists at least "." for "*".
bool isDirectory(const std::string& path);

#endif // KLX_TOOLS_TOOL_PATHS_H
