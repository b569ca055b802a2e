// KlxCore: a system environment variable, read and changed where the
// Windows family keeps it, with the module-wide record of changes.
#ifndef KLX_ENV_VAR_H
#define KLX_ENV_VAR_H

#include "KLXConstants.h"

#include <string>
#include <vector>

class KLX_API KLXEnvVar {
protected:
    // One entry per changed variable, emptied when the changes are applied.
    static std::vector<std::vector<std::string>> mModifiedVarsList;
};

#endif // KLX_ENV_VAR_H
