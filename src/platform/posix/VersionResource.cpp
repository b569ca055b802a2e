// Version resources of PE images, read straight from the file: the headers
// lead to the resource directory, its tree (type, name, language) to the
// RT_VERSION data, which is a VS_VERSIONINFO tree. A host program in ELF form
// carries the same tree in its section ".klxversion" (the SDK's own programs
// are built with one), so that its product name and version read as a
// Windows program's do.
//
// Every offset and length comes from the file and is checked before use, in
// 64-bit arithmetic, against the file and against the structure that holds
// it. The resource tree is walked exactly three levels deep, so an entry that
// points back at a directory cannot loop; a version tree is at most 64 KiB
// (its root length is a WORD) and every node takes at least 8 bytes of it,
// and both its depth and its node count are capped on top of that.
#include "platform/Platform.h"
#include "platform/posix/Errors.h"
#include "platform/posix/HostPaths.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>

namespace klx {
namespace platform {

namespace {

typedef std::vector<unsigned char> Bytes;

const std::uint16_t kResourceTypeVersion = 16;
const std::uint32_t kFixedInfoSignature = 0xFEEF04BDu;
const std::size_t kFixedInfoSize = 52;
// Level-1 entries looked at for RT_VERSION; real images have a few dozen types.
const std::uint32_t kMaxTypeEntries = 4096;
// Real version trees are four levels deep (root, StringFileInfo, table,
// string) and hold a few dozen nodes.
const unsigned kMaxTreeDepth = 8;
const unsigned kMaxTreeNodes = 4096;
// Header bytes of a version node: wLength, wValueLength, wType.
const std::size_t kNodeHeader = 6;

inline std::uint16_t read16(const unsigned char* p) {
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}

inline std::uint32_t read32(const unsigned char* p) {
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
           (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}

inline std::size_t align4(std::size_t value) {
    return (value + 3) & ~static_cast<std::size_t>(3);
}

// ---- The image file --------------------------------------------------------

// An open regular file read at checked offsets.
class ImageFile {
public:
    ImageFile() = default;
    ~ImageFile() {
        if (mFd >= 0)
            ::close(mFd);
    }
    ImageFile(const ImageFile&) = delete;
    ImageFile& operator=(const ImageFile&) = delete;

    DWORD open(const std::string& path) {
        std::string host = hostPath(path);
        // O_NONBLOCK: a FIFO must not hang the open; only regular files are read.
        mFd = ::open(host.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
        if (mFd < 0 && errno == ENOENT) {
            // A program is found as it is started: "tool.exe" may be the
            // host's "tool", and the other way round.
            const std::string program = programHostPath(path);
            if (!program.empty()) {
                host = program;
                mFd = ::open(host.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
            }
        }
        if (mFd < 0)
            return win32PathError(errno, host);
        struct stat info;
        if (::fstat(mFd, &info) != 0)
            return win32Error(errno);
        if (S_ISDIR(info.st_mode))
            return ERROR_ACCESS_DENIED;
        if (!S_ISREG(info.st_mode) || info.st_size < 0)
            return ERROR_BAD_EXE_FORMAT;
        mSize = static_cast<std::uint64_t>(info.st_size);
        return 0;
    }

    // Reads exactly `count` bytes at `offset`; false when they are not all in
    // the file.
    bool read(std::uint64_t offset, void* buffer, std::size_t count) const {
        if (offset > mSize || count > mSize - offset)
            return false;
        unsigned char* out = static_cast<unsigned char*>(buffer);
        while (count > 0) {
            const ssize_t done = ::pread(mFd, out, count, static_cast<off_t>(offset));
            if (done < 0 && errno == EINTR)
                continue;
            if (done <= 0)
                return false; // the file shrank, or cannot be read
            out += done;
            offset += static_cast<std::uint64_t>(done);
            count -= static_cast<std::size_t>(done);
        }
        return true;
    }

private:
    int mFd = -1;
    std::uint64_t mSize = 0;
};

// ---- PE headers and the resource directory ---------------------------------

struct Section {
    std::uint32_t virtualAddress;
    std::uint32_t rawSize;
    std::uint32_t rawPointer;
};

class Image {
public:
    explicit Image(const ImageFile& file) : mFile(file) {}

    // Reads the headers up to the section table; ERROR_BAD_EXE_FORMAT for
    // anything that is not a PE32 or PE32+ image, kErrorResourceTypeNotFound
    // when the image has no resource directory.
    DWORD readHeaders() {
        unsigned char dos[64];
        if (!mFile.read(0, dos, sizeof dos) || dos[0] != 'M' || dos[1] != 'Z')
            return ERROR_BAD_EXE_FORMAT;
        const std::uint64_t nt = read32(dos + 0x3C);

        // Signature and IMAGE_FILE_HEADER.
        unsigned char head[24];
        if (!mFile.read(nt, head, sizeof head) || std::memcmp(head, "PE\0\0", 4) != 0)
            return ERROR_BAD_EXE_FORMAT;
        const std::uint16_t sectionCount = read16(head + 4 + 2);
        const std::uint16_t optionalSize = read16(head + 4 + 16);

        // The optional header, as far as the data directories of interest.
        unsigned char optional[136];
        const std::size_t wanted = optionalSize < sizeof optional ? optionalSize : sizeof optional;
        if (wanted < 2 || !mFile.read(nt + 24, optional, wanted))
            return ERROR_BAD_EXE_FORMAT;
        std::size_t countOffset;
        std::size_t directoryOffset;
        switch (read16(optional)) {
        case 0x10B: // PE32
            countOffset = 92;
            directoryOffset = 96;
            break;
        case 0x20B: // PE32+
            countOffset = 108;
            directoryOffset = 112;
            break;
        default:
            return ERROR_BAD_EXE_FORMAT;
        }
        // The resource directory is data directory 2.
        const std::size_t resourceEntry = directoryOffset + 2 * 8;
        if (wanted < countOffset + 4 || read32(optional + countOffset) < 3 ||
            wanted < resourceEntry + 8)
            return kErrorResourceTypeNotFound;
        mResourceRva = read32(optional + resourceEntry);
        if (mResourceRva == 0 || read32(optional + resourceEntry + 4) == 0)
            return kErrorResourceTypeNotFound;

        // At most 65535 sections of 40 bytes: bounded, and read in one go.
        const std::uint64_t tableOffset = nt + 24 + optionalSize;
        Bytes table(static_cast<std::size_t>(sectionCount) * 40);
        if (!mFile.read(tableOffset, table.data(), table.size()))
            return ERROR_BAD_EXE_FORMAT;
        mSections.reserve(sectionCount);
        for (std::size_t i = 0; i < sectionCount; ++i) {
            const unsigned char* s = table.data() + i * 40;
            mSections.push_back(Section{read32(s + 12), read32(s + 16), read32(s + 20)});
        }
        return 0;
    }

    // Reads `count` bytes at `rva`; they must lie in the file data of one
    // section.
    bool readRva(std::uint64_t rva, void* buffer, std::size_t count) const {
        for (const Section& section : mSections) {
            if (rva < section.virtualAddress)
                continue;
            const std::uint64_t into = rva - section.virtualAddress;
            if (into >= section.rawSize || count > section.rawSize - into)
                continue;
            return mFile.read(section.rawPointer + into, buffer, count);
        }
        return false;
    }

    // Follows RT_VERSION, its first name and that name's first language to
    // the resource's data: its RVA and size.
    DWORD findVersionData(std::uint32_t& dataRva, std::uint32_t& dataSize) const {
        // Level 1: the types. Named entries come first; RT_VERSION has an ID.
        std::uint16_t named;
        std::uint16_t ids;
        if (!readDirectory(0, named, ids))
            return ERROR_BAD_EXE_FORMAT;
        std::uint32_t total = static_cast<std::uint32_t>(named) + ids;
        if (total > kMaxTypeEntries)
            total = kMaxTypeEntries;
        Bytes entries(static_cast<std::size_t>(total) * 8);
        if (!readRva(std::uint64_t(mResourceRva) + 16, entries.data(), entries.size()))
            return ERROR_BAD_EXE_FORMAT;
        std::uint32_t next = 0;
        bool found = false;
        for (std::uint32_t i = 0; i < total && !found; ++i) {
            const unsigned char* entry = entries.data() + std::size_t(i) * 8;
            const std::uint32_t name = read32(entry);
            if ((name & 0x80000000u) == 0 && name == kResourceTypeVersion) {
                next = read32(entry + 4);
                found = true;
            }
        }
        if (!found)
            return kErrorResourceTypeNotFound;

        // Levels 2 and 3: the first name, then its first language. Each must
        // be a directory, and what the language points at must be data; a
        // pointer back into the tree therefore ends the walk.
        for (int level = 2; level <= 3; ++level) {
            if ((next & 0x80000000u) == 0)
                return ERROR_BAD_EXE_FORMAT;
            const std::uint32_t directory = next & 0x7FFFFFFFu;
            unsigned char entry[8];
            if (!readDirectory(directory, named, ids) || named + ids == 0 ||
                !readRva(std::uint64_t(mResourceRva) + directory + 16, entry, sizeof entry))
                return ERROR_BAD_EXE_FORMAT;
            next = read32(entry + 4);
        }
        if ((next & 0x80000000u) != 0)
            return ERROR_BAD_EXE_FORMAT;

        // IMAGE_RESOURCE_DATA_ENTRY: RVA, size, code page, reserved.
        unsigned char data[16];
        if (!readRva(std::uint64_t(mResourceRva) + next, data, sizeof data))
            return ERROR_BAD_EXE_FORMAT;
        dataRva = read32(data);
        dataSize = read32(data + 4);
        return 0;
    }

private:
    // The entry counts of the IMAGE_RESOURCE_DIRECTORY at `offset` in the tree.
    bool readDirectory(std::uint32_t offset, std::uint16_t& named, std::uint16_t& ids) const {
        unsigned char header[16];
        if (!readRva(std::uint64_t(mResourceRva) + offset, header, sizeof header))
            return false;
        named = read16(header + 12);
        ids = read16(header + 14);
        return true;
    }

    const ImageFile& mFile;
    std::uint32_t mResourceRva = 0;
    std::vector<Section> mSections;
};

// ---- The version tree ------------------------------------------------------

// One node of a VS_VERSIONINFO tree; offsets from the start of the block.
struct Node {
    std::size_t end;        // one past the node's last byte
    std::size_t key;        // its UTF-16 key
    std::size_t keyUnits;   // without the terminator
    std::size_t value;      // its value
    std::size_t valueBytes; // as stored
    std::size_t children;   // its first child, or `end`
    bool text;              // wType 1: the value is UTF-16 text
};

// Reads the node at `start`, which must end by `limit`; false when it is
// malformed: too short, longer than its parent, a key without terminator or
// a value past its end.
bool readNode(const unsigned char* block, std::size_t start, std::size_t limit, Node& node) {
    if (start > limit || limit - start < kNodeHeader)
        return false;
    const std::size_t length = read16(block + start);
    if (length < kNodeHeader + 2 || length > limit - start)
        return false;
    node.end = start + length;
    const std::size_t valueLength = read16(block + start + 2);
    node.text = read16(block + start + 4) == 1;
    node.key = start + kNodeHeader;
    std::size_t at = node.key;
    while (at + 2 <= node.end && read16(block + at) != 0)
        at += 2;
    if (at + 2 > node.end)
        return false;
    node.keyUnits = (at - node.key) / 2;
    node.value = align4(at + 2);
    node.valueBytes = node.text ? valueLength * 2 : valueLength;
    // Some resource compilers count a text's length in bytes, not WORDs; such
    // a text is cut at its node's end rather than refused.
    if (node.text && (node.value >= node.end || node.valueBytes > node.end - node.value))
        node.valueBytes = node.value >= node.end ? 0 : (node.end - node.value) & ~std::size_t(1);
    if (node.valueBytes == 0) {
        node.value = node.value < node.end ? node.value : node.end;
        node.children = node.value;
        return true;
    }
    if (node.value > node.end || node.valueBytes > node.end - node.value)
        return false;
    node.children = align4(node.value + node.valueBytes);
    if (node.children > node.end)
        node.children = node.end;
    return true;
}

// Steps through the children of a node. A tail too short for a header is the
// padding of the last child.
class Children {
public:
    Children(const unsigned char* block, const Node& parent)
        : mBlock(block), mAt(parent.children), mEnd(parent.end) {}

    // false at the end; `malformed` tells a broken child from the end.
    bool next(Node& child, bool& malformed) {
        malformed = false;
        if (mAt >= mEnd || mEnd - mAt < kNodeHeader)
            return false;
        if (!readNode(mBlock, mAt, mEnd, child)) {
            malformed = true;
            return false;
        }
        mAt = align4(child.end);
        return true;
    }

private:
    const unsigned char* mBlock;
    std::size_t mAt;
    std::size_t mEnd;
};

bool validTree(const unsigned char* block, const Node& node, unsigned depth, unsigned& nodes) {
    if (depth > kMaxTreeDepth)
        return false;
    Children children(block, node);
    Node child;
    bool malformed;
    while (children.next(child, malformed)) {
        if (++nodes > kMaxTreeNodes || !validTree(block, child, depth + 1, nodes))
            return false;
    }
    return !malformed;
}

// Appends the UTF-8 form of one code point.
std::size_t putUtf8(unsigned char* out, std::uint32_t code) {
    if (code < 0x80) {
        out[0] = static_cast<unsigned char>(code);
        return 1;
    }
    if (code < 0x800) {
        out[0] = static_cast<unsigned char>(0xC0 | (code >> 6));
        out[1] = static_cast<unsigned char>(0x80 | (code & 0x3F));
        return 2;
    }
    if (code < 0x10000) {
        out[0] = static_cast<unsigned char>(0xE0 | (code >> 12));
        out[1] = static_cast<unsigned char>(0x80 | ((code >> 6) & 0x3F));
        out[2] = static_cast<unsigned char>(0x80 | (code & 0x3F));
        return 3;
    }
    out[0] = static_cast<unsigned char>(0xF0 | (code >> 18));
    out[1] = static_cast<unsigned char>(0x80 | ((code >> 12) & 0x3F));
    out[2] = static_cast<unsigned char>(0x80 | ((code >> 6) & 0x3F));
    out[3] = static_cast<unsigned char>(0x80 | (code & 0x3F));
    return 4;
}

// UTF-16LE `units` at `in`, up to the first NUL, as UTF-8 at `out`; a lone
// surrogate becomes U+FFFD. Writes at most 3 bytes per unit; returns the
// bytes written.
std::size_t utf16ToUtf8(const unsigned char* in, std::size_t units, unsigned char* out) {
    std::size_t written = 0;
    for (std::size_t i = 0; i < units; ++i) {
        std::uint32_t code = read16(in + 2 * i);
        if (code == 0)
            break;
        if (code >= 0xD800 && code <= 0xDBFF && i + 1 < units) {
            const std::uint32_t low = read16(in + 2 * (i + 1));
            if (low >= 0xDC00 && low <= 0xDFFF) {
                code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
                ++i;
            }
        }
        if (code >= 0xD800 && code <= 0xDFFF)
            code = 0xFFFD;
        written += putUtf8(out + written, code);
    }
    return written;
}

// Whether the UTF-16 key of `node` is `name`, without regard to ASCII case.
bool keyMatches(const unsigned char* block, const Node& node, const std::string& name) {
    // Three bytes per unit at most, so a longer name cannot match.
    if (name.size() > node.keyUnits * 3)
        return false;
    unsigned char key[3 * 256];
    std::size_t length = 0;
    if (node.keyUnits <= 256) {
        length = utf16ToUtf8(block + node.key, node.keyUnits, key);
    } else {
        return false; // no key of a real tree is that long
    }
    if (length != name.size())
        return false;
    for (std::size_t i = 0; i < length; ++i) {
        unsigned char a = key[i];
        unsigned char b = static_cast<unsigned char>(name[i]);
        if (a >= 'A' && a <= 'Z')
            a = static_cast<unsigned char>(a - 'A' + 'a');
        if (b >= 'A' && b <= 'Z')
            b = static_cast<unsigned char>(b - 'A' + 'a');
        if (a != b)
            return false;
    }
    return true;
}

VersionValueResult noValue(DWORD error) {
    return VersionValueResult{nullptr, 0, error};
}

// The bytes that a raw tree of `rawLength` bytes takes with its text room:
// each text of n units (2n bytes) at offset o gets the 4n bytes at
// 2o past the tree, enough for its UTF-8 form (3 bytes a unit at most) and a
// NUL, and never shared with another text.
std::size_t blockSizeFor(std::size_t rawLength) {
    return 3 * align4(rawLength);
}

// ---- ELF programs -------------------------------------------------------------

const char kElfVersionSection[] = ".klxversion";

// An ELF file's section headers, in either byte order and word size.
class ElfImage {
public:
    explicit ElfImage(const ImageFile& file) : mFile(file) {}

    static bool isElf(const ImageFile& file) {
        static const unsigned char kMagic[4] = {0x7F, 'E', 'L', 'F'};
        unsigned char magic[4];
        return file.read(0, magic, sizeof magic) && std::memcmp(magic, kMagic, 4) == 0;
    }

    // Finds the section named `name` that has bytes in the file: its offset
    // and size. kErrorResourceTypeNotFound when there is none.
    DWORD findSection(const char* name, std::uint64_t& offset, std::uint64_t& size) {
        unsigned char ident[64];
        if (!mFile.read(0, ident, 52))
            return ERROR_BAD_EXE_FORMAT;
        mWide = ident[4] == 2;
        mBigEndian = ident[5] == 2;
        if ((ident[4] != 1 && ident[4] != 2) || (ident[5] != 1 && ident[5] != 2) ||
            (mWide && !mFile.read(0, ident, 64)))
            return ERROR_BAD_EXE_FORMAT;
        const std::uint64_t tableOffset = mWide ? word(ident + 0x28, 8) : word(ident + 0x20, 4);
        const std::size_t at = mWide ? 0x3A : 0x2E;
        const std::size_t entrySize = static_cast<std::size_t>(word(ident + at, 2));
        const std::size_t count = static_cast<std::size_t>(word(ident + at + 2, 2));
        const std::size_t namesIndex = static_cast<std::size_t>(word(ident + at + 4, 2));
        // Extended section numbering (count 0, or an index that does not
        // fit) is only used by objects with tens of thousands of sections.
        if (count == 0 || namesIndex >= count)
            return kErrorResourceTypeNotFound;
        // Offsets past 2^63 are in no file, and keep the sums below from
        // wrapping.
        if (entrySize < (mWide ? 64u : 40u) || tableOffset > INT64_MAX)
            return ERROR_BAD_EXE_FORMAT;
        // Headers are read one at a time: a table that claims 65535 headers
        // of 65535 bytes costs reads that fail, not memory.
        const std::size_t headerSize = mWide ? 64 : 40;
        unsigned char header[64];
        std::uint64_t namesOffset = 0;
        std::uint64_t namesSize = 0;
        if (!mFile.read(tableOffset + std::uint64_t(namesIndex) * entrySize, header, headerSize) ||
            !fileBytes(header, namesOffset, namesSize))
            return ERROR_BAD_EXE_FORMAT;
        const std::size_t nameLength = std::strlen(name) + 1;
        for (std::size_t i = 0; i < count; ++i) {
            if (!mFile.read(tableOffset + std::uint64_t(i) * entrySize, header, headerSize))
                return ERROR_BAD_EXE_FORMAT;
            const std::uint64_t nameAt = word(header, 4);
            unsigned char candidate[32];
            if (nameLength > sizeof candidate || nameAt > namesSize ||
                namesSize - nameAt < nameLength || namesOffset > INT64_MAX ||
                !mFile.read(namesOffset + nameAt, candidate, nameLength) ||
                std::memcmp(candidate, name, nameLength) != 0)
                continue;
            if (fileBytes(header, offset, size))
                return 0;
        }
        return kErrorResourceTypeNotFound;
    }

private:
    std::uint64_t word(const unsigned char* p, unsigned bytes) const {
        std::uint64_t value = 0;
        for (unsigned i = 0; i < bytes; ++i)
            value |= static_cast<std::uint64_t>(p[mBigEndian ? bytes - 1 - i : i]) << (8 * i);
        return value;
    }

    // The file bytes of the section whose header is at `header`; false for a
    // section without any (SHT_NOBITS).
    bool fileBytes(const unsigned char* header, std::uint64_t& offset, std::uint64_t& size) const {
        if (word(header + 4, 4) == 8)
            return false;
        offset = mWide ? word(header + 24, 8) : word(header + 16, 4);
        size = mWide ? word(header + 32, 8) : word(header + 20, 4);
        return true;
    }

    const ImageFile& mFile;
    bool mWide = false;
    bool mBigEndian = false;
};

// Loads and checks the version tree of the file at `path`.
DWORD loadVersionTree(const std::string& path, Bytes& tree) {
    ImageFile file;
    DWORD error = file.open(path);
    if (error != 0)
        return error;

    // Where the tree lies: `read` takes offsets from its start.
    std::uint64_t dataSize = 0;
    std::function<bool(std::uint64_t, void*, std::size_t)> read;
    Image image(file);
    if (ElfImage::isElf(file)) {
        std::uint64_t offset = 0;
        error = ElfImage(file).findSection(kElfVersionSection, offset, dataSize);
        read = [&file, offset](std::uint64_t at, void* buffer, std::size_t count) {
            return offset <= UINT64_MAX - at && file.read(offset + at, buffer, count);
        };
    } else {
        error = image.readHeaders();
        std::uint32_t dataRva = 0;
        std::uint32_t rvaSize = 0;
        if (error == 0)
            error = image.findVersionData(dataRva, rvaSize);
        dataSize = rvaSize;
        read = [&image, dataRva](std::uint64_t at, void* buffer, std::size_t count) {
            return image.readRva(dataRva + at, buffer, count);
        };
    }
    if (error != 0)
        return error;

    unsigned char header[2];
    if (dataSize < kNodeHeader || !read(0, header, sizeof header))
        return kErrorResourceDataNotFound;
    const std::size_t length = read16(header);
    if (length < kNodeHeader || length > dataSize)
        return kErrorResourceDataNotFound;
    tree.resize(length);
    if (!read(0, tree.data(), length))
        return kErrorResourceDataNotFound;

    Node root;
    unsigned nodes = 1;
    if (!readNode(tree.data(), 0, tree.size(), root) || !validTree(tree.data(), root, 0, nodes))
        return kErrorResourceDataNotFound;
    return 0;
}

} // namespace

VersionInfoSizeResult fileVersionInfoSize(const std::string& path) {
    Bytes tree;
    const DWORD error = loadVersionTree(path, tree);
    if (error != 0)
        return VersionInfoSizeResult{0, error};
    return VersionInfoSizeResult{blockSizeFor(tree.size()), 0};
}

DWORD fileVersionInfo(const std::string& path, void* buffer, std::size_t size) {
    if (buffer == nullptr)
        return ERROR_INVALID_PARAMETER;
    Bytes tree;
    const DWORD error = loadVersionTree(path, tree);
    if (error != 0)
        return error;
    // The file may have changed since its size was asked.
    const std::size_t needed = blockSizeFor(tree.size());
    if (size < needed)
        return ERROR_INSUFFICIENT_BUFFER;
    unsigned char* out = static_cast<unsigned char*>(buffer);
    std::memcpy(out, tree.data(), tree.size());
    std::memset(out + tree.size(), 0, needed - tree.size());
    return 0;
}

VersionValueResult queryVersionValue(void* block, std::size_t blockSize,
                                     const std::string& subBlock) {
    if (block == nullptr)
        return noValue(ERROR_INVALID_PARAMETER);
    unsigned char* bytes = static_cast<unsigned char*>(block);
    Node node;
    if (!readNode(bytes, 0, blockSize, node))
        return noValue(kErrorResourceDataNotFound);
    const std::size_t rawEnd = node.end;

    // Each key name in turn; empty names (leading, doubled or trailing
    // backslashes) are skipped. Every step goes down into a smaller node.
    bool root = true;
    std::size_t at = 0;
    while (at < subBlock.size()) {
        std::size_t stop = subBlock.find('\\', at);
        if (stop == std::string::npos)
            stop = subBlock.size();
        if (stop > at) {
            const std::string name = subBlock.substr(at, stop - at);
            Children children(bytes, node);
            Node child;
            bool malformed;
            bool found = false;
            while (!found && children.next(child, malformed))
                found = keyMatches(bytes, child, name);
            if (!found)
                return noValue(kErrorResourceDataNotFound);
            node = child;
            root = false;
        }
        at = stop + 1;
    }

    if (root) {
        // The root's value is the VS_FIXEDFILEINFO.
        if (node.valueBytes < kFixedInfoSize || read32(bytes + node.value) != kFixedInfoSignature)
            return noValue(kErrorResourceDataNotFound);
        return VersionValueResult{bytes + node.value, node.valueBytes, 0};
    }
    if (!node.text)
        return VersionValueResult{bytes + node.value, node.valueBytes, 0};
    const std::size_t units = node.valueBytes / 2;
    if (units == 0) {
        static const char kEmpty[] = "";
        return VersionValueResult{kEmpty, 0, 0};
    }
    // The text's room past the tree (see blockSizeFor).
    const std::size_t room = 4 * units;
    const std::size_t place = align4(rawEnd) + 2 * node.value;
    if (blockSize < blockSizeFor(rawEnd) || place > blockSize || room > blockSize - place)
        return noValue(ERROR_INSUFFICIENT_BUFFER);
    unsigned char* out = bytes + place;
    const std::size_t length = utf16ToUtf8(bytes + node.value, units, out);
    out[length] = 0;
    return VersionValueResult{out, length, 0};
}

VersionValueResult queryVersionValue(void* block, const std::string& subBlock) {
    if (block == nullptr)
        return noValue(ERROR_INVALID_PARAMETER);
    const std::size_t rawLength = read16(static_cast<const unsigned char*>(block));
    return queryVersionValue(block, blockSizeFor(rawLength), subBlock);
}

} // namespace platform
} // namespace klx
