#include <Kestrel/FileSystem/Platform/Posix/FolderReader.h>

#include <Kestrel/Location/Platform/Posix/ErrorMapping.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace IO {

namespace {

// Queries a type only where the file system does not report it with the name.
NameBuffer::Type FindType(int folder, char const * name, unsigned char type) {
    if (type == DT_UNKNOWN) {
        struct stat info;
        if (::fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) != 0)
            return NameBuffer::Type::Other;
        type = IFTODT(info.st_mode);
    }
    return type == DT_DIR   ? NameBuffer::Type::Folder
           : type == DT_LNK ? NameBuffer::Type::Link
           : type == DT_REG ? NameBuffer::Type::File
                            : NameBuffer::Type::Other;
}

} // namespace

bool NameBuffer::Next(int folder, Entry * entry) {
    if (next >= size && !Fill(folder))
        return false;
    dirent64 const * const found = reinterpret_cast<dirent64 const *>(buffer + next);
    next += found->d_reclen;
    *entry = {found->d_name, FindType(folder, found->d_name, found->d_type)};
    return true;
}

bool NameBuffer::Fill(int folder) {
    auto const got = Retry([&] { return ::getdents64(folder, buffer, sizeof(buffer)); });
    next = 0;
    size = got > 0 ? static_cast<unsigned int>(got) : 0;
    if (got == 0 || (got < 0 && errno == ENOENT))
        errno = 0;
    return got > 0;
}

int OpenFolder(int at, char const * path, int more) {
    return Retry([=] { return ::openat(at, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | more); });
}

} // namespace IO
