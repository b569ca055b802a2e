// KlEnv: shows and changes system environment variables for good, the way an
// installer needs it. Run with -h for its options.
#include "CommandLine.h"
#include "EnvCommand.h"
#include "HostMapping.h"
#include "ShellText.h"
#include "StandardOptions.h"
#include "TextCompare.h"

#include "KLXConstants.h"
#include "KLXEnvVar.h"
#include "KLXRegistryKey.h"
#include "KLXStrProcess.h"
#include "KLXSystem.h"
#include "KLXTextFile.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

const char kProgram[] = "KlEnv";
// Exit codes besides kUsageError: a value refused, and an environment that
// cannot be read or changed.
constexpr int kRefused = 1;
constexpr int kNotApplied = 3;

const char kUsage[] =
    "Usage: KlEnv [-n] [-h] [-v] [NAME | -s NAME=VALUE | -a NAME=ITEM | -r NAME=TEXT]...\n"
    "\n"
    "Shows and changes system environment variables for good.\n"
    "\n"
    "  NAME            print NAME=value\n"
    "  -s NAME=VALUE   set the variable\n"
    "  -a NAME=ITEM    add ITEM at the end of the list variable NAME (items are\n"
    "                  separated by ';'), unless the list holds it already\n"
    "  -r NAME=TEXT    remove the items of the list variable NAME that contain TEXT\n"
    "  -n              change nothing: show each variable before and after\n"
    "  -h, --help      print this help\n"
    "  -v, --version   print the program's version\n"
    "\n"
    "The arguments are carried out from left to right. Changes are then applied:\n"
    "on the NT family the variables live in the registry's machine environment\n"
    "and running programs are told; on Windows 95, 98 and ME the old definitions\n"
    "in C:\\autoexec.bat are disabled and it calls C:\\klenv.bat, which holds the\n"
    "new ones. klenv.bat is written on both families, so a value that cmd would\n"
    "not read back as it is (a line break, & | < > ^ or %) is refused.\n"
    "\n"
    "Exit status: 0 done, 1 a value refused, 2 a command line that cannot be\n"
    "read, 3 the environment cannot be read or changed.\n";

int fail(int code, const std::string& message) {
    std::cerr << kProgram << ": " << message << '\n';
    return code;
}

const char kEnvironmentKey[] = "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";

// The library's variable, destroyed through its own type. A trial variable
// changes its value in memory only, so that a whole command line can be
// tried before anything is written.
class Variable final : public KLXEnvVar {
public:
    Variable(std::string& name, std::string& separator, bool trial)
        : KLXEnvVar(name, separator), mTrial(trial), mBefore(getValue()) {}

    void setValue(std::string& value, bool force) override {
        if (mTrial)
            mValue = value;
        else
            KLXEnvVar::setValue(value, force);
    }
    const std::string& before() const { return mBefore; }

    // The module's record of changes: whether it holds any, and forgetting
    // those a trial made.
    static bool anyChangeRecorded() { return !mModifiedVarsList.empty(); }
    static void forgetChanges() { mModifiedVarsList.clear(); }

private:
    bool mTrial;
    std::string mBefore;
};

// A registry key that tells whether it could be opened at all.
struct Key final : KLXRegistryKey {
    using KLXRegistryKey::KLXRegistryKey;
    bool isOpen() const { return mKey != nullptr; }
};

// One object per variable, so that its changes accumulate in one record.
class Variables {
public:
    Variables(const std::vector<EnvCommand>& commands, bool trial)
        : mCommands(commands), mTrial(trial) {}

    Variable& get(const std::string& name) {
        for (auto& variable : mVariables)
            if (equalIgnoringCase(variable->getName(), name))
                return *variable;
        std::string variableName = name, separator = isList(name) ? KLX_STR_SEMICOLON : "";
        mVariables.push_back(std::make_unique<Variable>(variableName, separator, mTrial));
        return *mVariables.back();
    }
    // In the order they were first named.
    const std::vector<std::unique_ptr<Variable>>& all() const { return mVariables; }

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
    bool mTrial;
    std::vector<std::unique_ptr<Variable>> mVariables;
};

std::vector<std::string> listItems(const std::string& list) {
    std::vector<std::string> items;
    size_t start = 0;
    while (start <= list.size()) {
        size_t end = list.find(';', start);
        if (end == std::string::npos)
            end = list.size();
        items.push_back(list.substr(start, end - start));
        start = end + 1;
    }
    return items;
}

bool holdsItem(const std::string& list, const std::string& item) {
    for (const std::string& held : listItems(list))
        if (equalIgnoringCase(held, item))
            return true;
    return false;
}

// The items of `before` that are not in `after`, which keeps the others in
// their order.
std::vector<std::string> removedItems(const std::string& before, const std::string& after) {
    std::vector<std::string> kept = listItems(after), removed;
    size_t next = 0;
    for (const std::string& item : listItems(before)) {
        if (next < kept.size() && kept[next] == item)
            ++next;
        else
            removed.push_back(item);
    }
    return removed;
}

