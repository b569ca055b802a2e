// The settings program's checks around a save, so that it never claims a
// save that did not happen: the configuration file and the registry are
// checked before anything changes, and what was meant to be written is read
// back afterwards.
#ifndef KLX_TOOLS_SETTINGS_STORE_H
#define KLX_TOOLS_SETTINGS_STORE_H

#include <string>

class KLXCorvaleSettings;

// Why the registry cannot be read (`write` false) or written: a probe value
// under the SDK's settings key is written and read back. "" when it can.
std::string registryProblem(bool write);

// Why writing the configuration file back would lose part of it: a NUL byte,
// where a text file ends, names its line. `hostFile` is the file as the host
// names it. "" when nothing would be lost.
std::string contentProblem(const std::string& hostFile);

// What the configuration file and the registry histories do not hold of the
// settings after a save, naming the file or store; "" when they hold it all.
// `configFile` is the file as the library names it.
std::string unsavedPart(KLXCorvaleSettings& settings, const std::string& configFile);

#endif // KLX_TOOLS_SETTINGS_STORE_H
