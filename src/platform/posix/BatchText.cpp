// Batch files on a POSIX host: no command interpreter of Windows reads them
// here, so they hold UTF-8, the library's own text.
#include "platform/Platform.h"

namespace klx {
namespace platform {

std::string batchBytes(const std::string& text, bool* lossless) {
    if (lossless != nullptr)
        *lossless = true;
    return text;
}

std::string batchText(const std::string& bytes) {
    return bytes;
}

} // namespace platform
} // namespace klx
