// KlxCore: the SDK settings object: its seven path elements on one rc file,
// and the firmware following the OS library's baseband family.
#include "KLXCorvaleSettings.h"
#include "KLXPathBrowser.h"
#include "KLXPathEnvironment.h"
#include "KLXRcFile.h"
#include "KLXSystem.h"

namespace {

const int kElementCount = 7;

// The library's interfaces take strings by non-const reference; this lends
// a temporary for the length of one full expression.
std::string& lvalue(std::string&& text) {
    return text;
}

// The operations take any int as element (the enumeration is int-wide) but
// only the seven members name one; anything else does nothing.
bool isElement(CvlSelectElement_e element) {
    return element >= 0 && element < kElementCount;
}

// The object's own rc file. Text files have no virtual destructor, so the
// object creates and deletes its rc file as this, its exact type.
struct OwnedRcFile final : KLXRcFile {
    using KLXRcFile::KLXRcFile;
};

// Deletes the elements in index order, then the rc file.
void deleteOwned(KLXPathEnvironment* (&elements)[kElementCount], KLXRcFile*& rcFile) {
    for (KLXPathEnvironment*& element : elements) {
        delete element;
        element = nullptr;
    }
    delete static_cast<OwnedRcFile*>(rcFile);
    rcFile = nullptr;
}

} // namespace

KLXCorvaleSettings::KLXCorvaleSettings(KLXSelectCallback callback, std::string& configFile)
    : mElements(), mSettingsKey(HKEY_CURRENT_USER, lvalue(KLX_STR_REG_PATH_CVL_SETTINGS)),
      mSelectCallback(nullptr), mRcFile(nullptr) {
    if (Instance == nullptr)
        Instance = this;
    mSelectCallback = callback;

    struct ElementRow {
        const char* name;
        KLXCheckFunction check;
        bool browseHistory;
    };
    // Indexed by CvlSelectElement_e.
    static const ElementRow kElements[kElementCount] = {
        {"KL_CVL_IDE_OS_DEFAULT", CheckPathKL_CVL_IDE_OS_DEFAULT, true},
        {"KL_CVL_IDE_FW_DEFAULT", CheckPathKL_CVL_IDE_FW_DEFAULT, true},
        {"KL_CVL_IDE_PLUGINS", CheckPathVOID, false},
        {"KL_CVL_IDE_GTS_GCC", CheckPathKL_CVL_IDE_GTS_GCC, true},
        {"KL_CVL_IDE_GTS_ARM", CheckPathVOID, false},
        {"KL_CVL_IDE_GTS_MINGW", CheckPathKL_CVL_IDE_GTS_GCC, true},
        {"KL_CVL_IDE_ECLIPSE", CheckPathKL_CVL_IDE_ECLIPSE, true},
    };

    // A failure to allocate leaves nothing behind: what was built is released
    // before the exception leaves the constructor.
    try {
        std::string rcPath = KLXSystem::getUserProfileDir() + KLX_STR_BACKSLASH + ".cvlrc";
        KLXPathEnvFormat_e format = KLX_PATH_ENV_SLASHES;
        if (!configFile.empty()) {
            std::string noSubPath;
            KLXPathBrowser existing(configFile, 1, nullptr, noSubPath, nullptr);
            if (existing.exist()) {
                rcPath = configFile;
                mCurrentConfigFile = configFile;
                format = KLX_PATH_ENV_SLASHES_NO_NET_DRIVE;
            }
        }
        mRcFile = new OwnedRcFile(rcPath, 0);

        auto build = [&](int index) {
            const ElementRow& row = kElements[index];
            std::string name = row.name;
            std::string historyKey = std::string(KLX_STR_REG_PATH_CVL_SETTINGS) +
                                     KLX_STR_BACKSLASH + row.name + " history";
            mElements[index] = new KLXPathEnvironment(name, historyKey, format, row.check,
                                                      row.browseHistory, nullptr, mRcFile);
        };

        // The OS baseband is read before the firmware element exists, so that
        // the firmware check offers only firmware of that family when the
        // firmware history is browsed.
        build(CVL_ELEMENT_OS_DEFAULT);
        mElements[CVL_ELEMENT_FW_DEFAULT] = nullptr;
        specificUpdateProcess(CVL_ELEMENT_OS_DEFAULT);
        for (int index = CVL_ELEMENT_FW_DEFAULT; index < kElementCount; ++index)
            build(index);
    } catch (...) {
        deleteOwned(mElements, mRcFile);
        if (Instance == this)
            Instance = nullptr;
        throw;
    }
}

KLXCorvaleSettings::~KLXCorvaleSettings() {
    deleteOwned(mElements, mRcFile);
    // Nobody may reach a destroyed object through Instance.
    if (Instance == this)
        Instance = nullptr;
}

void KLXCorvaleSettings::updatePathFromHistory(CvlSelectElement_e element, int index) {
    if (!isElement(element) || mElements[element] == nullptr)
        return;
    mElements[element]->updatePathFromHistory(index);
    // Also after an index out of range: the OS baseband is read again.
    specificUpdateProcess(element);
}

bool KLXCorvaleSettings::updatePathFromString(CvlSelectElement_e element, std::string& path) {
    if (!isElement(element) || mElements[element] == nullptr)
        return false;
    const std::string formerValue = mElements[element]->getValue();
    const bool accepted = mElements[element]->updatePathFromString(path);
    // `path` has lost its trailing backslash by now, so re-entering the
    // current value with one is no change.
    if (accepted && formerValue != path)
        specificUpdateProcess(element);
    return accepted;
}

std::string& KLXCorvaleSettings::getCurrentConfigFile() {
    return mCurrentConfigFile;
}

void KLXCorvaleSettings::specificUpdateProcess(CvlSelectElement_e element) {
    if (element != CVL_ELEMENT_OS_DEFAULT || mElements[CVL_ELEMENT_OS_DEFAULT] == nullptr)
        return;
    mFormerOSBaseBand = mOSBaseBand;
    mOSBaseBand = readBaseBand(mElements[CVL_ELEMENT_OS_DEFAULT]->getValue());

    // A new family: browse the firmware history again with the new baseband
    // and take the first firmware found. With none, the list is empty and the
    // firmware value stays as it was.
    KLXPathEnvironment* firmware = mElements[CVL_ELEMENT_FW_DEFAULT];
    if (firmware != nullptr && !mOSBaseBand.empty() && mOSBaseBand != mFormerOSBaseBand) {
        firmware->updateHistoryReg2Vect();
        firmware->updatePathFromHistory(0);
    }
}
