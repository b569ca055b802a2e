// KlxCore: what each SDK element accepts as an installation of its kind, and
// the baseband family named in a component's manifest.
#include "KLXCorvaleSettings.h"
#include "KLXPathBrowser.h"

#include "files/XmlFirstElements.h"
#include "platform/Platform.h"

#include <string>
#include <vector>

namespace {

// The family of a component that names none.
const char* const kDefaultBaseBand = "pavan";

// Whether a search for `path` finds an entry and whether that entry is a
// directory; the search is closed at once.
bool findEntry(const std::string& path, bool& isDirectory) {
    klx::platform::DirectorySearch search(path);
    if (!search.found())
        return false;
    isDirectory = (search.entry().attributes & klx::platform::kAttributeDirectory) != 0;
    return true;
}

// Whether the name or wildcard pattern matches anything.
bool patternExists(std::string pattern) {
    std::string noSubPath;
    KLXPathBrowser browser(pattern, 1, nullptr, noSubPath, nullptr);
    return browser.exist();
}

} // namespace

bool KLXCorvaleSettings::CheckPathKL_CVL_IDE_OS_DEFAULT(std::string& path) {
    bool isDirectory = false;
    return findEntry(path + KLX_STR_BACKSLASH + "manifest.xml", isDirectory) && !isDirectory;
}

bool KLXCorvaleSettings::CheckPathKL_CVL_IDE_FW_DEFAULT(std::string& path) {
    // Both the family and the emulator are looked at, whatever the first
    // answer: each costs a search and neither has side effects to skip.
    const std::string baseBand = readBaseBand(path);
    const bool sameFamily = baseBand == mOSBaseBand;

    bool hasEmulator = patternExists(path + KLX_STR_BACKSLASH + "emu_*.exe");
    if (!hasEmulator)
        hasEmulator =
            patternExists(path + KLX_STR_BACKSLASH + "emu" + KLX_STR_BACKSLASH + "ubex_cvl" +
                          KLX_STR_BACKSLASH + "Debug" + KLX_STR_BACKSLASH + "emu_*.exe");
    return sameFamily && hasEmulator;
}

bool KLXCorvaleSettings::CheckPathKL_CVL_IDE_GTS_GCC(std::string& path) {
    bool isDirectory = false;
    return findEntry(path + KLX_STR_BACKSLASH + "bin", isDirectory) && isDirectory;
}

bool KLXCorvaleSettings::CheckPathKL_CVL_IDE_ECLIPSE(std::string& path) {
    return patternExists(path + KLX_STR_BACKSLASH + "eclipse.exe");
}

bool KLXCorvaleSettings::CheckPathVOID(std::string&) {
    return true;
}

std::string& KLXCorvaleSettings::readBaseBand(std::string& path) {
    static std::string result;
    // Built first: `path` may be the result of an earlier call.
    std::string manifest = path + KLX_STR_BACKSLASH + "manifest.xml";
    result.clear();

    // The manifest is read in one pass that keeps only the first Api,
    // Firmware and Plug-in elements' attribute: the queries "//Api",
    // "//Firmware" and "//Plug-in" select elements of those names without a
    // namespace, in document order.
    static const std::vector<std::string> names = {"Api", "Firmware", "Plug-in"};
    std::vector<klx::xml::FirstElement> first;
    if (!klx::xml::readFirstElements(manifest, names, "baseband", first))
        return result;

    // An OS library or a plug-in without a family of its own belongs to the
    // default one; a firmware must name its family.
    bool mayDefault = false;
    if (first[0].found) {
        result = first[0].attribute;
        mayDefault = true;
    } else if (first[1].found) {
        result = first[1].attribute;
    } else if (first[2].found) {
        result = first[2].attribute;
        mayDefault = true;
    }
    if (mayDefault && result.empty())
        result = kDefaultBaseBand;
    return result;
}
