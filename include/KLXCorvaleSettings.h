// KlxCore: the SDK settings object and its seven path elements.
#ifndef KLX_CORVALE_SETTINGS_H
#define KLX_CORVALE_SETTINGS_H

#include "KLXConstants.h"

#include <string>

class KLX_API KLXCorvaleSettings {
public:
    // The first settings object constructed.
    static KLXCorvaleSettings* Instance;
    // Baseband family of the selected OS library, and the one before it.
    static std::string mOSBaseBand;
    static std::string mFormerOSBaseBand;
};

#endif // KLX_CORVALE_SETTINGS_H
