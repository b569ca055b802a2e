// Sharing between open files, as CreateFileA checks it: between handles of
// this process and handles of other processes.
#include "KLXFile.h"

// The platform layer stays hidden inside the library; this test links its own
// copy of it to reach createFile directly.
#include "platform/Platform.h"
#include "platform/posix/HostPaths.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace klx::platform;

namespace {

struct Probe : KLXFile {
    using KLXFile::KLXFile;
    using KLXFile::mHandle;
    using KLXFile::mLastError;
};

DWORD openError(std::string path, int mode) {
    return Probe(path, mode).mLastError;
}

// Opens a file in a child process and keeps it open until destroyed. The
// child reports its open's error code through one pipe and waits for the
// other to close, so nothing here depends on timing.
class OtherProcess {
public:
    OtherProcess(const std::string& path, int mode) {
        int ready[2];
        int release[2];
        if (::pipe(ready) != 0 || ::pipe(release) != 0)
            return;
        mPid = ::fork();
        if (mPid == 0) {
            ::close(ready[0]);
            ::close(release[1]);
            std::string name = path;
            Probe file(name, mode);
            DWORD error = file.mLastError;
            bool told = ::write(ready[1], &error, sizeof error) == sizeof error;
            char ignored;
            while (told && ::read(release[0], &ignored, 1) > 0) {
            }
            ::_exit(0);
        }
        ::close(ready[1]);
        ::close(release[0]);
        mRelease = release[1];
        if (mPid > 0 && ::read(ready[0], &mError, sizeof mError) != sizeof mError)
            mError = ~0u;
        ::close(ready[0]);
    }
    ~OtherProcess() {
        ::close(mRelease);
        int status;
        if (mPid > 0)
            ::waitpid(mPid, &status, 0);
    }
    DWORD error() const { return mError; }

private:
    pid_t mPid = -1;
    int mRelease = -1;
    DWORD mError = ~0u;
};

} // namespace

TEST(FileSharing, ModesInOneProcess) {
    std::string path = (klxtest::freshDir("share") / "f.txt").string();
    klxtest::writeBytes(path, "content");
    {
        Probe writer(path, 0);
        ASSERT_EQ(writer.mLastError, 0u);
        // Mode 2 shares reading only, so it cannot join a writer.
        EXPECT_EQ(openError(path, 2), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
        // Two read-write opens share with each other.
        Probe second(path, 0);
        EXPECT_EQ(second.mLastError, 0u);
    }
    {
        Probe reader(path, 2);
        ASSERT_EQ(reader.mLastError, 0u);
        Probe another(path, 2);
        EXPECT_EQ(another.mLastError, 0u);
        EXPECT_EQ(openError(path, 0), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
        EXPECT_EQ(openError(path, 1), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
        EXPECT_EQ(openError(path, 7), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
        // The refused create left the content alone.
        EXPECT_EQ(klxtest::readBytes(path), "content");
    }
    // Closing releases: now everything opens again.
    EXPECT_EQ(openError(path, 1), 0u);
    EXPECT_EQ(klxtest::readBytes(path), "");
    EXPECT_EQ(openError(path, 2), 0u);
}

TEST(FileSharing, AccessAgainstShareMode) {
    std::string path = (klxtest::freshDir("share") / "g.txt").string();
    klxtest::writeBytes(path, "g");

    OpenResult exclusive = createFile(path, AccessRead, 0, FileCreation::OpenExisting);
    ASSERT_EQ(exclusive.error, 0u);
    EXPECT_EQ(
        createFile(path, AccessRead, ShareRead | ShareWrite, FileCreation::OpenExisting).error,
        static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(
        createFile(path, AccessWrite, ShareRead | ShareWrite, FileCreation::OpenExisting).error,
        static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    closeHandle(exclusive.handle);

    // A writer that lets others write: readers must share writing too.
    OpenResult writer = createFile(path, AccessWrite, ShareWrite, FileCreation::OpenExisting);
    ASSERT_EQ(writer.error, 0u);
    EXPECT_EQ(createFile(path, AccessRead, ShareRead, FileCreation::OpenExisting).error,
              static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    // It denies reading to others.
    EXPECT_EQ(
        createFile(path, AccessRead, ShareRead | ShareWrite, FileCreation::OpenExisting).error,
        static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    OpenResult secondWriter = createFile(path, AccessWrite, ShareWrite, FileCreation::OpenExisting);
    EXPECT_EQ(secondWriter.error, 0u);
    // An open without access still respects the others' denials.
    OpenResult noAccess = createFile(path, 0, ShareWrite, FileCreation::OpenExisting);
    EXPECT_EQ(noAccess.error, 0u);
    closeHandle(noAccess.handle);
    closeHandle(secondWriter.handle);
    closeHandle(writer.handle);

    // A refused CREATE_ALWAYS does not empty the file.
    OpenResult reader = createFile(path, AccessRead, ShareRead, FileCreation::OpenExisting);
    ASSERT_EQ(reader.error, 0u);
    EXPECT_EQ(
        createFile(path, AccessWrite, ShareRead | ShareWrite, FileCreation::CreateAlways).error,
        static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(klxtest::readBytes(path), "g");
    closeHandle(reader.handle);
    closeHandle(INVALID_HANDLE_VALUE);
}

TEST(FileSharing, AcrossProcesses) {
    std::string path = (klxtest::freshDir("share") / "p.txt").string();
    klxtest::writeBytes(path, "shared");
    {
        OtherProcess writer(path, 0);
        ASSERT_EQ(writer.error(), 0u);
        EXPECT_EQ(openError(path, 2), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
        EXPECT_EQ(openError(path, 0), 0u);
        OtherProcess reader(path, 2);
        EXPECT_EQ(reader.error(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    }
    {
        OtherProcess reader(path, 2);
        ASSERT_EQ(reader.error(), 0u);
        EXPECT_EQ(openError(path, 2), 0u);
        EXPECT_EQ(openError(path, 1), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
        EXPECT_EQ(klxtest::readBytes(path), "shared");
    }
    {
        Probe mine(path, 2);
        ASSERT_EQ(mine.mLastError, 0u);
        OtherProcess creator(path, 1);
        EXPECT_EQ(creator.error(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
        EXPECT_EQ(klxtest::readBytes(path), "shared");
    }
    // The other process is gone, and with it its claims.
    OtherProcess creator(path, 1);
    EXPECT_EQ(creator.error(), 0u);
    EXPECT_EQ(klxtest::readBytes(path), "");
}
