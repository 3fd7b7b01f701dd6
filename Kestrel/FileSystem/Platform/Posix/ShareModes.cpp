#include <Kestrel/FileSystem/Platform/Posix/ShareModes.h>

#include <Kestrel/FileSystem/Platform/FileCallTypes.h>
#include <Kestrel/Location/Platform/Posix/ErrorMapping.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace IO {
namespace {

constexpr off_t FirstByte = 0x4000000000000000;
constexpr short Free = F_UNLCK;

constexpr ShareLock shareLocks[] = {
    {FileAccess::Read, FileShare::Read, F_RDLCK, F_RDLCK},
    {FileAccess::Write, FileShare::None, F_WRLCK, F_WRLCK},
    {FileAccess::Read | FileAccess::Write, FileShare::None, F_WRLCK, F_WRLCK},
    {FileAccess::Read, FileShare::Read | FileShare::Write, F_RDLCK, Free},
    {FileAccess::Write, FileShare::Read, F_RDLCK, F_WRLCK},
    {FileAccess::None, FileShare::None, Free, Free},
};

struct flock MakeLock(short type, off_t from, off_t count) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = from;
    lock.l_len = count;
    return lock;
}

// Only another opener's lock counts as a refusal. An opener that may write but not read cannot
// share the first byte, and locks it exclusively instead.
unsigned int TakeLock(int descriptor, short type, off_t from, off_t count) {
    struct flock lock = MakeLock(type, from, count);
    if (Retry([&] { return ::fcntl(descriptor, F_OFD_SETLK, &lock); }) == 0)
        return FileError::None;
    if (errno == EBADF && type == F_RDLCK)
        return TakeLock(descriptor, F_WRLCK, from, count);
    return errno == EAGAIN || errno == EACCES ? FileError::SharingViolation : FileError::None;
}

} // namespace

ShareLock const * ShareLock::Find(unsigned int access, unsigned int share) {
    for (ShareLock const & lock : shareLocks)
        if (lock.access == access && (lock.share == share || access == FileAccess::None))
            return &lock;
    return nullptr;
}

unsigned int ShareLock::Take(int descriptor) const {
    if (first == Free)
        return FileError::None;
    if (first == second)
        return TakeLock(descriptor, first, FirstByte, 2);
    unsigned int const error = TakeLock(descriptor, first, FirstByte, 1);
    if (error != FileError::None || second == Free)
        return error;
    return TakeLock(descriptor, second, FirstByte + 1, 1);
}

InUseGuard::InUseGuard(int at, char const * path) {
    int const flags = O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC;
    descriptor = Retry([=] { return ::openat(at, path, O_RDWR | flags); });
    bool const mayLock = descriptor >= 0;
    if (!mayLock)
        descriptor = Retry([=] { return ::openat(at, path, O_RDONLY | flags); });
    if (descriptor < 0)
        return; // cannot be tested; the system decides whether the entry can be removed
    if (mayLock) {
        error = TakeLock(descriptor, F_WRLCK, FirstByte, 2);
        // Deleted before it could be locked: the name is that of another file now.
        isKnown = ::fstat(descriptor, &info) == 0;
        if (error == FileError::None && isKnown && info.st_nlink == 0)
            error = FileError::FileNotFound;
        return;
    }
    struct flock lock = MakeLock(F_WRLCK, FirstByte, 2);
    if (Retry([&] { return ::fcntl(descriptor, F_OFD_GETLK, &lock); }) == 0 &&
        lock.l_type != F_UNLCK)
        error = FileError::SharingViolation;
}

InUseGuard::~InUseGuard() {
    if (descriptor >= 0)
        ::close(descriptor);
}

} // namespace IO
