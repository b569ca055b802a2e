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
#include <utility>
#include <vector>

using namespace klx::platform;
using namespace klxtest;
namespace fs = std::filesystem;

namespace {

const char kProductName[] = "\\StringFileInfo\\040904b0\\ProductName";
const char kProduct[] = "Prod\xc3\xbc"
                        "ct \xe2\x98\x83 \xf0\x9d\x84\x9e";

std::uint32_t word32(const void* data, std::size_t at) {
    const unsigned char* p = static_cast<const unsigned char*>(data) + at;
    return p[0] | (p[1] << 8) | (p[2] << 16) | (std::uint32_t(p[3]) << 24);
}

// The block of `path`, or an empty one when the file has none.
std::vector<unsigned char> readBlock(const std::string& path) {
    const VersionInfoSizeResult size = fileVersionInfoSize(path);
    std::vector<unsigned char> block(size.error == 0 ? size.size : 0);
    if (!block.empty() && fileVersionInfo(path, block.data(), block.size()) != 0)
        block.clear();
    return block;
}

std::string text(std::vector<unsigned char>& block, const std::string& subBlock) {
    const VersionValueResult value = queryVersionValue(block.data(), block.size(), subBlock);
    return value.error != 0 ? "<none>"
                            : std::string(static_cast<const char*>(value.data), value.length);
}

// Checks everything the sample tree holds; false at the first difference.
bool holdsSample(std::vector<unsigned char>& block) {
    const VersionValueResult fixed = queryVersionValue(block.data(), block.size(), "\\");
    const VersionValueResult pairs =
        queryVersionValue(block.data(), block.size(), "\\VarFileInfo\\Translation");
    return fixed.error == 0 && fixed.length == 52 && word32(fixed.data, 8) == 0x00010002u &&
           word32(fixed.data, 16) == 0x00050002u && word32(fixed.data, 20) == 7u &&
           pairs.error == 0 && pairs.length == 8 && word32(pairs.data, 0) == 0x04b00409u &&
           word32(pairs.data, 4) == 0x04e40407u && text(block, kProductName) == kProduct &&
           text(block, "\\StringFileInfo\\040904b0\\CompanyName") == "Keldmar" &&
           text(block, "\\StringFileInfo\\040704e4\\ProductName") == "Produkt";
}

// Every query a reader makes, on whatever block it got; must not crash.
void queryAll(std::vector<unsigned char>& block) {
    for (const char* sub : {"\\", "\\VarFileInfo\\Translation", kProductName,
                            "\\StringFileInfo\\040704e4\\ProductName", "\\StringFileInfo"})
        queryVersionValue(block.data(), block.size(), sub);
}

std::string writeImage(const std::string& name, const std::string& bytes) {
    const fs::path path = freshDir(name) / "module.dll";
    writeBytes(path, bytes);
    return path.string();
}

} // namespace

TEST(PlatformVersionResource, ReadsPe32AndPe32Plus) {
    const std::string tree = sampleVersionTree();
    for (bool plus : {false, true}) {
        SCOPED_TRACE(plus ? "PE32+" : "PE32");
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

        // Names match without regard to case, separators may repeat; each
        // text keeps its own place, so an earlier one stays valid, and the
        // block tells its own size.
        const VersionValueResult first = queryVersionValue(block.data(), kProductName);
        EXPECT_EQ(text(block, "\\\\stringfileinfo\\040904B0\\\\PRODUCTNAME\\"), kProduct);
        EXPECT_EQ(text(block, "\\StringFileInfo\\040704e4\\Comments"), "");
        EXPECT_EQ(std::strcmp(static_cast<const char*>(first.data), kProduct), 0);
        for (const char* missing :
             {"\\StringFileInfo\\040904b0\\Missing", "\\StringFileInfo\\040904b1\\ProductName",
              "\\VarFileInfo\\Translatio", "\\StringFileInfo\\040904b0\\ProductNameX", "\\X"})
            EXPECT_EQ(queryVersionValue(block.data(), block.size(), missing).data, nullptr)
                << missing;
        // Binary values need no text room; texts do.
        EXPECT_EQ(queryVersionValue(block.data(), tree.size(), "\\").error, 0u);
        EXPECT_NE(queryVersionValue(block.data(), tree.size(), kProductName).error, 0u);
        EXPECT_NE(queryVersionValue(block.data(), tree.size() - 1, "\\").error, 0u);
        EXPECT_NE(queryVersionValue(nullptr, 100, "\\").error, 0u);
    }

    // Without the signature, the root's value is no fixed information.
    std::string unsigned_ = tree;
    unsigned_[unsigned_.find(fixedFileInfo(0x00010002u, 0x00030004u, 0x00050002u, 7u))] = 0;
    std::vector<unsigned char> block =
        readBlock(writeImage("nosig", peImage(false, {{16, unsigned_}})));
    EXPECT_EQ(text(block, "\\"), "<none>");
    EXPECT_EQ(text(block, "\\StringFileInfo\\040704e4\\ProductName"), "Produkt");
}

