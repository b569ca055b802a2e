// Drive types through GetDriveTypeW, on drive roots only.
#include "platform/Platform.h"

namespace klx {
namespace platform {

namespace {

inline bool isAsciiLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

} // namespace

unsigned driveType(const std::string& root) {
    // Only "N:", optionally with one separator, names a drive: Windows would
    // also answer for any directory of it.
    const std::size_t size = root.size();
    if (size < 2 || size > 3 || !isAsciiLetter(root[0]) || root[1] != ':' ||
        (size == 3 && root[2] != '\\' && root[2] != '/'))
        return kDriveNoRootDir;
    const wchar_t drive[] = {static_cast<wchar_t>(root[0]), L':', L'\\', L'\0'};
    return ::GetDriveTypeW(drive);
}

} // namespace platform
} // namespace klx
