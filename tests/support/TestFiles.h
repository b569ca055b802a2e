// Helpers for tests that look at files behind the library's back.
#ifndef KLX_TEST_FILES_H
#define KLX_TEST_FILES_H

#include <filesystem>
#include <string>
#include <vector>

namespace klxtest {

// The test process's temporary root: it holds "home" (HOME) and "prefix"
// (KLX_PREFIX, created by the library on first use).
const std::filesystem::path& testRoot();
void setTestRoot(const std::filesystem::path& root);

// A fresh directory below the test root, for one test's files.
std::filesystem::path freshDir(const std::string& name);

// Whole-file access in binary, without the library.
std::string readBytes(const std::filesystem::path& path);
void writeBytes(const std::filesystem::path& path, const std::string& bytes);

// The lines of a batch file's bytes, each break being "\r\n"; a stray "\r" or
// "\n" stays inside its line, and the text after the last break is the last
// line (empty when the bytes end with a break).
std::vector<std::string> crlfLines(const std::string& bytes);

} // namespace klxtest

#endif // KLX_TEST_FILES_H
