// Shared pieces of the fuzz targets: invariant checks, a private temporary
// directory, whole-file access behind the library's back, and the plain
// line model that the text file fuzzers compare the library against.
#ifndef KLX_FUZZ_SUPPORT_H
#define KLX_FUZZ_SUPPORT_H

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// A broken invariant is a crash for libFuzzer: it keeps the input.
#define KLX_FUZZ_CHECK(condition)                                                                  \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "invariant failed: %s (%s:%d)\n", #condition, __FILE__,           \
                         __LINE__);                                                                \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)

namespace klxfuzz {

// The process's own directory under $TMPDIR, or /tmp. HOME and KLX_PREFIX
// point into it so that nothing the library does reaches the real home; it is
// removed when the process exits normally (scripts/run-fuzzers also gives each
// run a TMPDIR of its own, which it removes after a crash).
inline std::filesystem::path& tempRoot() {
    static std::filesystem::path root;
    return root;
}

inline void removeTempRoot() {
    std::error_code ignored;
    std::filesystem::remove_all(tempRoot(), ignored);
}

inline void setUpTempRoot() {
    if (!tempRoot().empty())
        return;
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern =
        std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/klx-fuzz-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        std::perror("mkdtemp");
        std::abort();
    }
    tempRoot() = pattern;
    std::filesystem::create_directories(tempRoot() / "home");
    setenv("HOME", (tempRoot() / "home").c_str(), 1);
    setenv("KLX_PREFIX", (tempRoot() / "prefix").c_str(), 1);
    std::atexit(removeTempRoot);
}

inline std::string readBytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    KLX_FUZZ_CHECK(in.good());
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeBytes(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    KLX_FUZZ_CHECK(!out.fail());
}

// What the text file reads: the bytes up to the first NUL.
inline std::string textUpToNul(const std::string& bytes) {
    return bytes.substr(0, bytes.find('\0'));
}

inline bool hasLineBreakOrNul(const std::string& text) {
    return text.find_first_of(std::string("\r\n\0", 3)) != std::string::npos;
}

// Lines of a text: "\r\n", "\n" and "\r" each end a line; the text after the
// last break is the last line, even when empty; no text gives no line.
inline std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    if (text.empty())
        return lines;
    std::string line;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c != '\r' && c != '\n') {
            line += c;
            continue;
        }
        if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n')
            ++i;
        lines.push_back(line);
        line.clear();
    }
    lines.push_back(line);
    return lines;
}

inline std::string joinLines(const std::vector<std::string>& lines, const std::string& lineBreak) {
    std::string text;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i != 0)
            text += lineBreak;
        text += lines[i];
    }
    return text;
}

} // namespace klxfuzz

#endif // KLX_FUZZ_SUPPORT_H
