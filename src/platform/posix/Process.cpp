// Starting programs: _spawnv in its waiting and detached forms, the capturing
// run that takes a child's standard output, and the current directory.
//
// Children are started with posix_spawn, which glibc implements with a
// vfork-like clone: the cost does not grow with the caller's memory, where a
// fork would copy the page tables of a caller of gigabytes. Every descriptor
// this file opens is close-on-exec, and the child closes everything above its
// standard handles besides, so that it inherits nothing else of the caller.
//
// A detached child is reaped by a small thread of its own that waits for it
// (with every signal blocked, so that the caller's handlers never run there).
// The caller's signal dispositions are never touched: installing a SIGCHLD
// handler, or ignoring SIGCHLD, would take the exit codes of the caller's own
// children away from it.
#include "platform/Platform.h"
#include "platform/common/CommandLineSplit.h"
#include "platform/common/NameRules.h"
#include "platform/common/RetryAfterSignal.h"
#include "platform/posix/Errors.h"
#include "platform/posix/Handles.h"
#include "platform/posix/HostPaths.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

// Process descriptors through the system call itself: glibc 2.36's
// <sys/pidfd.h> declares pidfd_open without C linkage for C++.
#if defined(__linux__)
#include <sys/syscall.h>
#if defined(SYS_pidfd_open)
#define KLX_HAVE_PIDFD 1
#endif
#endif
#if defined(__GLIBC__) && (__GLIBC__ > 2 || __GLIBC_MINOR__ >= 34)
#define KLX_HAVE_SPAWN_CLOSEFROM 1
#endif

extern char** environ;

