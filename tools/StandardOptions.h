// What the SDK's programs do alike before their own work: -h and -v, and a
// command line that cannot be read.
#ifndef KLX_TOOLS_STANDARD_OPTIONS_H
#define KLX_TOOLS_STANDARD_OPTIONS_H

#include "CommandLine.h"

#include <string>

// The exit status of a command line that cannot be read.
constexpr int kUsageError = 2;

// "KlEnv 0.1.0 (Keldmar Corvale SDK)": the product version and product name
// of the running program's version resource, read through the library as
// for any module, the program named by its Windows file name
// ("KlEnv.exe"). "" when the resource cannot be read.
std::string programVersion(const std::string& program);

// Answers -h (the usage on standard output) and -v (the version line), which
// win over anything else on the command line, then a command line that
// cannot be read (kUsageError, with a hint). Returns the exit status when the
// program is done, -1 when it goes on. `versionFailure` is the status when
// the version resource cannot be read.
int answerStandardOptions(const CommandLine& commandLine, const std::string& program,
                          const char* usage, int versionFailure);

#endif // KLX_TOOLS_STANDARD_OPTIONS_H
