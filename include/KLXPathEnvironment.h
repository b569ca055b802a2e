// KlxCore: one path-valued SDK element: its value, the root directory of its
// versions, the history of earlier choices kept in the registry, and the
// writing of the value in one of several path forms.
#ifndef KLX_PATH_ENVIRONMENT_H
#define KLX_PATH_ENVIRONMENT_H

#include "KLXConstants.h"
#include "KLXPathBrowser.h"
#include "KLXRegistryKey.h"

#include <string>
#include <vector>

class KLXEnvVar;
class KLXRcFile;

// The base class is the history key below HKEY_CURRENT_USER: value "count"
// and values "0", "1", ... holding the history entries in order.
class KLX_API KLXPathEnvironment : public KLXRegistryKey {
public:
    // Opens (or creates) the history key `historyKeyPath` below
    // HKEY_CURRENT_USER, reads the value from `rcFile` when it is not null
    // (the element does not own it) or else from an environment variable of
    // its own named `name`, then reads the history. `subPath` may be null.
    KLXPathEnvironment(std::string& name, std::string& historyKeyPath, KLXPathEnvFormat_e format,
                       KLXCheckFunction check, bool browseHistory, std::string* subPath,
                       KLXRcFile* rcFile);
    // Writes nothing: changes not saved by updateEnvironment() are lost.
    ~KLXPathEnvironment();

    // A copy would share the owned environment variable object.
    KLXPathEnvironment(const KLXPathEnvironment&) = delete;
    KLXPathEnvironment& operator=(const KLXPathEnvironment&) = delete;

    // The current value, in Windows form. Hides the base class's protected
    // getValue(name, output).
    std::string& getValue();
    std::string& getName();

    // Writes the history to the registry, then the value to its variable or
    // rc file line in the element's format (nothing for an empty value).
    void updateEnvironment();
    // Re-reads the history from the registry and rebuilds mPathList.
    void updateHistoryReg2Vect();
    // Makes mPathList[index] the value; an index out of range changes nothing.
    void updatePathFromHistory(int index);
    // Accepts a listed path, a "$" reference or a directory that the check
    // function accepts, and makes it the value; a new path is added to the
    // history in memory. One trailing backslash is removed from `path`.
    bool updatePathFromString(std::string& path);

    // History entries (root paths), in registry order.
    std::vector<std::string> mHistoryList;

protected:
    // Reads the value from the rc file or the environment variable.
    void updatePathFromEnv();
    // Derives mRootPath from mValue and, in automatic mode, mFormat.
    void updateRootPath();
    // The numbers of the history entries to read for a "count" of `count`.
    std::vector<int> historyEntryNumbers(int count);
    // `out` becomes mValue in Cygwin form.
    void convertPath2Cygwin(std::string& out);
    // `out` becomes mValue with every backslash turned into a slash.
    void convertPath2Slashes(std::string& out);

    bool mBrowseHistory;
    bool mAutoFormat;
    KLXPathEnvFormat_e mFormat;
    std::string mName;
    std::string mValue;
    std::string mRootPath;
    std::string mSubPath;
    KLXRcFile* mRcFile;
    KLXEnvVar* mEnvVar;

public:
    // Selectable paths built from the history; clients read it directly.
    std::vector<std::string> mPathList;

protected:
    KLXCheckFunction mCheckFunction;
};

#endif // KLX_PATH_ENVIRONMENT_H
