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
    HANDLE first = open(path, all, both), second = open(path, all, both);
    ASSERT_EQ(lockFile(first), 0u);
    // Another handle reads and writes while the lock is held...
    char buffer[4] = {};
    EXPECT_EQ(readFileAt(second, 0, buffer, 4).value, 4u);
    EXPECT_EQ(writeFileAt(second, 4, "more", 4).error, 0u);
    // ...but waits for the lock until the holder lets go; closing a handle
    // lets go too.
    std::atomic<bool> locked{false};
    std::thread waiter([&] {
        EXPECT_EQ(lockFile(second), 0u);
        locked = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(locked);
    EXPECT_EQ(unlockFile(first), 0u);
    waiter.join();
    EXPECT_TRUE(locked);
    HANDLE third = open(path, all, both);
    std::thread closer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        closeHandle(second);
    });
    EXPECT_EQ(lockFile(third), 0u);
    closer.join();
    closeHandle(third);
    closeHandle(first);
    EXPECT_EQ(klxtest::readBytes(path), "datamore");
}
