// KlCvlSettings: shows the Corvale SDK's seven elements, or selects and saves
// them. Run with -h for its options.
#include "CommandLine.h"
#include "RejectionReason.h"
#include "SettingsElements.h"
#include "SettingsReport.h"
#include "SettingsSelection.h"
#include "ToolPaths.h"

#include "KLXCorvaleSettings.h"
#include "KLXFile.h"
#include "KLXPathEnvironment.h"
#include "KLXSystem.h"

#include <iostream>
#include <string>
#include <vector>

namespace {

const char kProgram[] = "KlCvlSettings";

// Exit codes: a refused selection, and a command line that cannot be read.
constexpr int kRefused = 1;
constexpr int kUsageError = 2;

const char kUsage[] =
    "Usage: KlCvlSettings [-f FILE] [-i] [-h] [ELEMENT=PATH | ELEMENT=INDEX]...\n"
    "\n"
    "Shows the Corvale SDK's seven elements, or selects and saves them.\n"
    "\n"
    "  (nothing)       show each element: its value and its selectable paths,\n"
    "                  numbered from 0, the current one marked '*'\n"
    "  ELEMENT=PATH    select a directory: Windows form (C:\\SDK\\OS\\V2.00),\n"
    "                  Cygwin form (/cygdrive/c/...) or a host path\n"
    "  ELEMENT=INDEX   select the element's selectable path number INDEX\n"
    "  -f FILE         work on the configuration file FILE (created empty when\n"
    "                  missing) instead of .cvlrc in the user's profile\n"
    "  -i              print the information report on this machine and its tools\n"
    "  -h              print this help\n"
    "\n"
    "ELEMENT is os, fw, plugins, gcc, arm, mingw, eclipse or the variable name\n"
    "(KL_CVL_IDE_OS_DEFAULT, ...). Selections apply from left to right, so an\n"
    "index counts in the list as the selections before it left it; choosing an\n"
    "OS library of another baseband moves the firmware to one of that baseband.\n"
    "They are saved together, to the registry histories and the configuration\n"
    "file; when one is refused, nothing is saved.\n";

void noSelect(CvlSelectElement_e) {}

int fail(int code, const std::string& message) {
    std::cerr << kProgram << ": " << message << '\n';
    return code;
}

// The settings object falls back to the profile's .cvlrc when the chosen
// file is missing; creating it first keeps the user's choice. Returns what is
// wrong, or "".
std::string prepareConfigFile(const std::string& path) {
    if (isDirectory(path))
        return displayPath(path) + " is a directory, not a configuration file";
    if (pathExists(path))
        return "";
    std::string name = path;
    { KLXFile create(name, 0); }
    return pathExists(path) ? "" : "cannot create the configuration file " + displayPath(path);
}

// Applies one selection; on refusal says why and returns false. When the
// firmware is chosen later in the same call, a firmware that did not follow
// the OS library goes unmentioned.
bool applySelection(KLXCorvaleSettings& settings, const SettingsSelection& selection,
                    bool firmwareChosenLater) {
    KLXPathEnvironment& element = *settings.mElements[selection.element];
    KLXPathEnvironment& firmware = *settings.mElements[CVL_ELEMENT_FW_DEFAULT];
    std::string basebandBefore = KLXCorvaleSettings::mOSBaseBand;
    std::string firmwareBefore = firmware.getValue();

    if (selection.byIndex) {
        size_t count = element.mPathList.size();
        if (selection.index >= count) {
            std::string has = count == 0 ? std::string("has no selectable paths")
                                         : "has " + std::to_string(count) +
                                               " selectable paths, numbered 0 to " +
                                               std::to_string(count - 1);
            fail(kRefused,
                 "index " + selection.typed + " is out of range: " + element.getName() + " " + has);
            return false;
        }
        settings.updatePathFromHistory(selection.element, static_cast<int>(selection.index));
    } else {
        std::string path = selection.path;
        if (!settings.updatePathFromString(selection.element, path)) {
            fail(kRefused, element.getName() + " refuses " + path + ": " +
                               rejectionReason(selection.element, path));
            return false;
        }
    }
    std::cout << element.getName() << " = " << element.getValue() << '\n';

    const std::string& baseband = KLXCorvaleSettings::mOSBaseBand;
    if (selection.element == CVL_ELEMENT_OS_DEFAULT && !baseband.empty() &&
        baseband != basebandBefore) {
        if (firmware.getValue() != firmwareBefore)
            std::cout << "Firmware followed the OS library to baseband " << baseband << ": "
                      << firmware.getName() << " = " << firmware.getValue() << '\n';
        else if (!firmwareChosenLater)
            std::cout << "Firmware did not follow: its history holds no firmware of baseband "
                      << baseband << " with an emulation executable; " << firmware.getName()
                      << " stays " << (firmwareBefore.empty() ? "(not set)" : firmwareBefore)
                      << '\n';
    }
    return true;
}

std::string reportForTerminal(std::string report) {
    std::string text;
    for (char c : report)
        if (c != '\r')
            text += c;
    return text;
}

} // namespace

int main(int argc, char* argv[]) {
    CommandLine commandLine(argc, argv, "hi", "f");
    if (commandLine.hasFlag('h')) {
        std::cout << kUsage;
        return 0;
    }
    if (!commandLine.error().empty())
        return fail(kUsageError, commandLine.error() + " (try -h)");

    std::string configFile;
    std::vector<SettingsSelection> selections;
    for (const CommandLine::Item& item : commandLine.items()) {
        if (item.option == 'f') {
            if (!configFile.empty())
                return fail(kUsageError, "-f given twice");
            configFile = filePath(item.value);
            if (configFile.empty())
                return fail(kUsageError, "option -f needs a file name");
            continue;
        }
        SettingsSelection selection;
        std::string problem;
        if (!parseSelection(item.value, selection, problem))
            return fail(kUsageError, problem);
        selections.push_back(selection);
    }
    if (!configFile.empty()) {
        std::string problem = prepareConfigFile(configFile);
        if (!problem.empty())
            return fail(kRefused, problem);
    }

    KLXCorvaleSettings settings(noSelect, configFile);
    for (size_t i = 0; i < selections.size(); ++i) {
        bool firmwareChosenLater = false;
        for (size_t later = i + 1; later < selections.size(); ++later)
            firmwareChosenLater |= selections[later].element == CVL_ELEMENT_FW_DEFAULT;
        if (!applySelection(settings, selections[i], firmwareChosenLater))
            return kRefused;
    }

    if (!selections.empty()) {
        settings.updateEnvironment();
        std::cout << "Saved to " << configFileShown(settings) << '\n';
    }
    if (commandLine.hasFlag('i'))
        std::cout << reportForTerminal(KLXSystem::getSystemInfo()) << '\n';
    if (selections.empty() && !commandLine.hasFlag('i'))
        printSettings(settings, configFileShown(settings), std::cout);
    return 0;
}
