// Drive types of the emulated machine's drive letters: what the directory
// behind a letter's dosdevices link lies on.
#include "platform/Platform.h"
#include "platform/common/AsciiText.h"
#include "platform/common/NameRules.h"
#include "platform/posix/Handles.h"
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

// Drive types given to letters in the registry as a Wine machine gives them
// (value "x:" of HKEY_LOCAL_MACHINE\Software\Wine\Drives: "hd", "network",
// "cdrom", "floppy", "ramdisk"), so that a share mounted without a remote file
// system, or a prefix that is also a Wine machine, has the type its user
// chose. kDriveUnknown when none is given.
unsigned configuredDriveType(char letter) {
    Result<HKEY> opened = openRegistryKey(HKEY_LOCAL_MACHINE, "Software\\Wine\\Drives");
    ScopedRegistryKey key(opened.value);
    if (!key)
        return kDriveUnknown;
    Result<RegistryValue> value = queryRegistryValue(key.get(), std::string(1, letter) + ":");
    if (value.error != 0 || (value.value.type != REG_SZ && value.value.type != REG_EXPAND_SZ))
        return kDriveUnknown;
    std::string name = value.value.data.substr(0, value.value.data.find('\0'));
    const std::pair<const char*, unsigned> kNames[] = {{"hd", kDriveFixed},
                                                       {"network", kDriveRemote},
                                                       {"cdrom", kDriveCdrom},
                                                       {"floppy", kDriveRemovable},
                                                       {"ramdisk", kDriveRamdisk}};
    for (const auto& [text, type] : kNames) {
        if (equalNoCase(name, text))
            return type;
    }
    return kDriveUnknown;
}

} // namespace

unsigned driveType(const std::string& root) {
    if (!isDriveRoot(root))
        return kDriveNoRootDir;

    std::string directory = driveDirectory(root[0]);
    struct stat status;
    if (::stat(directory.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
        return kDriveNoRootDir;
    if (unsigned configured = configuredDriveType(root[0]))
        return configured;
    struct statfs fileSystem;
    if (::statfs(directory.c_str(), &fileSystem) != 0)
        return kDriveUnknown;
    // The magic numbers are 32-bit; f_type is wider and signed on some hosts.
    return driveTypeOfFileSystem(static_cast<std::uint32_t>(fileSystem.f_type));
}

} // namespace platform
} // namespace klx
