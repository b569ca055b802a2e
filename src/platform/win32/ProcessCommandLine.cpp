// The running program's command line, as Windows keeps it.
#include "platform/Platform.h"
#include "platform/win32/WideText.h"

namespace klx {
namespace platform {

std::string processCommandLine() {
    return toUtf8(::GetCommandLineW());
}

} // namespace platform
} // namespace klx
