// GetCommandLineW for a POSIX host: the running program's own path, quoted as
// Windows quotes a program path that it starts, followed by the arguments.
#include "platform/Platform.h"
#include "platform/posix/Handles.h"

#include <cstdio>
#include <unistd.h>

namespace klx {
namespace platform {

namespace {

// The target of /proc/self/exe, read in full whatever its length.
std::string runningProgramPath() {
    std::string buffer(256, '\0');
    for (;;) {
        ssize_t length = ::readlink("/proc/self/exe", &buffer[0], buffer.size());
        if (length < 0)
            return std::string();
        if (static_cast<std::size_t>(length) < buffer.size()) {
            buffer.resize(static_cast<std::size_t>(length));
            return buffer;
        }
        if (buffer.size() >= (1u << 20))
            return std::string();
        buffer.resize(buffer.size() * 2);
    }
}

// The process's arguments as the kernel keeps them: NUL-terminated strings.
std::string processArguments() {
    std::string bytes;
    ScopedStream file(std::fopen("/proc/self/cmdline", "rb"));
    if (!file)
        return bytes;
    char chunk[4096];
    std::size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, file.get())) > 0)
        bytes.append(chunk, got);
    return bytes;
}

} // namespace

std::string processCommandLine() {
    std::string path = runningProgramPath();
    if (path.empty())
        return path;
    std::string line = "\"" + path + "\"";
    // Skip argv[0]: the program is named by its full path above.
    std::string arguments = processArguments();
    std::size_t start = arguments.find('\0');
    while (start != std::string::npos && start + 1 < arguments.size()) {
        std::size_t end = arguments.find('\0', start + 1);
        if (end == std::string::npos)
            end = arguments.size();
        line += ' ';
        line.append(arguments, start + 1, end - start - 1);
        start = end;
    }
    return line;
}

} // namespace platform
} // namespace klx
