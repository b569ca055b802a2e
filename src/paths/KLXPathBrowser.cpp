// KlxCore: one search of the file system, one level deep.
#include "KLXPathBrowser.h"

#include "platform/Platform.h"

#include <utility>

namespace {

const int kFlagPattern = 1;
const int kFlagNamesOnly = 16;

} // namespace

KLXPathBrowser::KLXPathBrowser(std::string& root, int flags, KLXCheckFunction checkFunction,
                               std::string& subPath, std::vector<std::string>* outputList)
    : mExist(false) {
    const bool patternMode = (flags & kFlagPattern) != 0;
    const bool namesOnly = (flags & kFlagNamesOnly) != 0;

    std::string search = root;
    if (!patternMode) {
        search += KLX_STR_BACKSLASH;
        search += "*";
    }
    klx::platform::DirectorySearch found(search);
    mExist = found.found();

    for (bool more = mExist; more; more = found.next()) {
        const klx::platform::DirectoryEntry& entry = found.entry();
        if (!patternMode && ((entry.attributes & klx::platform::kAttributeDirectory) == 0 ||
                             entry.name.empty() || entry.name[0] == '.'))
            continue;

        std::string fullPath = root + KLX_STR_BACKSLASH + entry.name;
        std::string kept = namesOnly ? entry.name : fullPath;
        if (checkFunction != nullptr && !checkFunction(fullPath)) {
            if (subPath.empty())
                continue;
            kept += KLX_STR_BACKSLASH;
            kept += subPath;
            // The check takes its argument by reference; what is kept is the
            // text as built, whatever the check does to its copy.
            std::string candidate = kept;
            if (!checkFunction(candidate))
                continue;
        }
        if (outputList != nullptr)
            outputList->push_back(kept);
        mPathList.push_back(std::move(kept));
    }
}

KLXPathBrowser::~KLXPathBrowser() {}

std::vector<std::string>& KLXPathBrowser::getPathList() {
    return mPathList;
}

bool KLXPathBrowser::exist() {
    return mExist;
}
