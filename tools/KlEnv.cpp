// KlEnv: shows and changes system environment variables for good, the way an
// installer needs it. Run with -h for its options.
#include "CommandLine.h"
#include "EnvCommand.h"
#include "TextCompare.h"

#include "KLXConstants.h"
#include "KLXEnvVar.h"
#include "KLXSystem.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

const char kProgram[] = "KlEnv";
constexpr int kUsageError = 2;

const char kUsage[] =
    "Usage: KlEnv [-h] [NAME | -s NAME=VALUE | -a NAME=ITEM | -r NAME=TEXT]...\n"
    "\n"
    "Shows and changes system environment variables for good.\n"
    "\n"
    "  NAME            print NAME=value\n"
    "  -s NAME=VALUE   set the variable\n"
    "  -a NAME=ITEM    add ITEM at the end of the list variable NAME (items are\n"
    "                  separated by ';'), unless the list holds it already\n"
    "  -r NAME=TEXT    remove the items of the list variable NAME that contain TEXT\n"
    "  -h              print this help\n"
    "\n"
    "The arguments are carried out from left to right. Changes are then applied:\n"
    "on the NT family the variables live in the registry's machine environment\n"
    "and running programs are told; on Windows 95, 98 and ME the old definitions\n"
    "in C:\\autoexec.bat are disabled and it calls C:\\klenv.bat, which holds the\n"
    "new ones. klenv.bat is written on both families.\n";

// The library's variable, destroyed through its own type; it also reads the
// module's record of changes.
struct Variable final : KLXEnvVar {
    using KLXEnvVar::KLXEnvVar;
    static bool anyChangeRecorded() { return !mModifiedVarsList.empty(); }
};

// One object per variable, so that its changes accumulate in one record.
class Variables {
public:
    explicit Variables(const std::vector<EnvCommand>& commands) : mCommands(commands) {}

    Variable& get(const std::string& name) {
        for (auto& variable : mVariables)
            if (equalIgnoringCase(variable->getName(), name))
                return *variable;
        std::string variableName = name, separator = isList(name) ? KLX_STR_SEMICOLON : "";
        mVariables.push_back(std::make_unique<Variable>(variableName, separator));
        return *mVariables.back();
    }

private:
    // A variable that is added to or removed from is a list.
    bool isList(const std::string& name) const {
        for (const EnvCommand& command : mCommands)
            if (command.kind != EnvCommand::Show && command.kind != EnvCommand::Set &&
                equalIgnoringCase(command.name, name))
                return true;
        return false;
    }

    const std::vector<EnvCommand>& mCommands;
    std::vector<std::unique_ptr<Variable>> mVariables;
};

bool holdsItem(const std::string& list, const std::string& item) {
    size_t start = 0;
    while (start <= list.size()) {
        size_t end = list.find(';', start);
        if (end == std::string::npos)
            end = list.size();
        if (equalIgnoringCase(list.substr(start, end - start), item))
            return true;
        start = end + 1;
    }
    return false;
}

void carryOut(const EnvCommand& command, Variables& variables) {
    Variable& variable = variables.get(command.name);
    std::string value = command.value;
    switch (command.kind) {
    case EnvCommand::Show:
        break;
    case EnvCommand::Set:
        variable.setValue(value, false);
        break;
    case EnvCommand::Add:
        if (holdsItem(variable.getValue(), value)) {
            std::cout << variable.getName() << " already holds " << value << '\n';
            return;
        }
        variable.addToList(value);
        break;
    case EnvCommand::Remove: {
        std::string before = variable.getValue();
        variable.removeTemplate(value);
        if (variable.getValue() == before) {
            std::cout << "no item of " << variable.getName() << " contains " << value << '\n';
            return;
        }
        break;
    }
    }
    std::cout << variable.getName() << '=' << variable.getValue() << '\n';
}

} // namespace

int main(int argc, char* argv[]) {
    CommandLine commandLine(argc, argv, "h", "sar");
    if (commandLine.hasFlag('h')) {
        std::cout << kUsage;
        return 0;
    }
    if (!commandLine.error().empty()) {
        std::cerr << kProgram << ": " << commandLine.error() << " (try -h)\n";
        return kUsageError;
    }
    if (commandLine.items().empty()) {
        std::cerr << kUsage;
        return kUsageError;
    }

    // Everything is read before anything changes, so that a mistake late on
    // the command line leaves the environment as it was.
    std::vector<EnvCommand> commands;
    for (const CommandLine::Item& item : commandLine.items()) {
        EnvCommand command;
        std::string problem;
        if (!parseEnvCommand(item, command, problem)) {
            std::cerr << kProgram << ": " << problem << '\n';
            return kUsageError;
        }
        commands.push_back(command);
    }

    Variables variables(commands);
    for (const EnvCommand& command : commands)
        carryOut(command, variables);

    if (!Variable::anyChangeRecorded())
        return 0;
    KLXEnvVar::applyChanges();
    std::string drive = KLXSystem::getSystemDrive();
    if (KLXSystem::getOsType() == KLX_OS_9X)
        std::cout << "Applied: " << drive << "autoexec.bat calls " << drive
                  << "klenv.bat, which holds the new definitions\n";
    else
        std::cout << "Applied: running programs were told; " << drive
                  << "klenv.bat holds the new definitions\n";
    return 0;
}
