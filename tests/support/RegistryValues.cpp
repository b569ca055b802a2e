#include "RegistryValues.h"

#include "KLXRegistryKey.h"

#include <algorithm>

namespace klxtest {

namespace {

struct KeyProbe : KLXRegistryKey {
    using KLXRegistryKey::getValueNames;
    using KLXRegistryKey::KLXRegistryKey;
};

} // namespace

std::vector<std::pair<std::string, std::string>> registryValues(HKEY root,
                                                                const std::string& path) {
    std::string keyPath = path;
    KeyProbe key(root, keyPath);
    std::vector<std::string> names;
    key.getValueNames(names);
    std::sort(names.begin(), names.end());
    std::vector<std::pair<std::string, std::string>> values;
    for (std::string& name : names)
        values.emplace_back(name, key.retValue(name));
    return values;
}

} // namespace klxtest
