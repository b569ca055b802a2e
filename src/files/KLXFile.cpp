// KlxCore: one open file with whole-file and positioned reads and writes.
#include "KLXFile.h"

#include "platform/Platform.h"

#include <cstring>
#include <new>

namespace {

// ReadFile and WriteFile count in 32 bits; the read buffer needs one byte more
// for its NUL.
const unsigned long kMaxReadCount = 0xFFFFFFFEul;
const unsigned long kMaxWriteCount = 0xFFFFFFFFul;

} // namespace

KLXFile::KLXFile(std::string& path, int mode)
    : mHandle(INVALID_HANDLE_VALUE), mSize(0), mLastError(0) {
    using namespace klx::platform;
    unsigned access = AccessRead | AccessWrite;
    unsigned share = ShareRead | ShareWrite;
    FileCreation creation = FileCreation::OpenAlways;
    if (mode == 1) {
        creation = FileCreation::CreateAlways;
    } else if (mode == 2) {
        access = AccessRead;
        share = ShareRead;
        creation = FileCreation::OpenExisting;
    }

    Result<HANDLE> opened = createFile(path, access, share, creation);
    mHandle = opened.value;
    mLastError = (mHandle == INVALID_HANDLE_VALUE) ? opened.error : 0;
    updateSize();
}

KLXFile::~KLXFile() {
    if (mHandle != INVALID_HANDLE_VALUE)
        klx::platform::closeHandle(mHandle);
}

void KLXFile::updateSize() {
    mSize = 0;
    if (mHandle == INVALID_HANDLE_VALUE)
        return;
    klx::platform::Result<std::uint64_t> size = klx::platform::fileSize(mHandle);
    // Only the low 32 bits, as GetFileSize without its high half reports;
    // its failure value stands for an unknown size.
    DWORD low = static_cast<DWORD>(size.value);
    if (size.error == 0 && low != 0xFFFFFFFFu)
        mSize = low;
}

char* KLXFile::read(int offset, unsigned long* size) {
    if (mHandle == INVALID_HANDLE_VALUE || size == nullptr)
        return nullptr;
    if (offset < 0)
        *size = mSize;
    const unsigned long count = *size;
    if (count > kMaxReadCount)
        return nullptr;

    // Only the bytes that the read does not fill are cleared below.
    char* buffer = new (std::nothrow) char[count + 1];
    if (buffer == nullptr)
        return nullptr;

    klx::platform::Result<std::size_t> result =
        offset < 0
            ? klx::platform::readFile(mHandle, buffer, count)
            : klx::platform::readFileAt(mHandle, static_cast<unsigned>(offset), buffer, count);
    if (result.error != 0) {
        delete[] buffer;
        return nullptr;
    }
    std::memset(buffer + result.value, 0, count + 1 - result.value);
    *size = static_cast<unsigned long>(result.value);
    return buffer;
}

int KLXFile::write(int offset, unsigned long* size, const char* buffer) {
    if (mHandle == INVALID_HANDLE_VALUE || size == nullptr || buffer == nullptr || *size == 0 ||
        *size > kMaxWriteCount)
        return -1;
    const unsigned long position = offset < 0 ? 0ul : static_cast<unsigned long>(offset);

    klx::platform::Result<std::size_t> result =
        klx::platform::writeFileAt(mHandle, position, buffer, *size);
    if (result.error != 0)
        return -1;
    *size = static_cast<unsigned long>(result.value);
    // A shorter rewrite leaves no tail of the old content.
    klx::platform::setEndOfFile(mHandle);
    return 0;
}
