// Version resources read from PE images that the test builds itself: the
// lookups of the fixed information, translations and texts, the files that
// have none, and images broken in every way a file can be.
#include "platform/Platform.h"
#include "platform/posix/HostPaths.h"

#include "TestFiles.h"
#include "VersionImages.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

using namespace klx::platform;
using namespace klxtest;
namespace fs = std::filesystem;

namespace {

const char kProductName[] = "\\StringFileInfo\\040904b0\\ProductName";

std::uint32_t word32(const void* data, std::size_t at) {
    const unsigned char* p = static_cast<const unsigned char*>(data) + at;
    return p[0] | (p[1] << 8) | (p[2] << 16) | (std::uint32_t(p[3]) << 24);
}

// The block of `path`, or an empty one when the file has none.
std::vector<unsigned char> readBlock(const std::string& path) {
    const VersionInfoSizeResult size = fileVersionInfoSize(path);
    if (size.error != 0 || size.size == 0)
        return {};
    std::vector<unsigned char> block(size.size);
    if (fileVersionInfo(path, block.data(), block.size()) != 0)
        return {};
    return block;
}

std::string text(std::vector<unsigned char>& block, const std::string& subBlock) {
    const VersionValueResult value = queryVersionValue(block.data(), block.size(), subBlock);
    if (value.error != 0)
        return "<none>";
    return std::string(static_cast<const char*>(value.data), value.length);
}

// Checks everything the sample tree holds; false at the first difference.
bool holdsSample(std::vector<unsigned char>& block) {
    const VersionValueResult fixed = queryVersionValue(block.data(), block.size(), "\\");
    const VersionValueResult pairs =
        queryVersionValue(block.data(), block.size(), "\\VarFileInfo\\Translation");
    return fixed.error == 0 && fixed.length == 52 && word32(fixed.data, 8) == 0x00010002u &&
           word32(fixed.data, 16) == 0x00050002u && word32(fixed.data, 20) == 7u &&
           pairs.error == 0 && pairs.length == 8 && word32(pairs.data, 0) == 0x04b00409u &&
           text(block, kProductName) == "Prod\xc3\xbc"
                                        "ct \xe2\x98\x83 \xf0\x9d\x84\x9e";
}

// Every query a reader makes, on whatever block it got; must not crash.
void queryAll(std::vector<unsigned char>& block) {
    for (const char* sub : {"\\", "\\VarFileInfo\\Translation", kProductName,
                            "\\StringFileInfo\\040704e4\\ProductName", "\\StringFileInfo"})
        queryVersionValue(block.data(), block.size(), sub);
}

// Writes a new file each time: emptying an existing one makes ext4 flush it
// to disk when it is closed.
void rewrite(const fs::path& path, const std::string& bytes) {
    fs::remove(path);
    writeBytes(path, bytes);
}

std::string writeImage(const std::string& name, const std::string& bytes) {
    const fs::path path = freshDir(name) / "module.dll";
    writeBytes(path, bytes);
    return path.string();
}

} // namespace

