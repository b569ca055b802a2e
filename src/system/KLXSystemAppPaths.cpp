// KlxCore: the table of tool locations. Each entry is resolved from its own
// source (registry, environment, the process command line, the SDK settings
// object or another entry) on first use and cached until the table is reset;
// an entry that stays empty is looked up again at the next request.
#include "KLXSystem.h"

#include "KLXCorvaleSettings.h"
#include "KLXEnvVar.h"
#include "KLXPathEnvironment.h"
#include "KLXRegistryKey.h"
#include "KLXStrProcess.h"

#include "platform/Platform.h"

namespace {

// The value `name` of the key `path` below `root`; "" when the key cannot be
// opened or has no such value. The key is released right after the read.
std::string readRegistryValue(HKEY root, const char* path, const char* name) {
    std::string keyPath = path;
    std::string valueName = name;
    KLXRegistryKey key(root, keyPath);
    return key.retValue(valueName);
}

// The variable `name` as KLXEnvVar reads it for the running Windows family.
std::string readEnvironmentVariable(const char* name) {
    std::string variable = name;
    std::string separator;
    KLXEnvVar value(variable, separator);
    return value.getValue();
}

// The directory of the running program: the part of its command line before
// the first blank, without the file name and without a leading quote.
std::string runningProgramDirectory() {
    std::string line = klx::platform::processCommandLine();
    std::string::size_type blank = line.find(' ');
    if (blank != std::string::npos)
        line.erase(blank);
    KLXStrProcess::removeFileName(line);
    if (!line.empty() && line[0] == '"')
        line.erase(0, 1);
    return line;
}

} // namespace

std::string& KLXSystem::getApplicationPath(KLXAppType_e type) {
    int index = static_cast<int>(type);
    if (index < 0 || index >= mAppPathCount)
        return mTheEmptyString;
    std::string& entry = mAppPathTable[index];
    if (!entry.empty())
        return entry;

    // Appends `suffix` to the base entry; stays empty while the base is.
    auto derived = [&entry](KLXAppType_e base, const char* suffix) {
        std::string& baseEntry = getApplicationPath(base);
        if (!baseEntry.empty())
            entry = baseEntry + suffix;
    };
    // Appends `suffix` to the base entry, empty or not.
    auto alwaysDerived = [&entry](KLXAppType_e base, const char* suffix) {
        entry = getApplicationPath(base) + suffix;
    };

    switch (type) {
    case KLX_APP_MSVC6_DIR:
        entry = readRegistryValue(HKEY_LOCAL_MACHINE,
                                  "Software\\Microsoft\\DevStudio\\6.0\\Products\\Microsoft "
                                  "Visual C++",
                                  "ProductDir");
        break;
    case KLX_APP_MSVC6_BIN_DIR: {
        // The Common directory is a sibling of the VC98 product directory.
        std::string base = getApplicationPath(KLX_APP_MSVC6_DIR);
        std::string::size_type backslash = base.rfind('\\');
        if (backslash != std::string::npos)
            base.erase(backslash);
        entry = base + "\\Common\\MSDev98\\Bin";
        break;
    }
    case KLX_APP_MSVC6_EXE:
        alwaysDerived(KLX_APP_MSVC6_BIN_DIR, "\\MSDEV.EXE");
        break;
    case KLX_APP_MSVC71_DIR:
        entry = readRegistryValue(HKEY_LOCAL_MACHINE, "Software\\Microsoft\\VisualStudio\\7.1",
                                  "InstallDir");
        break;
    case KLX_APP_MSVC71_EXE:
        alwaysDerived(KLX_APP_MSVC71_DIR, "\\DEVENV.EXE");
        break;
    case KLX_APP_MSVC70_DIR:
        entry = readRegistryValue(HKEY_LOCAL_MACHINE, "Software\\Microsoft\\VisualStudio\\7.0",
                                  "InstallDir");
        break;
    case KLX_APP_MSVC70_EXE:
        alwaysDerived(KLX_APP_MSVC70_DIR, "\\DEVENV.EXE");
        break;
    case KLX_APP_EXE_DIR:
    case KLX_APP_IDE_DIR:
        entry = runningProgramDirectory();
        break;
    case KLX_APP_WIZARD:
        derived(KLX_APP_IDE_DIR, "\\KlWizard.exe");
        break;
    case KLX_APP_CVL_SETTINGS:
        derived(KLX_APP_IDE_DIR, "\\KlCvlSettings.exe");
        break;
    case KLX_APP_CYGWIN_ROOT:
        // A machine-wide install first, then one for the current user only.
        entry = readRegistryValue(HKEY_LOCAL_MACHINE, KLX_STR_REG_PATH_CYGWIN_ROOT,
                                  KLX_STR_REG_KEY_CYGWIN_NATIVE);
        if (entry.empty())
            entry = readRegistryValue(HKEY_CURRENT_USER, KLX_STR_REG_PATH_CYGWIN_ROOT,
                                      KLX_STR_REG_KEY_CYGWIN_NATIVE);
        KLXStrProcess::swapSlashes(entry);
        break;
    case KLX_APP_CYGWIN_BIN_DIR:
        derived(KLX_APP_CYGWIN_ROOT, "\\bin");
        break;
    case KLX_APP_CYGWIN_DLL:
        derived(KLX_APP_CYGWIN_BIN_DIR, "\\cygwin1.dll");
        break;
    case KLX_APP_BASH:
        derived(KLX_APP_CYGWIN_BIN_DIR, "\\bash");
        break;
    case KLX_APP_GCC_HOME:
        entry = readEnvironmentVariable(KLX_STR_ENV_VAR_KLGCCHOME);
        if (!entry.empty())
            KLXStrProcess::convertPath2Windows(entry);
        break;
    case KLX_APP_GCC_BIN_DIR:
        derived(KLX_APP_GCC_HOME, "\\bin");
        break;
    case KLX_APP_ARM_ELF_GCC:
        derived(KLX_APP_GCC_BIN_DIR, "\\arm-elf-gcc.exe");
        break;
    case KLX_APP_SGT_DIR:
        entry = readEnvironmentVariable(KLX_STR_ENV_VAR_SGT_DIR);
        if (!entry.empty())
            KLXStrProcess::convertPath2Windows(entry);
        break;
    case KLX_APP_LIB_HOME:
        entry = readEnvironmentVariable(KLX_STR_ENV_VAR_KLLIBHOME);
        KLXStrProcess::swapSlashes(entry);
        break;
    case KLX_APP_TCPIP_DIR:
        derived(KLX_APP_LIB_HOME, "\\tcpip");
        break;
    case KLX_APP_M2M_DIR:
        derived(KLX_APP_LIB_HOME, "\\m2m");
        break;
    case KLX_APP_ECLIPSE_DIR: {
        KLXCorvaleSettings* settings = KLXCorvaleSettings::Instance;
        if (settings != nullptr && settings->mElements[CVL_ELEMENT_ECLIPSE] != nullptr)
            entry = settings->mElements[CVL_ELEMENT_ECLIPSE]->getValue();
        break;
    }
    case KLX_APP_ECLIPSE_EXE:
        derived(KLX_APP_ECLIPSE_DIR, "\\eclipse.exe");
        break;
    case KLX_APP_CMD:
        entry = getSystemRoot() + "\\system32\\cmd.exe";
        break;
    }
    return entry;
}

void KLXSystem::resetAppPathTable() {
    for (std::string& entry : mAppPathTable)
        entry.clear();
}

std::string& KLXSystem::getGygwinRoot() {
    return getApplicationPath(KLX_APP_CYGWIN_ROOT);
}
