#include "TestFiles.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace klxtest {

namespace {
std::filesystem::path gRoot;
int gFreshCount = 0;
} // namespace

const std::filesystem::path& testRoot() {
    return gRoot;
}

void setTestRoot(const std::filesystem::path& root) {
    gRoot = root;
}

std::filesystem::path freshDir(const std::string& name) {
    std::filesystem::path dir = gRoot / "work" / (name + "-" + std::to_string(++gFreshCount));
    std::filesystem::create_directories(dir);
    return dir;
}

std::string readBytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw std::runtime_error("cannot read " + path.string());
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeBytes(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out)
        throw std::runtime_error("cannot write " + path.string());
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::vector<std::string> crlfLines(const std::string& bytes) {
    std::vector<std::string> lines;
    std::string::size_type from = 0;
    for (std::string::size_type at; (at = bytes.find("\r\n", from)) != std::string::npos;
         from = at + 2)
        lines.push_back(bytes.substr(from, at - from));
    lines.push_back(bytes.substr(from));
    return lines;
}

} // namespace klxtest
