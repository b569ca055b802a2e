#include "KLXStdio.h"

#include "platform/Platform.h"

void KLXStdio::out(std::string& text) {
    klx::platform::writeStdout(text);
}

void KLXStdio::outln(std::string& text) {
    klx::platform::writeStdoutLine(text);
}

int KLXStdio::write(std::string& text) {
    out(text);
    return 0;
}

int KLXStdio::writeln(std::string& text) {
    outln(text);
    return 0;
}
