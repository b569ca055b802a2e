// Drive types of the emulated drive letters: what a letter's dosdevices link
// leads to, and which file systems count as network drives.
#include "platform/Platform.h"
#include "platform/posix/HostPaths.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;
using namespace klx::platform;

fs::path dosdevices() {
    return fs::path(prefixDirectory()) / "dosdevices";
}

} // namespace

TEST(PlatformDriveType, NetworkFileSystemsAreRemote) {
    // NFS, SMB, CIFS, SMB2, AFS, 9P, FUSE (sshfs), CODA, NCP, CEPH.
    for (std::uint32_t magic : {0x6969u, 0x517Bu, 0xFF534D42u, 0xFE534D42u, 0x5346414Fu,
                                0x01021997u, 0x65735546u, 0x73757245u, 0x564Cu, 0x00C36400u})
        EXPECT_EQ(driveTypeOfFileSystem(magic), kDriveRemote) << std::hex << magic;
    // ISO 9660 and UDF are optical media.
    EXPECT_EQ(driveTypeOfFileSystem(0x9660u), kDriveCdrom);
    EXPECT_EQ(driveTypeOfFileSystem(0x15013346u), kDriveCdrom);
    // ext4, tmpfs, btrfs, xfs, overlay, and numbers near the remote ones.
    for (std::uint32_t magic : {0xEF53u, 0x01021994u, 0x9123683Eu, 0x58465342u, 0x794C7630u,
                                0x6968u, 0x696Au, 0xFF534D43u, 0u, 0xFFFFFFFFu})
        EXPECT_EQ(driveTypeOfFileSystem(magic), kDriveFixed) << std::hex << magic;
}

TEST(PlatformDriveType, LettersAreTypedByWhatTheirLinkLeadsTo) {
    // The prefix's own drives: C: on drive_c, U: and Z: on the host's root,
    // whatever that lies on.
    for (const char* root : {"C:", "c:", "C:\\", "c:/"})
        EXPECT_EQ(driveType(root), kDriveFixed) << root;
    for (const char* root : {"U:", "Z:\\"}) {
        EXPECT_NE(driveType(root), kDriveNoRootDir) << root;
        EXPECT_NE(driveType(root), kDriveUnknown) << root;
    }

    fs::path target = klxtest::freshDir("drive-m");
    fs::path file = klxtest::freshDir("drive-f") / "plain";
    klxtest::writeBytes(file, "");
    fs::create_directory_symlink(target, dosdevices() / "m:");
    fs::create_symlink(klxtest::testRoot() / "missing", dosdevices() / "n:");
    fs::create_symlink(file, dosdevices() / "f:");
    EXPECT_EQ(driveType("M:"), kDriveFixed);
    EXPECT_EQ(driveType("m:\\"), kDriveFixed);
    // A link to nothing or to a file, and a letter without a link, are no
    // drive.
    EXPECT_EQ(driveType("N:"), kDriveNoRootDir);
    EXPECT_EQ(driveType("F:"), kDriveNoRootDir);
    EXPECT_EQ(driveType("Q:"), kDriveNoRootDir);
    // Only a drive root names a drive.
    for (const char* root : {"", "C", "CC", "1:", ":", "C:\\x", "C:\\\\", "C:x", "/C", "\\\\"})
        EXPECT_EQ(driveType(root), kDriveNoRootDir) << root;
    EXPECT_EQ(driveType(std::string("C:\0", 3)), kDriveNoRootDir);
}
