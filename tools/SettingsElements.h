// How the SDK settings program names the seven elements to its user.
#ifndef KLX_TOOLS_SETTINGS_ELEMENTS_H
#define KLX_TOOLS_SETTINGS_ELEMENTS_H

#include "KLXConstants.h"

#include <string>

struct ElementName {
    CvlSelectElement_e element;
    const char* shortName; // "os", "fw", ...
    const char* variable;  // "KL_CVL_IDE_OS_DEFAULT", ...
    const char* label;     // "OS library", ...
};

// The seven elements in their order.
extern const ElementName kElementNames[7];

// The element named `name` (a short name or a variable name, in any letter
// case), or null.
const ElementName* findElement(const std::string& name);

#endif // KLX_TOOLS_SETTINGS_ELEMENTS_H
