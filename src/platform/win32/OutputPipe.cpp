// Overlapped reads of a captured child's output pipes.
#include "platform/win32/OutputPipe.h"

#include <atomic>
#include <cwchar>

namespace klx {
namespace platform {

namespace {

// The pipe's buffer, and the most that one read takes.
const DWORD kBufferSize = 65536;

} // namespace

void Sink::take(const char* bytes, std::size_t count) const {
    if (text == nullptr)
        return;
    const std::size_t room = limit - text->size();
    if (count > room) {
        count = room;
        *truncated = true;
    }
    text->append(bytes, count);
}

OutputPipe::OutputPipe(Sink sink) : mSink(sink), mBuffer(kBufferSize) {}

OutputPipe::~OutputPipe() {
    cancel();
}

DWORD OutputPipe::open(ScopedFileHandle& childEnd) {
    static std::atomic<unsigned long> serial{0};
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    // A name in use is never joined: the next one is tried.
    for (int attempt = 0; attempt < 16; ++attempt) {
        wchar_t name[64];
        std::swprintf(name, sizeof name / sizeof name[0], L"\\\\.\\pipe\\klxcore-%lu-%lu",
                      static_cast<unsigned long>(::GetCurrentProcessId()), ++serial);
        mPipe.reset(::CreateNamedPipeW(
            name, PIPE_ACCESS_INBOUND | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
            PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1, 0, kBufferSize, 0, nullptr));
        if (!mPipe) {
            if (::GetLastError() == ERROR_ACCESS_DENIED)
                continue;
            return ::GetLastError();
        }
        childEnd.reset(::CreateFileW(name, GENERIC_WRITE, 0, &inheritable, OPEN_EXISTING,
                                     FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!childEnd)
            return ::GetLastError();
        mEvent.reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        if (!mEvent)
            return ::GetLastError();
        mOpen = true;
        return 0;
    }
    return ERROR_ACCESS_DENIED;
}

void OutputPipe::startRead() {
    if (!mOpen || mPending)
        return;
    mOverlapped = OVERLAPPED();
    mOverlapped.hEvent = mEvent.get();
    if (::ReadFile(mPipe.get(), mBuffer.data(), kBufferSize, nullptr, &mOverlapped) ||
        ::GetLastError() == ERROR_IO_PENDING)
        mPending = true;
    else
        mOpen = false; // ERROR_BROKEN_PIPE: every writer has gone
}

void OutputPipe::finishRead(bool wait) {
    if (!mPending)
        return;
    DWORD got = 0;
    if (::GetOverlappedResult(mPipe.get(), &mOverlapped, &got, wait)) {
        mSink.take(mBuffer.data(), got);
    } else {
        const DWORD error = ::GetLastError();
        if (error == ERROR_IO_INCOMPLETE)
            return;
        if (error != ERROR_OPERATION_ABORTED)
            mOpen = false;
    }
    mPending = false;
}

void OutputPipe::drain() {
    cancel();
    while (mOpen) {
        DWORD available = 0;
        if (!::PeekNamedPipe(mPipe.get(), nullptr, 0, nullptr, &available, nullptr) ||
            available == 0)
            return;
        // The bytes are there: this read does not wait for a writer.
        startRead();
        finishRead(true);
    }
}

void OutputPipe::cancel() {
    if (!mPending)
        return;
    ::CancelIoEx(mPipe.get(), &mOverlapped);
    finishRead(true); // bytes that arrived before the cancel still count
}

void collectOutput(HANDLE process, OutputPipe& output, OutputPipe& error) {
    OutputPipe* pipes[] = {&output, &error};
    for (;;) {
        HANDLE waits[3];
        DWORD count = 0;
        for (OutputPipe* pipe : pipes) {
            pipe->startRead();
            if (pipe->pending())
                waits[count++] = pipe->event();
        }
        waits[count++] = process;
        if (::WaitForMultipleObjects(count, waits, FALSE, INFINITE) == WAIT_FAILED)
            break;
        for (OutputPipe* pipe : pipes)
            pipe->finishRead(false);
        // Asked on every wake: a pipe that is never quiet must not hide the
        // child's end.
        if (::WaitForSingleObject(process, 0) == WAIT_OBJECT_0)
            break;
    }
    for (OutputPipe* pipe : pipes)
        pipe->drain();
}

} // namespace platform
} // namespace klx
