// KlxCore: a system environment variable, read and changed where the
// Windows family keeps it, with the module-wide record of changes.
#ifndef KLX_ENV_VAR_H
#define KLX_ENV_VAR_H

#include "KLXConstants.h"
#include "KLXSettingsVar.h"

#include <string>
#include <vector>

class KLX_API KLXEnvVar : public KLXSettingsVar {
public:
    // Reads the variable at once: from the machine environment key of the
    // registry on the NT family, from the process environment on 9x. The
    // separator is ";" for a list such as "PATH", "" for a plain variable.
    KLXEnvVar(std::string& name, std::string& separator);
    ~KLXEnvVar() {}

    // Stores the value where the family keeps the environment and records the
    // change, unless it is the current value and `force` is false.
    void setValue(std::string& value, bool force) override;

    // List and template edits that, when they change the value, store it at
    // once and record the change.
    void removeTemplate(std::string& pattern);
    void replaceTemplate(std::string& pattern, std::string& replacement);
    void addToList(std::string& item);

    // Makes the recorded changes last beyond the running program and forgets
    // them: tells the running programs on the NT family, disables the old
    // definitions in "autoexec.bat" on 9x, writes the new definitions to
    // "klenv.bat" on both, and drops the cached tool locations.
    static void applyChanges();

protected:
    // Reads the value where the family keeps the environment.
    void update();

    // Records one change of `variable` in mModifiedVarsList: a new entry
    // (name, separator, value) for a variable not listed yet, else the new
    // value at position 2 and the removed template and the added item, each
    // when not empty.
    static void updateModifiedVarList(KLXEnvVar* variable, std::string& removed,
                                      std::string& added);

    // One entry per changed variable, emptied when the changes are applied.
    static std::vector<std::vector<std::string>> mModifiedVarsList;
};

#endif // KLX_ENV_VAR_H
