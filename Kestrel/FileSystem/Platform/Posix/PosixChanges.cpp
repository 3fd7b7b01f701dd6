#include <Kestrel/FileSystem/Platform/Posix/Descriptor.h>
#include <Kestrel/FileSystem/Platform/Posix/FileCopy.h>
#include <Kestrel/FileSystem/Platform/Posix/PosixFileCalls.h>
#include <Kestrel/FileSystem/Platform/Posix/ShareModes.h>

#include <cstdio>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace IO {
namespace {

bool IsProtected(struct stat const & info) {
    return S_ISREG(info.st_mode) && (info.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
}

// Calls `change` while nobody can open the file; entries of other kinds cannot be in use.
template <typename Change>
unsigned int WhileUnused(struct stat const & info, char const * path, Change change) {
    std::optional<InUseGuard> guard;
    if (S_ISREG(info.st_mode)) {
        guard.emplace(path);
        if (guard->GetError() != FileError::None)
            return guard->GetError();
    }
    return change() ? FileError::None : GetLastFileError();
}

// For file systems that cannot rename without overwriting. A link to the file refuses to overwrite;
// a folder can only be looked for first, so that one made in between is replaced if it is empty.
bool RenameByHand(char const * from, char const * to) {
    struct stat info;
    if (::link(from, to) == 0) {
        if (::unlink(from) == 0)
            return true;
        int const error = errno;
        ::unlink(to);
        errno = error;
        return false;
    }
    if (errno == EEXIST || errno == EXDEV)
        return false;
    if (::lstat(to, &info) == 0) {
        errno = EEXIST;
        return false;
    }
    return ::rename(from, to) == 0;
}

bool RenameToFreeName(char const * from, char const * to) {
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0)
        return true;
    return (errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP) && RenameByHand(from, to);
}

// A copy that is there before all of it is goes again.
class HalfCopy {
public:
    HalfCopy(char const * path, int descriptor) : path(path), file(descriptor) {}
    ~HalfCopy() {
        if (isHalf)
            ::unlink(path);
    }
    HalfCopy(HalfCopy const &) = delete;
    HalfCopy & operator=(HalfCopy const &) = delete;

    int GetDescriptor() const { return file.Get(); }
    bool Keep() {
        isHalf = ::close(file.Release()) != 0 && errno != EINTR;
        return !isHalf;
    }

private:
    char const * path;
    Descriptor file;
    bool isHalf = true;
};

// As far as the file system of the copy keeps them; the content counts.
void SetCopyAttributes(int copy, struct stat const & source) {
    timespec const times[2] = {{0, UTIME_OMIT}, source.st_mtim};
    (void)::futimens(copy, times);
    (void)::fchmod(copy, source.st_mode & 0777);
}

unsigned int FillCopy(int from, struct stat const & source, char const * path, int descriptor) {
    HalfCopy copy(path, descriptor);
    ShareLock::Find(FileAccess::Write, FileShare::None)->Take(copy.GetDescriptor());
    unsigned int const error = CopyContent(from, copy.GetDescriptor());
    if (error != FileError::None)
        return error;
    SetCopyAttributes(copy.GetDescriptor(), source);
    return copy.Keep() ? FileError::None : GetLastFileError();
}

} // namespace

unsigned int PosixFileCalls::DeleteFile(PathText path) {
    BytePath native;
    struct stat info;
    unsigned int error = FindEntry(path, &native, &info);
    if (error != FileError::None)
        return error;
    if (S_ISDIR(info.st_mode) || IsProtected(info))
        return FileError::AccessDenied;
    FolderChange change(&native, 0);
    change.Prepare();
    error = WhileUnused(info, native.text, [&] { return ::unlink(native.text) == 0; });
    if (error == FileError::None)
        change.Removed();
    return error;
}

unsigned int PosixFileCalls::CreateDirectory(PathText path) {
    BytePath native;
    unsigned int rootLength;
    unsigned int const error = drives.ToNative(path, &native, &rootLength);
    if (error != FileError::None)
        return error;
    return MakeEntry(&native, rootLength, FileError::AlreadyExists,
                     [](char const * entry) { return ::mkdir(entry, 0777) == 0; });
}

unsigned int PosixFileCalls::RemoveDirectory(PathText path) {
    BytePath native;
    struct stat info;
    unsigned int const error = FindEntry(path, &native, &info);
    if (error != FileError::None)
        return error;
    FolderChange change(&native, 0);
    change.Prepare();
    if (::rmdir(native.text) == 0) {
        change.Removed();
        return FileError::None;
    }
    return errno == ENOTDIR  ? FileError::Directory
           : errno == EEXIST ? FileError::DirNotEmpty
                             : GetLastFileError();
}

unsigned int PosixFileCalls::MoveFile(PathText from, PathText to) {
    BytePath source;
    BytePath target;
    BytePath other;
    struct stat info;
    unsigned int rootLength;
    unsigned int error = FindEntry(from, &source, &info);
    if (error == FileError::None)
        error = drives.ToNative(to, &target, &rootLength);
    if (error != FileError::None)
        return error;
    FolderChange arrival(&target, rootLength);
    error = arrival.FindFolder();
    if (error != FileError::None)
        return error;
    if (source.GetText() == target.GetText())
        return FileError::None;
    // An entry may change the case of its own name.
    if (arrival.HasOtherSpelling(&other) && other.GetText() != source.GetText())
        return FileError::AlreadyExists;
    FolderChange departure(&source, 0);
    departure.Prepare();
    error =
        WhileUnused(info, source.text, [&] { return RenameToFreeName(source.text, target.text); });
    if (error == FileError::None) {
        departure.Removed();
        arrival.Added();
    }
    return error == FileError::FileExists ? FileError::AlreadyExists : error;
}

unsigned int PosixFileCalls::CopyFile(PathText from, PathText to) {
    BytePath source;
    BytePath target;
    struct stat info;
    unsigned int rootLength;
    unsigned int error = FindEntry(from, &source, &info);
    if (error == FileError::None)
        error = drives.ToNative(to, &target, &rootLength);
    if (error != FileError::None)
        return error;
    if (S_ISLNK(info.st_mode))
        return CopyLink(source, &target, rootLength);
    if (S_ISDIR(info.st_mode))
        return FileError::AccessDenied;
    if (!S_ISREG(info.st_mode)) // a device or a pipe may have no end
        return FileError::NotSupported;
    Opening const opening{FileAccess::Read, FileDisposition::OpenExisting, 0,
                          ShareLock::Find(FileAccess::Read, FileShare::Read | FileShare::Write)};
    Descriptor const file(opening.Open(source.text, 0));
    if (!file.IsOpen())
        return GetLastFileError();
    error = opening.Admit(file.Get());
    if (error != FileError::None)
        return error;
    int copy = -1;
    error = MakeEntry(&target, rootLength, FileError::FileExists, [&copy](char const * entry) {
        constexpr int flags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
        return (copy = Retry([=] { return ::open(entry, flags, 0600); })) >= 0;
    });
    return error == FileError::None ? FillCopy(file.Get(), info, target.text, copy) : error;
}

} // namespace IO
