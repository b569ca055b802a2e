// KlxCore: one open registry key, with its string values read and written
// by name.
#include "KLXRegistryKey.h"

#include "platform/Platform.h"

#include <utility>

namespace {

// Values read through retValue that stay addressable: the newest always, a
// few before it while there is room.
const std::size_t kKeptValues = 16;

} // namespace

KLXRegistryKey::KLXRegistryKey(HKEY root, std::string& path)
    : mKey(klx::platform::createRegistryKey(root, path).value) {}

KLXRegistryKey::KLXRegistryKey(const KLXRegistryKey& other)
    : mKey(other.mKey != nullptr ? klx::platform::duplicateRegistryKey(other.mKey).value : nullptr),
      mValues(other.mValues) {}

KLXRegistryKey& KLXRegistryKey::operator=(const KLXRegistryKey& other) {
    if (this == &other)
        return *this;
    // Copy first, so that running out of memory leaves this object as it was.
    std::vector<std::string> values(other.mValues);
    HKEY key =
        other.mKey != nullptr ? klx::platform::duplicateRegistryKey(other.mKey).value : nullptr;
    klx::platform::closeRegistryKey(mKey);
    mKey = key;
    mValues = std::move(values);
    return *this;
}

KLXRegistryKey::~KLXRegistryKey() {
    klx::platform::closeRegistryKey(mKey);
}

void KLXRegistryKey::getValue(std::string& name, std::string& output) {
    output.clear();
    if (mKey == nullptr)
        return;
    // The value is read in full, however long: a long "PATH" that came back
    // cut short or empty would be written back without its old content.
    klx::platform::Result<klx::platform::RegistryValue> value =
        klx::platform::queryRegistryValue(mKey, name);
    if (!value.ok())
        return;
    output = std::move(value.value.data);
    // The text ends at its first NUL, whatever the value's type.
    std::string::size_type end = output.find('\0');
    if (end != std::string::npos)
        output.resize(end);
}

void KLXRegistryKey::getValueNames(std::vector<std::string>& names) {
    names.clear();
    if (mKey == nullptr)
        return;
    klx::platform::Result<std::vector<std::string>> listed =
        klx::platform::enumerateRegistryValueNames(mKey);
    if (listed.ok())
        names = std::move(listed.value);
}

std::string& KLXRegistryKey::retValue(std::string& name) {
    // Only the newest value has to stay addressable; keeping every value
    // ever read would make a long-lived key grow without bound.
    if (mValues.size() >= kKeptValues)
        mValues.erase(mValues.begin(), mValues.end() - 1);
    mValues.emplace_back();
    getValue(name, mValues.back());
    return mValues.back();
}

void KLXRegistryKey::setValue(std::string& name, std::string& value) {
    if (mKey == nullptr)
        return;
    klx::platform::setRegistryValue(mKey, name, REG_SZ, value.c_str(), value.size() + 1);
}
