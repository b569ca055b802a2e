#include "SettingsElements.h"

#include <cctype>

const ElementName kElementNames[7] = {
    {CVL_ELEMENT_OS_DEFAULT, "os", "KL_CVL_IDE_OS_DEFAULT", "OS library"},
    {CVL_ELEMENT_FW_DEFAULT, "fw", "KL_CVL_IDE_FW_DEFAULT", "Firmware"},
    {CVL_ELEMENT_PLUGINS, "plugins", "KL_CVL_IDE_PLUGINS", "Plug-ins"},
    {CVL_ELEMENT_GTS_GCC, "gcc", "KL_CVL_IDE_GTS_GCC", "GCC tool suite"},
    {CVL_ELEMENT_GTS_ARM, "arm", "KL_CVL_IDE_GTS_ARM", "ARM tool suite"},
    {CVL_ELEMENT_GTS_MINGW, "mingw", "KL_CVL_IDE_GTS_MINGW", "MinGW"},
    {CVL_ELEMENT_ECLIPSE, "eclipse", "KL_CVL_IDE_ECLIPSE", "Eclipse"},
};

namespace {

bool equalIgnoringCase(const std::string& a, const char* b) {
    size_t i = 0;
    for (; i < a.size() && b[i]; ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return i == a.size() && !b[i];
}

} // namespace

const ElementName* findElement(const std::string& name) {
    for (const ElementName& entry : kElementNames)
        if (equalIgnoringCase(name, entry.shortName) || equalIgnoringCase(name, entry.variable))
            return &entry;
    return nullptr;
}
