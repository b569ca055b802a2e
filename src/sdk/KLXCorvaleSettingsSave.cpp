// KlxCore: saving the SDK settings: histories, configuration file and the
// shell bindings of the SDK's file types.
#include "KLXCorvaleSettings.h"
#include "KLXFileShellAssociation.h"
#include "KLXPathEnvironment.h"
#include "KLXRcFile.h"

void KLXCorvaleSettings::updateEnvironment() {
    // Each element writes its history to the registry, then its value into
    // the rc file's lines; the histories are thus saved even when writing the
    // file fails.
    for (KLXPathEnvironment* element : mElements)
        if (element != nullptr)
            element->updateEnvironment();
    if (mRcFile != nullptr)
        mRcFile->write();

    std::string projectExtension = ".scs", configExtension = ".cvlrc", arguments = "-f";
    KLXFileShellAssociation project(projectExtension);
    project.setApplication(KLX_APP_WIZARD, arguments);
    KLXFileShellAssociation config(configExtension);
    config.setApplication(KLX_APP_CVL_SETTINGS, arguments);
    // Released in reverse order of construction: ".cvlrc" first.
}
