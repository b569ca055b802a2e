// The VS_VERSIONINFO tree: its checks, the block that holds it with room for
// the UTF-8 form of its texts, and the lookups in it.
//
// A tree is at most 64 KiB (its root length is a WORD) and every node takes
// at least 8 bytes of it; its depth and its node count are capped on top of
// that. Every offset comes from the tree and is checked against the node
// that holds it before use.
#include "platform/common/VersionInfo.h"

#include "platform/common/AsciiText.h"

#include <cstring>

namespace klx {
namespace platform {

namespace {

const std::uint32_t kFixedInfoSignature = 0xFEEF04BDu;
const std::size_t kFixedInfoSize = 52;
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
    return static_cast<std::uint32_t>(read16(p)) |
           (static_cast<std::uint32_t>(read16(p + 2)) << 16);
}

inline std::size_t align4(std::size_t value) {
    return (value + 3) & ~static_cast<std::size_t>(3);
}

// One node of a tree; offsets from the start of the block.
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
    // Three bytes per unit at most; no key of a real tree is that long.
    if (node.keyUnits > 256 || name.size() > node.keyUnits * 3)
        return false;
    unsigned char key[3 * 256];
    const std::size_t length = utf16ToUtf8(block + node.key, node.keyUnits, key);
    return equalNoCase(std::string_view(reinterpret_cast<const char*>(key), length), name);
}

Result<VersionValue> noValue(DWORD error) {
    return Result<VersionValue>{VersionValue{nullptr, 0}, error};
}

// The bytes that a tree of `treeLength` bytes takes with its text room: each
// text of n units (2n bytes) at offset o gets the 4n bytes at 2o past the
// tree, enough for its UTF-8 form (3 bytes a unit at most) and a NUL, and
// never shared with another text.
std::size_t blockSizeFor(std::size_t treeLength) {
    return 3 * align4(treeLength);
}

// The checked tree of the module at `path`: the resource's first wLength
// bytes.
DWORD loadVersionTree(const std::string& path, std::string& tree) {
    Result<std::string> resource =
        isSelfModule(path) ? ownModuleVersionResource() : readVersionResource(path);
    if (!resource.ok())
        return resource.error;
    tree = std::move(resource.value);
    const std::size_t length =
        tree.size() < 2 ? 0 : read16(reinterpret_cast<const unsigned char*>(tree.data()));
    if (length < kNodeHeader || length > tree.size())
        return kErrorResourceDataNotFound;
    tree.resize(length);
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(tree.data());

    Node root;
    unsigned nodes = 1;
    if (!readNode(bytes, 0, tree.size(), root) || !validTree(bytes, root, 0, nodes))
        return kErrorResourceDataNotFound;
    return 0;
}

} // namespace

bool isSelfModule(const std::string& module) {
    return equalNoCase(module, kSelfModuleName);
}

std::size_t pickResourceLanguage(const std::vector<std::uint16_t>& languages,
                                 std::uint16_t uiLanguage) {
    for (std::uint16_t wanted : {uiLanguage, std::uint16_t(0), std::uint16_t(0x0409)}) {
        for (std::size_t i = 0; i < languages.size(); ++i) {
            if (languages[i] == wanted)
                return i;
        }
    }
    return 0;
}

Result<std::size_t> fileVersionInfoSize(const std::string& path) {
    std::string tree;
    const DWORD error = loadVersionTree(path, tree);
    if (error != 0)
        return Result<std::size_t>{0, error};
    return Result<std::size_t>{blockSizeFor(tree.size()), 0};
}

DWORD fileVersionInfo(const std::string& path, void* buffer, std::size_t size) {
    if (buffer == nullptr)
        return ERROR_INVALID_PARAMETER;
    std::string tree;
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

Result<VersionValue> queryVersionValue(void* block, std::size_t blockSize,
                                       const std::string& subBlock) {
    if (block == nullptr)
        return noValue(ERROR_INVALID_PARAMETER);
    unsigned char* bytes = static_cast<unsigned char*>(block);
    Node node;
    if (!readNode(bytes, 0, blockSize, node))
        return noValue(kErrorResourceDataNotFound);
    const std::size_t treeEnd = node.end;

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
        return Result<VersionValue>{VersionValue{bytes + node.value, node.valueBytes}, 0};
    }
    if (!node.text)
        return Result<VersionValue>{VersionValue{bytes + node.value, node.valueBytes}, 0};
    const std::size_t units = node.valueBytes / 2;
    if (units == 0) {
        static const char kEmpty[] = "";
        return Result<VersionValue>{VersionValue{kEmpty, 0}, 0};
    }
    // The text's room past the tree (see blockSizeFor).
    const std::size_t room = 4 * units;
    const std::size_t place = align4(treeEnd) + 2 * node.value;
    if (blockSize < blockSizeFor(treeEnd) || place > blockSize || room > blockSize - place)
        return noValue(ERROR_INSUFFICIENT_BUFFER);
    unsigned char* out = bytes + place;
    const std::size_t length = utf16ToUtf8(bytes + node.value, units, out);
    out[length] = 0;
    return Result<VersionValue>{VersionValue{out, length}, 0};
}

Result<VersionValue> queryVersionValue(void* block, const std::string& subBlock) {
    if (block == nullptr)
        return noValue(ERROR_INVALID_PARAMETER);
    const std::size_t treeLength = read16(static_cast<const unsigned char*>(block));
    return queryVersionValue(block, blockSizeFor(treeLength), subBlock);
}

} // namespace platform
} // namespace klx
