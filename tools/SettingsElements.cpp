#include "SettingsElements.h"

#include "TextCompare.h"

const ElementName kElementNames[7] = {
    {CVL_ELEMENT_OS_DEFAULT, "os", "KL_CVL_IDE_OS_DEFAULT", "OS library"},
    {CVL_ELEMENT_FW_DEFAULT, "fw", "KL_CVL_IDE_FW_DEFAULT", "Firmware"},
    {CVL_ELEMENT_PLUGINS, "plugins", "KL_CVL_IDE_PLUGINS", "Plug-ins"},
    {CVL_ELEMENT_GTS_GCC, "gcc", "KL_CVL_IDE_GTS_GCC", "GCC tool suite"},
    {CVL_ELEMENT_GTS_ARM, "arm", "KL_CVL_IDE_GTS_ARM", "ARM tool suite"},
    {CVL_ELEMENT_GTS_MINGW, "mingw", "KL_CVL_IDE_GTS_MINGW", "MinGW"},
    {CVL_ELEMENT_ECLIPSE, "eclipse", "KL_CVL_IDE_ECLIPSE", "Eclipse"},
};

const ElementName* findElement(const std::string& name) {
    for (const ElementName& entry : kElementNames)
        if (equalIgnoringCase(name, entry.shortName) || equalIgnoringCase(name, entry.variable))
            return &entry;
    return nullptr;
}
