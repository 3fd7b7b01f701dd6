#include <Kestrel/FileSystem/Platform/Posix/FileCopy.h>

#include <Kestrel/FileSystem/Platform/FileCallTypes.h>
#include <Kestrel/Location/Platform/Posix/ErrorMapping.h>

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace IO {
namespace {

enum class Outcome {
    Done,
    Unavailable, // here; another way may do
    Failed
};

// What a file system or a kernel says that cannot do it, rather than that it went wrong.
bool IsUnavailable() {
    return errno == EINVAL || errno == EXDEV || errno == ENOSYS || errno == EOPNOTSUPP ||
           errno == EPERM || errno == ENOTTY || errno == EBADF || errno == EISDIR;
}

Outcome CopyInKernel(int from, int to) {
    bool any = false;
    for (;;) {
        auto const copied =
            Retry([=] { return ::copy_file_range(from, nullptr, to, nullptr, CopyPiece, 0); });
        // Files that the kernel makes up as they are read have no length, and copy as empty.
        if (copied == 0)
            return any ? Outcome::Done : Outcome::Unavailable;
        if (copied < 0)
            return IsUnavailable() ? Outcome::Unavailable : Outcome::Failed;
        any = true;
    }
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

bool CopyByHand(int from, int to) {
    char buffer[65536];
    for (;;) {
        auto const got = Retry([&] { return ::read(from, buffer, sizeof(buffer)); });
        if (got <= 0)
            return got == 0;
        if (!WriteAll(to, buffer, got))
            return false;
    }
}

} // namespace

unsigned int CopyContent(int from, int to, CopyWays ways) {
    if (ways.clone && ::ioctl(to, FICLONE, from) == 0)
        return FileError::None;
    Outcome const outcome = ways.kernelCopy ? CopyInKernel(from, to) : Outcome::Unavailable;
    if (outcome == Outcome::Done || (outcome == Outcome::Unavailable && CopyByHand(from, to)))
        return FileError::None;
    return GetLastFileError();
}

} // namespace IO
