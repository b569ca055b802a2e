// Translation of the host's errno values into the Win32 error codes that the
// platform interface reports.
#ifndef KLX_PLATFORM_POSIX_ERRORS_H
#define KLX_PLATFORM_POSIX_ERRORS_H

#include "KLXConstants.h"

#include <string>

namespace klx {
namespace platform {

// The Win32 code closest to an errno value; ERROR_GEN_FAILURE when there is
// no better one. ENOENT becomes ERROR_FILE_NOT_FOUND.
DWORD win32Error(int errnoValue);

// As win32Error for a failure to reach the file at `hostPath`: ENOENT becomes
// ERROR_FILE_NOT_FOUND when the directory that should hold the file exists and
// ERROR_PATH_NOT_FOUND when it does not, as Windows tells the two apart.
DWORD win32PathError(int errnoValue, const std::string& hostPath);

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_POSIX_ERRORS_H
