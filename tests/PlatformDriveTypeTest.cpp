// Drive types of the emulated drive letters: what a letter's dosdevices link
// leads to, and which file systems count as network drives.
#include "platform/Platform.h"
#include "platform/posix/HostPaths.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

using namespace klx::platform;
namespace fs = std::filesystem;

TEST(PlatformDriveType, FileSystemsAndLetters) {
    // NFS, SMB, CIFS, SMB2, AFS, 9P, FUSE (sshfs), CODA, NCP, CEPH.
    for (std::uint32_t magic : {0x6969u, 0x517Bu, 0xFF534D42u, 0xFE534D42u, 0x5346414Fu,
                                0x01021997u, 0x65735546u, 0x73757245u, 0x564Cu, 0x00C36400u})
        EXPECT_EQ(driveTypeOfFileSystem(magic), kDriveRemote) << std::hex << magic;
    // ISO 9660 and UDF are optical media.
    for (std::uint32_t magic : {0x9660u, 0x15013346u})
        EXPECT_EQ(driveTypeOfFileSystem(magic), kDriveCdrom) << std::hex << magic;
    // ext4, tmpfs, btrfs, xfs, overlay, and numbers near the remote ones.
    for (std::uint32_t magic : {0xEF53u, 0x01021994u, 0x9123683Eu, 0x58465342u, 0x794C7630u,
                                0x6968u, 0x696Au, 0xFF534D43u, 0u, 0xFFFFFFFFu})
        EXPECT_EQ(driveTypeOfFileSystem(magic), kDriveFixed) << std::hex << magic;

    // C: is on drive_c, M: links to a directory; N: to nothing, F: to a file
    // and Q: has no link, so they are no drive.
    fs::path dosdevices = fs::path(prefixDirectory()) / "dosdevices";
    fs::path file = klxtest::freshDir("drive-f") / "plain";
    klxtest::writeBytes(file, "");
    fs::create_directory_symlink(klxtest::freshDir("drive-m"), dosdevices / "m:");
    fs::create_symlink(klxtest::testRoot() / "missing", dosdevices / "n:");
    fs::create_symlink(file, dosdevices / "f:");
    for (const char* root : {"C:", "c:", "C:\\", "c:/", "M:", "m:\\"})
        EXPECT_EQ(driveType(root), kDriveFixed) << root;
    // U: and Z: are on the host's root, whatever that lies on.
    for (const char* root : {"U:", "Z:\\"})
        EXPECT_GT(driveType(root), kDriveNoRootDir) << root;
    // Only a drive root names a drive.
    for (const char* root :
         {"N:", "F:", "Q:", "", "C", "CC", "1:", ":", "C:\\x", "C:\\\\", "C:x", "/C", "\\\\"})
        EXPECT_EQ(driveType(root), kDriveNoRootDir) << root;
    EXPECT_EQ(driveType(std::string("C:\0", 3)), kDriveNoRootDir);
}
