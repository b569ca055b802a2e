// Reads a registry key whole, for tests that check what the library wrote.
#ifndef KLX_TEST_REGISTRY_VALUES_H
#define KLX_TEST_REGISTRY_VALUES_H

#include "KLXConstants.h"

#include <string>
#include <utility>
#include <vector>

namespace klxtest {

// Every value of the key as (name, text), sorted by name.
std::vector<std::pair<std::string, std::string>> registryValues(HKEY root, const std::string& path);

} // namespace klxtest

#endif // KLX_TEST_REGISTRY_VALUES_H