TEST(PlatformVersionResource, ReadsPe32AndPe32Plus) {
    for (bool plus : {false, true}) {
        SCOPED_TRACE(plus ? "PE32+" : "PE32");
        const std::string tree = sampleVersionTree();
        const std::string path = writeImage(plus ? "plus" : "pe32", peImage(plus, {{16, tree}}));

        const VersionInfoSizeResult size = fileVersionInfoSize(path);
        ASSERT_EQ(size.error, 0u);
        ASSERT_GE(size.size, tree.size());
        std::vector<unsigned char> block(size.size);
        EXPECT_EQ(fileVersionInfo(path, block.data(), block.size() - 1),
                  DWORD(ERROR_INSUFFICIENT_BUFFER));
        ASSERT_EQ(fileVersionInfo(path, block.data(), block.size()), 0u);
        EXPECT_EQ(std::memcmp(block.data(), tree.data(), tree.size()), 0);
        EXPECT_TRUE(holdsSample(block));

        // Translations: both pairs, in order.
        VersionValueResult pairs =
            queryVersionValue(block.data(), block.size(), "\\VarFileInfo\\Translation");
        ASSERT_EQ(pairs.length, 8u);
        EXPECT_EQ(word32(pairs.data, 4), 0x04e40407u);

        // Names match without regard to case, separators may repeat; each
        // text keeps its own place, so an earlier one stays valid.
        const VersionValueResult first =
            queryVersionValue(block.data(), block.size(), kProductName);
        EXPECT_EQ(text(block, "\\\\stringfileinfo\\040904B0\\\\PRODUCTNAME\\"),
                  text(block, kProductName));
        EXPECT_EQ(text(block, "\\StringFileInfo\\040704e4\\ProductName"), "Produkt");
        EXPECT_EQ(text(block, "\\StringFileInfo\\040904b0\\CompanyName"), "Keldmar");
        EXPECT_EQ(text(block, "\\StringFileInfo\\040704e4\\Comments"), "");
        EXPECT_EQ(std::strcmp(static_cast<const char*>(first.data),
                              "Prod\xc3\xbc"
                              "ct \xe2\x98\x83 \xf0\x9d\x84\x9e"),
                  0);
        // The block tells its own size.
        EXPECT_EQ(queryVersionValue(block.data(), kProductName).data, first.data);

        for (const char* missing :
             {"\\StringFileInfo\\040904b0\\Missing", "\\StringFileInfo\\040904b1\\ProductName",
              "\\VarFileInfo\\Translatio", "\\StringFileInfo\\040904b0\\ProductNameX", "\\X"})
            EXPECT_EQ(queryVersionValue(block.data(), block.size(), missing).data, nullptr)
                << missing;
        // Binary values need no text room; texts do.
        const std::size_t rawOnly = tree.size();
        EXPECT_EQ(queryVersionValue(block.data(), rawOnly, "\\").error, 0u);
        EXPECT_NE(queryVersionValue(block.data(), rawOnly, kProductName).error, 0u);
        EXPECT_NE(queryVersionValue(block.data(), rawOnly - 1, "\\").error, 0u);
        EXPECT_NE(queryVersionValue(nullptr, 100, "\\").error, 0u);
    }

    // Without the signature, the root's value is no fixed information.
    std::string unsigned_ = sampleVersionTree();
    unsigned_[unsigned_.find(fixedFileInfo(0x00010002u, 0x00030004u, 0x00050002u, 7u))] = 0;
    std::vector<unsigned char> block =
        readBlock(writeImage("nosig", peImage(false, {{16, unsigned_}})));
    ASSERT_FALSE(block.empty());
    EXPECT_NE(queryVersionValue(block.data(), block.size(), "\\").error, 0u);
    EXPECT_EQ(text(block, "\\StringFileInfo\\040704e4\\ProductName"), "Produkt");
}

TEST(PlatformVersionResource, FilesWithoutVersion) {
    const std::string tree = sampleVersionTree();
    struct Case {
        std::string path;
        DWORD error;
    };
    const fs::path dir = freshDir("without");
    writeBytes(dir / "text.dll", "MZ but not an image at all, just text");
    writeBytes(dir / "empty.dll", "");
    writeBytes(dir / "elf.so", "\x7f"
                               "ELF\x02\x01\x01");
    const std::vector<Case> cases = {
        {writeImage("nores", peImage(true, {})), kErrorResourceTypeNotFound},
        {writeImage("icons", peImage(false, {{3, "icon"}, {14, "group"}})),
         kErrorResourceTypeNotFound},
        {(dir / "text.dll").string(), DWORD(ERROR_BAD_EXE_FORMAT)},
        {(dir / "empty.dll").string(), DWORD(ERROR_BAD_EXE_FORMAT)},
        {(dir / "elf.so").string(), DWORD(ERROR_BAD_EXE_FORMAT)},
        {(dir / "missing.dll").string(), DWORD(ERROR_FILE_NOT_FOUND)},
        {(dir / "nodir" / "missing.dll").string(), DWORD(ERROR_PATH_NOT_FOUND)},
        {dir.string(), DWORD(ERROR_ACCESS_DENIED)},
    };
    for (const Case& c : cases) {
        const VersionInfoSizeResult size = fileVersionInfoSize(c.path);
        EXPECT_EQ(size.size, 0u) << c.path;
        EXPECT_EQ(size.error, c.error) << c.path;
        unsigned char buffer[512];
        EXPECT_EQ(fileVersionInfo(c.path, buffer, sizeof buffer), c.error) << c.path;
    }

    EXPECT_EQ(fileVersionInfoSize("").size, 0u);

    // RT_VERSION among other types is found wherever it is listed.
    std::vector<unsigned char> block =
        readBlock(writeImage("mixed", peImage(true, {{3, "icon"}, {16, tree}, {24, "<m/>"}})));
    EXPECT_TRUE(holdsSample(block));
}