TEST(PlatformVersionResource, FilesWithoutVersionAndPathForms) {
    const fs::path dir = freshDir("without");
    const fs::path tool = fs::path(prefixDirectory()) / "drive_c" / "Program Files" / "Tool";
    fs::create_directories(tool);
    const DWORD bad = ERROR_BAD_EXE_FORMAT, noType = kErrorResourceTypeNotFound;
    // clang-format off
    const std::vector<std::pair<std::string, DWORD>> cases = {
        {writeImage("nores", peImage(true, {})), noType},
        {writeImage("icons", peImage(false, {{3, "icon"}, {14, "group"}})), noType},
        {writeImage("text", "MZ but not an image at all, just text"), bad},
        {writeImage("empty", ""), bad}, {writeImage("elf", "\x7f" "ELF\x02\x01\x01"), bad},
        {dir.string(), DWORD(ERROR_ACCESS_DENIED)},
        {(dir / "missing.dll").string(), DWORD(ERROR_FILE_NOT_FOUND)},
        {"C:\\Program Files\\Tool\\Other.dll", DWORD(ERROR_FILE_NOT_FOUND)},
        {(dir / "nodir" / "missing.dll").string(), DWORD(ERROR_PATH_NOT_FOUND)}};
    // clang-format on
    for (const auto& c : cases) {
        const VersionInfoSizeResult size = fileVersionInfoSize(c.first);
        EXPECT_EQ(size.size, 0u) << c.first;
        EXPECT_EQ(size.error, c.second) << c.first;
        unsigned char buffer[512];
        EXPECT_EQ(fileVersionInfo(c.first, buffer, sizeof buffer), c.second) << c.first;
    }
    EXPECT_EQ(fileVersionInfoSize("").size, 0u);

    // RT_VERSION among other types is found wherever it is listed.
    std::vector<unsigned char> block = readBlock(
        writeImage("mixed", peImage(true, {{3, "icon"}, {16, sampleVersionTree()}, {24, "<m/>"}})));
    EXPECT_TRUE(holdsSample(block));

    // Windows and Cygwin paths on the emulated drive, in any case.
    writeBytes(tool / "Tool.dll", peImage(false, {{16, sampleVersionTree()}}));
    for (const char* path : {"C:\\Program Files\\Tool\\Tool.dll", "c:/PROGRAM FILES/tool/TOOL.DLL",
                             "/cygdrive/c/program files/Tool/tool.dll"}) {
        block = readBlock(path);
        EXPECT_TRUE(holdsSample(block)) << path;
    }
}

