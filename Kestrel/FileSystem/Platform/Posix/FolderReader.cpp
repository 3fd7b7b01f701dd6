#include <Kestrel/FileSystem/Platform/Posix/FolderReader.h>

#include <Kestrel/Location/Platform/Posix/ErrorMapping.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace IO {

bool FolderReader::Next(Entry * entry) {
    if (next >= size && !Fill())
        return false;
    dirent64 const * const found = reinterpret_cast<dirent64 const *>(buffer + next);
    next += found->d_reclen;
    *entry = {found->d_name, FindType(found->d_name, found->d_type)};
    return true;
}

bool FolderReader::Fill() {
    auto const got = Retry([this] { return ::getdents64(folder.Get(), buffer, sizeof(buffer)); });
    next = 0;
    size = got > 0 ? static_cast<unsigned int>(got) : 0;
    if (got == 0 || (got < 0 && errno == ENOENT))
        errno = 0;
    return got > 0;
}

// Asks for a type only where the file system does not report it with the name.
FolderReader::Type FolderReader::FindType(char const * name, unsigned char type) const {
    if (type == DT_UNKNOWN) {
        struct stat info;
        if (::fstatat(folder.Get(), name, &info, AT_SYMLINK_NOFOLLOW) != 0)
            return Type::Other;
        type = IFTODT(info.st_mode);
    }
    return type == DT_DIR ? Type::Folder : type == DT_LNK ? Type::Link : Type::Other;
}

int OpenFolder(int at, char const * path, int more) {
    return Retry([=] { return ::openat(at, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | more); });
}

} // namespace IO
