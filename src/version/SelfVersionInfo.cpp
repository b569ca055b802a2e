// The library's own module may not be a PE image (it is not on POSIX hosts),
// and even where it is, its version must match the build, so its version tree
// is made here rather than read from a file. The tree has the layout of a
// compiled version resource, so that the same queries read it.
#include "version/SelfVersionInfo.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// The build passes the project version; a build without it must not quietly
// report 0.0.0.0.
#if !defined(KLXCORE_VERSION_MAJOR) || !defined(KLXCORE_VERSION_MINOR) ||                          \
    !defined(KLXCORE_VERSION_PATCH)
#error "KLXCORE_VERSION_MAJOR, _MINOR and _PATCH must be defined by the build"
#endif

namespace klx {
namespace version {

const char* const kSelfModuleName = "KlxCore.dll";

namespace {

const std::uint32_t kMajor = KLXCORE_VERSION_MAJOR;
const std::uint32_t kMinor = KLXCORE_VERSION_MINOR;
const std::uint32_t kPatch = KLXCORE_VERSION_PATCH;
const std::uint32_t kBuild = 0;

void put16(std::string& bytes, std::size_t at, std::uint32_t value) {
    bytes[at] = static_cast<char>(value & 0xFF);
    bytes[at + 1] = static_cast<char>((value >> 8) & 0xFF);
}

void put32(std::string& bytes, std::size_t at, std::uint32_t value) {
    put16(bytes, at, value & 0xFFFF);
    put16(bytes, at + 2, value >> 16);
}

void pad4(std::string& bytes) {
    while (bytes.size() % 4 != 0)
        bytes += '\0';
}

// UTF-16LE of an ASCII text, with its terminator.
std::string utf16z(const std::string& text) {
    std::string bytes((text.size() + 1) * 2, '\0');
    for (std::size_t i = 0; i < text.size(); ++i)
        put16(bytes, 2 * i, static_cast<unsigned char>(text[i]));
    return bytes;
}

struct Node {
    std::string key;
    bool text;
    std::string value; // encoded bytes
    std::vector<Node> children;
};

Node textNode(const std::string& key, const std::string& value) {
    return Node{key, true, utf16z(value), {}};
}

// Header (wLength, wValueLength, wType), key, padding, value, then each
// child on a 4-byte boundary; wLength leaves out padding after the last
// child. A text value's length counts WORDs.
std::string encode(const Node& node) {
    std::string bytes(6, '\0');
    bytes += utf16z(node.key);
    pad4(bytes);
    bytes += node.value;
    for (const Node& child : node.children) {
        pad4(bytes);
        bytes += encode(child);
    }
    put16(bytes, 0, static_cast<std::uint32_t>(bytes.size()));
    put16(bytes, 2,
          static_cast<std::uint32_t>(node.text ? node.value.size() / 2 : node.value.size()));
    put16(bytes, 4, node.text ? 1 : 0);
    return bytes;
}

std::string versionText() {
    return std::to_string(kMajor) + "." + std::to_string(kMinor) + "." + std::to_string(kPatch) +
           "." + std::to_string(kBuild);
}

} // namespace

bool isSelfModule(const std::string& module) {
    const std::string self = kSelfModuleName;
    if (module.size() != self.size())
        return false;
    for (std::size_t i = 0; i < self.size(); ++i) {
        char a = module[i];
        char b = self[i];
        if (a >= 'A' && a <= 'Z')
            a = static_cast<char>(a - 'A' + 'a');
        if (b >= 'A' && b <= 'Z')
            b = static_cast<char>(b - 'A' + 'a');
        if (a != b)
            return false;
    }
    return true;
}

std::string selfVersionTree() {
    // VS_FIXEDFILEINFO: signature, structure version 1.0, file and product
    // versions, then flags, VOS_NT_WINDOWS32 and VFT_DLL.
    std::string fixed(52, '\0');
    put32(fixed, 0, 0xFEEF04BDu);
    put32(fixed, 4, 0x00010000u);
    put32(fixed, 8, (kMajor << 16) | kMinor);
    put32(fixed, 12, (kPatch << 16) | kBuild);
    put32(fixed, 16, (kMajor << 16) | kMinor);
    put32(fixed, 20, (kPatch << 16) | kBuild);
    put32(fixed, 32, 0x00040004u);
    put32(fixed, 36, 2u);

    const std::string version = versionText();
    Node table{"040904b0",
               true,
               "",
               {textNode("FileDescription", "KlxCore utility class library"),
                textNode("FileVersion", version), textNode("InternalName", "KlxCore"),
                textNode("OriginalFilename", kSelfModuleName), textNode("ProductName", "KlxCore"),
                textNode("ProductVersion", version)}};
    Node stringInfo{"StringFileInfo", true, "", {table}};

    std::string translation(4, '\0');
    put16(translation, 0, 0x0409);
    put16(translation, 2, 0x04b0);
    Node varInfo{"VarFileInfo", true, "", {Node{"Translation", false, translation, {}}}};

    Node root{"VS_VERSION_INFO", false, fixed, {stringInfo, varInfo}};
    return encode(root);
}

} // namespace version
} // namespace klx
