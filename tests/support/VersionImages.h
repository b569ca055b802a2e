// Builds small PE32 and PE32+ images with a resource section, and the
// VS_VERSIONINFO trees to put in them, for the tests and the fuzz seeds of the
// version resource reader.
#ifndef KLX_TEST_VERSION_IMAGES_H
#define KLX_TEST_VERSION_IMAGES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace klxtest {

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
inline std::string fixedFileInfo(std::uint32_t fileMS, std::uint32_t fileLS,
                                 std::uint32_t productMS, std::uint32_t productLS) {
    std::string bytes(52, '\0');
    put32(bytes, 0, 0xFEEF04BDu);
    put32(bytes, 4, 0x00010000u);
    put32(bytes, 8, fileMS);
    put32(bytes, 12, fileLS);
    put32(bytes, 16, productMS);
    put32(bytes, 20, productLS);
    put32(bytes, 32, 0x00040004u); // VOS_NT_WINDOWS32
    put32(bytes, 36, 2u);          // VFT_DLL
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

// One resource of an image: its type ID and data, under name ID 1 and
// language 0x409.
struct Resource {
    std::uint16_t type;
    std::string data;
};

// Where the parts of a built image lie in its file.
struct ImageLayout {
    std::size_t resourceSection = 0; // file offset of the resource directory
    std::vector<std::size_t> nameDirectories;
    std::vector<std::size_t> languageDirectories;
    std::vector<std::size_t> dataEntries;
    std::vector<std::size_t> data; // each resource's bytes
};

const std::uint32_t kSectionRva = 0x1000;
const std::size_t kHeadersSize = 0x200;

// A DLL image (PE32+ when `plus`) with one section: the resource directory
// with `resources`, or plain data and no resource directory when there are
// none.
inline std::string peImage(bool plus, const std::vector<Resource>& resources,
                           ImageLayout* layout = nullptr) {
    ImageLayout where;
    where.resourceSection = kHeadersSize;
    std::string section;
    if (resources.empty()) {
        section = "plain data";
    } else {
        const std::size_t count = resources.size();
        section.assign(16 + 8 * count + 64 * count, '\0');
        put16(section, 14, static_cast<std::uint32_t>(count));
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t nameDir = 16 + 8 * count + 64 * i;
            const std::size_t languageDir = nameDir + 24;
            const std::size_t entry = nameDir + 48;
            put32(section, 16 + 8 * i, resources[i].type);
            put32(section, 20 + 8 * i, 0x80000000u | static_cast<std::uint32_t>(nameDir));
            put16(section, nameDir + 14, 1);
            put32(section, nameDir + 16, 1);
            put32(section, nameDir + 20, 0x80000000u | static_cast<std::uint32_t>(languageDir));
            put16(section, languageDir + 14, 1);
            put32(section, languageDir + 16, 0x409);
            put32(section, languageDir + 20, static_cast<std::uint32_t>(entry));
            where.nameDirectories.push_back(kHeadersSize + nameDir);
            where.languageDirectories.push_back(kHeadersSize + languageDir);
            where.dataEntries.push_back(kHeadersSize + entry);
        }
        for (std::size_t i = 0; i < count; ++i) {
            pad(section, 8);
            const std::size_t entry = where.dataEntries[i] - kHeadersSize;
            put32(section, entry, kSectionRva + static_cast<std::uint32_t>(section.size()));
            put32(section, entry + 4, static_cast<std::uint32_t>(resources[i].data.size()));
            where.data.push_back(kHeadersSize + section.size());
            section += resources[i].data;
        }
    }
    const std::size_t virtualSize = section.size();
    pad(section, 0x200);

    std::string image(kHeadersSize, '\0');
    image[0] = 'M';
    image[1] = 'Z';
    const std::size_t nt = 0x40;
    put32(image, 0x3C, nt);
    image.replace(nt, 4, std::string("PE\0\0", 4));
    const std::size_t fileHeader = nt + 4;
    const std::size_t optionalSize = plus ? 240 : 224;
    put16(image, fileHeader, plus ? 0x8664 : 0x14C);
    put16(image, fileHeader + 2, 1);
    put16(image, fileHeader + 16, static_cast<std::uint32_t>(optionalSize));
    put16(image, fileHeader + 18, 0x2102);
    const std::size_t optional = fileHeader + 20;
    put16(image, optional, plus ? 0x20B : 0x10B);
    put32(image, optional + 16, kSectionRva); // entry point
    put32(image, optional + (plus ? 108 : 92), 16);
    const std::size_t directories = optional + (plus ? 112 : 96);
    if (!resources.empty()) {
        put32(image, directories + 16, kSectionRva);
        put32(image, directories + 20, static_cast<std::uint32_t>(virtualSize));
    }
    const std::size_t table = optional + optionalSize;
    image.replace(table, 6, resources.empty() ? ".data\0" : ".rsrc\0", 6);
    put32(image, table + 8, static_cast<std::uint32_t>(virtualSize));
    put32(image, table + 12, kSectionRva);
    put32(image, table + 16, static_cast<std::uint32_t>(section.size()));
    put32(image, table + 20, static_cast<std::uint32_t>(kHeadersSize));
    put32(image, table + 36, 0x40000040u); // initialised data, readable
    if (layout != nullptr)
        *layout = where;
    return image + section;
}

// The tree that the tests and the fuzz seeds use most: product version
// 5.2.0.7, file version 1.2.3.4, two string tables and two translations.
inline std::string sampleVersionTree() {
    return versionTree(
        fixedFileInfo(0x00010002u, 0x00030004u, 0x00050002u, 0x00000007u),
        {StringTable{u"040904b0",
                     {{u"CompanyName", u"Keldmar"},
                      {u"ProductName", u"Prod\u00fcct \u2603 \U0001D11E"},
                      {u"FileVersion", u"1.2.3.4"}}},
         StringTable{u"040704E4", {{u"ProductName", u"Produkt"}, {u"Comments", u""}}}},
        {{0x0409, 0x04b0}, {0x0407, 0x04e4}});
}

// An image whose only translation 0409/04b0 has a ProductName `product` (no
// ProductName when empty) and a CompanyName.
inline std::string productImage(std::uint32_t productMS, std::uint32_t productLS,
                                const std::u16string& product) {
    std::vector<std::pair<std::u16string, std::u16string>> strings = {{u"CompanyName", u"Keldmar"}};
    if (!product.empty())
        strings.push_back({u"ProductName", product});
    return peImage(false,
                   {{16, versionTree(fixedFileInfo(0x00090009u, 0x00090009u, productMS, productLS),
                                     {{u"040904b0", strings}}, {{0x0409, 0x04b0}})}});
}

} // namespace klxtest

#endif // KLX_TEST_VERSION_IMAGES_H
