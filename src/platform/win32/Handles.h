// Owners of the Win32 handles this backend opens: each kind of handle with
// the value that means "none" and the call that closes it.
#ifndef KLX_PLATFORM_WIN32_HANDLES_H
#define KLX_PLATFORM_WIN32_HANDLES_H

#include "KLXConstants.h"
#include "platform/common/ScopedHandle.h"

namespace klx {
namespace platform {

// Files and pipes: CreateFileW and CreateNamedPipeW fail with
// INVALID_HANDLE_VALUE.
struct FileHandleTraits {
    using handle_type = HANDLE;
    static HANDLE invalid() { return INVALID_HANDLE_VALUE; }
    static void close(HANDLE handle) { ::CloseHandle(handle); }
};

// Processes, threads, tokens and events: their calls fail with null.
struct KernelHandleTraits {
    using handle_type = HANDLE;
    static HANDLE invalid() { return nullptr; }
    static void close(HANDLE handle) { ::CloseHandle(handle); }
};

// Directory listings of FindFirstFileExW.
struct FindHandleTraits {
    using handle_type = HANDLE;
    static HANDLE invalid() { return INVALID_HANDLE_VALUE; }
    static void close(HANDLE handle) { ::FindClose(handle); }
};

struct RegistryKeyTraits {
    using handle_type = HKEY;
    static HKEY invalid() { return nullptr; }
    static void close(HKEY key) { ::RegCloseKey(key); }
};

// Modules that LoadLibraryExW mapped.
struct ModuleTraits {
    using handle_type = HMODULE;
    static HMODULE invalid() { return nullptr; }
    static void close(HMODULE module) { ::FreeLibrary(module); }
};

using ScopedFileHandle = ScopedHandle<FileHandleTraits>;
using ScopedKernelHandle = ScopedHandle<KernelHandleTraits>;
using ScopedFindHandle = ScopedHandle<FindHandleTraits>;
using ScopedRegistryKey = ScopedHandle<RegistryKeyTraits>;
using ScopedModule = ScopedHandle<ModuleTraits>;

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_WIN32_HANDLES_H
