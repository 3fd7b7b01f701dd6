#include <Kestrel/FileSystem/Platform/Posix/FileCopy.h>

#include <Kestrel/FileSystem/Platform/FileCallTypes.h>
#include <Kestrel/FileSystem/TransferScope.h>
#include <Kestrel/Location/Platform/Posix/ErrorMapping.h>

#include <algorithm>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace IO {
namespace {

enum class Outcome {
    Done,
    Unavailable, // here; another way may work
    Failed
};

// Whether errno means that a file system or a kernel lacks a way to copy, not that the copy failed.
bool IsUnavailable() {
    return errno == EINVAL || errno == EXDEV || errno == ENOSYS || errno == EOPNOTSUPP ||
           errno == EPERM || errno == ENOTTY || errno == EBADF || errno == EISDIR;
}

constexpr unsigned long long All = ~0ull;

// False, with errno, when the observer cancels.
bool Count(unsigned long long bytes) {
    bool const goesOn = TransferScope::Add(bytes);
    if (!goesOn)
        errno = ECANCELED;
    return goesOn;
}

// Small enough for an observer to see progress.
unsigned long long GetPiece() {
    return TransferScope::GetCurrent() != nullptr ? CopyPiece / 16 : CopyPiece;
}

Outcome CopyInKernel(int from, int to, unsigned long long count) {
    bool any = false;
    for (; count != 0; any = true) {
        std::size_t const piece = std::min<unsigned long long>(count, GetPiece());
        auto const copied =
            Retry([=] { return ::copy_file_range(from, nullptr, to, nullptr, piece, 0); });
        // Files that the kernel generates as they are read may have no length, and copy as empty.
        if (copied == 0)
            return any ? Outcome::Done : Outcome::Unavailable;
        if (copied < 0)
            return IsUnavailable() ? Outcome::Unavailable : Outcome::Failed;
        if (!Count(static_cast<unsigned long long>(copied)))
            return Outcome::Failed;
        count -= static_cast<unsigned long long>(copied);
    }
    return Outcome::Done;
}

bool WriteAll(int to, char const * bytes, ssize_t count) {
    while (count > 0) {
        auto const put = Retry([&] { return ::write(to, bytes, static_cast<std::size_t>(count)); });
        if (put < 0)
            return false;
        bytes += put;
        count -= put;
    }
    return true;
}

bool CopyByHand(int from, int to, unsigned long long count) {
    char buffer[65536];
    while (count != 0) {
        std::size_t const piece = std::min<unsigned long long>(count, sizeof(buffer));
        auto const got = Retry([&] { return ::read(from, buffer, piece); });
        if (got <= 0)
            return got == 0;
        if (!WriteAll(to, buffer, got) || !Count(static_cast<unsigned long long>(got)))
            return false;
        count -= static_cast<unsigned long long>(got);
    }
    return true;
}

// A way that proves unavailable in the middle leaves both positions where it stopped.
bool CopyBytes(int from, int to, unsigned long long count, CopyWays ways) {
    off_t const start = ::lseek(from, 0, SEEK_CUR);
    Outcome const outcome = ways.kernelCopy ? CopyInKernel(from, to, count) : Outcome::Unavailable;
    if (outcome == Outcome::Unavailable && count != All)
        count -= static_cast<unsigned long long>(::lseek(from, 0, SEEK_CUR) - start);
    return outcome == Outcome::Done ||
           (outcome == Outcome::Unavailable && CopyByHand(from, to, count));
}

// Files that the kernel generates as they are read have no blocks either. Their length need not be
// that of their content, so they are sparse only if they report a hole.
bool IsSparse(int file, off_t * size) {
    struct stat info;
    bool const isKnown = ::fstat(file, &info) == 0;
    *size = isKnown ? info.st_size : 0;
    if (!isKnown || !S_ISREG(info.st_mode) || info.st_blocks * 512 >= info.st_size)
        return false;
    off_t const hole = ::lseek(file, 0, SEEK_HOLE);
    return ::lseek(file, 0, SEEK_SET) == 0 && hole >= 0 && hole < info.st_size;
}

// Copies the written ranges of the file, and leaves the holes between them as holes.
bool CopyAroundHoles(int from, int to, off_t size, CopyWays ways) {
    off_t data = 0;
    for (off_t end = 0; end < size;) {
        data = ::lseek(from, end, SEEK_DATA);
        if (data < 0 && errno == ENXIO)
            break; // a hole up to the end
        end = data < 0 ? -1 : ::lseek(from, data, SEEK_HOLE);
        if (end < 0 || ::lseek(from, data, SEEK_SET) < 0 || ::lseek(to, data, SEEK_SET) < 0 ||
            !CopyBytes(from, to, static_cast<unsigned long long>(end - data), ways))
            return false;
    }
    return Retry([=] { return ::ftruncate(to, size); }) == 0;
}

} // namespace

unsigned int CopyContent(int from, int to, CopyWays ways) {
    off_t size;
    if (ways.clone && ::ioctl(to, FICLONE, from) == 0) {
        bool const isCounted = TransferScope::GetCurrent() != nullptr && !IsSparse(from, &size);
        return !isCounted || Count(static_cast<unsigned long long>(size)) ? FileError::None
                                                                          : GetLastFileError();
    }
    bool const isDone = IsSparse(from, &size) ? CopyAroundHoles(from, to, size, ways)
                                              : CopyBytes(from, to, All, ways);
    return isDone ? FileError::None : GetLastFileError();
}

} // namespace IO
