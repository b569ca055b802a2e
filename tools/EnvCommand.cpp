#include "EnvCommand.h"

bool parseEnvCommand(const CommandLine::Item& item, EnvCommand& command, std::string& problem) {
    if (item.option == '\0') {
        command = {EnvCommand::Show, item.value, ""};
        if (item.value.empty() || item.value.find('=') != std::string::npos) {
            problem = "'" + item.value + "' is not a variable name (to set one, write -s " +
                      (item.value.empty() ? "NAME=VALUE" : item.value) + ")";
            return false;
        }
        return true;
    }
    const char* what = item.option == 's'   ? "NAME=VALUE"
                       : item.option == 'a' ? "NAME=ITEM"
                                            : "NAME=TEXT";
    size_t equals = item.value.find('=');
    if (equals == std::string::npos || equals == 0) {
        problem = std::string("-") + item.option + " needs " + what + ", not '" + item.value + "'";
        return false;
    }
    command.name = item.value.substr(0, equals);
    command.value = item.value.substr(equals + 1);
    command.kind = item.option == 's'   ? EnvCommand::Set
                   : item.option == 'a' ? EnvCommand::Add
                                        : EnvCommand::Remove;
    if (command.kind == EnvCommand::Add && command.value.empty()) {
        problem = "-a " + command.name + "= has no item to add";
        return false;
    }
    if (command.kind == EnvCommand::Remove && command.value.empty()) {
        problem = "-r " + command.name + "= has no text to remove";
        return false;
    }
    return true;
}
