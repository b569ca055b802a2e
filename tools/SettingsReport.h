// The SDK settings as the settings program shows them.
#ifndef KLX_TOOLS_SETTINGS_REPORT_H
#define KLX_TOOLS_SETTINGS_REPORT_H

#include <ostream>
#include <string>

class KLXCorvaleSettings;

// Each element: its label, short name and variable with the current value,
// then its selectable paths numbered from 0, the current one marked "*";
// then the OS library's baseband and the configuration file.
void printSettings(KLXCorvaleSettings& settings, const std::string& configFile, std::ostream& out);

// The seven values as POSIX shell assignments, for eval in a shell of the
// host: "export KL_CVL_IDE_OS_DEFAULT='/opt/corvale/OS/V3.10'", each value a
// host path where its drive is mapped (see hostPath), in single quotes. An
// element without a value gives a comment line.
void printExports(KLXCorvaleSettings& settings, std::ostream& out);

// The configuration file the settings object works on, as a user reads it.
std::string configFileShown(KLXCorvaleSettings& settings);

#endif // KLX_TOOLS_SETTINGS_REPORT_H
