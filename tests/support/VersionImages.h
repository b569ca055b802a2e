// Builds small PE32 and PE32+ images with a resource section, and the
// VS_VERSIONINFO trees to put in them, for the tests and the fuzz seeds of the
// version resource reader.
#ifndef KLX_TEST_VERSION_IMAGES_H
#define KLX_TEST_VERSION_IMAGES_H

#include "version/VersionTree.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace klxtest {

using namespace klx::version;

// One resource of an image: its type ID, data and language, under name ID 1.
// Resources of the same type that follow each other are the languages of
// one name, in the order given.
struct Resource {
    std::uint16_t type;
    std::string data;
    std::uint16_t language = 0x409;
};

// Where each type's name directory lies in a built image's file.
struct ImageLayout {
    std::vector<std::size_t> nameDirectories;
};

const std::uint32_t kSectionRva = 0x1000;
const std::size_t kHeadersSize = 0x200;

// A DLL image (PE32+ when `plus`) with one section: the resource directory
// with `resources`, or plain data and no resource directory when there are
// none.
inline std::string peImage(bool plus, const std::vector<Resource>& resources,
                           ImageLayout* layout = nullptr) {
    // Each type: its first resource and its count.
    std::vector<std::pair<std::size_t, std::size_t>> types;
    for (std::size_t i = 0; i < resources.size(); ++i) {
        if (types.empty() || resources[types.back().first].type != resources[i].type)
            types.push_back({i, 0});
        ++types.back().second;
    }
    // The root, then per type its name directory, its language directory
    // and its data entries, then the data.
    std::string section(16 + 8 * types.size(), '\0');
    put16(section, 14, static_cast<std::uint32_t>(types.size()));
    std::vector<std::size_t> entries;
    for (std::size_t t = 0; t < types.size(); ++t) {
        const auto [first, count] = types[t];
        const std::size_t nameDir = section.size(), languageDir = nameDir + 24;
        section.append(24 + 16 + 24 * count, '\0');
        put32(section, 16 + 8 * t, resources[first].type);
        put32(section, 20 + 8 * t, 0x80000000u | static_cast<std::uint32_t>(nameDir));
        put16(section, nameDir + 14, 1);
        put32(section, nameDir + 16, 1);
        put32(section, nameDir + 20, 0x80000000u | static_cast<std::uint32_t>(languageDir));
        put16(section, languageDir + 14, static_cast<std::uint32_t>(count));
        for (std::size_t l = 0; l < count; ++l) {
            entries.push_back(languageDir + 16 + 8 * count + 16 * l);
            put32(section, languageDir + 16 + 8 * l, resources[first + l].language);
            put32(section, languageDir + 20 + 8 * l, static_cast<std::uint32_t>(entries.back()));
        }
        if (layout != nullptr)
            layout->nameDirectories.push_back(kHeadersSize + nameDir);
    }
    for (std::size_t i = 0; i < resources.size(); ++i) {
        pad(section, 8);
        put32(section, entries[i], kSectionRva + static_cast<std::uint32_t>(section.size()));
        put32(section, entries[i] + 4, static_cast<std::uint32_t>(resources[i].data.size()));
        section += resources[i].data;
    }
    if (resources.empty())
        section = "plain data";
    const std::size_t virtualSize = section.size();
    pad(section, 0x200);

    // DOS header, PE signature, file header, optional header with its data
    // directories, and the section table.
    std::string image(kHeadersSize, '\0');
    image.replace(0, 2, "MZ");
    put32(image, 0x3C, 0x40);
    image.replace(0x40, 4, std::string("PE\0\0", 4));
    const std::size_t optionalSize = plus ? 240 : 224, optional = 0x40 + 24;
    put16(image, 0x44, plus ? 0x8664 : 0x14C);
    put16(image, 0x46, 1);
    put16(image, 0x54, static_cast<std::uint32_t>(optionalSize));
    put16(image, 0x56, 0x2102);
    put16(image, optional, plus ? 0x20B : 0x10B);
    put32(image, optional + 16, kSectionRva); // entry point
    put32(image, optional + (plus ? 108 : 92), 16);
    if (!resources.empty()) {
        put32(image, optional + (plus ? 128 : 112), kSectionRva);
        put32(image, optional + (plus ? 132 : 116), static_cast<std::uint32_t>(virtualSize));
    }
    const std::size_t table = optional + optionalSize;
    image.replace(table, 6, resources.empty() ? ".data\0" : ".rsrc\0", 6);
    put32(image, table + 8, static_cast<std::uint32_t>(virtualSize));
    put32(image, table + 12, kSectionRva);
    put32(image, table + 16, static_cast<std::uint32_t>(section.size()));
    put32(image, table + 20, static_cast<std::uint32_t>(kHeadersSize));
    put32(image, table + 36, 0x40000040u); // initialised data, readable
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

// A host program in ELF form (ELF64 when `wide`, big-endian when `big`) whose
// sections are the section names and one section `name` holding `data`.
inline std::string elfImage(bool wide, bool big, const std::string& data,
                            const std::string& name = ".klxversion") {
    auto put = [big](std::string& bytes, std::size_t at, std::uint64_t value, unsigned size) {
        for (unsigned i = 0; i < size; ++i)
            bytes[at + (big ? size - 1 - i : i)] = static_cast<char>((value >> (8 * i)) & 0xFF);
    };
    const std::size_t headerSize = wide ? 64 : 52, entrySize = wide ? 64 : 40;
    // The identification: class, byte order and version 1.
    std::string image = {'\x7f', 'E', 'L', 'F', char(wide ? 2 : 1), char(big ? 2 : 1), 1};
    image.resize(headerSize, '\0');
    const std::string names = std::string("\0.shstrtab\0", 11) + name + '\0';
    const std::size_t dataAt = headerSize, namesAt = dataAt + data.size();
    image += data + names;
    pad(image, 8);
    const std::size_t tableAt = image.size();
    image += std::string(3 * entrySize, '\0');
    // Section 1 holds the names, section 2 the data.
    const std::size_t sections[2][4] = {{1, 3, namesAt, names.size()},
                                        {11, 1, dataAt, data.size()}};
    for (std::size_t i = 0; i < 2; ++i) {
        const std::size_t at = tableAt + (i + 1) * entrySize;
        put(image, at, sections[i][0], 4);
        put(image, at + 4, sections[i][1], 4);
        put(image, at + (wide ? 24 : 16), sections[i][2], wide ? 8 : 4);
        put(image, at + (wide ? 32 : 20), sections[i][3], wide ? 8 : 4);
    }
    put(image, wide ? 0x28 : 0x20, tableAt, wide ? 8 : 4);
    const std::size_t counts = wide ? 0x3A : 0x2E;
    put(image, counts, entrySize, 2);
    put(image, counts + 2, 3, 2);
    put(image, counts + 4, 1, 2);
    return image;
}

} // namespace klxtest

#endif // KLX_TEST_VERSION_IMAGES_H
