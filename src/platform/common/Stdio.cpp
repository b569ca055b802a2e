// The standard output stream, the same on every host.
#include "platform/Platform.h"

#include <iostream>

namespace klx {
namespace platform {

void writeStdout(const std::string& text) {
    std::cout << text;
}

void writeStdoutLine(const std::string& text) {
    std::cout << text << std::endl;
}

} // namespace platform
} // namespace klx
