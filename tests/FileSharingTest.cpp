// Sharing checks that KLXFile's open modes never reach (opens that deny
// reading to others, opens without access), and the update lock.
#include "platform/Platform.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

using namespace klx::platform;

namespace {

HANDLE open(const std::string& path, unsigned access, unsigned share) {
    Result<HANDLE> opened = createFile(path, access, share, FileCreation::OpenExisting);
    EXPECT_TRUE(opened.ok()) << opened.error;
    return opened.value;
}

} // namespace

TEST(FileSharing, AccessAgainstShareMode) {
    std::string path = (klxtest::freshDir("share") / "g").string();
    klxtest::writeBytes(path, "g");
    const unsigned both = ShareRead | ShareWrite;
    const DWORD refused = ERROR_SHARING_VIOLATION;
    const struct {
        unsigned heldAccess, heldShare, access, share;
        DWORD error;
    } cases[] = {{AccessWrite, ShareWrite, AccessRead, both, refused},
                 {AccessRead, both, AccessRead, ShareWrite, refused},
                 {AccessWrite, ShareWrite, AccessWrite, ShareWrite, 0},
                 {AccessWrite, ShareWrite, 0, ShareWrite, 0}};
    for (const auto& c : cases) {
        HANDLE held = open(path, c.heldAccess, c.heldShare);
        Result<HANDLE> other = createFile(path, c.access, c.share, FileCreation::OpenExisting);
        EXPECT_EQ(other.error, c.error) << &c - cases;
        closeHandle(other.value);
        closeHandle(held);
    }
}

TEST(FileSharing, UpdateLockOrdersHoldersAndBlocksNoData) {
    std::string path = (klxtest::freshDir("lock") / "l").string();
    klxtest::writeBytes(path, "data");
    const unsigned all = AccessRead | AccessWrite, both = ShareRead | ShareWrite;
    HANDLE holder = open(path, all, both), waiting = open(path, all, both);
    ASSERT_EQ(lockFile(holder), 0u);
    // Another handle reads and writes while the lock is held, but waits for
    // the lock until the holder lets go (unlocking, or closing its handle).
    char buffer[4] = {};
    EXPECT_EQ(readFileAt(waiting, 0, buffer, 4).value, 4u);
    EXPECT_EQ(writeFileAt(waiting, 4, "more", 4).error, 0u);
    for (bool byClosing : {false, true}) {
        std::atomic<bool> locked{false};
        std::thread waiter([&] { locked = lockFile(waiting) == 0; });
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_FALSE(locked);
        byClosing ? closeHandle(holder) : void(unlockFile(holder));
        waiter.join();
        EXPECT_TRUE(locked);
        if (!byClosing) {
            closeHandle(holder);
            holder = waiting;
            waiting = open(path, all, both);
        }
    }
    closeHandle(waiting);
    EXPECT_EQ(klxtest::readBytes(path), "datamore");
}
