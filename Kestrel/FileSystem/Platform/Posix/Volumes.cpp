#include <Kestrel/FileSystem/Platform/Posix/Volumes.h>

#include <Kestrel/FileSystem/Platform/FileCallTypes.h>
#include <Kestrel/FileSystem/Platform/Posix/Descriptor.h>
#include <Kestrel/Location/Platform/Posix/ErrorMapping.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace IO {
namespace {

struct FileSystemKind {
    std::string_view name;
    unsigned int type;
};

constexpr FileSystemKind fileSystemKinds[] = {
    {"nfs", DriveType::Remote},        {"nfs4", DriveType::Remote},
    {"cifs", DriveType::Remote},       {"smb3", DriveType::Remote},
    {"smbfs", DriveType::Remote},      {"ncpfs", DriveType::Remote},
    {"afs", DriveType::Remote},        {"coda", DriveType::Remote},
    {"ceph", DriveType::Remote},       {"lustre", DriveType::Remote},
    {"gfs2", DriveType::Remote},       {"ocfs2", DriveType::Remote},
    {"fuse.sshfs", DriveType::Remote}, {"fuse.glusterfs", DriveType::Remote},
    {"fuse.davfs", DriveType::Remote}, {"fuse.rclone", DriveType::Remote},
    {"iso9660", DriveType::CDRom},     {"udf", DriveType::CDRom},
    {"tmpfs", DriveType::RamDisk},     {"ramfs", DriveType::RamDisk},
};

std::string_view TakeField(std::string_view * line) {
    std::string_view const field = line->substr(0, line->find(' '));
    line->remove_prefix(std::min(field.size() + 1, line->size()));
    return field;
}

// Passes each line of a file of the kernel's to `use`.
template <typename Use>
void ForEachLine(char const * path, Use use) {
    Descriptor const file(::open(path, O_RDONLY | O_CLOEXEC));
    char buffer[8192]; // longer lines are skipped in pieces
    std::size_t held = 0;
    for (;;) {
        auto const got =
            Retry([&] { return ::read(file.Get(), buffer + held, sizeof(buffer) - held); });
        if (got <= 0)
            return;
        std::string_view rest(buffer, held + static_cast<std::size_t>(got));
        for (std::size_t end; (end = rest.find('\n')) != std::string_view::npos;) {
            use(rest.substr(0, end));
            rest.remove_prefix(end + 1);
        }
        held = rest.size() < sizeof(buffer) ? rest.size() : 0;
        std::memmove(buffer, rest.data(), held);
    }
}

bool IsOfDevice(std::string_view text, dev_t device) {
    char number[32];
    int const length = std::snprintf(number, sizeof(number), "%u:%u", major(device), minor(device));
    return text == std::string_view(number, static_cast<std::size_t>(length));
}

// The device itself or, for a partition, the disk.
bool IsRemovable(dev_t device) {
    for (char const * const form :
         {"/sys/dev/block/%u:%u/removable", "/sys/dev/block/%u:%u/../removable"}) {
        char path[80];
        std::snprintf(path, sizeof(path), form, major(device), minor(device));
        Descriptor const file(::open(path, O_RDONLY | O_CLOEXEC));
        char answer = 0;
        if (file.IsOpen() && ::read(file.Get(), &answer, 1) == 1)
            return answer == '1';
    }
    return false;
}

} // namespace

bool MountLine::Parse(std::string_view line) {
    TakeField(&line);
    TakeField(&line);
    device = TakeField(&line);
    TakeField(&line);
    point = TakeField(&line);
    std::size_t const separator = line.find(" - ");
    if (separator == std::string_view::npos)
        return false;
    line.remove_prefix(separator + 3);
    fileSystem = TakeField(&line);
    return !device.empty() && !fileSystem.empty();
}

unsigned int GetTypeOfFileSystem(std::string_view name) {
    for (FileSystemKind const & kind : fileSystemKinds)
        if (kind.name == name)
            return kind.type;
    return DriveType::Unknown;
}

unsigned int GetVolumeType(char const * folder) {
    struct stat info;
    if (::stat(folder, &info) != 0 || !S_ISDIR(info.st_mode))
        return DriveType::NoRoot;
    unsigned int type = DriveType::Unknown;
    ForEachLine("/proc/self/mountinfo", [&](std::string_view line) {
        MountLine mount;
        if (mount.Parse(line) && IsOfDevice(mount.device, info.st_dev))
            type = GetTypeOfFileSystem(mount.fileSystem);
    });
    if (type != DriveType::Unknown)
        return type;
    return IsRemovable(info.st_dev) ? DriveType::Removable : DriveType::Fixed;
}

} // namespace IO