namespace klx {
namespace platform {

namespace {

bool isFile(const std::string& hostPath) {
    struct stat info;
    return !hostPath.empty() && ::stat(hostPath.c_str(), &info) == 0 && !S_ISDIR(info.st_mode);
}

// The exit code the caller sees: the status a child exited with, or the
// shell's 128 + signal for a child ended by a signal, so that a program run
// directly and one run through a shell report the same code.
int exitCodeOf(int status) {
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    if (WIFSIGNALED(status))
        return 128 + WTERMSIG(status);
    return -1;
}

// Waits for our own child; false (errno set) when it cannot be waited for,
// which happens only when somebody else reaped it.
bool waitForChild(pid_t pid, int& status) {
    return retryAfterSignal(pid_t(-1), ::waitpid, pid, &status, 0) == pid;
}

// ---- Reaping detached children ----

// Children whose reaper thread could not be started; reaped without waiting
// at the next start of a child.
pthread_mutex_t gPendingLock = PTHREAD_MUTEX_INITIALIZER;
std::vector<pid_t>* gPending = nullptr; // never freed: may be used at exit

void reapPending() {
    pthread_mutex_lock(&gPendingLock);
    if (gPending != nullptr) {
        std::vector<pid_t>& pending = *gPending;
        for (std::size_t i = 0; i < pending.size();) {
            int status = 0;
            pid_t done = ::waitpid(pending[i], &status, WNOHANG);
            if (done == pending[i] || (done < 0 && errno == ECHILD)) {
                pending[i] = pending.back();
                pending.pop_back();
            } else {
                ++i;
            }
        }
    }
    pthread_mutex_unlock(&gPendingLock);
}

void* reaperMain(void* argument) {
    pid_t pid = static_cast<pid_t>(reinterpret_cast<std::intptr_t>(argument));
    int status = 0;
    waitForChild(pid, status);
    return nullptr;
}

void reapInBackground(pid_t pid) {
    pthread_attr_t attributes;
    bool started = false;
    if (pthread_attr_init(&attributes) == 0) {
        pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
        // The thread only waits; a small stack keeps many of them cheap.
        pthread_attr_setstacksize(&attributes, 256 * 1024);
        sigset_t all, previous;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &previous);
        pthread_t thread;
        started = pthread_create(&thread, &attributes, reaperMain,
                                 reinterpret_cast<void*>(static_cast<std::intptr_t>(pid))) == 0;
        pthread_sigmask(SIG_SETMASK, &previous, nullptr);
        pthread_attr_destroy(&attributes);
    }
    if (started)
        return;
    pthread_mutex_lock(&gPendingLock);
    if (gPending == nullptr)
        gPending = new std::vector<pid_t>();
    gPending->push_back(pid);
    pthread_mutex_unlock(&gPendingLock);
}

// ---- Starting a child ----

// The standard handles a child gets; -1 keeps the caller's.
struct ChildHandles {
    bool nullInput;
    int output;
    int error;
};

// posix_spawn of `hostProgram` with the C runtime's arguments of
// `commandLine`. Returns 0 or an errno value.
int startChild(const std::string& hostProgram, const std::string& commandLine,
               const ChildHandles& handles, pid_t& pid) {
    std::vector<std::string> arguments = splitCommandLine(commandLine);
    // A program always gets a name for itself, as Windows children do.
    if (arguments.empty())
        arguments.push_back(hostProgram);
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (std::string& argument : arguments)
        argv.push_back(&argument[0]);
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    if (int rc = posix_spawn_file_actions_init(&actions))
        return rc;
    posix_spawnattr_t attributes;
    if (int rc = posix_spawnattr_init(&attributes)) {
        posix_spawn_file_actions_destroy(&actions);
        return rc;
    }

    int rc = 0;
    if (handles.nullInput)
        rc = posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    if (rc == 0 && handles.output >= 0)
        rc = posix_spawn_file_actions_adddup2(&actions, handles.output, 1);
    if (rc == 0 && handles.error >= 0)
        rc = posix_spawn_file_actions_adddup2(&actions, handles.error, 2);
#ifdef KLX_HAVE_SPAWN_CLOSEFROM
    // Descriptors that the caller opened without close-on-exec stay behind
    // too: a Windows child inherits only what it is given.
    if (rc == 0)
        rc = posix_spawn_file_actions_addclosefrom_np(&actions, 3);
#endif

    // A Windows child starts with no signals blocked or ignored; the caller's
    // mask and ignored signals (SIGPIPE, often) must not reach it.
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    if (rc == 0)
        rc = posix_spawnattr_setsigmask(&attributes, &none);
    if (rc == 0)
        rc = posix_spawnattr_setsigdefault(&attributes, &all);
    if (rc == 0)
        rc = posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    if (rc == 0)
        rc = posix_spawn(&pid, hostProgram.c_str(), &actions, &attributes, argv.data(), environ);

    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return rc;
}

// A close-on-exec pipe whose ends lie above the standard handles, so that
// the child's dup2 onto 1 and 2 never meets one of them in place (a dup2 of
// a descriptor onto itself would keep its close-on-exec flag).
int openPipe(ScopedFd& readEnd, ScopedFd& writeEnd) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return errno;
    readEnd.reset(ends[0]);
    writeEnd.reset(ends[1]);
    for (ScopedFd* end : {&readEnd, &writeEnd}) {
        if (end->get() > 2)
            continue;
        int moved = ::fcntl(end->get(), F_DUPFD_CLOEXEC, 3);
        if (moved < 0)
            return errno;
        end->reset(moved);
    }
    // The runner reads only what is there: after the child's end it takes the
    // rest without waiting for writers that outlive it.
    int flags = ::fcntl(readEnd.get(), F_GETFL);
    if (flags < 0 || ::fcntl(readEnd.get(), F_SETFL, flags | O_NONBLOCK) != 0)
        return errno;
    return 0;
}

// Reads what a pipe holds now. Returns false at its end or on an error.
// Bytes of `output` are kept up to `limit`; a null `result` discards them.
bool drainPipe(int fd, CapturedRun* run, std::size_t limit) {
    char buffer[65536];
    for (;;) {
        ssize_t got = retryAfterSignal(-1, ::read, fd, &buffer[0], sizeof buffer);
        if (got > 0) {
            if (run != nullptr) {
                std::size_t room = limit - run->output.size();
                std::size_t take = static_cast<std::size_t>(got);
                if (take > room) {
                    take = room;
                    run->truncated = true;
                }
                run->output.append(buffer, take);
            }
            continue;
        }
        if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return true;
        return false;
    }
}

} // namespace

std::string programHostPath(const std::string& program) {
    std::string host = hostPath(program);
    if (isFile(host))
        return host;
    const std::string other = otherProgramName(program);
    if (other.empty())
        return std::string();
    host = hostPath(other);
    return isFile(host) ? host : std::string();
}

