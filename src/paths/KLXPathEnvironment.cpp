// KlxCore: one path-valued SDK element with its registry history.
#include "KLXPathEnvironment.h"

#include "KLXEnvVar.h"
#include "KLXRcFile.h"
#include "KLXStrProcess.h"
#include "platform/Platform.h"
#include "platform/common/AsciiText.h"

#include <algorithm>
#include <string>

namespace {

const char* const kCountName = "count";
const char* const kTwinSuffix = "_DOS";
// A drive-less rc value ("/share/SDK") lives on drive U:, which maps the
// root of the Cygwin file system.
const char* const kNoDrivePrefix = "U:";
const char* const kCygdriveBackslashed = "\\cygdrive\\";

bool startsWith(const std::string& text, const char* prefix) {
    return text.compare(0, std::char_traits<char>::length(prefix), prefix) == 0;
}

bool endsWith(const std::string& text, const std::string& suffix) {
    return text.size() >= suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

bool isDigit(const std::string& text, std::size_t at) {
    return at < text.size() && text[at] >= '0' && text[at] <= '9';
}

// The format that a version directory name asks for: SDK versions from 2.1 on
// want the Cygwin form beside the Windows one; older ones know only Windows
// paths. "V2.00", "V1.5" are older; "V2.10", "V21", "V3.00", "V2" and
// anything not shaped like a version are newer.
KLXPathEnvFormat_e formatOfVersionName(const std::string& name) {
    if (name.empty() || (name[0] != 'V' && name[0] != 'v') || !isDigit(name, 1))
        return KLX_PATH_ENV_CYGWIN_DOS;
    const int major = name[1] - '0';
    int minor = -1;
    if (isDigit(name, 2))
        minor = name[2] - '0';
    else if (isDigit(name, 3))
        minor = name[3] - '0';
    if (minor < 0 || major > 2 || (major == 2 && minor >= 1))
        return KLX_PATH_ENV_CYGWIN_DOS;
    return KLX_PATH_ENV_WIN;
}

// The element's own variable. Settings variables have no virtual destructor,
// so the element deletes its variable through this, its exact type.
struct OwnedEnvVar final : KLXEnvVar {
    using KLXEnvVar::KLXEnvVar;
};

void deleteOwned(KLXEnvVar* variable) {
    delete static_cast<OwnedEnvVar*>(variable);
}

} // namespace

KLXPathEnvironment::KLXPathEnvironment(std::string& name, std::string& historyKeyPath,
                                       KLXPathEnvFormat_e format, KLXCheckFunction check,
                                       bool browseHistory, std::string* subPath, KLXRcFile* rcFile)
    : KLXRegistryKey(HKEY_CURRENT_USER, historyKeyPath), mBrowseHistory(browseHistory),
      mAutoFormat(format == KLX_PATH_ENV_AUTO), mFormat(format), mName(name), mRcFile(rcFile),
      mEnvVar(nullptr), mCheckFunction(check) {
    if (subPath != nullptr)
        mSubPath = *subPath;
    // The destructor does not run for a constructor that throws, so the owned
    // variable is released here if running out of memory stops the reading.
    try {
        if (mRcFile == nullptr) {
            std::string separator;
            mEnvVar = new OwnedEnvVar(mName, separator);
        }
        updatePathFromEnv();
        updateHistoryReg2Vect();
    } catch (...) {
        deleteOwned(mEnvVar);
        throw;
    }
}

KLXPathEnvironment::~KLXPathEnvironment() {
    deleteOwned(mEnvVar);
}

std::string& KLXPathEnvironment::getValue() {
    return mValue;
}

std::string& KLXPathEnvironment::getName() {
    return mName;
}

void KLXPathEnvironment::updatePathFromEnv() {
    if (mEnvVar != nullptr) {
        mValue = mEnvVar->getValue();
    } else {
        mValue = mRcFile->getValue(mName);
        if (startsWith(mValue, KLX_STR_SLASH) && !startsWith(mValue, KLX_STR_PATH_NAME_CYGDRIVE))
            mValue.insert(0, kNoDrivePrefix);
    }
    KLXStrProcess::swapSlashes(mValue);

    // "\cygdrive\c\SDK" becomes "c:\SDK". A bare "\cygdrive\" names no drive
    // and leaves nothing behind.
    if (startsWith(mValue, kCygdriveBackslashed)) {
        mValue.erase(0, std::char_traits<char>::length(kCygdriveBackslashed));
        if (!mValue.empty())
            mValue.insert(1, ":");
    }
    updateRootPath();
}

void KLXPathEnvironment::updateRootPath() {
    mRootPath = mValue;
    if (!mBrowseHistory || mRootPath.empty())
        return;

    // "C:\GCC\V3.4\bin" with sub-path "bin" loses "\bin". A value that is
    // the sub-path alone leaves nothing.
    if (!mSubPath.empty() && endsWith(mRootPath, mSubPath)) {
        std::size_t cut = mRootPath.size() - mSubPath.size();
        mRootPath.erase(cut == 0 ? 0 : cut - 1);
    }

    // The version directory is the last component; the root path is its
    // parent. Without a backslash the whole text is that component, and
    // there is no parent to keep.
    std::string::size_type slash = mRootPath.rfind('\\');
    std::string::size_type start = slash == std::string::npos ? 0 : slash + 1;
    if (mAutoFormat)
        mFormat = formatOfVersionName(mRootPath.substr(start));
    mRootPath.erase(slash == std::string::npos ? 0 : slash);
}

void KLXPathEnvironment::convertPath2Cygwin(std::string& out) {
    out = mValue;
    KLXStrProcess::convertPath2Cygwin(out);
}

void KLXPathEnvironment::convertPath2Slashes(std::string& out) {
    out = mValue;
    KLXStrProcess::swapBackslashes(out);
}

void KLXPathEnvironment::updateEnvironment() {
    if (!mHistoryList.empty()) {
        std::string countName = kCountName;
        std::string countText = std::to_string(mHistoryList.size());
        setValue(countName, countText);
        for (std::size_t i = 0; i < mHistoryList.size(); ++i) {
            std::string entryName = std::to_string(i);
            setValue(entryName, mHistoryList[i]);
        }
    }

    if (mValue.empty())
        return;

    std::string output = mValue;
    std::string twin;
    if (mValue[0] == '$') {
        // A reference to other variables is for the shell to expand: every
        // target gets it as it is.
        twin = mValue;
    } else {
        switch (mFormat) {
        case KLX_PATH_ENV_SLASHES:
            convertPath2Slashes(output);
            break;
        case KLX_PATH_ENV_CYGWIN:
            convertPath2Cygwin(output);
            break;
        case KLX_PATH_ENV_CYGWIN_DOS:
            convertPath2Cygwin(twin);
            break;
        case KLX_PATH_ENV_SLASHES_NO_NET_DRIVE:
            // Cygwin reaches a network share without its drive letter.
            convertPath2Slashes(output);
            if (output.size() >= 2 &&
                klx::platform::driveType(output.substr(0, 2)) == klx::platform::kDriveRemote)
                output.erase(0, 2);
            break;
        default:
            break;
        }
    }

    if (mAutoFormat) {
        // Newer SDKs read the Cygwin form from the variable and the Windows
        // form from its "_DOS" twin; older ones read the Windows form from
        // both.
        std::string& mainForm = mFormat == KLX_PATH_ENV_CYGWIN_DOS ? twin : output;
        if (mEnvVar != nullptr)
            mEnvVar->setValue(mainForm, false);
        else
            mRcFile->setValue(mName, mainForm);
        std::string twinName = mName + kTwinSuffix;
        std::string separator;
        KLXEnvVar twinVar(twinName, separator);
        twinVar.setValue(output, false);
    } else if (mEnvVar != nullptr) {
        mEnvVar->setValue(output, false);
    } else {
        mRcFile->setValue(mName, output);
    }
}

std::vector<int> KLXPathEnvironment::historyEntryNumbers(int count) {
    std::vector<int> numbers;
    if (count <= 0)
        return numbers;
    // Entries are the values "0" to count - 1. A count no larger than the
    // number of values the key holds is read as it stands; a larger one
    // (a damaged "count" such as 2000000000) is read only where the key
    // really holds an entry, which gives the same list without billions of
    // reads of missing values.
    std::vector<std::string> names;
    getValueNames(names);
    if (static_cast<std::size_t>(count) <= names.size()) {
        for (int i = 0; i < count; ++i)
            numbers.push_back(i);
        return numbers;
    }
    for (const std::string& name : names) {
        // Only the names that std::to_string gives: no sign, no leading zero.
        if (name.empty() || name.size() > 10 || (name.size() > 1 && name[0] == '0') ||
            name.find_first_not_of("0123456789") != std::string::npos)
            continue;
        long long number = std::stoll(name);
        if (number < count)
            numbers.push_back(static_cast<int>(number));
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

void KLXPathEnvironment::updateHistoryReg2Vect() {
    mHistoryList.clear();
    mPathList.clear();

    std::string countName = kCountName;
    const std::string& countText = retValue(countName);
    const int count = countText.empty() ? 0 : klx::platform::parseInt(countText.c_str());

    bool rootPathPresent = false;
    for (int number : historyEntryNumbers(count)) {
        std::string name = std::to_string(number);
        std::string entry;
        KLXRegistryKey::getValue(name, entry);
        if (entry.empty())
            continue;
        if (entry == mRootPath)
            rootPathPresent = true;
        mHistoryList.push_back(std::move(entry));
    }
    if (!rootPathPresent && !mRootPath.empty())
        mHistoryList.push_back(mRootPath);

    if (mBrowseHistory) {
        // Flags 0: subdirectories of the entry, kept as full paths. Only
        // what the browser adds to mPathList is wanted.
        for (std::string& entry : mHistoryList)
            KLXPathBrowser browser(entry, 0, mCheckFunction, mSubPath, &mPathList);
    } else {
        mPathList = mHistoryList;
    }
}

void KLXPathEnvironment::updatePathFromHistory(int index) {
    // A negative index reads as a huge unsigned one and is out of range.
    const std::size_t at = static_cast<unsigned int>(index);
    if (at >= mPathList.size())
        return;
    mValue = mPathList[at];
    updateRootPath();
}

bool KLXPathEnvironment::updatePathFromString(std::string& path) {
    if (!path.empty() && path.back() == '\\')
        path.pop_back();

    const bool listed = std::find(mPathList.begin(), mPathList.end(), path) != mPathList.end();
    bool valid = false;
    if (!listed && !path.empty()) {
        if (path[0] == '$') {
            valid = true;
        } else {
            klx::platform::DirectorySearch search(path);
            if (search.found() &&
                (search.entry().attributes & klx::platform::kAttributeDirectory) != 0) {
                // The check may edit its argument; the caller's path stays as
                // it is whatever the check answers.
                std::string candidate = path;
                valid = mCheckFunction == nullptr || mCheckFunction(candidate);
            }
        }
    }
    if (!listed && !valid)
        return false;

    mValue = path;
    updateRootPath();
    if (valid)
        updateHistoryReg2Vect();
    return true;
}