TEST(PlatformVersionResource, TruncatedAndCorruptedImages) {
    for (bool plus : {false, true}) {
        SCOPED_TRACE(plus ? "PE32+" : "PE32");
        const std::string image = peImage(plus, {{16, sampleVersionTree()}});
        const fs::path path = freshDir(plus ? "cut-plus" : "cut") / "m.dll";
        // A new file each time: emptying an existing one makes ext4 flush it
        // to disk when it is closed.
        auto readFrom = [&](const std::string& bytes) {
            fs::remove(path);
            writeBytes(path, bytes);
            return readBlock(path.string());
        };

        // Cut at every byte: the version is read right or not at all.
        for (std::size_t length = 0; length <= image.size(); ++length) {
            std::vector<unsigned char> block = readFrom(image.substr(0, length));
            EXPECT_TRUE(block.empty() || holdsSample(block)) << length;
        }

        // Every byte of the headers and of the resource section's data set
        // to 0x00 and to 0xFF in turn (the rest is padding): whatever is read
        // must be safe to query.
        const std::size_t headers = 0x40 + 24 + (plus ? 240 : 224) + 40;
        const std::size_t end = kHeadersSize + 0x58 + sampleVersionTree().size();
        for (std::size_t at = 0; at < end; ++at) {
            for (char value : {'\x00', '\xff'}) {
                if (at >= headers && at < kHeadersSize)
                    break;
                std::string bad = image;
                bad[at] = value;
                std::vector<unsigned char> block = readFrom(bad);
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
        unsigned char buffer[4096];
        return fileVersionInfoSize(path).size == 0 && fileVersionInfoSize(path).error != 0 &&
               fileVersionInfo(path, buffer, sizeof buffer) != 0;
    };
    // A copy of the image with a WORD (`size` 2) or DWORD (4) put at `at`.
    auto with = [&](std::size_t size, std::size_t at, std::uint32_t value) {
        std::string bytes = image;
        size == 4 ? put32(bytes, at, value) : put16(bytes, at, value);
        return bytes;
    };
    const std::size_t section = layout.resourceSection, table = 0x40 + 24 + 224;
    const std::size_t language = layout.languageDirectories[0], entry = layout.dataEntries[0];
    const std::size_t self = 0x80000000u | (language - section);
    // Version tree lengths: zero, past the resource data, a child past its
    // parent, a value past its node; a resource size below its tree. The
    // resource directory: entries that point back to the root or to
    // themselves, an entry count beyond the section, a data RVA outside it.
    // Headers: e_lfanew far outside, the section's file offset and size
    // overflowing, an unknown optional header, too few data directories.
    // clang-format off
    const std::size_t breaks[][3] = {
        {2, root, 0}, {2, root, 0xFFFF}, {2, firstChild, 0}, {2, firstChild, tree.size()},
        {2, root + 2, 0x4000}, {4, entry + 4, 8},
        {4, section + 20, 0x80000000u}, {4, layout.nameDirectories[0] + 20, 0x80000000u},
        {4, language + 20, self}, {2, section + 14, 0xFFFF}, {4, entry, 0xFFFFFFF0u},
        {4, entry, kSectionRva + 0x1FE},
        {4, 0x3C, 0xFFFFFFF0u}, {4, table + 20, 0xFFFFFF00u}, {2, 0x40 + 24, 0x107},
        {4, 0x40 + 24 + 92, 2}, {2, 0x40 + 6, 0xFFFF}};
    // clang-format on
    for (const auto& b : breaks)
        EXPECT_TRUE(fails("broken", with(b[0], b[1], static_cast<std::uint32_t>(b[2]))))
            << (&b - breaks);

    // A text whose length counts bytes instead of WORDs is cut at its node's
    // end; counts and sizes that overstate what is there, where nothing past
    // the real data is needed, do not hide the version.
    const std::size_t company = image.find(utf16(u"CompanyName")) - 6;
    for (const std::string& bytes :
         {with(2, company + 2, 16), with(2, layout.nameDirectories[0] + 12, 0xFFFF),
          with(4, table + 16, 0xFFFFFFFFu)}) {
        std::vector<unsigned char> block = readBlock(writeImage("over", bytes));
        EXPECT_TRUE(holdsSample(block));
    }

    // A key that runs to the end of its node without a terminator fails; the
    // same tree with its terminator is a tree without values.
    std::string open(6, '\0');
    open += utf16(u"VS_VERSION_INFO");
    put16(open, 0, static_cast<std::uint32_t>(open.size()));
    EXPECT_TRUE(fails("key", peImage(true, {{16, open}})));
    open += std::string(2, '\0');
    put16(open, 0, static_cast<std::uint32_t>(open.size()));
    std::vector<unsigned char> block = readBlock(writeImage("keyok", peImage(true, {{16, open}})));
    ASSERT_FALSE(block.empty());
    EXPECT_EQ(text(block, "\\"), "<none>");

    // Deep nesting is refused rather than followed.
    VersionNode deep{u"VS_VERSION_INFO", false, "", {}};
    for (int i = 0; i < 12; ++i)
        deep = VersionNode{u"n", false, "", {deep}};
    EXPECT_TRUE(fails("deep", peImage(false, {{16, encodeNode(deep)}})));

    // Random bytes under a plausible root: queries stay inside the block.
    std::uint32_t seed = 12345;
    auto next = [&seed]() {
        seed = seed * 1103515245u + 12345u;
        return static_cast<unsigned char>(seed >> 16);
    };
    for (int round = 0; round < 3000; ++round) {
        std::vector<unsigned char> random(tree.begin(), tree.end());
        random.resize(random.size() * 3);
        for (int i = 0; i <= round % 8; ++i)
            random[(next() << 8 | next()) % tree.size()] = next();
        if (round % 3 == 0)
            random.resize((next() << 8 | next()) % random.size() + 1);
        queryAll(random);
    }
}

// Host programs carry the tree in a section of their own, in any ELF form; a
// program asked for as "name.exe" is found as "name", as when it is started.
TEST(PlatformVersionResource, ElfProgramsAndTheirSection) {
    const std::string tree = sampleVersionTree();
    for (int form = 0; form < 4; ++form) {
        const bool wide = form & 1, big = form & 2;
        SCOPED_TRACE(form);
        const fs::path directory = freshDir("elf" + std::to_string(form));
        const std::string image = elfImage(wide, big, tree);
        writeBytes(directory / "tool", image);
        std::vector<unsigned char> block = readBlock((directory / "tool.exe").string());
        EXPECT_TRUE(holdsSample(block));
        writeBytes(directory / "other", elfImage(wide, big, tree, ".klxversio"));
        EXPECT_EQ(fileVersionInfoSize((directory / "other").string()).error,
                  kErrorResourceTypeNotFound);

        // Cut at every byte, and every byte set to 0x00 and 0xFF: the
        // version is read right or not at all, and is safe to query.
        const fs::path cut = directory / "cut";
        for (std::size_t at = 0; at <= image.size(); ++at) {
            for (int change = 0; change < 3; ++change) {
                if (at == image.size() && change > 0)
                    break;
                std::string bytes = change == 0 ? image.substr(0, at) : image;
                if (change > 0)
                    bytes[at] = change == 1 ? '\x00' : '\xff';
                fs::remove(cut);
                writeBytes(cut, bytes);
                block = readBlock(cut.string());
                if (change == 0) {
                    EXPECT_TRUE(block.empty() || holdsSample(block)) << at;
                }
                queryAll(block);
            }
        }
    }
}
