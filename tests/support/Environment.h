// Sets the test process's environment variables the same way on every host.
#ifndef KLX_TEST_ENVIRONMENT_H
#define KLX_TEST_ENVIRONMENT_H

#include <string>
#include <vector>

namespace klxtest {

// Sets NAME to VALUE for this process and the programs it starts. Windows
// keeps no empty variables: there an empty value removes the variable.
void setEnv(const std::string& name, const std::string& value);
void unsetEnv(const std::string& name);

// Every variable of the process as "NAME=VALUE".
std::vector<std::string> environmentEntries();

} // namespace klxtest

#endif // KLX_TEST_ENVIRONMENT_H
