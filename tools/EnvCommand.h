// One thing the environment tool is asked to do.
#ifndef KLX_TOOLS_ENV_COMMAND_H
#define KLX_TOOLS_ENV_COMMAND_H

#include "CommandLine.h"

#include <string>

struct EnvCommand {
    enum Kind { Show, Set, Add, Remove };
    Kind kind;
    std::string name;
    std::string value; // the new value, the item to add or the text to remove
};

// Reads an operand NAME (show) or an option -s, -a or -r with NAME=VALUE;
// on failure returns false with the reason in `problem`.
bool parseEnvCommand(const CommandLine::Item& item, EnvCommand& command, std::string& problem);

#endif // KLX_TOOLS_ENV_COMMAND_H
