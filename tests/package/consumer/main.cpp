// Uses an exported class, an exported constant and a Win32 stand-in type of
// the installed headers; exits 0 when all of them behave.
#include "KLXCmdLineParser.h"
#include "KLXStrProcess.h"

#include <cstdio>
#include <cstring>
#include <string>

int main() {
    std::string path = "C:\\tools\\bin";
    KLXStrProcess::convertPath2Cygwin(path);
    std::string line = "-f a.scs -v";
    KLXCmdLineParser parser(line);
    HANDLE none = INVALID_HANDLE_VALUE;
    bool ok = path == "/cygdrive/C/tools/bin" && parser.getOptionFlag('v', false) &&
              parser.registerStringOption('f').size() == 2 &&
              std::strcmp(KLX_STR_PATH_NAME_CYGDRIVE, "/cygdrive/") == 0 && none != nullptr;
    std::printf("%s\n", ok ? "consumer ok" : "consumer FAILED");
    return ok ? 0 : 1;
}