// Carries out one command; what it did goes to `out`, and why a value would
// not survive klenv.bat to `refused`. A trial leaves out the new values,
// which its summary gives.
void carryOut(const EnvCommand& command, Variables& variables, bool trial,
              std::vector<std::string>& out, std::vector<std::string>& refused) {
    Variable& variable = variables.get(command.name);
    std::string value = command.value;
    std::string before = variable.getValue();
    switch (command.kind) {
    case EnvCommand::Show:
        out.push_back(variable.getName() + '=' + before);
        return;
    case EnvCommand::Set:
        variable.setValue(value, false);
        break;
    case EnvCommand::Add:
        if (holdsItem(before, value)) {
            out.push_back(variable.getName() + " already holds " + value);
            return;
        }
        variable.addToList(value);
        break;
    case EnvCommand::Remove:
        variable.removeTemplate(value);
        if (variable.getValue() == before) {
            out.push_back("no item of " + variable.getName() + " contains " + value);
            return;
        }
        for (const std::string& item : removedItems(before, variable.getValue()))
            out.push_back("removed " + item + " from " + variable.getName());
        break;
    }
    // klenv.bat holds the added items of PATH, and the whole value of any
    // other variable.
    bool path = variable.getName() == KLX_STR_ENV_VAR_PATH;
    std::string written = path && command.kind == EnvCommand::Add ? value
                          : path                                  ? std::string()
                                                                  : variable.getValue();
    std::string problem = batchValueProblem(written);
    if (problem.empty())
        problem = batchValueProblem(variable.getName());
    if (!problem.empty())
        refused.push_back(oneLine(variable.getName() + "=" + written) +
                          " cannot be written: " + problem);
    if (!trial)
        out.push_back(variable.getName() + '=' + variable.getValue());
}

// What the store or klenv.bat does not hold of the changes just made; "" when
// they hold it all.
std::string unappliedPart(const Variables& variables) {
    std::string drive = KLXSystem::getSystemDrive();
    std::string batch = drive + "klenv.bat";
    KLXTextFile klenv(batch, KLX_TEXT_FILE_BATCH, 0);
    for (const auto& variable : variables.all()) {
        if (variable->getValue() == variable->before())
            continue;
        std::string definition = "SET " + variable->getName() + "=";
        if (klenv.findLine(definition, KLX_TEMPLATE_AT_START, 0) >= 0)
            continue;
        std::string reason = fileProblem(hostPath(batch), true, false);
        return "cannot write " + hostPath(batch) + ": " +
               (reason.empty() ? "it holds no line " + definition + " after writing" : reason);
    }
    return "";
}

} // namespace

int main(int argc, char* argv[]) {
    CommandLine commandLine(argc, argv, "hvn", "sar");
    const int answered = answerStandardOptions(commandLine, kProgram, kUsage, kNotApplied);
    if (answered >= 0)
        return answered;
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
        if (!parseEnvCommand(item, command, problem))
            return fail(kUsageError, problem);
        commands.push_back(command);
    }

    std::string problem = prefixProblem();
    if (!problem.empty())
        return fail(kNotApplied, problem);
    std::string environmentKey = kEnvironmentKey;
    if (KLXSystem::getOsType() == KLX_OS_NT && !Key(HKEY_LOCAL_MACHINE, environmentKey).isOpen())
        return fail(kNotApplied, "cannot open " + registryName() + ": " +
                                     registryReason("it is not a registry store, or it is "
                                                    "locked by another program"));

    // A trial run first: it finds the values that klenv.bat could not hold,
    // and it is all that -n does.
    std::vector<std::string> out, refused;
    const bool dryRun = commandLine.hasFlag('n');
    {
        Variables trial(commands, true);
        for (const EnvCommand& command : commands)
            carryOut(command, trial, true, out, refused);
        Variable::forgetChanges();
        if (!refused.empty()) {
            for (const std::string& refusal : refused)
                fail(kRefused, refusal);
            return fail(kRefused, "nothing was changed");
        }
        if (dryRun) {
            for (const std::string& line : out)
                std::cout << line << '\n';
            for (const auto& variable : trial.all())
                if (variable->getValue() != variable->before())
                    std::cout << "would set " << variable->getName() << '=' << variable->getValue()
                              << " (now "
                              << (variable->before().empty() ? "not set" : variable->before())
                              << ")\n";
            std::cout << "Nothing was changed (-n)\n";
            return 0;
        }
    }

    out.clear();
    Variables variables(commands, false);
    for (const EnvCommand& command : commands)
        carryOut(command, variables, false, out, refused);
    for (const std::string& line : out)
        std::cout << line << '\n';

    // Each value as the store now gives it to a new reader.
    for (const auto& variable : variables.all()) {
        std::string name = variable->getName(), none;
        if (Variable(name, none, true).getValue() != variable->getValue())
            return fail(kNotApplied, "cannot write " + registryName() + ": " + name +
                                         " was not stored (" +
                                         registryReason("the store is locked by another "
                                                        "program, full or damaged") +
                                         "); the changes were not applied");
    }
    if (!Variable::anyChangeRecorded())
        return 0;
    KLXEnvVar::applyChanges();
    problem = unappliedPart(variables);
    if (!problem.empty())
        return fail(kNotApplied, problem);
    std::string drive = KLXSystem::getSystemDrive();
    if (KLXSystem::getOsType() == KLX_OS_9X)
        std::cout << "Applied: " << drive << "autoexec.bat calls " << drive
                  << "klenv.bat, which holds the new definitions\n";
    else
        std::cout << "Applied: running programs were told; " << drive
                  << "klenv.bat holds the new definitions\n";
    return 0;
}
