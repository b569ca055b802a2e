#include "SettingsReport.h"

#include "KLXCorvaleSettings.h"
#include "KLXPathEnvironment.h"
#include "KLXSystem.h"
#include "SettingsElements.h"
#include "ToolPaths.h"

#include <cctype>

namespace {

// Paths name the same directory when they differ only in ASCII letter case,
// as on Windows.
bool samePath(const std::string& a, const std::string& b) {
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

} // namespace

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
            out << (samePath(path, value) ? "  * " : "    ") << i << "  " << path << '\n';
        }
    }
    const std::string& baseband = KLXCorvaleSettings::mOSBaseBand;
    out << "\nOS baseband: " << (baseband.empty() ? "(none)" : baseband) << '\n';
    out << "Configuration file: " << configFile << '\n';
}
