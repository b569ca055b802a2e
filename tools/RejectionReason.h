// Why an element of the SDK settings refused a directory, in words.
#ifndef KLX_TOOLS_REJECTION_REASON_H
#define KLX_TOOLS_REJECTION_REASON_H

#include "KLXConstants.h"

#include <string>

// One line without the path: "not a directory", "no \"manifest.xml\" in it",
// ... It looks again at the directory with the rules the element applies, so
// call it only after the element refused `path` (Windows form, no trailing
// backslash).
std::string rejectionReason(CvlSelectElement_e element, const std::string& path);

#endif // KLX_TOOLS_REJECTION_REASON_H
