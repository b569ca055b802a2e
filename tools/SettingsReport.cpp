#include "SettingsReport.h"

#include "HostMapping.h"
#include "KLXCorvaleSettings.h"
#include "KLXPathEnvironment.h"
#include "KLXSystem.h"
#include "SettingsElements.h"
#include "TextCompare.h"
#include "ToolPaths.h"

std::string configFileShown(KLXCorvaleSettings& settings) {
    std::string chosen = settings.getCurrentConfigFile();
    if (!chosen.empty())
        return displayPath(chosen);
    return displayPath(KLXSystem::getUserProfileDir() + "\\.cvlrc");
}

void printSettings(KLXCorvaleSettings& settings, const std::string& configFile, std::ostream& out) {
    for (const ElementName& name : kElementNames) {
        KLXPathEnvironment& element = *settings.mElements[name.element];
        const std::string& value = element.getValue();
        out << name.label << " (" << name.shortName << ") " << element.getName() << " = "
            << (value.empty() ? "(not set)" : value) << '\n';
        if (element.mPathList.empty())
            out << "      (no selectable paths)\n";
        for (size_t i = 0; i < element.mPathList.size(); ++i) {
            const std::string& path = element.mPathList[i];
            out << (equalIgnoringCase(path, value) ? "  * " : "    ") << i << "  " << path << '\n';
        }
    }
    const std::string& baseband = KLXCorvaleSettings::mOSBaseBand;
    out << "\nOS baseband: " << (baseband.empty() ? "(none)" : baseband) << '\n';
    out << "Configuration file: " << configFile << '\n';
}

void printExports(KLXCorvaleSettings& settings, std::ostream& out) {
    for (const ElementName& name : kElementNames) {
        const std::string& value = settings.mElements[name.element]->getValue();
        if (value.empty()) {
            out << "# " << name.variable << " is not set\n";
            continue;
        }
        std::string quoted;
        for (char c : hostPath(value))
            quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
        out << "export " << name.variable << "='" << quoted << "'\n";
    }
}
