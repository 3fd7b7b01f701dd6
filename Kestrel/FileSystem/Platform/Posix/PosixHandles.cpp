#include <Kestrel/FileSystem/Platform/Posix/Descriptor.h>
#include <Kestrel/FileSystem/Platform/Posix/PosixFileCalls.h>
#include <Kestrel/FileSystem/Platform/Posix/ShareModes.h>
#include <Kestrel/FileSystem/Platform/Posix/Times.h>

#include <cstdint>
#include <fcntl.h>
#include <linux/magic.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace IO {
namespace {

// A pipe or a device must not block its opener forever; files ignore the flag.
constexpr int OpenFlags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

// A handle is never null: its lowest bit is set, two bits are the access, the others the
// descriptor.
FileHandle MakeHandle(int descriptor, unsigned int access) {
    std::uintptr_t const number = static_cast<unsigned int>(descriptor);
    return reinterpret_cast<FileHandle>(number << 3 | access >> 30 << 1 | 1);
}

// Null, as of an entry that is not open, is no handle; it must not be taken for the standard input.
int GetDescriptor(FileHandle file) {
    return file == nullptr ? -1 : static_cast<int>(reinterpret_cast<std::uintptr_t>(file) >> 3);
}

bool HasAccess(FileHandle file, unsigned int access) {
    return (reinterpret_cast<std::uintptr_t>(file) & access >> 30 << 1) != 0;
}

bool Truncates(unsigned int disposition) {
    return disposition == FileDisposition::CreateAlways ||
           disposition == FileDisposition::TruncateExisting;
}

// Whether a call that would have blocked may be repeated.
bool WaitFor(int descriptor, short event) {
    if (errno != EAGAIN)
        return false;
    pollfd wait = {descriptor, event, 0};
    if (Retry([&wait] { return ::poll(&wait, 1, -1); }) <= 0)
        return false;
    // It is no file, and calls block in the system from now on.
    int const flags = ::fcntl(descriptor, F_GETFL);
    return flags >= 0 && ::fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK) == 0;
}

// Whether nothing was read because the other end of a named pipe has not been opened yet, which
// must not be taken for an empty file. A writer that has closed it again has ended the input.
bool LacksWriter(int descriptor) {
    struct stat info;
    struct statfs system;
    if (::fstat(descriptor, &info) != 0 || !S_ISFIFO(info.st_mode) ||
        ::fstatfs(descriptor, &system) != 0 || system.f_type == PIPEFS_MAGIC)
        return false;
    pollfd look = {descriptor, POLLIN, 0};
    return Retry([&look] { return ::poll(&look, 1, 0); }) == 0;
}

} // namespace

int PosixFileCalls::Opening::Open(int at, char const * path, int more) const {
    auto const open = [&](int mode) {
        return Retry([&] { return ::openat(at, path, mode | more | OpenFlags, 0666); });
    };
    bool const reads = (access & FileAccess::Read) != 0;
    bool const writes = (access & FileAccess::Write) != 0 || Truncates(disposition);
    if (!writes)
        return open(O_RDONLY);
    // Sharing with readers requires a descriptor that can read, as far as that is granted.
    bool const shares = lock->first == F_RDLCK;
    int descriptor = open(reads || shares ? O_RDWR : O_WRONLY);
    if (descriptor < 0 && errno == EACCES && shares && !reads)
        descriptor = open(O_WRONLY);
    if (descriptor < 0 && errno == EISDIR && (attributes & FileFlagBackupSemantics) != 0)
        descriptor = open(O_RDONLY | O_DIRECTORY);
    return descriptor;
}

