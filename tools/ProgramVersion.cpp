#include "ProgramVersion.h"

#include "KLXSystem.h"
#include "KLXVersion.h"

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
