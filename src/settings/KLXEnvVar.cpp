// KlxCore: system environment variables. On the NT family the environment
// lives in the machine environment key of the registry; on 9x in the process
// environment, which the boot batch file makes last. Every change is recorded
// by variable name in mModifiedVarsList for applyChanges.
#include "KLXEnvVar.h"

#include "KLXSystem.h"

#include "platform/Platform.h"

namespace {

const char* const kEnvironmentKeyPath =
    "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";

// The base takes its strings by non-const reference; the temporary lives to
// the end of the base constructor's call.
std::string& asLvalue(std::string&& text) {
    return text;
}

} // namespace

KLXEnvVar::KLXEnvVar(std::string& name, std::string& separator)
    : KLXSettingsVar(name, HKEY_LOCAL_MACHINE, asLvalue(std::string(kEnvironmentKeyPath)),
                     separator) {
    update();
}

void KLXEnvVar::update() {
    if (KLXSystem::getOsType() != KLX_OS_9X) {
        KLXSettingsVar::update();
        return;
    }
    // Read in full whatever the length, so that a list edit never writes
    // back a value that lost its old content. An undefined or empty variable
    // leaves the value as it was.
    klx::platform::Result<std::string> read = klx::platform::getEnvironmentVariable(mName);
    if (read.ok() && !read.value.empty())
        mValue = read.value;
}

void KLXEnvVar::setValue(std::string& value, bool force) {
    if (!force && value == mValue)
        return;
    if (KLXSystem::getOsType() == KLX_OS_9X) {
        mValue = value;
        klx::platform::setEnvironmentVariable(mName, mValue);
    } else {
        KLXSettingsVar::setValue(value, force);
    }
    std::string none;
    updateModifiedVarList(this, none, none);
}

void KLXEnvVar::removeTemplate(std::string& pattern) {
    if (!KLXSettingsVar::removeTemplate(pattern))
        return;
    setValue(mValue, true);
    std::string none;
    updateModifiedVarList(this, pattern, none);
}

void KLXEnvVar::replaceTemplate(std::string& pattern, std::string& replacement) {
    if (!KLXSettingsVar::replaceTemplate(pattern, replacement))
        return;
    setValue(mValue, true);
}

void KLXEnvVar::addToList(std::string& item) {
    if (!KLXSettingsVar::addToList(item))
        return;
    setValue(mValue, true);
    std::string none;
    updateModifiedVarList(this, none, item);
}

void KLXEnvVar::updateModifiedVarList(KLXEnvVar* variable, std::string& removed,
                                      std::string& added) {
    if (variable == nullptr)
        return;
    // Copies: the arguments may be strings of the list itself, which the
    // appends below can move.
    const std::string removedText = removed;
    const std::string addedText = added;

    for (std::vector<std::string>& entry : mModifiedVarsList) {
        if (entry.empty() || entry[0] != variable->mName)
            continue;
        if (entry.size() < 3)
            entry.resize(3);
        // The entry keeps the separator and the value of the change that
        // made it; later changes add only their items and templates.
        // From position 3 on the entry holds (added, removed) pairs: an added
        // item goes to an odd position, a removed template to an even one.
        if (!removedText.empty()) {
            if (entry.size() % 2 == 1)
                entry.emplace_back();
            entry.push_back(removedText);
        }
        if (!addedText.empty()) {
            if (entry.size() % 2 == 0)
                entry.emplace_back();
            entry.push_back(addedText);
        }
        return;
    }
    // A new entry records the state after the change; the change itself is
    // the value.
    mModifiedVarsList.push_back({variable->mName, variable->mSeparator, variable->mValue});
}
