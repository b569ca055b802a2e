// KlxCore: the SDK settings object and its seven path elements.
#ifndef KLX_CORVALE_SETTINGS_H
#define KLX_CORVALE_SETTINGS_H

#include "KLXConstants.h"
#include "KLXRegistryKey.h"

#include <string>

class KLXPathEnvironment;
class KLXRcFile;

// Called by the client when one of the SDK elements is selected; the library
// only keeps it.
typedef void (*KLXSelectCallback)(CvlSelectElement_e element);

class KLX_API KLXCorvaleSettings {
public:
    // Opens the settings key, the configuration file (`configFile` when it is
    // not empty and exists, else ".cvlrc" in the user's profile, created empty
    // when missing) and builds the seven elements from it. The first object
    // constructed becomes Instance.
    KLXCorvaleSettings(KLXSelectCallback callback, std::string& configFile);
    // Deletes the elements and the rc file; saves nothing. Clears Instance
    // when it points to this object.
    ~KLXCorvaleSettings();

    // The object owns its elements and rc file.
    KLXCorvaleSettings(const KLXCorvaleSettings&) = delete;
    KLXCorvaleSettings& operator=(const KLXCorvaleSettings&) = delete;

    // Makes the element's selectable path `index` its value, then follows a
    // change of the OS element.
    void updatePathFromHistory(CvlSelectElement_e element, int index);
    // Gives the path to the element (one trailing backslash is removed from
    // `path`) and, when it was accepted and changed the value, follows a
    // change of the OS element. Returns whether the element accepted it.
    bool updatePathFromString(CvlSelectElement_e element, std::string& path);
    // The configuration file given to the constructor, or "" for the default.
    std::string& getCurrentConfigFile();
    // Saves the settings: every element's history to the registry and its
    // value to the configuration file, which is written back; then binds
    // ".scs" to the wizard and ".cvlrc" to the settings program. Sets no
    // environment variable.
    void updateEnvironment();

    // The baseband family named by the "manifest.xml" in the component
    // directory `path`, or "". The result is shared by every call: copy it to
    // keep it.
    static std::string& readBaseBand(std::string& path);

    // The first settings object constructed.
    static KLXCorvaleSettings* Instance;
    // Baseband family of the selected OS library, and the one before it.
    static std::string mOSBaseBand;
    static std::string mFormerOSBaseBand;

    // The elements, indexed by CvlSelectElement_e; owned.
    KLXPathEnvironment* mElements[7];

protected:
    // After the OS element may have changed: reads its baseband and, when the
    // family changed, moves the firmware to the first one of the new family.
    // Does nothing for the other elements.
    void specificUpdateProcess(CvlSelectElement_e element);

    // The path checks of the elements; each takes a directory without a
    // trailing backslash.
    static bool CheckPathKL_CVL_IDE_OS_DEFAULT(std::string& path);
    static bool CheckPathKL_CVL_IDE_FW_DEFAULT(std::string& path);
    static bool CheckPathKL_CVL_IDE_GTS_GCC(std::string& path);
    static bool CheckPathKL_CVL_IDE_ECLIPSE(std::string& path);
    static bool CheckPathVOID(std::string& path);

    KLXRegistryKey mSettingsKey;
    KLXSelectCallback mSelectCallback;
    KLXRcFile* mRcFile;
    std::string mCurrentConfigFile;
};

#endif // KLX_CORVALE_SETTINGS_H
