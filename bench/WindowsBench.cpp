// The library's Win32 backend against the same work written directly with
// Win32, in one process on a Windows machine (or Wine):
//
//   registry    KLXRegistryKey::setValue / retValue of a 40-byte value, against
//               RegSetValueExW / RegQueryValueExW on an open key
//   process     KLXSystem::runGetOutput of a small program (hostname.exe),
//               against CreateProcessW with its output on a pipe, both
//               giving the child a hidden console when the caller has none
//
// Google Benchmark is not part of the Windows build, so this times by itself:
// each case runs in batches timed with QueryPerformanceCounter, the two sides
// of a pair alternating batch by batch so that drift hits both alike, and
// reports the median time of one operation and the ratio library / direct.
//
//   WindowsBench [ROUNDS]      (default 15 batches per case)
#include "KLXRegistryKey.h"
#include "KLXSystem.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace {

const wchar_t kKeyPath[] = L"Software\\KlxCore bench";

double now() {
    static const double frequency = [] {
        LARGE_INTEGER value;
        ::QueryPerformanceFrequency(&value);
        return static_cast<double>(value.QuadPart);
    }();
    LARGE_INTEGER value;
    ::QueryPerformanceCounter(&value);
    return static_cast<double>(value.QuadPart) / frequency;
}

// Microseconds per operation of one batch of `count` operations.
double batch(const std::function<void()>& operation, int count) {
    const double start = now();
    for (int i = 0; i < count; ++i)
        operation();
    return (now() - start) * 1e6 / count;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// Runs both sides `rounds` times in alternation (after one warm-up batch
// each) and prints their medians and ratio.
void compare(const char* name, const std::function<void()>& library,
             const std::function<void()>& direct, int count, int rounds) {
    batch(library, count);
    batch(direct, count);
    std::vector<double> ours, theirs;
    for (int round = 0; round < rounds; ++round) {
        ours.push_back(batch(library, count));
        theirs.push_back(batch(direct, count));
    }
    const double a = median(ours), b = median(theirs);
    std::printf("%-16s library %9.2f us   direct %9.2f us   ratio %.2f\n", name, a, b, a / b);
    std::fflush(stdout);
}

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "WindowsBench: %s failed (%lu)\n", what, ::GetLastError());
    std::exit(1);
}

// ---- Registry -------------------------------------------------------------------

const std::string kValue = "0123456789abcdefghijklmnopqrstuvwxyzABCD"; // 40 bytes

void registry(int rounds) {
    std::string path = "Software\\KlxCore bench", name = "value", value = kValue;
    KLXRegistryKey key(HKEY_CURRENT_USER, path);

    HKEY direct = nullptr;
    if (::RegCreateKeyExW(HKEY_CURRENT_USER, kKeyPath, 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr,
                          &direct, nullptr) != ERROR_SUCCESS)
        fail("RegCreateKeyExW");
    const std::wstring wideValue(kValue.begin(), kValue.end());
    const DWORD bytes = static_cast<DWORD>((wideValue.size() + 1) * sizeof(wchar_t));

    compare(
        "registry set", [&] { key.setValue(name, value); },
        [&] {
            if (::RegSetValueExW(direct, L"direct", 0, REG_SZ,
                                 reinterpret_cast<const BYTE*>(wideValue.c_str()),
                                 bytes) != ERROR_SUCCESS)
                fail("RegSetValueExW");
        },
        500, rounds);
    compare(
        "registry read",
        [&] {
            if (key.retValue(name).size() != kValue.size())
                fail("retValue");
        },
        [&] {
            wchar_t buffer[512];
            DWORD size = sizeof buffer, type = 0;
            if (::RegQueryValueExW(direct, L"direct", nullptr, &type,
                                   reinterpret_cast<BYTE*>(buffer), &size) != ERROR_SUCCESS ||
                size != bytes)
                fail("RegQueryValueExW");
        },
        500, rounds);
    ::RegCloseKey(direct);
    ::RegDeleteTreeW(HKEY_CURRENT_USER, kKeyPath);
}

// ---- Capturing a program's output --------------------------------------------

std::string directCapture(const std::wstring& program) {
    SECURITY_ATTRIBUTES inherit = {sizeof inherit, nullptr, TRUE};
    HANDLE read = nullptr, write = nullptr;
    if (!::CreatePipe(&read, &write, &inherit, 0))
        fail("CreatePipe");
    ::SetHandleInformation(read, HANDLE_FLAG_INHERIT, 0);
    HANDLE nul =
        ::CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                      &inherit, OPEN_EXISTING, 0, nullptr);
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = nul;
    startup.hStdOutput = write;
    startup.hStdError = nul;
    PROCESS_INFORMATION process = {};
    std::wstring line = L"\"" + program + L"\"";
    // As the library does: a caller without a console gives a console child
    // one without a window. Without it Windows shows a console window for
    // each run (Wine starts none, and saves the conhost process it costs).
    const DWORD flags = ::GetConsoleWindow() == nullptr ? CREATE_NO_WINDOW : 0;
    if (!::CreateProcessW(program.c_str(), &line[0], nullptr, nullptr, TRUE, flags, nullptr,
                          nullptr, &startup, &process))
        fail("CreateProcessW");
    ::CloseHandle(write);
    ::CloseHandle(nul);
    std::string output;
    char buffer[4096];
    DWORD got = 0;
    while (::ReadFile(read, buffer, sizeof buffer, &got, nullptr) && got != 0)
        output.append(buffer, got);
    ::CloseHandle(read);
    ::WaitForSingleObject(process.hProcess, INFINITE);
    ::CloseHandle(process.hThread);
    ::CloseHandle(process.hProcess);
    return output;
}

void process(int rounds) {
    wchar_t system[MAX_PATH];
    const UINT length = ::GetSystemDirectoryW(system, MAX_PATH);
    const std::wstring program = std::wstring(system, length) + L"\\hostname.exe";
    std::string narrow(program.begin(), program.end()); // the system folder's path is ASCII
    const std::string expected = directCapture(program);
    if (expected.empty())
        fail("hostname.exe");
    std::vector<std::string> arguments;
    compare(
        "process capture",
        [&] {
            int exitCode = -1;
            if (KLXSystem::runGetOutput(narrow, arguments, &exitCode) != expected || exitCode != 0)
                fail("runGetOutput");
        },
        [&] {
            if (directCapture(program) != expected)
                fail("direct capture");
        },
        10, rounds);
}

} // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 15;
    std::printf("median of %d batches per case, microseconds per operation\n", rounds);
    registry(rounds);
    process(rounds);
    return 0;
}
