// KlxCore: the common base of everything that text can be written to.
#ifndef KLX_DATA_STREAM_H
#define KLX_DATA_STREAM_H

#include "KLXConstants.h"

#include <string>

class KLX_API KLXDataStream {
public:
    KLXDataStream() {}
    // Not virtual: every stream is destroyed through its own type.
    ~KLXDataStream() {}

    // Write the text without or with a line end. The base writes nothing and
    // returns 0.
    virtual int write(std::string& text);
    virtual int writeln(std::string& text);
};

#endif // KLX_DATA_STREAM_H
