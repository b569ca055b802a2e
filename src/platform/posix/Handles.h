// The traits of this host's handles for common/ScopedHandle: descriptors,
// directory streams, C streams and registry keys.
#ifndef KLX_PLATFORM_POSIX_HANDLES_H
#define KLX_PLATFORM_POSIX_HANDLES_H

#include "platform/Platform.h"
#include "platform/common/ScopedHandle.h"

#include <cstdio>
#include <dirent.h>
#include <unistd.h>

namespace klx {
namespace platform {

struct DescriptorTraits {
    using handle_type = int;
    static int invalid() { return -1; }
    // Not retried on EINTR: Linux has released the descriptor either way.
    static void close(int fd) { ::close(fd); }
};
using ScopedFd = ScopedHandle<DescriptorTraits>;

struct DirectoryStreamTraits {
    using handle_type = DIR*;
    static DIR* invalid() { return nullptr; }
    static void close(DIR* directory) { ::closedir(directory); }
};
using ScopedDir = ScopedHandle<DirectoryStreamTraits>;

struct StreamTraits {
    using handle_type = std::FILE*;
    static std::FILE* invalid() { return nullptr; }
    static void close(std::FILE* stream) { std::fclose(stream); }
};
using ScopedStream = ScopedHandle<StreamTraits>;

struct RegistryKeyTraits {
    using handle_type = HKEY;
    static HKEY invalid() { return nullptr; }
    static void close(HKEY key) { closeRegistryKey(key); }
};
using ScopedRegistryKey = ScopedHandle<RegistryKeyTraits>;

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_POSIX_HANDLES_H
