// KlxCore: binds a file extension to one of the SDK's programs in the Windows
// shell (HKEY_CLASSES_ROOT).
#ifndef KLX_FILE_SHELL_ASSOCIATION_H
#define KLX_FILE_SHELL_ASSOCIATION_H

#include "KLXConstants.h"
#include "KLXRegistryKey.h"

#include <string>

// The base class is the extension's key below HKEY_CLASSES_ROOT, for example
// ".scs"; its default value names the file type.
class KLX_API KLXFileShellAssociation : public KLXRegistryKey {
public:
    // Opens or creates the key of `extension` (with its leading point) and
    // reads the file type it names. A key without one gets "FileAssoc" +
    // extension, written at once.
    explicit KLXFileShellAssociation(std::string& extension);
    ~KLXFileShellAssociation();

    // Gives the file type the product name of `application` as description
    // and the open command "\"<path>\" <arguments> %1". Writes nothing when
    // the application's path or product name is unknown.
    void setApplication(KLXAppType_e application, std::string& arguments);

protected:
    // The file type that the extension points to.
    std::string mFileType;
};

#endif // KLX_FILE_SHELL_ASSOCIATION_H
