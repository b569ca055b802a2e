// KlxCore: binds a file extension to one of the SDK's programs: the
// extension's key names a file type, and the file type gets a description and
// an "open" command that starts the program with the file as argument.
#include "KLXFileShellAssociation.h"

#include "KLXSystem.h"
#include "KLXVersion.h"

namespace {

// The library's interfaces take strings by non-const reference; this lends
// a temporary for the length of one full expression.
std::string& lvalue(std::string&& text) {
    return text;
}

} // namespace

KLXFileShellAssociation::KLXFileShellAssociation(std::string& extension)
    : KLXRegistryKey(HKEY_CLASSES_ROOT, extension) {
    std::string defaultValue;
    mFileType = retValue(defaultValue);
    // An extension that names no file type yet gets one of our own; a file
    // type set by another program is kept and taken over.
    if (mFileType.empty()) {
        mFileType = "FileAssoc" + extension;
        setValue(defaultValue, mFileType);
    }
}

KLXFileShellAssociation::~KLXFileShellAssociation() {}

void KLXFileShellAssociation::setApplication(KLXAppType_e application, std::string& arguments) {
    const std::string path = KLXSystem::getApplicationPath(application);
    KLXVersion version(application);
    std::string productName = version.getProductNameString();
    // A program that is not installed, or that cannot name itself, leaves the
    // file type as it was.
    if (path.empty() || productName.empty())
        return;

    std::string defaultValue;
    KLXRegistryKey fileType(HKEY_CLASSES_ROOT, mFileType);
    fileType.setValue(defaultValue, productName);

    // The path is quoted because it may hold blanks; %1 is left for the shell
    // to fill in as it is.
    KLXRegistryKey command(HKEY_CLASSES_ROOT, lvalue(mFileType + "\\shell\\open\\command"));
    std::string commandLine = "\"" + path + "\" " + arguments + " %1";
    command.setValue(defaultValue, commandLine);
}
