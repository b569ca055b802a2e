// Reads a registry key whole, for tests that check what the library wrote.
#ifndef KLX_TEST_REGISTRY_VALUES_H
#define KLX_TEST_REGISTRY_VALUES_H

#include "KLXRegistryKey.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace klxtest {

struct KeyProbe : KLXRegistryKey {
    using KLXRegistryKey::getValueNames;
    using KLXRegistryKey::KLXRegistryKey;
};

// Every value of the key as (name, text), sorted by name.
inline std::vector<std::pair<std::string, std::string>> registryValues(HKEY root,
                                                                       std::string path) {
    KeyProbe key(root, path);
    std::vector<std::string> names;
    key.getValueNames(names);
    std::sort(names.begin(), names.end());
    std::vector<std::pair<std::string, std::string>> values;
    for (std::string& name : names)
        values.emplace_back(name, key.retValue(name));
    return values;
}

} // namespace klxtest

#endif // KLX_TEST_REGISTRY_VALUES_H
