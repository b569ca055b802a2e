// KlxCore: one path in its Windows form and its Cygwin form.
#ifndef KLX_PATH_H
#define KLX_PATH_H

#include "KLXConstants.h"

#include <string>

class KLX_API KLXPath {
public:
    // Keeps `path` as given and its Cygwin form: 'C:\tools\bin' gives
    // '/cygdrive/C/tools/bin'. The path must begin with a drive letter and a
    // colon; an empty path throws std::out_of_range.
    KLXPath(std::string& path);
    ~KLXPath();

    std::string& getWinValue();
    std::string& getCygwinValue();

protected:
    std::string mWinValue;
    std::string mCygwinValue;
};

#endif // KLX_PATH_H
