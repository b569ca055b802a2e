// Windows command lines: splitting one into arguments as the Microsoft C
// runtime does before it calls main(), and quoting arguments so that the
// split gives them back.
#ifndef KLX_PLATFORM_COMMON_COMMANDLINESPLIT_H
#define KLX_PLATFORM_COMMON_COMMANDLINESPLIT_H

#include <string>
#include <vector>

namespace klx {
namespace platform {

// The arguments that the Microsoft C runtime (2008 and later) gives main()
// for a command line. Blanks (space, tab) outside double quotes separate
// arguments; double quotes group and are removed. 2n backslashes before a
// double quote give n backslashes and the quote groups; 2n+1 give n
// backslashes and a literal quote. Backslashes before anything else are
// literal. Inside a quoted part, "" gives one literal quote and the part goes
// on. A quoted part that is empty ("") is an empty argument. Every other
// byte, 0x80-0xFF included, is copied as it is.
std::vector<std::string> splitCommandLine(const std::string& line);

// The argument as a command line holds it: unchanged when it needs no quotes,
// else in double quotes with the backslashes before a quote doubled, so that
// splitCommandLine reads it back as one argument exactly.
std::string quoteArgument(const std::string& argument);

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_COMMON_COMMANDLINESPLIT_H
