// KlxCore: the bytes of an XML file as libxml2's own file input reads them.
#include "XmlFileBytes.h"

#include <libxml/parser.h>
#include <libxml/xmlversion.h>

#include <algorithm>
#include <climits>
#include <cstring>

#ifdef LIBXML_ZLIB_ENABLED
#ifndef KLX_HAVE_ZLIB
#error "this libxml2 reads gzip files; zlib is needed to read them the same way"
#endif
#include <zlib.h>
#endif

namespace klx {
namespace xml {

namespace {
// Raw bytes are read from the file in pieces of this size.
const unsigned long kChunk = 64 * 1024;
} // namespace

int parseOptions() {
    return XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
}

#ifdef LIBXML_ZLIB_ENABLED
struct FileBytes::Inflater {
    z_stream stream{};
    bool ready = false;
    ~Inflater() {
        if (ready)
            inflateEnd(&stream);
    }
};
#else
struct FileBytes::Inflater {};
#endif

FileBytes::FileBytes(KLXFile& file) : mFile(file) {}

FileBytes::~FileBytes() = default;

bool FileBytes::decompressesGzip() {
#ifdef LIBXML_ZLIB_ENABLED
    return xmlHasFeature(XML_WITH_ZLIB) != 0;
#else
    return false;
#endif
}

bool FileBytes::fillChunk() {
    mChunk.reset();
    mChunkSize = mChunkAt = 0;
    if (mFileEnded)
        return true;
    if (mOffset > static_cast<unsigned long>(INT_MAX)) {
        mFailed = true;
        return false;
    }
    unsigned long size = kChunk;
    char* bytes = mFile.read(static_cast<int>(mOffset), &size);
    if (bytes == nullptr) {
        mFailed = true;
        return false;
    }
    mChunk.reset(bytes);
    mChunkSize = size;
    mOffset += size;
    if (size < kChunk)
        mFileEnded = true;
    return true;
}

int FileBytes::read(char* buffer, int size) {
    if (mFailed)
        return -1;
    if (size <= 0 || mEnded)
        return 0;
    if (!mStarted) {
        mStarted = true;
        if (!fillChunk())
            return -1;
        // gzip's magic bytes; one byte alone is not compressed.
        if (decompressesGzip() && mChunkSize >= 2 &&
            static_cast<unsigned char>(mChunk[0]) == 0x1f &&
            static_cast<unsigned char>(mChunk[1]) == 0x8b)
            mInflater.reset(new Inflater());
    }
    if (mInflater)
        return inflateInto(buffer, size);

    std::size_t done = 0;
    while (done < static_cast<std::size_t>(size)) {
        if (mChunkAt == mChunkSize) {
            if (mFileEnded)
                break;
            if (!fillChunk())
                return -1;
            continue;
        }
        const std::size_t count =
            std::min(static_cast<std::size_t>(size) - done, mChunkSize - mChunkAt);
        std::memcpy(buffer + done, mChunk.get() + mChunkAt, count);
        mChunkAt += count;
        done += count;
    }
    if (done == 0)
        mEnded = true;
    return static_cast<int>(done);
}

int FileBytes::inflateInto(char* buffer, int size) {
#ifdef LIBXML_ZLIB_ENABLED
    z_stream& stream = mInflater->stream;
    if (!mInflater->ready) {
        // A gzip wrapper: its header is checked, its data checked against
        // the length and CRC of its trailer.
        if (inflateInit2(&stream, 15 + 16) != Z_OK) {
            mFailed = true;
            return -1;
        }
        mInflater->ready = true;
    }
    stream.next_out = reinterpret_cast<Bytef*>(buffer);
    stream.avail_out = static_cast<uInt>(size);
    while (stream.avail_out == static_cast<uInt>(size)) {
        if (mChunkAt == mChunkSize) {
            if (mFileEnded || !fillChunk() || mChunkSize == 0) {
                // The compressed data ends before its end.
                mFailed = true;
                return -1;
            }
        }
        stream.next_in = reinterpret_cast<Bytef*>(mChunk.get() + mChunkAt);
        stream.avail_in = static_cast<uInt>(mChunkSize - mChunkAt);
        const int status = inflate(&stream, Z_NO_FLUSH);
        mChunkAt = mChunkSize - stream.avail_in;
        if (status == Z_STREAM_END) {
            // What follows the compressed data is not read.
            mEnded = true;
            break;
        }
        if (status != Z_OK && status != Z_BUF_ERROR) {
            mFailed = true;
            return -1;
        }
    }
    return size - static_cast<int>(stream.avail_out);
#else
    (void)buffer;
    (void)size;
    mFailed = true;
    return -1;
#endif
}

int FileBytes::readCallback(void* context, char* buffer, int size) {
    return static_cast<FileBytes*>(context)->read(buffer, size);
}

int FileBytes::closeCallback(void*) {
    return 0;
}

} // namespace xml
} // namespace klx
