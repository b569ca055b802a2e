// KlxCore: builds VS_VERSIONINFO trees, laid out as a compiled version
// resource: the library's own, the one the SDK's programs carry on hosts where
// they are not PE images (written at build time), and the tests' images.
// Header-only, so that the build-time generator needs no library.
#ifndef KLX_VERSION_VERSION_TREE_H
#define KLX_VERSION_VERSION_TREE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace klx {
namespace version {

inline void put16(std::string& bytes, std::size_t at, std::uint32_t value) {
    bytes[at] = static_cast<char>(value & 0xFF);
    bytes[at + 1] = static_cast<char>((value >> 8) & 0xFF);
}

inline void put32(std::string& bytes, std::size_t at, std::uint32_t value) {
    put16(bytes, at, value & 0xFFFF);
    put16(bytes, at + 2, value >> 16);
}

inline void pad(std::string& bytes, std::size_t alignment) {
    while (bytes.size() % alignment != 0)
        bytes += '\0';
}

// UTF-16LE bytes of a text, without a terminator.
inline std::string utf16(const std::u16string& text) {
    std::string bytes(text.size() * 2, '\0');
    for (std::size_t i = 0; i < text.size(); ++i)
        put16(bytes, 2 * i, text[i]);
    return bytes;
}

// The UTF-16 form of an ASCII text.
inline std::u16string ascii16(const std::string& text) {
    return std::u16string(text.begin(), text.end());
}

// One node of a version tree. A text value is stored as UTF-16 and its
// wValueLength counts WORDs; a binary one counts bytes.
struct VersionNode {
    std::u16string key;
    bool text = false;
    std::string value;
    std::vector<VersionNode> children;
};

inline VersionNode stringNode(const std::u16string& key, const std::u16string& value) {
    return VersionNode{key, true, utf16(value + u'\0'), {}};
}

// Encodes a node that starts on a 4-byte boundary: header, key, padding,
// value, then each child on a 4-byte boundary. wLength leaves out the last
// child's padding.
inline std::string encodeNode(const VersionNode& node) {
    std::string bytes(6, '\0');
    bytes += utf16(node.key + u'\0');
    pad(bytes, 4);
    bytes += node.value;
    for (const VersionNode& child : node.children) {
        pad(bytes, 4);
        bytes += encodeNode(child);
    }
    put16(bytes, 0, static_cast<std::uint32_t>(bytes.size()));
    put16(bytes, 2,
          static_cast<std::uint32_t>(node.text ? node.value.size() / 2 : node.value.size()));
    put16(bytes, 4, node.text ? 1 : 0);
    return bytes;
}

// VS_FIXEDFILEINFO with its signature and structure version 1.0.
// `fileType` is VFT_APP (1) or VFT_DLL (2).
inline std::string fixedFileInfo(std::uint32_t fileMS, std::uint32_t fileLS,
                                 std::uint32_t productMS, std::uint32_t productLS,
                                 std::uint32_t fileType = 2) {
    std::string bytes(52, '\0');
    put32(bytes, 0, 0xFEEF04BDu);
    put32(bytes, 4, 0x00010000u);
    put32(bytes, 8, fileMS);
    put32(bytes, 12, fileLS);
    put32(bytes, 16, productMS);
    put32(bytes, 20, productLS);
    put32(bytes, 32, 0x00040004u); // VOS_NT_WINDOWS32
    put32(bytes, 36, fileType);
    return bytes;
}

struct StringTable {
    std::u16string key; // language and code page, eight hexadecimal digits
    std::vector<std::pair<std::u16string, std::u16string>> strings;
};

// A whole version tree: the fixed information, the string tables, and the
// translations as (language, code page) pairs.
inline std::string versionTree(const std::string& fixed, const std::vector<StringTable>& tables,
                               const std::vector<std::pair<std::uint16_t, std::uint16_t>>& pairs) {
    VersionNode root{u"VS_VERSION_INFO", false, fixed, {}};
    VersionNode stringInfo{u"StringFileInfo", true, "", {}};
    for (const StringTable& table : tables) {
        VersionNode node{table.key, true, "", {}};
        for (const auto& entry : table.strings)
            node.children.push_back(stringNode(entry.first, entry.second));
        stringInfo.children.push_back(node);
    }
    root.children.push_back(stringInfo);
    std::string translation;
    for (const auto& pair : pairs) {
        std::string word(4, '\0');
        put16(word, 0, pair.first);
        put16(word, 2, pair.second);
        translation += word;
    }
    VersionNode var{u"Translation", false, translation, {}};
    root.children.push_back(VersionNode{u"VarFileInfo", true, "", {var}});
    return encodeNode(root);
}

} // namespace version
} // namespace klx

#endif // KLX_VERSION_VERSION_TREE_H
