// _findfirst and _findnext over the backend's directory listing: Windows'
// wildcards and NTFS's order, the same on every host.
#include "platform/Platform.h"

#include "platform/common/AsciiText.h"
#include "platform/common/Wildcard.h"

#include <algorithm>

namespace klx {
namespace platform {

DirectorySearch::DirectorySearch(const std::string& pattern) : mError(ERROR_FILE_NOT_FOUND) {
    // Only the C string counts, as in the C runtime.
    const std::string text(pattern.c_str());

    // The directory part keeps its separator, so that "C:\" and "/" stay
    // roots; "C:name" lies in the drive's directory.
    std::string::size_type cut = text.find_last_of("\\/");
    if (cut != std::string::npos)
        ++cut;
    else if (text.size() >= 2 && isAsciiLetter(text[0]) && text[1] == ':')
        cut = 2;
    else
        cut = 0;
    const std::string directory = text.substr(0, cut);
    const std::string name = text.substr(cut);
    if (name.empty())
        return;

    if (!hasWildcard(name)) {
        Result<DirectoryEntry> found = findEntry(text);
        if (!found.ok()) {
            mError = found.error;
            return;
        }
        // The name as the file system spells it, unless the name was a drive
        // ("/cygdrive/c") rather than an entry of a directory.
        if (!equalNoCase(found.value.name, name))
            found.value.name = name;
        mEntries.push_back(std::move(found.value));
    } else {
        Result<std::vector<DirectoryEntry>> listed =
            listDirectory(directory.empty() ? "." : directory);
        if (!listed.ok()) {
            mError = listed.error;
            return;
        }
        const WildcardPattern wildcard(name);
        for (DirectoryEntry& entry : listed.value) {
            if (wildcard.matches(entry.name))
                mEntries.push_back(std::move(entry));
        }
        if (mEntries.empty())
            return;
        std::sort(mEntries.begin(), mEntries.end(),
                  [](const DirectoryEntry& a, const DirectoryEntry& b) {
                      return lessNoCase(a.name, b.name);
                  });
    }
    mNext = 1;
    mError = 0;
}

bool DirectorySearch::next() {
    if (mError != 0)
        return false;
    if (mNext < mEntries.size()) {
        ++mNext;
        return true;
    }
    mError = ERROR_NO_MORE_FILES;
    return false;
}

} // namespace platform
} // namespace klx