TEST(PlatformVersionResource, WindowsAndCygwinPaths) {
    const fs::path dir = fs::path(prefixDirectory()) / "drive_c" / "Program Files" / "Tool";
    fs::create_directories(dir);
    writeBytes(dir / "Tool.dll", peImage(false, {{16, sampleVersionTree()}}));
    for (const char* path : {"C:\\Program Files\\Tool\\Tool.dll", "c:/PROGRAM FILES/tool/TOOL.DLL",
                             "/cygdrive/c/program files/Tool/tool.dll"}) {
        std::vector<unsigned char> block = readBlock(path);
        EXPECT_TRUE(holdsSample(block)) << path;
    }
    EXPECT_EQ(fileVersionInfoSize("C:\\Program Files\\Tool\\Other.dll").error,
              DWORD(ERROR_FILE_NOT_FOUND));
}

TEST(PlatformVersionResource, TruncatedAndCorruptedImages) {
    for (bool plus : {false, true}) {
        SCOPED_TRACE(plus ? "PE32+" : "PE32");
        const std::string image = peImage(plus, {{16, sampleVersionTree()}});
        const fs::path path = freshDir(plus ? "cut-plus" : "cut") / "m.dll";

        // Cut at every byte: the version is read right or not at all.
        for (std::size_t length = 0; length <= image.size(); ++length) {
            rewrite(path, image.substr(0, length));
            std::vector<unsigned char> block = readBlock(path.string());
            if (!block.empty()) {
                EXPECT_TRUE(holdsSample(block)) << length;
            }
        }

        // Every byte of the headers and of the resource section's data set
        // to 0x00 and to 0xFF in turn (the rest is padding): whatever is read
        // must be safe to query.
        const std::size_t headers = 0x40 + 24 + (plus ? 240 : 224) + 40;
        for (std::size_t at = 0; at < image.size(); ++at) {
            if (at >= headers && at < kHeadersSize)
                continue;
            if (at >= kHeadersSize + 0x58 + sampleVersionTree().size())
                break;
            for (char value : {'\x00', '\xff'}) {
                std::string bad = image;
                bad[at] = value;
                rewrite(path, bad);
                std::vector<unsigned char> block = readBlock(path.string());
                queryAll(block);
            }
        }
    }
}

