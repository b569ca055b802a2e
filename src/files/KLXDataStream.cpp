#include "KLXDataStream.h"

// A plain stream has nowhere to write to.
int KLXDataStream::write(std::string&) {
    return 0;
}

int KLXDataStream::writeln(std::string&) {
    return 0;
}
