#include "StandardOptions.h"

#include "KLXSystem.h"
#include "KLXVersion.h"

#include <iostream>

std::string programVersion(const std::string& program) {
    std::string directory = KLXSystem::getApplicationPath(KLX_APP_EXE_DIR);
    if (directory.empty())
        return "";
    std::string file = directory + "\\" + program + ".exe";
    KLXVersion version(file);
    std::string number, product = version.getProductNameString();
    version.getProductVersionString(number);
    if (number.empty() || product.empty())
        return "";
    return program + " " + number + " (" + product + ")";
}

int answerStandardOptions(const CommandLine& commandLine, const std::string& program,
                          const char* usage, int versionFailure) {
    if (commandLine.hasFlag('h')) {
        std::cout << usage;
        return 0;
    }
    if (commandLine.hasFlag('v')) {
        const std::string version = programVersion(program);
        if (version.empty()) {
            std::cerr << program << ": cannot read the program's own version resource\n";
            return versionFailure;
        }
        std::cout << version << '\n';
        return 0;
    }
    if (!commandLine.error().empty()) {
        std::cerr << program << ": " << commandLine.error() << " (try -h)\n";
        return kUsageError;
    }
    return -1;
}