TEST(PlatformVersionResource, MalformedLengthsAndLoops) {
    const std::string tree = sampleVersionTree();
    ImageLayout layout;
    const std::string image = peImage(false, {{16, tree}}, &layout);
    const std::size_t root = layout.data[0];
    const std::size_t firstChild = root + 6 + 2 * 16 + 2 + 52; // after key, padding and value
    ASSERT_EQ(image.substr(firstChild + 6, 28), utf16(u"StringFileInfo"));

    auto fails = [](const std::string& name, const std::string& bytes) {
        const std::string path = writeImage(name, bytes);
        const VersionInfoSizeResult size = fileVersionInfoSize(path);
        unsigned char buffer[4096];
        return size.size == 0 && size.error != 0 &&
               fileVersionInfo(path, buffer, sizeof buffer) != 0;
    };
    auto with16 = [&](std::size_t at, std::uint32_t value) {
        std::string bytes = image;
        put16(bytes, at, value);
        return bytes;
    };
    auto with32 = [&](std::size_t at, std::uint32_t value) {
        std::string bytes = image;
        put32(bytes, at, value);
        return bytes;
    };

    // Version tree lengths: zero, past the resource data, a child past its
    // parent, a value past its node.
    EXPECT_TRUE(fails("root0", with16(root, 0)));
    EXPECT_TRUE(fails("rootbig", with16(root, 0xFFFF)));
    EXPECT_TRUE(fails("child0", with16(firstChild, 0)));
    EXPECT_TRUE(fails("childbig", with16(firstChild, static_cast<std::uint32_t>(tree.size()))));
    EXPECT_TRUE(fails("valuebig", with16(root + 2, 0x4000)));
    // The resource's size is smaller than its tree.
    EXPECT_TRUE(fails("datasize", with32(layout.dataEntries[0] + 4, 8)));

    // A text whose length counts bytes instead of WORDs is cut at its node's
    // end.
    const std::size_t company = image.find(utf16(u"CompanyName")) - 6;
    std::vector<unsigned char> bytesCounted =
        readBlock(writeImage("bytes", with16(company + 2, 16)));
    EXPECT_EQ(text(bytesCounted, "\\StringFileInfo\\040904b0\\CompanyName"), "Keldmar");
    EXPECT_TRUE(holdsSample(bytesCounted));

    // Resource directory: entries that point back to the root or to
    // themselves, an entry count beyond the section, a data RVA outside it.
    const std::size_t section = layout.resourceSection;
    EXPECT_TRUE(fails("loop-root", with32(section + 20, 0x80000000u)));
    EXPECT_TRUE(fails("loop-name", with32(layout.nameDirectories[0] + 20, 0x80000000u)));
    EXPECT_TRUE(fails(
        "loop-self",
        with32(layout.languageDirectories[0] + 20,
               0x80000000u | static_cast<std::uint32_t>(layout.languageDirectories[0] - section))));
    EXPECT_TRUE(fails("many", with16(section + 14, 0xFFFF)));
    EXPECT_TRUE(fails("rva", with32(layout.dataEntries[0], 0xFFFFFFF0u)));
    EXPECT_TRUE(fails("rva-end", with32(layout.dataEntries[0], kSectionRva + 0x1FE)));

    // Headers: e_lfanew far outside, the section's file offset and size
    // overflowing, an unknown optional header, too few data directories.
    EXPECT_TRUE(fails("lfanew", with32(0x3C, 0xFFFFFFF0u)));
    const std::size_t table = 0x40 + 24 + 224;
    EXPECT_TRUE(fails("rawptr", with32(table + 20, 0xFFFFFF00u)));
    EXPECT_TRUE(fails("magic", with16(0x40 + 24, 0x107)));
    EXPECT_TRUE(fails("dirs", with32(0x40 + 24 + 92, 2)));
    EXPECT_TRUE(fails("sections", with16(0x40 + 6, 0xFFFF)));
    // Counts and sizes that overstate what is there, where nothing past the
    // real data is needed, do not hide the version.
    for (const std::string& bytes :
         {with16(layout.nameDirectories[0] + 12, 0xFFFF), with32(table + 16, 0xFFFFFFFFu)}) {
        std::vector<unsigned char> block = readBlock(writeImage("over", bytes));
        EXPECT_TRUE(holdsSample(block));
    }

    // A key that runs to the end of its node without a terminator.
    std::string open(6, '\0');
    open += utf16(u"VS_VERSION_INFO");
    put16(open, 0, static_cast<std::uint32_t>(open.size()));
    EXPECT_TRUE(fails("key", peImage(true, {{16, open}})));
    // The same tree with its terminator is a tree without values.
    open += std::string(2, '\0');
    put16(open, 0, static_cast<std::uint32_t>(open.size()));
    std::vector<unsigned char> block = readBlock(writeImage("keyok", peImage(true, {{16, open}})));
    ASSERT_FALSE(block.empty());
    EXPECT_NE(queryVersionValue(block.data(), block.size(), "\\").error, 0u);

    // Deep nesting is refused rather than followed.
    VersionNode deep{u"VS_VERSION_INFO", false, "", {}};
    for (int i = 0; i < 12; ++i)
        deep = VersionNode{u"n", false, "", {deep}};
    EXPECT_TRUE(fails("deep", peImage(false, {{16, encodeNode(deep)}})));
}

TEST(PlatformVersionResource, QueriesOnArbitraryBlocks) {
    // Random bytes under a plausible root: queries stay inside the block.
    std::uint32_t seed = 12345;
    auto next = [&seed]() {
        seed = seed * 1103515245u + 12345u;
        return static_cast<unsigned char>(seed >> 16);
    };
    const std::string tree = sampleVersionTree();
    for (int round = 0; round < 3000; ++round) {
        std::vector<unsigned char> block(tree.begin(), tree.end());
        block.resize(block.size() * 3);
        const int flips = 1 + round % 8;
        for (int i = 0; i < flips; ++i)
            block[(next() << 8 | next()) % tree.size()] = next();
        if (round % 3 == 0)
            block.resize((next() << 8 | next()) % block.size() + 1);
        queryAll(block);
        queryVersionValue(block.data(), block.size(), "\\StringFileInfo\\040904b0\\CompanyName");
    }
}
