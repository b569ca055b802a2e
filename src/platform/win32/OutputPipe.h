// The reading end of a child's output pipe, and the loop that drains both of
// a captured child's pipes while it runs.
#ifndef KLX_PLATFORM_WIN32_OUTPUT_PIPE_H
#define KLX_PLATFORM_WIN32_OUTPUT_PIPE_H

#include "platform/win32/Handles.h"

#include <string>
#include <vector>

namespace klx {
namespace platform {

// Where the bytes of a pipe go: the first `limit` into `text` (setting
// `truncated` when more come), or nowhere when `text` is null.
struct Sink {
    std::string* text;
    std::size_t limit;
    bool* truncated;

    void take(const char* bytes, std::size_t count) const;
};

// Our end of one of a child's output pipes: an overlapped named pipe, so that
// both pipes and the child's end can be waited for at once.
class OutputPipe {
public:
    explicit OutputPipe(Sink sink);
    ~OutputPipe();
    OutputPipe(const OutputPipe&) = delete;
    OutputPipe& operator=(const OutputPipe&) = delete;

    // Creates the pipe, and in `childEnd` the inheritable, synchronous
    // writing end for the child.
    DWORD open(ScopedFileHandle& childEnd);

    bool pending() const { return mPending; }
    HANDLE event() const { return mEvent.get(); }

    // Starts a read unless one is under way or the pipe has ended.
    void startRead();
    // Takes what the read under way brought if it has finished, or, with
    // `wait`, once it has.
    void finishRead(bool wait);
    // After the child's end: takes what the pipe holds, without waiting for
    // writers that outlive the child (its own children).
    void drain();

private:
    void cancel();

    Sink mSink;
    ScopedFileHandle mPipe;
    ScopedKernelHandle mEvent;
    OVERLAPPED mOverlapped = {};
    bool mOpen = false;
    bool mPending = false;
    std::vector<char> mBuffer;
};

// Reads both pipes until the child `process` has ended, then what they hold.
void collectOutput(HANDLE process, OutputPipe& output, OutputPipe& error);

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_WIN32_OUTPUT_PIPE_H
