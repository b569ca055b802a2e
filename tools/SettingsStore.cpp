#include "SettingsStore.h"

#include "HostMapping.h"
#include "ToolPaths.h"

#include "KLXCorvaleSettings.h"
#include "KLXPathEnvironment.h"
#include "KLXRcFile.h"
#include "KLXRegistryKey.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>

namespace {

// A registry key that tells whether it could be opened at all.
struct Key final : KLXRegistryKey {
    using KLXRegistryKey::KLXRegistryKey;
    bool isOpen() const { return mKey != nullptr; }
};

std::string historyKeyPath(const std::string& variable) {
    return std::string(KLX_STR_REG_PATH_CVL_SETTINGS) + "\\" + variable + " history";
}

std::string cannotWriteRegistry() {
    return "cannot write " + registryName() + ": " +
           registryReason("what was written could not be read back (the store is locked by "
                          "another program, full or damaged)");
}

// The text written for a value: slashes, except for a variable reference.
std::string writtenForm(std::string value) {
    if (!value.empty() && value[0] != '$')
        std::replace(value.begin(), value.end(), '\\', '/');
    return value;
}

} // namespace

std::string registryProblem(bool write) {
    std::string path = KLX_STR_REG_PATH_CVL_SETTINGS;
    Key key(HKEY_CURRENT_USER, path);
    if (!key.isOpen())
        return "cannot open " + registryName() + ": " +
               registryReason("it is not a registry store, or it is locked by another program");
    if (!write)
        return "";
    // A value of the program's own that changes at every save, so that
    // reading it back tells a write that happened from one that did not.
    std::string name = "KlCvlSettings last save";
    std::string token = std::to_string(std::chrono::system_clock::now().time_since_epoch().count());
    key.setValue(name, token);
    return key.retValue(name) == token ? "" : cannotWriteRegistry();
}

std::string contentProblem(const std::string& hostFile) {
    std::ifstream in(hostFile, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    size_t nul = bytes.find('\0');
    if (nul == std::string::npos)
        return "";
    size_t line = 1;
    for (size_t i = 0; i < nul; ++i)
        if (bytes[i] == '\n' || (bytes[i] == '\r' && (i + 1 >= nul || bytes[i + 1] != '\n')))
            ++line;
    return "cannot save to " + displayPath(hostFile) + ": line " + std::to_string(line) +
           " holds a NUL byte, and writing the file back would lose everything after it";
}

std::string unsavedPart(KLXCorvaleSettings& settings, const std::string& configFile) {
    bool chosen = !settings.getCurrentConfigFile().empty();
    std::string file = configFile;
    // Mode 0, shared with the settings object's own handle on the file.
    KLXRcFile saved(file, 0);
    for (KLXPathEnvironment* element : settings.mElements) {
        std::string name = element->getName();
        std::string expected = writtenForm(element->getValue());
        std::string found = saved.getValue(name);
        // A chosen file holds paths on network drives without the drive.
        bool withoutDrive = chosen && hasDriveLetter(expected) && found == expected.substr(2);
        if (!expected.empty() && found != expected && !withoutDrive)
            return "cannot save to " + displayPath(configFile) + ": it does not hold the new " +
                   name + " after writing";

        if (element->mHistoryList.empty())
            continue;
        std::string path = historyKeyPath(name), countName = "count";
        KLXRegistryKey history(HKEY_CURRENT_USER, path);
        bool same = history.retValue(countName) == std::to_string(element->mHistoryList.size());
        for (size_t i = 0; same && i < element->mHistoryList.size(); ++i) {
            std::string entry = std::to_string(i);
            same = history.retValue(entry) == element->mHistoryList[i];
        }
        if (!same)
            return cannotWriteRegistry() + " (the history of " + name + ")";
    }
    return "";
}