Result<int> spawnProcess(const std::string& program, const std::string& commandLine, bool wait) {
    reapPending();
    std::string host = programHostPath(program);
    if (host.empty())
        return Result<int>{-1, ERROR_FILE_NOT_FOUND};
    pid_t pid = 0;
    if (int rc = startChild(host, commandLine, ChildHandles{false, -1, -1}, pid))
        return Result<int>{-1, win32Error(rc)};
    if (!wait) {
        reapInBackground(pid);
        return Result<int>{static_cast<int>(pid), 0};
    }
    int status = 0;
    if (!waitForChild(pid, status))
        return Result<int>{-1, win32Error(errno)};
    return Result<int>{exitCodeOf(status), 0};
}

Result<CapturedRun> captureProcess(const std::string& program, const std::string& commandLine,
                                   std::size_t outputLimit) {
    Result<CapturedRun> result{{-1, std::string(), false}, 0};
    CapturedRun& run = result.value;
    reapPending();
    std::string host = programHostPath(program);
    if (host.empty()) {
        result.error = ERROR_FILE_NOT_FOUND;
        return result;
    }

    ScopedFd outRead, outWrite, errRead, errWrite;
    if (int rc = openPipe(outRead, outWrite)) {
        result.error = win32Error(rc);
        return result;
    }
    if (int rc = openPipe(errRead, errWrite)) {
        result.error = win32Error(rc);
        return result;
    }

    pid_t pid = 0;
    if (int rc = startChild(host, commandLine, ChildHandles{true, outWrite.get(), errWrite.get()},
                            pid)) {
        result.error = win32Error(rc);
        return result;
    }
    // Only the child holds the write ends now, so their end shows as EOF.
    outWrite.reset();
    errWrite.reset();

    // The child's end is seen through a process descriptor where the kernel
    // has them; otherwise by asking every 100 ms while the pipes are quiet.
    ScopedFd processFd;
#ifdef KLX_HAVE_PIDFD
    // Race-free: the child stays a zombie with its identifier until waited for.
    processFd.reset(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
#endif

    int status = 0;
    bool reaped = false;
    for (;;) {
        pollfd watched[3];
        nfds_t count = 0;
        int outSlot = -1, errSlot = -1, processSlot = -1;
        if (outRead) {
            outSlot = static_cast<int>(count);
            watched[count++] = pollfd{outRead.get(), POLLIN, 0};
        }
        if (errRead) {
            errSlot = static_cast<int>(count);
            watched[count++] = pollfd{errRead.get(), POLLIN, 0};
        }
        if (count == 0)
            break; // both pipes ended: the child is ending or has ended
        if (processFd) {
            processSlot = static_cast<int>(count);
            watched[count++] = pollfd{processFd.get(), POLLIN, 0};
        }
        int ready = retryAfterSignal(-1, ::poll, &watched[0], count, processFd ? -1 : 100);
        if (ready < 0)
            break; // cannot happen with valid descriptors; wait for the child
        if (outSlot >= 0 && watched[outSlot].revents != 0 &&
            !drainPipe(outRead.get(), &run, outputLimit))
            outRead.reset();
        if (errSlot >= 0 && watched[errSlot].revents != 0 && !drainPipe(errRead.get(), nullptr, 0))
            errRead.reset();

        bool ended = processSlot >= 0 && watched[processSlot].revents != 0;
        if (!processFd) {
            pid_t done = ::waitpid(pid, &status, WNOHANG);
            if (done == pid)
                reaped = ended = true;
        }
        if (ended) {
            // Everything the child wrote is in the pipes by now; take it
            // without waiting for grandchildren that kept the write ends.
            if (outRead)
                drainPipe(outRead.get(), &run, outputLimit);
            break;
        }
    }

    if (!reaped && !waitForChild(pid, status)) {
        result.error = win32Error(errno);
        return result;
    }
    run.exitCode = exitCodeOf(status);
    return result;
}

DWORD setCurrentDirectory(const std::string& path) {
    std::string host = hostPath(path);
    if (host.empty())
        return ERROR_PATH_NOT_FOUND;
    if (::chdir(host.c_str()) != 0)
        return win32PathError(errno, host);
    return 0;
}

} // namespace platform
} // namespace klx
