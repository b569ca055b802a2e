// KlxCore: a named setting kept as one string value under a registry key.
#include "KLXSettingsVar.h"

#include "KLXStrProcess.h"

KLXSettingsVar::KLXSettingsVar(std::string& name, HKEY root, std::string& path,
                               std::string& separator)
    : mRegKey(root, path), mName(name), mValue(), mSeparator(separator) {}

void KLXSettingsVar::setValue(std::string& value, bool force) {
    if (!force && value == mValue)
        return;
    mValue = value;
    mRegKey.setValue(mName, mValue);
}

void KLXSettingsVar::update() {
    mValue = mRegKey.retValue(mName);
}

bool KLXSettingsVar::removeTemplate(std::string& pattern) {
    return KLXStrProcess::removeTemplate(mValue, pattern, mSeparator, 0);
}

bool KLXSettingsVar::replaceTemplate(std::string& pattern, std::string& replacement) {
    return KLXStrProcess::replaceTemplate(mValue, pattern, mSeparator, replacement, 0);
}

bool KLXSettingsVar::addToList(std::string& item) {
    if (mSeparator.empty() || item.empty())
        return false;
    if (&item == &mValue) {
        // Appending the value to itself: take the text before it grows.
        std::string copy(item);
        return addToList(copy);
    }
    if (!mValue.empty())
        mValue += mSeparator;
    mValue += item;
    return true;
}
