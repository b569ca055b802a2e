// Puts the fake tool (tests/support/FakeTool.cpp) where the library looks for
// a tool, as a program the host can start.
#ifndef KLX_TEST_FAKE_TOOL_H
#define KLX_TEST_FAKE_TOOL_H

#include "TestFiles.h"

#include <filesystem>
#include <string>

namespace klxtest {

// Copies the fake tool to `path`, whose file name chooses its behaviour;
// Windows adds ".exe" to a name without an extension, as CreateProcess
// does when it looks for it.
inline void installFakeTool(std::filesystem::path path) {
    if (std::filesystem::path::preferred_separator == '\\' && !path.has_extension())
        path += ".exe";
    std::filesystem::create_directories(path.parent_path());
    std::filesystem::copy_file(KLX_FAKE_TOOL, path,
                               std::filesystem::copy_options::overwrite_existing);
    // A log left by a test before, on a Windows machine's shared drive.
    std::filesystem::remove(path.replace_extension(".log"));
}

// The arguments that the tool at `path` logged, one a line, in brackets.
inline std::string fakeToolLog(std::filesystem::path path) {
    return readBytes(path.replace_extension(".log"));
}

} // namespace klxtest

#endif // KLX_TEST_FAKE_TOOL_H
