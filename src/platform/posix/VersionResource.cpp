// Version resources of PE images, read straight from the file: the headers
// lead to the resource directory, its tree (type, name, language) to the
// RT_VERSION data, which is a VS_VERSIONINFO tree. A host program in ELF form
// carries the same tree in its section ".klxversion" (the SDK's own programs
// are built with one), so that its product name and version read as a
// Windows program's do. The library's own tree is built from the version it
// was compiled with (common/VersionInfo checks and reads all of them).
//
// Every offset and length comes from the file and is checked before use, in
// 64-bit arithmetic, against the file and against the structure that holds
// it. The resource tree is walked exactly three levels deep, so an entry that
// points back at a directory cannot loop.
#include "platform/Platform.h"
#include "platform/common/RetryAfterSignal.h"
#include "platform/common/VersionInfo.h"
#include "platform/posix/Errors.h"
#include "platform/posix/Handles.h"
#include "platform/posix/HostPaths.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>

// The build passes the project version; a build without it must not quietly
// report 0.0.0.0.
#if !defined(KLXCORE_VERSION_MAJOR) || !defined(KLXCORE_VERSION_MINOR) ||                          \
    !defined(KLXCORE_VERSION_PATCH)
#error "KLXCORE_VERSION_MAJOR, _MINOR and _PATCH must be defined by the build"
#endif

namespace klx {
namespace platform {

namespace {

typedef std::vector<unsigned char> Bytes;

const std::uint16_t kResourceTypeVersion = 16;
// The name of the version resource (VS_VERSION_INFO).
const std::uint32_t kVersionInfoName = 1;
// Level-1 entries looked at for RT_VERSION; real images have a few dozen
// types, and a name has a language or two.
const std::uint32_t kMaxTypeEntries = 4096;
const std::uint32_t kMaxLanguages = 256;
// The user interface language this host reports: U.S. English.
const std::uint16_t kUiLanguage = 0x0409;
// Header bytes of a version node: wLength, wValueLength, wType.
const std::size_t kNodeHeader = 6;

inline std::uint16_t read16(const unsigned char* p) {
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}

inline std::uint32_t read32(const unsigned char* p) {
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
           (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}

// ---- The image file --------------------------------------------------------

// An open regular file read at checked offsets.
class ImageFile {
public:
    DWORD open(const std::string& path) {
        std::string host = hostPath(path);
        mFd.reset(openForReading(host));
        if (!mFd && errno == ENOENT) {
            // A program is found as it is started: "tool.exe" may be the
            // host's "tool", and the other way round.
            const std::string program = programHostPath(path);
            if (!program.empty()) {
                host = program;
                mFd.reset(openForReading(host));
            }
        }
        if (!mFd)
            return win32PathError(errno, host);
        struct stat info;
        if (::fstat(mFd.get(), &info) != 0)
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
            const ssize_t done =
                retryAfterSignal(-1, ::pread, mFd.get(), out, count, static_cast<off_t>(offset));
            if (done <= 0)
                return false; // the file shrank, or cannot be read
            out += done;
            offset += static_cast<std::uint64_t>(done);
            count -= static_cast<std::size_t>(done);
        }
        return true;
    }

private:
    // O_NONBLOCK: a FIFO must not hang the open; only regular files are read.
    static int openForReading(const std::string& host) {
        return retryAfterSignal(-1, ::open, host.c_str(),
                                O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    }

    ScopedFd mFd;
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

    // Follows RT_VERSION, its name 1 and the language of that name that
    // FindResource picks to the resource's data: its RVA and size.
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

        // Level 2: the name 1 (VS_VERSION_INFO), the only one that
        // GetFileVersionInfo reads; named entries come before the IDs. It
        // must be a directory, and what the language points at must be data;
        // a pointer back into the tree therefore ends the walk.
        if ((next & 0x80000000u) == 0)
            return ERROR_BAD_EXE_FORMAT;
        std::uint32_t directory = next & 0x7FFFFFFFu;
        if (!readDirectory(directory, named, ids))
            return ERROR_BAD_EXE_FORMAT;
        if (ids == 0)
            return kErrorResourceTypeNotFound;
        entries.resize(std::size_t(std::min<std::uint32_t>(ids, kMaxTypeEntries)) * 8);
        if (!readRva(std::uint64_t(mResourceRva) + directory + 16 + std::uint64_t(named) * 8,
                     entries.data(), entries.size()))
            return ERROR_BAD_EXE_FORMAT;
        found = false;
        for (std::size_t i = 0; i < entries.size() && !found; i += 8) {
            if (read32(entries.data() + i) == kVersionInfoName) {
                next = read32(entries.data() + i + 4);
                found = true;
            }
        }
        if (!found)
            return kErrorResourceTypeNotFound;

        // Level 3: the languages of that name.
        if ((next & 0x80000000u) == 0)
            return ERROR_BAD_EXE_FORMAT;
        directory = next & 0x7FFFFFFFu;
        if (!readDirectory(directory, named, ids) || named + ids == 0)
            return ERROR_BAD_EXE_FORMAT;
        total = std::min<std::uint32_t>(std::uint32_t(named) + ids, kMaxLanguages);
        entries.resize(std::size_t(total) * 8);
        if (!readRva(std::uint64_t(mResourceRva) + directory + 16, entries.data(), entries.size()))
            return ERROR_BAD_EXE_FORMAT;
        std::vector<std::uint16_t> languages;
        for (std::uint32_t i = 0; i < total; ++i) {
            // A named entry is no language: it is never picked before the first.
            const std::uint32_t name = read32(entries.data() + std::size_t(i) * 8);
            languages.push_back((name & 0x80000000u) != 0 ? 0xFFFF
                                                          : static_cast<std::uint16_t>(name));
        }
        const std::size_t picked = pickResourceLanguage(languages, kUiLanguage);
        next = read32(entries.data() + picked * 8 + 4);
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

} // namespace

Result<std::string> readVersionResource(const std::string& path) {
    Result<std::string> result{std::string(), 0};
    ImageFile file;
    DWORD& error = result.error;
    error = file.open(path);
    if (error != 0)
        return result;

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
        return result;

    // The tree's own length tells how much of the data it takes; a tree that
    // claims more than the resource holds is malformed.
    unsigned char header[2];
    if (dataSize < kNodeHeader || !read(0, header, sizeof header))
        return Result<std::string>{std::string(), kErrorResourceDataNotFound};
    const std::size_t length = read16(header);
    if (length < kNodeHeader || length > dataSize)
        return Result<std::string>{std::string(), kErrorResourceDataNotFound};
    result.value.resize(length);
    if (!read(0, &result.value[0], length))
        return Result<std::string>{std::string(), kErrorResourceDataNotFound};
    return result;
}

Result<std::string> ownModuleVersionResource() {
    // The module that holds this function, as Windows finds a module from an
    // address in it: the library's file, which carries its version resource.
    Dl_info module;
    if (::dladdr(reinterpret_cast<void*>(&ownModuleVersionResource), &module) == 0 ||
        module.dli_fname == nullptr || *module.dli_fname == '\0')
        return Result<std::string>{std::string(), ERROR_FILE_NOT_FOUND};
    return readVersionResource(module.dli_fname);
}

} // namespace platform
} // namespace klx
