#include "Environment.h"

#include <cstdlib>
#include <stdexcept>

#ifndef _WIN32
extern char** environ;
#endif

namespace klxtest {

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

std::vector<std::string> environmentEntries() {
#ifdef _WIN32
    char** entries = _environ;
#else
    char** entries = environ;
#endif
    std::vector<std::string> result;
    for (char** entry = entries; *entry != nullptr; ++entry)
        result.push_back(*entry);
    return result;
}

} // namespace klxtest
