// Drive types of the emulated machine's drive letters: what the directory
// behind a letter's dosdevices link lies on.
#include "platform/Platform.h"
#include "platform/common/NameRules.h"
#include "platform/posix/HostPaths.h"

#include <sys/stat.h>
#include <sys/vfs.h>

namespace klx {
namespace platform {

namespace {

// statfs f_type numbers of file systems whose files live on another machine.
// FUSE counts as remote: most of its users (sshfs, rclone, ...) are.
const std::uint32_t kRemoteFileSystems[] = {
    0x6969u,     // NFS
    0x517Bu,     // SMB
    0xFF534D42u, // CIFS
    0xFE534D42u, // SMB2
    0x5346414Fu, // AFS
    0x01021997u, // 9P
    0x65735546u, // FUSE
    0x73757245u, // CODA
    0x564Cu,     // NCP
    0x00C36400u, // CEPH
};

// Optical media, which Windows reports as CD-ROM drives.
const std::uint32_t kOpticalFileSystems[] = {
    0x9660u,     // ISO 9660
    0x15013346u, // UDF
};

// The drive type of a directory that lies on a file system of type `magic`.
unsigned driveTypeOfFileSystem(std::uint32_t magic) {
    for (std::uint32_t remote : kRemoteFileSystems) {
        if (magic == remote)
            return kDriveRemote;
    }
    for (std::uint32_t optical : kOpticalFileSystems) {
        if (magic == optical)
            return kDriveCdrom;
    }
    return kDriveFixed;
}

} // namespace

unsigned driveType(const std::string& root) {
    if (!isDriveRoot(root))
        return kDriveNoRootDir;

    std::string directory = driveDirectory(root[0]);
    struct stat status;
    if (::stat(directory.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
        return kDriveNoRootDir;
    struct statfs fileSystem;
    if (::statfs(directory.c_str(), &fileSystem) != 0)
        return kDriveUnknown;
    // The magic numbers are 32-bit; f_type is wider and signed on some hosts.
    return driveTypeOfFileSystem(static_cast<std::uint32_t>(fileSystem.f_type));
}

} // namespace platform
} // namespace klx
