// The test process's environment and machine, the same way on every host.
#ifndef KLX_TEST_ENVIRONMENT_H
#define KLX_TEST_ENVIRONMENT_H

#include <filesystem>
#include <string>

namespace klxtest {

// Sets NAME to VALUE for this process and the programs it starts. Windows
// keeps no empty variables: there an empty value removes the variable.
void setEnv(const std::string& name, const std::string& value);
void unsetEnv(const std::string& name);
// NAME's value in the process environment block, where the library reads
// and writes it; "<undefined>" when it is not set.
std::string getEnv(const std::string& name);

// The host path of the library's drive C:\ (on POSIX $KLX_PREFIX/drive_c,
// created; on Windows C:\ itself).
std::filesystem::path cDrive();

// The user's profile directory as the platform gives it: $HOME on POSIX,
// %USERPROFILE% on Windows.
std::string profileDirectory();

// The directory of the running test program.
std::filesystem::path programDirectory();

// Windows: points HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE and HKEY_CLASSES_ROOT
// of this process at fresh keys under a scratch key, so that in-process tests
// start from an empty registry as they do on POSIX with their own KLX_PREFIX;
// the end deletes them. Nothing to do on POSIX.
void isolateRegistry();
void endRegistryIsolation();

} // namespace klxtest

#endif // KLX_TEST_ENVIRONMENT_H
