// Names as Windows compares them: variable names, paths, element names.
#ifndef KLX_TOOLS_TEXT_COMPARE_H
#define KLX_TOOLS_TEXT_COMPARE_H

#include <string>

// True when the texts differ at most in ASCII letter case.
bool equalIgnoringCase(const std::string& a, const std::string& b);

#endif // KLX_TOOLS_TEXT_COMPARE_H
