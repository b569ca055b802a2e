// KlxCore: one open registry key, with its string values read and written
// by name.
#ifndef KLX_REGISTRY_KEY_H
#define KLX_REGISTRY_KEY_H

#include "KLXConstants.h"

#include <string>
#include <vector>

class KLX_API KLXRegistryKey {
public:
    // Opens the key `path` below `root`, creating it and its missing parents.
    // A key that cannot be opened leaves mKey null: every read then gives ""
    // and every write has no effect.
    KLXRegistryKey(HKEY root, std::string& path);
    // A copy owns a handle of its own to the same key.
    KLXRegistryKey(const KLXRegistryKey& other);
    KLXRegistryKey& operator=(const KLXRegistryKey& other);
    ~KLXRegistryKey();

    // Reads the named value ("" when missing or unreadable) and keeps it in
    // mValues; the reference stays valid until the next retValue call on this
    // object.
    std::string& retValue(std::string& name);
    // Writes the named value as REG_SZ.
    void setValue(std::string& name, std::string& value);

protected:
    // The named value's text, or "" on any failure.
    void getValue(std::string& name, std::string& output);
    // The names of every value the key holds; none when it is not open.
    void getValueNames(std::vector<std::string>& names);

    HKEY mKey;
    std::vector<std::string> mValues;
};

#endif // KLX_REGISTRY_KEY_H
