// KlxCore: one open file with whole-file and positioned reads and writes.
#ifndef KLX_FILE_H
#define KLX_FILE_H

#include "KLXDataStream.h"

class KLX_API KLXFile : public KLXDataStream {
public:
    // Open modes.
    //  0 (and any other value): open or create, read and write, shared for
    //    reading and writing;
    //  1: create or empty, read and write, shared for reading and writing;
    //  2: open an existing file, read only, shared for reading only.
    // Never throws: a failed open leaves mHandle INVALID_HANDLE_VALUE and the
    // Windows error code in mLastError.
    KLXFile(std::string& path, int mode);
    ~KLXFile();

    // A file object owns its handle; copies would close it twice.
    KLXFile(const KLXFile&) = delete;
    KLXFile& operator=(const KLXFile&) = delete;

    // Reads *size bytes at `offset`, or, with a negative offset, the file's
    // length at opening from the current position. Returns a new[]-allocated
    // buffer holding the bytes and a terminating NUL, with *size set to the
    // count read; or null, leaving *size alone.
    char* read(int offset, unsigned long* size);
    // Writes *size bytes of `buffer` at `offset` (negative counts as 0) and
    // cuts the file after them. On success *size is the count written; on
    // failure *size and the file's length stay as they were. Returns 0 when
    // the bytes were written, -1 when nothing was.
    int write(int offset, unsigned long* size, const char* buffer);
    // The stream operations write nothing to a raw file.
    using KLXDataStream::write;

protected:
    // Takes the file's length into mSize (0 when it cannot be read).
    void updateSize();

    HANDLE mHandle;
    DWORD mSize;
    DWORD mLastError;
};

#endif // KLX_FILE_H
