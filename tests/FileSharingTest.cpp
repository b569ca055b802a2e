// Sharing checks that KLXFile's open modes never reach: opens that deny
// reading to others, and opens without access.
#include "platform/Platform.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <string>

using namespace klx::platform;

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
        OpenResult held = createFile(path, c.heldAccess, c.heldShare, FileCreation::OpenExisting);
        ASSERT_EQ(held.error, 0u);
        OpenResult other = createFile(path, c.access, c.share, FileCreation::OpenExisting);
        EXPECT_EQ(other.error, c.error) << &c - cases;
        closeHandle(other.handle);
        closeHandle(held.handle);
    }
}
