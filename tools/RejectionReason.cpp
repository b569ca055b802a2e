#include "RejectionReason.h"

#include "KLXCorvaleSettings.h"
#include "KLXPathEnvironment.h"
#include "ToolPaths.h"

namespace {

std::string firmwareReason(const std::string& path) {
    std::string directory = path;
    std::string baseband = KLXCorvaleSettings::readBaseBand(directory);
    const std::string& wanted = KLXCorvaleSettings::mOSBaseBand;
    const KLXCorvaleSettings* settings = KLXCorvaleSettings::Instance;
    if (settings != nullptr && settings->mElements[CVL_ELEMENT_OS_DEFAULT]->getValue().empty())
        return "no OS library is set, and a firmware must match its baseband: select os first, "
               "or before fw in the same call";
    if (wanted.empty())
        return "the OS library's manifest names no baseband, and a firmware must match it";
    if (baseband != wanted) {
        std::string named = baseband.empty() ? std::string("its manifest names no baseband")
                                             : "its baseband is \"" + baseband + "\"";
        return "not a firmware of the OS library's baseband \"" + wanted + "\" (" + named + ")";
    }
    if (!pathExists(path + "\\emu_*.exe") &&
        !pathExists(path + "\\emu\\ubex_cvl\\Debug\\emu_*.exe"))
        return "no emulation executable \"emu_*.exe\" in it or in emu\\ubex_cvl\\Debug";
    return "";
}

} // namespace

std::string rejectionReason(CvlSelectElement_e element, const std::string& path) {
    if (path.empty())
        return "no directory given";
    if (!pathExists(path))
        return "no such directory";
    if (!isDirectory(path))
        return "not a directory";

    std::string reason;
    switch (element) {
    case CVL_ELEMENT_OS_DEFAULT:
        if (!pathExists(path + "\\manifest.xml") || isDirectory(path + "\\manifest.xml"))
            reason = "no \"manifest.xml\" in it, so not an OS library";
        break;
    case CVL_ELEMENT_FW_DEFAULT:
        reason = firmwareReason(path);
        break;
    case CVL_ELEMENT_GTS_GCC:
    case CVL_ELEMENT_GTS_MINGW:
        if (!isDirectory(path + "\\bin"))
            reason = "no \"bin\" directory in it, so not a tool suite";
        break;
    case CVL_ELEMENT_ECLIPSE:
        if (!pathExists(path + "\\eclipse.exe"))
            reason = "no \"eclipse.exe\" in it, so not an Eclipse installation";
        break;
    default:
        break;
    }
    return reason.empty() ? "refused" : reason;
}
