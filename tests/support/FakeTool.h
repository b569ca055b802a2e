// Puts the fake tool (tests/support/FakeTool.cpp) where the library looks for
// a tool, as a program the host can start.
#ifndef KLX_TEST_FAKE_TOOL_H
#define KLX_TEST_FAKE_TOOL_H

#include <filesystem>
#include <string>

namespace klxtest {

// Copies the fake tool to `path`, whose file name chooses its behaviour;
// Windows adds ".exe" to a name without an extension, as CreateProcess
// does when it looks for it.
void installFakeTool(std::filesystem::path path);

// The arguments that the tool at `path` logged, one a line, in brackets.
std::string fakeToolLog(std::filesystem::path path);

} // namespace klxtest

#endif // KLX_TEST_FAKE_TOOL_H
