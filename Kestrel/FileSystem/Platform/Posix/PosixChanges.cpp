#include <Kestrel/FileSystem/Platform/Posix/Descriptor.h>
#include <Kestrel/FileSystem/Platform/Posix/FileCopy.h>
#include <Kestrel/FileSystem/Platform/Posix/PosixFileCalls.h>
#include <Kestrel/FileSystem/Platform/Posix/ShareModes.h>

#include <cstdio>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace IO {
namespace {

bool IsProtected(struct stat const & info) {
    return S_ISREG(info.st_mode) && (info.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
}

// Calls `change` while the file cannot be opened; entries of other kinds cannot be in use.
template <typename Change>
unsigned int WhileUnused(struct stat const & info, NativeEntry const & entry, Change change) {
    std::optional<InUseGuard> guard;
    if (S_ISREG(info.st_mode)) {
        guard.emplace(entry.at, entry.path.text);
        if (guard->GetError() != FileError::None)
            return guard->GetError();
    }
    return change() ? FileError::None : GetLastFileError();
}

// For file systems that cannot rename without overwriting. A link to the file refuses to overwrite;
// for a folder, the name can only be checked first, so that one created in between is replaced if
// it is empty.
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

// Deletes a copy that is incomplete.
class HalfCopy {
public:
    HalfCopy(NativeEntry const & entry, int descriptor) : entry(entry), file(descriptor) {
        isKnown = ::fstat(descriptor, &info) == 0;
    }
    ~HalfCopy() {
        struct stat now;
        // Not an entry that has replaced it meanwhile.
        if (isHalf && isKnown &&
            ::fstatat(entry.at, entry.path.text, &now, AT_SYMLINK_NOFOLLOW) == 0 &&
            now.st_ino == info.st_ino && now.st_dev == info.st_dev)
            ::unlinkat(entry.at, entry.path.text, 0);
    }
    HalfCopy(HalfCopy const &) = delete;
    HalfCopy & operator=(HalfCopy const &) = delete;

    int GetDescriptor() const { return file.Get(); }
    bool Keep() {
        isHalf = ::close(file.Release()) != 0 && errno != EINTR;
        return !isHalf;
    }

private:
    NativeEntry const & entry;
    Descriptor file;
    struct stat info;
    bool isKnown;
    bool isHalf = true;
};

// As far as the file system of the copy supports them; only the content is essential.
void SetCopyAttributes(int copy, struct stat const & source) {
    timespec const times[2] = {{0, UTIME_OMIT}, source.st_mtim};
    (void)::futimens(copy, times);
    (void)::fchmod(copy, source.st_mode & 0777);
}

// Without the same group, or without the list that defines what the bits of the group mean, these
// bits would grant rights to others than before.
void GiveRights(int file, char const * model, struct stat const & info) {
    constexpr char const * listName = "system.posix_acl_access";
    char list[4096];
    auto const length = ::lgetxattr(model, listName, list, sizeof(list));
    bool const isPlain = length == 0 || (length < 0 && (errno == ENODATA || errno == EOPNOTSUPP));
    struct stat made;
    bool const isOwned = ::fchown(file, info.st_uid, info.st_gid) == 0 ||
                         ::fchown(file, static_cast<uid_t>(-1), info.st_gid) == 0 ||
                         (::fstat(file, &made) == 0 && made.st_gid == info.st_gid);
    bool const hasList =
        length > 0 && ::fsetxattr(file, listName, list, static_cast<std::size_t>(length), 0) == 0;
    (void)::fchmod(file, info.st_mode & (isOwned && (isPlain || hasList) ? 0777u : 0707u));
}

unsigned int FillCopy(int from, struct stat const & source, NativeEntry const & target,
                      int descriptor) {
    HalfCopy copy(target, descriptor);
    ShareLock::Find(FileAccess::Write, FileShare::None)->Take(copy.GetDescriptor());
    unsigned int const error = CopyContent(from, copy.GetDescriptor());
    if (error != FileError::None)
        return error;
    SetCopyAttributes(copy.GetDescriptor(), source);
    return copy.Keep() ? FileError::None : GetLastFileError();
}

} // namespace

// Deletes what an enumeration has just reported as a file, without a query before it is opened.
// False: it is none, or cannot be opened for writing.
bool PosixFileCalls::DeleteListed(EntryPath path, unsigned int * error) const {
    NativeEntry native;
    if (path.in == nullptr || ToNative(path, &native) != FileError::None ||
        !IsListedFile(path, native))
        return false;
    FolderChange change(&native);
    change.Prepare();
    InUseGuard const guard(native.at, native.path.text);
    struct stat const * const info = guard.GetInfo();
    if (info == nullptr || !S_ISREG(info->st_mode))
        return false;
    *error = IsProtected(*info) ? FileError::AccessDenied : guard.GetError();
    if (*error == FileError::None && ::unlinkat(native.at, native.path.text, 0) != 0)
        *error = GetLastFileError();
    if (*error == FileError::None)
        change.Removed();
    return true;
}

unsigned int PosixFileCalls::DeleteFile(EntryPath path) {
    NativeEntry native;
    struct stat info;
    unsigned int error = FileError::None;
    if (DeleteListed(path, &error))
        return error;
    error = FindEntry(path, &native, &info);
    if (error != FileError::None)
        return error;
    if (S_ISDIR(info.st_mode) || IsProtected(info))
        return FileError::AccessDenied;
    FolderChange change(&native);
    change.Prepare();
    error =
        WhileUnused(info, native, [&] { return ::unlinkat(native.at, native.path.text, 0) == 0; });
    if (error == FileError::None)
        change.Removed();
    return error;
}

unsigned int PosixFileCalls::CreateDirectory(EntryPath path) {
    NativeEntry native;
    unsigned int const error = ToNative(path, &native);
    if (error != FileError::None)
        return error;
    return MakeEntry(&native, FileError::AlreadyExists,
                     [](int at, char const * entry) { return ::mkdirat(at, entry, 0777) == 0; });
}

unsigned int PosixFileCalls::RemoveDirectory(EntryPath path) {
    NativeEntry native;
    struct stat info;
    unsigned int const error = FindEntry(path, &native, &info);
    if (error != FileError::None)
        return error;
    FolderChange change(&native);
    change.Prepare();
    if (::unlinkat(native.at, native.path.text, AT_REMOVEDIR) == 0) {
        change.Removed();
        return FileError::None;
    }
    return errno == ENOTDIR  ? FileError::Directory
           : errno == EEXIST ? FileError::DirNotEmpty
                             : GetLastFileError();
}

unsigned int PosixFileCalls::MoveFile(PathText from, PathText to) {
    NativeEntry source;
    NativeEntry target;
    BytePath other;
    struct stat info;
    unsigned int error = FindEntry(from, &source, &info);
    if (error == FileError::None)
        error = ToNative(to, &target);
    for (NativeEntry const * const entry : {&source, &target})
        if (error == FileError::None)
            error = CheckIsWhole(*entry);
    if (error != FileError::None)
        return error;
    FolderChange arrival(&target);
    error = arrival.FindFolder();
    if (error != FileError::None)
        return error;
    if (source.path.GetText() == target.path.GetText())
        return FileError::None;
    // An entry may change the case of its own name.
    error = arrival.FindOtherSpelling(&other);
    if (error != FileError::None)
        return error;
    if (other.length != 0 && other.GetText() != source.path.GetText())
        return FileError::AlreadyExists;
    FolderChange departure(&source);
    departure.Prepare();
    error = WhileUnused(info, source,
                        [&] { return RenameToFreeName(source.path.text, target.path.text); });
    if (error == FileError::None) {
        departure.Removed();
        arrival.Added();
    }
    return error == FileError::FileExists ? FileError::AlreadyExists : error;
}

unsigned int PosixFileCalls::ReplaceFile(PathText from, PathText to) {
    NativeEntry source;
    NativeEntry target;
    struct stat info;
    struct stat old;
    unsigned int error = FindEntry(from, &source, &info);
    if (error == FileError::None)
        error = CheckIsWhole(source);
    if (error != FileError::None)
        return error;
    error = FindEntry(to, &target, &old);
    if (error == FileError::None)
        error = CheckIsWhole(target);
    if (error == FileError::FileNotFound)
        return MoveFile(from, to);
    if (error != FileError::None)
        return error;
    bool const isFile = S_ISREG(old.st_mode) || S_ISLNK(old.st_mode); // and no device
    if (!isFile || IsProtected(old))
        return FileError::AccessDenied;
    FolderChange departure(&source);
    departure.Prepare();
    unsigned int renamed = FileError::None;
    error = WhileUnused(old, target, [&] {
        renamed = WhileUnused(info, source,
                              [&] { return ::rename(source.path.text, target.path.text) == 0; });
        return true;
    });
    if (error == FileError::None)
        error = renamed;
    if (error == FileError::None)
        departure.Removed();
    return error;
}

unsigned int PosixFileCalls::CreateFileLike(PathText path, PathText model) {
    NativeEntry like;
    NativeEntry native;
    struct stat info;
    unsigned int error = FindEntry(model, &like, &info);
    if (error == FileError::None)
        error = CheckIsWhole(like);
    if (error == FileError::None)
        error = ToNative(path, &native);
    int made = -1;
    if (error == FileError::None)
        error = MakeEntry(&native, FileError::FileExists, [&made](int at, char const * entry) {
            constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
            return (made = Retry([=] { return ::openat(at, entry, flags, 0600); })) >= 0;
        });
    if (error != FileError::None)
        return error;
    Descriptor const file(made);
    GiveRights(made, like.path.text, info);
    return FileError::None;
}

unsigned int PosixFileCalls::CopyFile(EntryPath from, EntryPath to) {
    NativeEntry source;
    NativeEntry target;
    struct stat info;
    unsigned int error = FindEntry(from, &source, &info);
    if (error == FileError::None)
        error = ToNative(to, &target);
    if (error != FileError::None)
        return error;
    if (S_ISLNK(info.st_mode))
        return CopyLink(source, &target);
    if (S_ISDIR(info.st_mode))
        return FileError::AccessDenied;
    if (!S_ISREG(info.st_mode)) // a device or a pipe may have no end
        return FileError::NotSupported;
    Opening const opening{FileAccess::Read, FileDisposition::OpenExisting, 0,
                          ShareLock::Find(FileAccess::Read, FileShare::Read | FileShare::Write)};
    Descriptor const file(opening.Open(source.at, source.path.text, O_NOFOLLOW));
    if (!file.IsOpen() || ::fstat(file.Get(), &info) != 0)
        return GetLastFileError();
    if (!S_ISREG(info.st_mode)) // it was replaced meanwhile
        return FileError::NotSupported;
    error = opening.Admit(file.Get());
    if (error != FileError::None)
        return error;
    int copy = -1;
    error = MakeEntry(&target, FileError::FileExists, [&copy](int at, char const * entry) {
        constexpr int flags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
        return (copy = Retry([=] { return ::openat(at, entry, flags, 0600); })) >= 0;
    });
    return error == FileError::None ? FillCopy(file.Get(), info, target, copy) : error;
}

} // namespace IO
