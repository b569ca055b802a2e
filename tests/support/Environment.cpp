#include "Environment.h"

#include "TestFiles.h"

#include <cstdlib>
#include <stdexcept>

#ifdef _WIN32
#include <windows.h>
#endif

namespace klxtest {

#ifdef _WIN32
// The key that holds the scratch roots of this test process.
static std::wstring gScratchKey;
#endif

void setEnv(const std::string& name, const std::string& value) {
#ifdef _WIN32
    // The C runtime passes the change on to the process environment block,
    // where GetEnvironmentVariable and child processes read it.
    const int failed = _putenv_s(name.c_str(), value.c_str());
#else
    const int failed = setenv(name.c_str(), value.c_str(), 1);
#endif
    if (failed != 0)
        throw std::runtime_error("cannot set the environment variable " + name);
}

void unsetEnv(const std::string& name) {
#ifdef _WIN32
    const int failed = _putenv_s(name.c_str(), "");
#else
    const int failed = unsetenv(name.c_str());
#endif
    if (failed != 0)
        throw std::runtime_error("cannot remove the environment variable " + name);
}

std::string getEnv(const std::string& name) {
#ifdef _WIN32
    // The block itself: the C runtime's copy misses the library's changes.
    const DWORD size = GetEnvironmentVariableA(name.c_str(), nullptr, 0);
    if (size == 0)
        return "<undefined>";
    std::string value(size, '\0');
    value.resize(GetEnvironmentVariableA(name.c_str(), value.data(), size));
    return value;
#else
    const char* value = std::getenv(name.c_str());
    return value == nullptr ? "<undefined>" : value;
#endif
}

std::filesystem::path cDrive() {
    if (std::filesystem::path::preferred_separator == '\\')
        return "C:\\";
    const std::filesystem::path drive = std::filesystem::path(getEnv("KLX_PREFIX")) / "drive_c";
    std::filesystem::create_directories(drive);
    return drive;
}

std::string profileDirectory() {
    return getEnv(std::filesystem::path::preferred_separator == '\\' ? "USERPROFILE" : "HOME");
}

std::filesystem::path programDirectory() {
#ifdef _WIN32
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).parent_path();
#else
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
#endif
}

void isolateRegistry() {
#ifdef _WIN32
    // A test on a Wine machine of its own shares the registry with the
    // programs it starts.
    if (getEnv("KLX_TEST_OWN_MACHINE") == "1")
        return;
    gScratchKey = L"Software\\KlxTest\\" + testRoot().filename().wstring();
    const std::pair<HKEY, const wchar_t*> roots[] = {{HKEY_CURRENT_USER, L"\\user"},
                                                     {HKEY_LOCAL_MACHINE, L"\\machine"},
                                                     {HKEY_CLASSES_ROOT, L"\\classes"}};
    HKEY keys[3] = {};
    for (int i = 0; i < 3; ++i)
        if (RegCreateKeyExW(HKEY_CURRENT_USER, (gScratchKey + roots[i].second).c_str(), 0, nullptr,
                            0, KEY_ALL_ACCESS, nullptr, &keys[i], nullptr) != 0)
            throw std::runtime_error("cannot create the scratch registry keys");
    // The system finds the user's profile directory in the machine's list of
    // profiles, and the user's name through the computer's name: the scratch
    // machine key gets a copy of them.
    for (const wchar_t* path :
         {L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList",
          L"SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ComputerName",
          L"SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ActiveComputerName"}) {
        HKEY copy = nullptr;
        if (RegCreateKeyExW(keys[1], path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &copy,
                            nullptr) == 0) {
            RegCopyTreeW(HKEY_LOCAL_MACHINE, path, copy);
            RegCloseKey(copy);
        }
    }
    for (int i = 0; i < 3; ++i) {
        if (RegOverridePredefKey(roots[i].first, keys[i]) != 0)
            throw std::runtime_error("cannot redirect a registry root");
        RegCloseKey(keys[i]);
    }
#endif
}

void endRegistryIsolation() {
#ifdef _WIN32
    if (gScratchKey.empty())
        return;
    for (HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_CLASSES_ROOT})
        RegOverridePredefKey(root, nullptr);
    RegDeleteTreeW(HKEY_CURRENT_USER, gScratchKey.c_str());
#endif
}

} // namespace klxtest
