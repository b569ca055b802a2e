// KlxCore: one path in its Windows form and its Cygwin form.
#include "KLXPath.h"

#include "KLXStrProcess.h"

KLXPath::KLXPath(std::string& path) : mWinValue(path), mCygwinValue(path) {
    // An empty path lets the conversion's std::out_of_range through.
    KLXStrProcess::convertPath2Cygwin(mCygwinValue);
}

KLXPath::~KLXPath() {}

std::string& KLXPath::getWinValue() {
    return mWinValue;
}

std::string& KLXPath::getCygwinValue() {
    return mCygwinValue;
}
