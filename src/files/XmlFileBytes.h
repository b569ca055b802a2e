// The bytes of an XML file as the XML classes hand them to libxml2.
#ifndef KLX_FILES_XML_FILE_BYTES_H
#define KLX_FILES_XML_FILE_BYTES_H

#include "KLXFile.h"

#include <cstddef>
#include <memory>

namespace klx {
namespace xml {

// libxml2's options for every XML file of the library: no network access;
// external entities and DTDs are neither loaded nor substituted, and the
// parser's default limits on depth, text and entity expansion stay in force
// (no XML_PARSE_HUGE), so that a hostile file fails to parse instead of
// exhausting memory or time. Failures are reported by return values only, so
// libxml2 prints no errors or warnings.
int parseOptions();

// Reads an open file in pieces, as libxml2's own file input does when it
// opens a file by name: a gzip file is decompressed when the libxml2 in use
// decompresses gzip (what follows the compressed data is ignored), any other
// file is read as it is. The file is reached through the library's own path
// handling and read through its handle.
class FileBytes {
public:
    explicit FileBytes(KLXFile& file);
    ~FileBytes();
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;

    // Up to `size` bytes into `buffer`: the count, 0 at the end, -1 when the
    // file cannot be read or its compressed data is broken.
    int read(char* buffer, int size);
    // True once a read failed: whatever was parsed is not the file.
    bool failed() const { return mFailed; }

    // libxml2's read and close callbacks over a FileBytes.
    static int readCallback(void* context, char* buffer, int size);
    static int closeCallback(void* context);

    // Whether gzip files are decompressed.
    static bool decompressesGzip();

private:
    // Reads the next piece of the file; false on failure.
    bool fillChunk();
    // Decompresses into `buffer`: the count, or -1.
    int inflateInto(char* buffer, int size);

    struct Inflater;
    KLXFile& mFile;
    unsigned long mOffset = 0;      // of the next piece
    std::unique_ptr<char[]> mChunk; // the piece being handed out
    std::size_t mChunkSize = 0;
    std::size_t mChunkAt = 0;
    bool mFileEnded = false; // the last piece has been read
    bool mStarted = false;
    bool mFailed = false;
    bool mEnded = false;                 // no more bytes will be handed out
    std::unique_ptr<Inflater> mInflater; // set for a gzip file
};

} // namespace xml
} // namespace klx

#endif // KLX_FILES_XML_FILE_BYTES_H
