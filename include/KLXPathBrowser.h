// KlxCore: one search of the file system, one level deep.
#ifndef KLX_PATH_BROWSER_H
#define KLX_PATH_BROWSER_H

#include "KLXConstants.h"

#include <string>
#include <vector>

// A path check: true when the path (given by reference) is acceptable.
typedef bool (*KLXCheckFunction)(std::string& path);

class KLX_API KLXPathBrowser {
public:
    // Runs the search. Two bits of `flags` count:
    //  1: pattern mode: the root itself is searched (a file, a directory or a
    //     wildcard pattern) and every entry found is considered, "." and ".."
    //     included. Clear: the subdirectories of the root whose names do not
    //     begin with "." are considered.
    // 16: entries are kept as bare names instead of root + "\\" + name.
    // An entry is kept when there is no check function or when the check
    // accepts root + "\\" + name; failing that, when `subPath` is not empty
    // and the check accepts the entry + "\\" + `subPath`, that longer text is
    // kept. Kept entries go to mPathList and, after what it already holds, to
    // `outputList` when that is not null.
    KLXPathBrowser(std::string& root, int flags, KLXCheckFunction checkFunction,
                   std::string& subPath, std::vector<std::string>* outputList);
    ~KLXPathBrowser();

    // The kept entries, in the order in which the file system listed them.
    std::vector<std::string>& getPathList();
    // True when the search found anything, kept or not.
    bool exist();

protected:
    std::vector<std::string> mPathList;
    bool mExist;
};

#endif // KLX_PATH_BROWSER_H
