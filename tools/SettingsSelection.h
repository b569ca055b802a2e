// One "ELEMENT=PATH" or "ELEMENT=INDEX" argument of the settings program.
#ifndef KLX_TOOLS_SETTINGS_SELECTION_H
#define KLX_TOOLS_SETTINGS_SELECTION_H

#include "KLXConstants.h"

#include <string>

struct SettingsSelection {
    CvlSelectElement_e element;
    bool byIndex;      // a number: an index into the selectable paths
    size_t index;      // when byIndex; SIZE_MAX for a number too large
    std::string path;  // otherwise, in Windows form
    std::string typed; // the value as the user typed it
};

// Reads `argument`; on failure returns false with the reason in `problem`.
// A value made of digits only is an index; to give a relative directory
// with such a name, write "./12".
bool parseSelection(const std::string& argument, SettingsSelection& selection,
                    std::string& problem);

#endif // KLX_TOOLS_SETTINGS_SELECTION_H