// The checks between opening a file and using it: others that have it open, its protection, and
// whether it was deleted before it could be locked. Only writing requires a query of the file.
unsigned int PosixFileCalls::Opening::Admit(int descriptor) const {
    bool const writes = (access & FileAccess::Write) != 0 || Truncates(disposition);
    unsigned int const error = lock->Take(descriptor);
    if (error != FileError::None || !writes)
        return error;
    struct stat info;
    if (::fstat(descriptor, &info) != 0)
        return GetLastFileError();
    // A pipe that is opened for both directions keeps what is written for itself.
    if (S_ISFIFO(info.st_mode) && (::fcntl(descriptor, F_GETFL) & O_ACCMODE) == O_RDWR)
        return FileError::NotSupported;
    if (!S_ISREG(info.st_mode))
        return FileError::None;
    if (info.st_nlink == 0)
        return FileError::FileNotFound;
    if ((info.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0)
        return FileError::AccessDenied;
    // Truncating an empty file makes some file systems write it out when it is closed, and wait for
    // that when it is deleted.
    if (Truncates(disposition) && info.st_size != 0 &&
        Retry([=] { return ::ftruncate(descriptor, 0); }) != 0)
        return GetLastFileError();
    return FileError::None;
}

unsigned int PosixFileCalls::OpenExisting(EntryPath path, Opening const & opening,
                                          int * descriptor) const {
    NativeEntry native;
    int const more = path.in != nullptr ? O_NOFOLLOW : 0;
    unsigned int error = OnEntry(path, &native, [&](int at, char const * entry) {
        return (*descriptor = opening.Open(at, entry, more)) >= 0;
    });
    if (error != FileError::None)
        return error;
    Descriptor opened(*descriptor);
    error = opening.Admit(opened.Get());
    if (error == FileError::None)
        opened.Release();
    return error;
}

unsigned int PosixFileCalls::CreateNew(EntryPath path, Opening const & opening,
                                       int * descriptor) const {
    NativeEntry native;
    unsigned int const error = ToNative(path, &native);
    if (error != FileError::None)
        return error;
    bool const isProtected = (opening.attributes & FileAttribute::ReadOnly) != 0;
    return MakeEntry(&native, FileError::FileExists, [&](int at, char const * entry) {
        Descriptor file(opening.Open(at, entry, O_CREAT | O_EXCL));
        if (!file.IsOpen())
            return false;
        // No other opener can hold a conflicting lock yet.
        opening.lock->Take(file.Get());
        if (isProtected)
            ::fchmod(file.Get(), 0444);
        *descriptor = file.Release();
        return true;
    });
}

unsigned int PosixFileCalls::CreateFile(EntryPath path, unsigned int access, unsigned int share,
                                        unsigned int disposition, unsigned int attributes,
                                        FileHandle * file) {
    *file = nullptr;
    Opening const opening{access, disposition, attributes, ShareLock::Find(access, share)};
    if (opening.lock == nullptr || disposition < FileDisposition::CreateNew ||
        disposition > FileDisposition::TruncateExisting)
        return FileError::InvalidParameter;
    bool const opens = disposition != FileDisposition::CreateNew;
    bool const creates = disposition != FileDisposition::OpenExisting &&
                         disposition != FileDisposition::TruncateExisting;
    int descriptor = -1;
    unsigned int error = FileError::FileNotFound;
    if (opens)
        error = OpenExisting(path, opening, &descriptor);
    if (creates && error == FileError::FileNotFound)
        error = CreateNew(path, opening, &descriptor);
    if (error == FileError::None)
        *file = MakeHandle(descriptor, access);
    return error;
}

unsigned int PosixFileCalls::CloseHandle(FileHandle file) {
    // Interrupted or not, it is closed; data not written by then is reported as a write error.
    if (::close(GetDescriptor(file)) == 0 || errno == EINTR)
        return FileError::None;
    return errno == EIO ? FileError::WriteFault : GetLastFileError();
}

unsigned int PosixFileCalls::ReadFile(FileHandle file, char * destination, unsigned int count,
                                      unsigned int * read) {
    *read = 0;
    int const descriptor = GetDescriptor(file);
    if (!HasAccess(file, FileAccess::Read))
        return FileError::AccessDenied;
    while (*read < count) {
        auto const got =
            Retry([&] { return ::read(descriptor, destination + *read, count - *read); });
        if (got < 0 && !WaitFor(descriptor, POLLIN))
            return errno == EIO ? FileError::ReadFault : GetLastFileError();
        if (got == 0)
            return *read == 0 && LacksWriter(descriptor) ? FileError::NotReady : FileError::None;
        *read += got < 0 ? 0 : static_cast<unsigned int>(got);
    }
    return FileError::None;
}

unsigned int PosixFileCalls::WriteFile(FileHandle file, char const * source, unsigned int count,
                                       unsigned int * written) {
    *written = 0;
    int const descriptor = GetDescriptor(file);
    if (!HasAccess(file, FileAccess::Write))
        return FileError::AccessDenied;
    while (*written < count) {
        auto const put =
            Retry([&] { return ::write(descriptor, source + *written, count - *written); });
        if (put < 0 && !WaitFor(descriptor, POLLOUT))
            return errno == EIO ? FileError::WriteFault : GetLastFileError();
        *written += put < 0 ? 0 : static_cast<unsigned int>(put);
    }
    return FileError::None;
}

unsigned int PosixFileCalls::SetEndOfFile(FileHandle file) {
    int const descriptor = GetDescriptor(file);
    if (!HasAccess(file, FileAccess::Write))
        return FileError::AccessDenied;
    off_t const position = ::lseek(descriptor, 0, SEEK_CUR);
    if (position < 0 || Retry([=] { return ::ftruncate(descriptor, position); }) != 0)
        return GetLastFileError();
    return FileError::None;
}

unsigned int PosixFileCalls::GetFileSizeEx(FileHandle file, unsigned long long * size) {
    struct stat info;
    if (::fstat(GetDescriptor(file), &info) != 0) {
        *size = 0;
        return GetLastFileError();
    }
    *size = static_cast<unsigned long long>(info.st_size);
    return FileError::None;
}

unsigned int PosixFileCalls::FlushFileBuffers(FileHandle file) {
    int const descriptor = GetDescriptor(file);
    // EINVAL: a pipe or a device, which buffers nothing.
    if (Retry([=] { return ::fsync(descriptor); }) == 0 || errno == EINVAL)
        return FileError::None;
    return errno == EIO ? FileError::WriteFault : GetLastFileError();
}

unsigned int PosixFileCalls::SetFilePointerEx(FileHandle file, long long offset,
                                              unsigned long long * position, unsigned int origin) {
    static constexpr int origins[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (origin >= std::size(origins))
        return FileError::InvalidParameter;
    off_t const reached = ::lseek(GetDescriptor(file), offset, origins[origin]);
    if (reached < 0)
        return errno == EINVAL ? FileError::NegativeSeek : GetLastFileError();
    if (position != nullptr)
        *position = static_cast<unsigned long long>(reached);
    return FileError::None;
}

unsigned int PosixFileCalls::SetFileTime(FileHandle file, unsigned long long const * creationTime,
                                         unsigned long long const * lastWriteTime) {
    timespec times[2] = {{0, UTIME_OMIT}, {0, UTIME_OMIT}};
    timespec creation;
    if (!HasAccess(file, FileAccess::Write))
        return FileError::AccessDenied;
    if ((lastWriteTime != nullptr && !ToSystemTime(*lastWriteTime, &times[1])) ||
        (creationTime != nullptr && !ToSystemTime(*creationTime, &creation)))
        return FileError::InvalidTime;
    if (lastWriteTime != nullptr && ::futimens(GetDescriptor(file), times) != 0)
        return GetLastFileError();
    if (creationTime == nullptr)
        return FileError::None;
    return SetCreationTime(GetDescriptor(file), *creationTime);
}

} // namespace IO
