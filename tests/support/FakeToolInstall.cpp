#include "FakeTool.h"

#include "TestFiles.h"

namespace klxtest {

void installFakeTool(std::filesystem::path path) {
#ifdef _WIN32
    if (!path.has_extension())
        path += ".exe";
#endif
    std::filesystem::create_directories(path.parent_path());
    std::filesystem::copy_file(KLX_FAKE_TOOL, path,
                               std::filesystem::copy_options::overwrite_existing);
    // A log left by a test before, on a Windows machine's shared drive.
    std::filesystem::remove(path.replace_extension(".log"));
}

std::string fakeToolLog(std::filesystem::path path) {
    return readBytes(path.replace_extension(".log"));
}

} // namespace klxtest
