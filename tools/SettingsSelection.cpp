#include "SettingsSelection.h"

#include "SettingsElements.h"
#include "ToolPaths.h"

#include <cstdint>

namespace {

bool allDigits(const std::string& text) {
    if (text.empty())
        return false;
    for (char c : text)
        if (c < '0' || c > '9')
            return false;
    return true;
}

size_t parseIndex(const std::string& digits) {
    size_t value = 0;
    for (char c : digits) {
        size_t digit = static_cast<size_t>(c - '0');
        if (value > (SIZE_MAX - digit) / 10)
            return SIZE_MAX;
        value = value * 10 + digit;
    }
    return value;
}

} // namespace

bool parseSelection(const std::string& argument, SettingsSelection& selection,
                    std::string& problem) {
    size_t equals = argument.find('=');
    if (equals == std::string::npos) {
        problem = "'" + argument + "' is neither an option nor a selection ELEMENT=PATH or " +
                  "ELEMENT=INDEX";
        return false;
    }
    std::string name = argument.substr(0, equals);
    const ElementName* element = findElement(name);
    if (!element) {
        problem = "unknown element '" + name +
                  "' (os, fw, plugins, gcc, arm, mingw, eclipse or a KL_CVL_IDE_ variable)";
        return false;
    }
    selection.element = element->element;
    selection.typed = argument.substr(equals + 1);
    if (selection.typed.empty()) {
        problem = "no path or index given for " + std::string(element->shortName);
        return false;
    }
    selection.byIndex = allDigits(selection.typed);
    selection.index = selection.byIndex ? parseIndex(selection.typed) : 0;
    selection.path = selection.byIndex ? std::string() : windowsPath(selection.typed);
    return true;
}
