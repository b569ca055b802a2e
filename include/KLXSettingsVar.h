// KlxCore: a named setting kept as one string value under a registry key.
#ifndef KLX_SETTINGS_VAR_H
#define KLX_SETTINGS_VAR_H

#include "KLXRegistryKey.h"

#include <string>

class KLX_API KLXSettingsVar {
public:
    // Does not read the registry: the value stays "" until update() or
    // setValue().
    KLXSettingsVar(std::string& name, HKEY root, std::string& path, std::string& separator);
    // Not virtual: every setting is destroyed through its own type.
    ~KLXSettingsVar() {}

    std::string& getValue() { return mValue; }
    std::string& getName() { return mName; }

    // Stores the value and writes it to the registry, unless it is the current
    // value and `force` is false.
    virtual void setValue(std::string& value, bool force);

    // List and template edits of the value in memory; none writes the
    // registry. Each says whether it changed anything.
    bool removeTemplate(std::string& pattern);
    bool replaceTemplate(std::string& pattern, std::string& replacement);
    bool addToList(std::string& item);

protected:
    // Reads the value from the registry ("" when there is none).
    void update();

    KLXRegistryKey mRegKey;
    std::string mName;
    std::string mValue;
    std::string mSeparator;
};

#endif // KLX_SETTINGS_VAR_H
