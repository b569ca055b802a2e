// Starting programs with CreateProcessW: _spawnv in its waiting and detached
// forms, the capturing run that takes a child's standard output, and the
// current directory.
//
// A child inherits exactly its three standard handles: they are listed in
// PROC_THREAD_ATTRIBUTE_HANDLE_LIST, so that no other inheritable handle of
// the caller (another thread's pipe, say) reaches it.
#include "platform/Platform.h"
#include "platform/common/NameRules.h"
#include "platform/win32/Handles.h"
#include "platform/win32/OutputPipe.h"
#include "platform/win32/WideText.h"

#include <vector>

namespace klx {
namespace platform {

namespace {

bool isFile(const std::wstring& path) {
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

inline bool isUsable(HANDLE handle) {
    return handle != nullptr && handle != INVALID_HANDLE_VALUE;
}

// Console handles of Windows 7 and earlier are no kernel handles (their low
// bits are 3): a child reaches them through its console, never through a
// handle list.
inline bool isConsolePseudoHandle(HANDLE handle) {
    return (reinterpret_cast<std::uintptr_t>(handle) & 3) == 3;
}

// The three standard handles of a child, and the inheritable handles among
// them that it is given.
class ChildHandles {
public:
    // Gives the child `handle` as standard handle `slot` (0 input, 1 output,
    // 2 error); the handle must be inheritable, or a console handle.
    void give(int slot, HANDLE handle) {
        mStandard[slot] = handle;
        if (!isUsable(handle) || isConsolePseudoHandle(handle))
            return;
        for (HANDLE listed : mInherited) {
            if (listed == handle)
                return;
        }
        mInherited.push_back(handle);
    }

    // Gives the child an inheritable copy of this process's standard handle.
    void giveOwn(int slot, DWORD which) {
        HANDLE own = ::GetStdHandle(which);
        HANDLE copy = nullptr;
        if (isUsable(own) && !isConsolePseudoHandle(own) &&
            ::DuplicateHandle(::GetCurrentProcess(), own, ::GetCurrentProcess(), &copy, 0, TRUE,
                              DUPLICATE_SAME_ACCESS)) {
            mCopies.emplace_back(copy);
            give(slot, copy);
        } else {
            give(slot, own);
        }
    }

    HANDLE standard(int slot) const { return mStandard[slot]; }
    std::vector<HANDLE>& inherited() { return mInherited; }

private:
    HANDLE mStandard[3] = {nullptr, nullptr, nullptr};
    std::vector<HANDLE> mInherited;
    std::vector<ScopedKernelHandle> mCopies;
};

// CreateProcessW of `program` with `commandLine` and `handles`; the
// caller's environment and current directory.
DWORD startChild(const std::string& program, const std::string& commandLine, ChildHandles& handles,
                 DWORD flags, PROCESS_INFORMATION& process) {
    const std::wstring application = toWide(program);
    std::wstring line = toWide(commandLine.c_str());
    // A program always gets a name for itself, as a POSIX child does.
    if (line.find_first_not_of(L" \t") == std::wstring::npos)
        line = L"\"" + application + L"\"";

    STARTUPINFOEXW startup = {};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = handles.standard(0);
    startup.StartupInfo.hStdOutput = handles.standard(1);
    startup.StartupInfo.hStdError = handles.standard(2);

    std::vector<HANDLE>& inherited = handles.inherited();
    std::vector<char> storage;
    if (!inherited.empty()) {
        SIZE_T size = 0;
        ::InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        storage.resize(size);
        auto* list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(storage.data());
        if (!::InitializeProcThreadAttributeList(list, 1, 0, &size))
            return ::GetLastError();
        if (!::UpdateProcThreadAttribute(list, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                         inherited.data(), inherited.size() * sizeof(HANDLE),
                                         nullptr, nullptr)) {
            DWORD error = ::GetLastError();
            ::DeleteProcThreadAttributeList(list);
            return error;
        }
        startup.lpAttributeList = list;
        flags |= EXTENDED_STARTUPINFO_PRESENT;
    }

    const BOOL started =
        ::CreateProcessW(application.c_str(), &line[0], nullptr, nullptr, !inherited.empty(), flags,
                         nullptr, nullptr, &startup.StartupInfo, &process);
    const DWORD error = started ? 0 : ::GetLastError();
    if (startup.lpAttributeList != nullptr)
        ::DeleteProcThreadAttributeList(startup.lpAttributeList);
    return error;
}

// Waits for a child and takes its exit code.
Result<int> exitCodeOf(HANDLE process) {
    DWORD code = 0;
    if (::WaitForSingleObject(process, INFINITE) == WAIT_FAILED ||
        !::GetExitCodeProcess(process, &code))
        return {-1, ::GetLastError()};
    return {static_cast<int>(code), 0};
}

} // namespace

std::string programHostPath(const std::string& program) {
    if (isFile(widePath(program)))
        return toUtf8(widePath(program));
    // CreateProcessW adds no ".exe" to a program's name: this does.
    const std::string other = otherProgramName(program);
    if (other.empty())
        return std::string();
    return isFile(widePath(other)) ? toUtf8(widePath(other)) : std::string();
}

Result<int> spawnProcess(const std::string& program, const std::string& commandLine, bool wait) {
    const std::string host = programHostPath(program);
    if (host.empty())
        return {-1, ERROR_FILE_NOT_FOUND};
    ChildHandles handles;
    handles.giveOwn(0, STD_INPUT_HANDLE);
    handles.giveOwn(1, STD_OUTPUT_HANDLE);
    handles.giveOwn(2, STD_ERROR_HANDLE);
    PROCESS_INFORMATION info = {};
    if (DWORD error = startChild(host, commandLine, handles, 0, info))
        return {-1, error};
    ScopedKernelHandle process(info.hProcess);
    ScopedKernelHandle thread(info.hThread);
    if (!wait)
        return {static_cast<int>(info.dwProcessId), 0};
    return exitCodeOf(process.get());
}

Result<CapturedRun> captureProcess(const std::string& program, const std::string& commandLine,
                                   std::size_t outputLimit) {
    Result<CapturedRun> result = {CapturedRun{-1, std::string(), false}, 0};
    const std::string host = programHostPath(program);
    if (host.empty()) {
        result.error = ERROR_FILE_NOT_FOUND;
        return result;
    }

    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    ScopedFileHandle input(::CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                         &inheritable, OPEN_EXISTING, 0, nullptr));
    if (!input) {
        result.error = ::GetLastError();
        return result;
    }
    CapturedRun& run = result.value;
    OutputPipe output(Sink{&run.output, outputLimit, &run.truncated});
    OutputPipe error(Sink{nullptr, 0, nullptr});
    ScopedFileHandle outputEnd, errorEnd;
    if ((result.error = output.open(outputEnd)) != 0 || (result.error = error.open(errorEnd)) != 0)
        return result;

    ChildHandles handles;
    handles.give(0, input.get());
    handles.give(1, outputEnd.get());
    handles.give(2, errorEnd.get());
    // A caller without a console (a windowed program) would otherwise show
    // an empty console window for each run.
    const DWORD flags = ::GetConsoleWindow() == nullptr ? CREATE_NO_WINDOW : 0;
    PROCESS_INFORMATION info = {};
    if ((result.error = startChild(host, commandLine, handles, flags, info)) != 0)
        return result;
    ScopedKernelHandle process(info.hProcess);
    ScopedKernelHandle thread(info.hThread);
    // Only the child holds the writing ends now, so their end shows.
    input.reset();
    outputEnd.reset();
    errorEnd.reset();

    collectOutput(process.get(), output, error);
    Result<int> code = exitCodeOf(process.get());
    run.exitCode = code.value;
    result.error = code.error;
    return result;
}

DWORD setCurrentDirectory(const std::string& path) {
    const std::wstring wide = widePath(path);
    if (wide.empty())
        return ERROR_PATH_NOT_FOUND;
    return ::SetCurrentDirectoryW(wide.c_str()) ? 0 : ::GetLastError();
}

} // namespace platform
} // namespace klx
