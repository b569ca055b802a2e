// Version resources read from PE images that the test builds itself: the
// block, the language that is picked, the files that have none, and images
// and trees broken in every way a file can be (the fuzzer corrupts them at
// random).
#include "platform/common/VersionInfo.h"

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

std::uint32_t word32(const void* data, std::size_t at) {
    const unsigned char* p = static_cast<const unsigned char*>(data) + at;
    return p[0] | (p[1] << 8) | (p[2] << 16) | (std::uint32_t(p[3]) << 24);
}

// The block of `path`, or an empty one when the file has none.
std::vector<unsigned char> readBlock(const std::string& path) {
    const Result<std::size_t> size = fileVersionInfoSize(path);
    std::vector<unsigned char> block(size.ok() ? size.value : 0);
    if (!block.empty() && fileVersionInfo(path, block.data(), block.size()) != 0)
        block.clear();
    return block;
}

std::string text(std::vector<unsigned char>& block, const std::string& subBlock) {
    const Result<VersionValue> value = queryVersionValue(block.data(), block.size(), subBlock);
    return !value.ok()
               ? "<none>"
               : std::string(static_cast<const char*>(value.value.data), value.value.length);
}

// Checks what the sample tree holds; false at the first difference.
bool holdsSample(std::vector<unsigned char>& block) {
    const Result<VersionValue> fixed = queryVersionValue(block.data(), block.size(), "\\");
    return fixed.ok() && fixed.value.length == 52 && word32(fixed.value.data, 8) == 0x00010002u &&
           word32(fixed.value.data, 16) == 0x00050002u && word32(fixed.value.data, 20) == 7u &&
           text(block, "\\StringFileInfo\\040904b0\\CompanyName") == "Keldmar" &&
           text(block, "\\StringFileInfo\\040704e4\\ProductName") == "Produkt";
}

std::string writeImage(const std::string& name, const std::string& bytes) {
    const fs::path path = freshDir(name) / "module.dll";
    writeBytes(path, bytes);
    return path.string();
}

// A tree whose ProductName is `name`.
std::string namedTree(const std::u16string& name) {
    return versionTree(fixedFileInfo(1, 0, 1, 0), {{u"040904b0", {{u"ProductName", name}}}},
                       {{0x0409, 0x04b0}});
}

} // namespace

TEST(PlatformVersionResource, ReadsPe32AndPe32Plus) {
    const std::string tree = sampleVersionTree();
    for (bool plus : {false, true}) {
        SCOPED_TRACE(plus ? "PE32+" : "PE32");
        const std::string path = writeImage(plus ? "plus" : "pe32", peImage(plus, {{16, tree}}));
        const Result<std::size_t> size = fileVersionInfoSize(path);
        ASSERT_TRUE(size.ok());
        ASSERT_GE(size.value, tree.size());
        std::vector<unsigned char> block(size.value);
        EXPECT_EQ(fileVersionInfo(path, block.data(), block.size() - 1),
                  DWORD(ERROR_INSUFFICIENT_BUFFER));
        ASSERT_EQ(fileVersionInfo(path, block.data(), block.size()), 0u);
        EXPECT_EQ(std::memcmp(block.data(), tree.data(), tree.size()), 0);
        EXPECT_TRUE(holdsSample(block));
    }
    // RT_VERSION among other types is found wherever it is listed.
    std::vector<unsigned char> block =
        readBlock(writeImage("mixed", peImage(true, {{3, "icon"}, {16, tree}, {24, "<m/>"}})));
    EXPECT_TRUE(holdsSample(block));
}

TEST(PlatformVersionResource, PicksTheLanguageAsFindResourceDoes) {
    // U.S. English first, then language-neutral, then the first listed.
    const std::pair<std::vector<Resource>, const char*> cases[] = {
        {{{16, namedTree(u"German"), 0x0407},
          {16, namedTree(u"English"), 0x0409},
          {16, namedTree(u"Neutral"), 0x0000}},
         "English"},
        {{{16, namedTree(u"German"), 0x0407}, {16, namedTree(u"Neutral"), 0x0000}}, "Neutral"},
        {{{16, namedTree(u"German"), 0x0407}, {16, namedTree(u"French"), 0x040C}}, "German"},
    };
    for (const auto& c : cases) {
        std::vector<unsigned char> block =
            readBlock(writeImage("languages", peImage(false, c.first)));
        EXPECT_EQ(text(block, "\\StringFileInfo\\040904b0\\ProductName"), c.second);
    }
}

TEST(PlatformVersionResource, FilesWithoutVersion) {
    const fs::path dir = freshDir("without");
    const DWORD bad = ERROR_BAD_EXE_FORMAT, noType = kErrorResourceTypeNotFound;
    const std::vector<std::pair<std::string, DWORD>> cases = {
        {writeImage("nores", peImage(true, {})), noType},
        {writeImage("icons", peImage(false, {{3, "icon"}, {14, "group"}})), noType},
        {writeImage("text", "MZ but not an image at all, just text"), bad},
        {writeImage("empty", ""), bad},
        {dir.string(), DWORD(ERROR_ACCESS_DENIED)},
        {(dir / "missing.dll").string(), DWORD(ERROR_FILE_NOT_FOUND)},
        {(dir / "nodir" / "missing.dll").string(), DWORD(ERROR_PATH_NOT_FOUND)}};
    for (const auto& c : cases) {
        const Result<std::size_t> size = fileVersionInfoSize(c.first);
        EXPECT_EQ(size.value, 0u) << c.first;
        EXPECT_EQ(size.error, c.second) << c.first;
        unsigned char buffer[512];
        EXPECT_EQ(fileVersionInfo(c.first, buffer, sizeof buffer), c.second) << c.first;
    }
    EXPECT_FALSE(fileVersionInfoSize("").ok());
}

TEST(PlatformVersionResource, TruncatedImages) {
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
        return fileVersionInfoSize(path).value == 0 && !fileVersionInfoSize(path).ok() &&
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
    // themselves, an entry count beyond the section, a data RVA outside it; a
    // version resource named 2, not 1, and one whose named entries would run
    // past the section (Windows reads only the name 1).
    // Headers: e_lfanew far outside, the section's file offset and size
    // overflowing, an unknown optional header, too few data directories.
    // clang-format off
    const std::size_t breaks[][3] = {
        {2, root, 0}, {2, root, 0xFFFF}, {2, firstChild, 0}, {2, firstChild, tree.size()},
        {2, root + 2, 0x4000}, {4, entry + 4, 8},
        {4, section + 20, 0x80000000u}, {4, layout.nameDirectories[0] + 20, 0x80000000u},
        {4, language + 20, self}, {2, section + 14, 0xFFFF}, {4, entry, 0xFFFFFFF0u},
        {4, layout.nameDirectories[0] + 16, 2}, {2, layout.nameDirectories[0] + 12, 0xFFFF},
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
    for (const std::string& bytes : {with(2, company + 2, 16), with(4, table + 16, 0xFFFFFFFFu)}) {
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
    EXPECT_FALSE(readBlock(writeImage("keyok", peImage(true, {{16, open}}))).empty());

    // Deep nesting is refused rather than followed.
    VersionNode deep{u"VS_VERSION_INFO", false, "", {}};
    for (int i = 0; i < 12; ++i)
        deep = VersionNode{u"n", false, "", {deep}};
    EXPECT_TRUE(fails("deep", peImage(false, {{16, encodeNode(deep)}})));
}
