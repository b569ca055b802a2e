// The version line of the SDK's programs, from their own version resource.
#ifndef KLX_TOOLS_PROGRAM_VERSION_H
#define KLX_TOOLS_PROGRAM_VERSION_H

#include <string>

// "KlEnv 0.1.0 (Keldmar Corvale SDK)": the product version and product name
// of the running program's version resource, read through the library as
// for any module, the program named by its Windows file name
// ("KlEnv.exe"). "" when the resource cannot be read.
std::string programVersion(const std::string& program);

#endif // KLX_TOOLS_PROGRAM_VERSION_H
