// KlCvlSettings: shows the Corvale SDK's seven elements, or selects and saves
// them. Run with -h for its options.
#include "CommandLine.h"
#include "HostMapping.h"
#include "RejectionReason.h"
#include "SettingsElements.h"
#include "SettingsReport.h"
#include "SettingsSelection.h"
#include "SettingsStore.h"
#include "ShellText.h"
#include "StandardOptions.h"
#include "ToolPaths.h"

#include "KLXCorvaleSettings.h"
#include "KLXPathEnvironment.h"
#include "KLXSystem.h"

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

namespace {

const char kProgram[] = "KlCvlSettings";

// Exit codes besides kUsageError: a refused selection, and settings that
// cannot be read or saved.
constexpr int kRefused = 1;
constexpr int kNotSaved = 3;

const char kUsage[] =
    "Usage: KlCvlSettings [-f FILE] [-i] [-e] [-h] [-v] [ELEMENT=PATH | ELEMENT=INDEX]...\n"
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
    "  -e              print the values as shell assignments with host paths,\n"
    "                  for eval \"$(KlCvlSettings -e)\"\n"
    "  -i              print the information report on this machine and its tools\n"
    "  -h, --help      print this help\n"
    "  -v, --version   print the program's version\n"
    "\n"
    "ELEMENT is os, fw, plugins, gcc, arm, mingw, eclipse or the variable name\n"
    "(KL_CVL_IDE_OS_DEFAULT, ...). Selections apply from left to right, so an\n"
    "index counts in the list as the selections before it left it; choosing an\n"
    "OS library of another baseband moves the firmware to one of that baseband.\n"
    "They are saved together, to the registry histories and the configuration\n"
    "file; when one is refused, nothing is saved.\n"
    "\n"
    "Exit status: 0 done, 1 a selection refused, 2 a command line that cannot be\n"
    "read, 3 the settings cannot be read or saved.\n";

void noSelect(CvlSelectElement_e) {}

int fail(int code, const std::string& message) {
    std::cerr << kProgram << ": " << message << '\n';
    return code;
}

// A save that stopped before anything changed.
int notSaved(int code, const std::string& message) {
    fail(code, message);
    return fail(code, "nothing was saved");
}

// Applies one selection. What it did goes to `done`; a refusal, in one line,
// is returned. When the firmware is chosen later in the same call, a
// firmware that did not follow the OS library goes unmentioned.
std::string applySelection(KLXCorvaleSettings& settings, const SettingsSelection& selection,
                           bool firmwareChosenLater, std::vector<std::string>& done) {
    KLXPathEnvironment& element = *settings.mElements[selection.element];
    KLXPathEnvironment& firmware = *settings.mElements[CVL_ELEMENT_FW_DEFAULT];
    std::string basebandBefore = KLXCorvaleSettings::mOSBaseBand;
    std::string firmwareBefore = firmware.getValue();

    std::string path = selection.path;
    if (selection.byIndex) {
        size_t count = element.mPathList.size();
        if (selection.index >= count) {
            std::string has = count == 0 ? std::string("has no selectable paths")
                                         : "has " + std::to_string(count) +
                                               " selectable paths, numbered 0 to " +
                                               std::to_string(count - 1);
            return "index " + selection.typed + " is out of range: " + element.getName() + " " +
                   has;
        }
        path = element.mPathList[selection.index];
    }
    // Everything saved goes into the configuration file, which bash reads.
    std::string unsafe = rcValueProblem(path);
    if (!unsafe.empty())
        return element.getName() + " refuses " + oneLine(path) + ": " + unsafe;
    if (selection.byIndex) {
        settings.updatePathFromHistory(selection.element, static_cast<int>(selection.index));
    } else if (!settings.updatePathFromString(selection.element, path)) {
        return element.getName() + " refuses " + path + ": " +
               rejectionReason(selection.element, path);
    }
    done.push_back(element.getName() + " = " + element.getValue());

    const std::string& baseband = KLXCorvaleSettings::mOSBaseBand;
    if (selection.element == CVL_ELEMENT_OS_DEFAULT && !baseband.empty() &&
        baseband != basebandBefore) {
        if (firmware.getValue() != firmwareBefore) {
            unsafe = rcValueProblem(firmware.getValue());
            if (!unsafe.empty())
                return firmware.getName() + " cannot follow the OS library to " +
                       firmware.getValue() + ": " + unsafe;
            done.push_back("Firmware followed the OS library to baseband " + baseband + ": " +
                           firmware.getName() + " = " + firmware.getValue());
        } else if (!firmwareChosenLater) {
            done.push_back("Firmware did not follow: its history holds no firmware of baseband " +
                           baseband + " with an emulation executable; " + firmware.getName() +
                           " stays " + (firmwareBefore.empty() ? "(not set)" : firmwareBefore));
        }
    }
    return "";
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
    CommandLine commandLine(argc, argv, "hiev", "f");
    const int answered = answerStandardOptions(commandLine, kProgram, kUsage, kNotSaved);
    if (answered >= 0)
        return answered;

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
    const bool saving = !selections.empty();
    auto cannot = [saving](const std::string& problem) {
        return saving ? notSaved(kNotSaved, problem) : fail(kNotSaved, problem);
    };

    // The library would take the host's root for a profile without HOME.
    const char* home = std::getenv("HOME");
    if (configFile.empty() && mappedHost() && (home == nullptr || *home == '\0'))
        return cannot("HOME is not set, so there is no profile directory for .cvlrc; set HOME "
                      "or name the configuration file with -f");
    std::string problem = prefixProblem();
    if (!problem.empty())
        return cannot(problem);

    // The file as the library names it, and as the host does.
    std::string rcFile =
        configFile.empty() ? KLXSystem::getUserProfileDir() + "\\.cvlrc" : configFile;
    std::string hostFile = hostPath(displayPath(rcFile));
    // A chosen file that is missing is created, so that the settings object
    // takes it rather than the profile's .cvlrc.
    problem = fileProblem(hostFile, saving, saving || !configFile.empty());
    if (!problem.empty())
        return cannot(std::string(saving ? "cannot save to " : "cannot read ") +
                      displayPath(rcFile) + ": " + problem);
    problem = registryProblem(false);
    if (!problem.empty())
        return cannot(problem);

    KLXCorvaleSettings settings(noSelect, configFile);
    std::vector<std::string> done, refused;
    for (size_t i = 0; i < selections.size(); ++i) {
        bool firmwareChosenLater = false;
        for (size_t later = i + 1; later < selections.size(); ++later)
            firmwareChosenLater |= selections[later].element == CVL_ELEMENT_FW_DEFAULT;
        std::string refusal = applySelection(settings, selections[i], firmwareChosenLater, done);
        if (!refusal.empty())
            refused.push_back(refusal);
    }
    if (!refused.empty()) {
        for (const std::string& refusal : refused)
            fail(kRefused, refusal);
        return fail(kRefused, "nothing was saved");
    }

    if (saving) {
        problem = contentProblem(hostFile);
        if (problem.empty())
            problem = registryProblem(true);
        if (!problem.empty())
            return notSaved(kNotSaved, problem);
        for (const std::string& line : done)
            std::cout << line << '\n';
        settings.updateEnvironment();
        problem = unsavedPart(settings, rcFile);
        if (!problem.empty())
            return fail(kNotSaved, problem + "; the settings were not saved completely");
        std::cout << "Saved to " << configFileShown(settings) << '\n';
    }
    if (commandLine.hasFlag('i'))
        std::cout << reportForTerminal(KLXSystem::getSystemInfo()) << '\n';
    if (commandLine.hasFlag('e'))
        printExports(settings, std::cout);
    if (!saving && !commandLine.hasFlag('i') && !commandLine.hasFlag('e'))
        printSettings(settings, configFileShown(settings), std::cout);
    return 0;
}
