// The update lock that programs applying changes to one file take turns with.
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
