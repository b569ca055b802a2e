// Fuzzes the version resource reader: the input is written as a module file
// and read the way a version object reads it (size, block, fixed information,
// translations, then each translation's product name). The input is also
// queried directly as a version block, so that mutations reach the tree
// walker without having to keep a PE image intact.
#include "FuzzSupport.h"

#include "platform/common/VersionInfo.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

using namespace klx::platform;

namespace {

const char* const kQueries[] = {"\\", "\\VarFileInfo\\Translation",
                                "\\StringFileInfo\\040904b0\\ProductName", "\\StringFileInfo"};

// A result is either nothing or a range inside the block; an empty text may
// be a constant outside it. Which type a value has is the input's choice.
void checkValue(const std::vector<unsigned char>& block, const Result<VersionValue>& result) {
    const VersionValue& value = result.value;
    if (!result.ok()) {
        KLX_FUZZ_CHECK(value.data == nullptr);
        return;
    }
    KLX_FUZZ_CHECK(value.data != nullptr);
    if (value.length == 0)
        return;
    const unsigned char* begin = block.data();
    const unsigned char* data = static_cast<const unsigned char*>(value.data);
    KLX_FUZZ_CHECK(data >= begin && data <= begin + block.size());
    const std::size_t room = static_cast<std::size_t>(begin + block.size() - data);
    KLX_FUZZ_CHECK(value.length <= room);
}

void queryLikeAReader(std::vector<unsigned char>& block) {
    const Result<VersionValue> fixed = queryVersionValue(block.data(), block.size(), "\\");
    checkValue(block, fixed);
    if (fixed.ok())
        KLX_FUZZ_CHECK(fixed.value.length >= 52);
    const Result<VersionValue> pairs =
        queryVersionValue(block.data(), block.size(), "\\VarFileInfo\\Translation");
    checkValue(block, pairs);
    if (!pairs.ok())
        return;
    const unsigned char* words = static_cast<const unsigned char*>(pairs.value.data);
    for (std::size_t at = 0; at + 4 <= pairs.value.length && at < 64; at += 4) {
        char name[64];
        std::snprintf(name, sizeof name, "\\StringFileInfo\\%04x%04x\\ProductName",
                      words[at] | (words[at + 1] << 8), words[at + 2] | (words[at + 3] << 8));
        checkValue(block, queryVersionValue(block.data(), block.size(), name));
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    klxfuzz::setUpTempRoot();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::filesystem::path path = klxfuzz::tempRoot() / "module.dll";
    // A new file each time: emptying an existing one makes ext4 flush it.
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    klxfuzz::writeBytes(path, bytes);

    const Result<std::size_t> info = fileVersionInfoSize(path.string());
    KLX_FUZZ_CHECK((info.value == 0) == !info.ok());
    // Version trees are at most 64 KiB; with their text room, three times that.
    KLX_FUZZ_CHECK(info.value <= 3 * 65536);
    if (info.ok()) {
        std::vector<unsigned char> block(info.value);
        KLX_FUZZ_CHECK(fileVersionInfo(path.string(), block.data(), block.size() - 1) ==
                       ERROR_INSUFFICIENT_BUFFER);
        KLX_FUZZ_CHECK(fileVersionInfo(path.string(), block.data(), block.size()) == 0);
        queryLikeAReader(block);
        // The block's own header gives the same answers.
        const Result<VersionValue> sized = queryVersionValue(block.data(), block.size(), "\\");
        const Result<VersionValue> unsized = queryVersionValue(block.data(), "\\");
        KLX_FUZZ_CHECK(sized.value.data == unsized.value.data &&
                       sized.value.length == unsized.value.length);
    }

    // The input itself as a block, exactly as large as it is.
    std::vector<unsigned char> raw(data, data + size);
    queryLikeAReader(raw);
    for (const char* query : kQueries)
        queryVersionValue(raw.data(), raw.size(), query);
    return 0;
}
