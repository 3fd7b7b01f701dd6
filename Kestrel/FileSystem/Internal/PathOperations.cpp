#include <Kestrel/FileSystem/Internal/PathOperations.h>

#include <Kestrel/FileSystem/Internal/ErrorGroups.h>
#include <Kestrel/FileSystem/Internal/PathType.h>
#include <Kestrel/Root/Exceptions.h>
#include <Kestrel/Root/Lock.h>

namespace IO {

namespace {

using DeleteStatus = FolderEntry::DeleteStatus;
using MoveStatus = FolderEntry::MoveStatus;

constexpr ErrorRow<MoveStatus> moveErrors[] = {
    {FileError::AccessDenied, MoveStatus::AccessDenied},
    {FileError::SharingViolation, MoveStatus::AccessDenied},
    {FileError::LockViolation, MoveStatus::AccessDenied},
    {FileError::FileExists, MoveStatus::TargetExists},
    {FileError::AlreadyExists, MoveStatus::TargetExists},
    {FileError::HandleDiskFull, MoveStatus::DeviceFull},
    {FileError::DiskFull, MoveStatus::DeviceFull},
};

// A target that appears while its path is looked at is no told answer of a copy.
constexpr ErrorRow<MoveStatus> copyErrors[] = {
    {FileError::AccessDenied, MoveStatus::AccessDenied},
    {FileError::SharingViolation, MoveStatus::AccessDenied},
    {FileError::LockViolation, MoveStatus::AccessDenied},
    {FileError::HandleDiskFull, MoveStatus::DeviceFull},
    {FileError::DiskFull, MoveStatus::DeviceFull},
};

constexpr ErrorRow<DeleteStatus> deleteFolderErrors[] = {
    {FileError::AccessDenied, DeleteStatus::AccessDenied},
    {FileError::SharingViolation, DeleteStatus::AccessDenied},
};

bool IsBelow(PathText path, PathText folder) {
    while (!folder.empty() && IsSeparator(folder.back()))
        folder.remove_suffix(1);
    return path.size() > folder.size() && IsSeparator(path[folder.size()]) &&
           GetFileCalls().IsSameName(path.substr(0, folder.size()), folder);
}

MoveStatus MoveAcrossDrives(PathText from, PathText to, bool force) {
    MoveStatus const copied = CopyPath(from, to);
    if (copied != MoveStatus::Done)
        return copied;
    DeleteStatus const deleted = DeletePath(from, force);
    if (deleted == DeleteStatus::Done)
        return MoveStatus::Done;
    (void)DeletePath(to, true); // the failure to report is that of the source
    return deleted == DeleteStatus::AccessDenied ? MoveStatus::AccessDenied : MoveStatus::Other;
}

MoveStatus CopyContent(PathText from, PathText to) {
    FolderSearch search(from);
    for (; search.HasEntry(); search.Next()) {
        PathText const name = search.GetEntry().GetName();
        MoveStatus const status = CopyPath(JoinPath(from, name), JoinPath(to, name));
        if (status != MoveStatus::Done)
            return status;
    }
    return Translate(copyErrors, search.GetError(), MoveStatus::Other);
}

// Takes a folder that was begun away again, unless its copy is whole.
class HalfMadeCopy {
public:
    explicit HalfMadeCopy(PathText path) : path(path) {}
    ~HalfMadeCopy() {
        if (!whole)
            Remove();
    }
    HalfMadeCopy(HalfMadeCopy const &) = delete;
    HalfMadeCopy & operator=(HalfMadeCopy const &) = delete;
    void SetWhole() { whole = true; }

private:
    void Remove() noexcept {
        try {
            (void)DeletePath(path, true); // the failure to report is that of the copy
        } catch (Mu::OutOfMemoryException const &) {
            // What is left can be seen by everybody; there is no better place to say so.
        }
    }

    PathText path;
    bool whole = false;
};

MoveStatus CopyFolder(PathText from, PathText to) {
    if (IsBelow(to, from))
        return MoveStatus::Other; // the copy would find itself in its source, without end
    unsigned int const error = GetFileCalls().CreateDirectory(to);
    if (error != FileError::None)
        return Translate(copyErrors, error, MoveStatus::Other);
    HalfMadeCopy copy(to);
    MoveStatus const status = CopyContent(from, to);
    if (status == MoveStatus::Done)
        copy.SetWhole();
    return status;
}

DeleteStatus DeleteFilePath(PathText path, bool force) {
    FileCalls & calls = GetFileCalls();
    unsigned int error = calls.DeleteFile(path);
    if (error == FileError::AccessDenied && force && IsWriteProtectedPath(path) &&
        calls.SetFileAttributes(path, FileAttribute::Normal) == FileError::None) {
        error = calls.DeleteFile(path);
        if (error != FileError::None)
            calls.SetFileAttributes(path, FileAttribute::ReadOnly); // it stays as it was found
    }
    return TranslateDenial<DeleteStatus>(error);
}

DeleteStatus DeleteContent(PathText path, bool force) {
    FolderSearch search(path);
    for (; search.HasEntry(); search.Next()) {
        DeleteStatus const status = DeletePath(JoinPath(path, search.GetEntry().GetName()), force);
        // What somebody else deleted meanwhile is gone as wanted.
        if (status != DeleteStatus::Done && status != DeleteStatus::EntryNotFound)
            return status;
    }
    return TranslateDenial<DeleteStatus>(search.GetError());
}

DeleteStatus DeleteFolderPath(PathText path, bool force) {
    unsigned int error = GetFileCalls().RemoveDirectory(path);
    if (error == FileError::DirNotEmpty) {
        DeleteStatus const status = DeleteContent(path, force);
        if (status != DeleteStatus::Done)
            return status;
        error = GetFileCalls().RemoveDirectory(path);
    }
    return Translate(deleteFolderErrors, error, DeleteStatus::Other);
}

Mu::Lock & GetWriteTestLock() {
    static Mu::Lock lock;
    return lock;
}

} // namespace

MoveStatus MovePath(PathText from, PathText to, bool force) {
    if (from == to)
        return MoveStatus::Done;
    if (!force && IsWriteProtectedPath(from))
        return MoveStatus::AccessDenied;
    unsigned int const error = GetFileCalls().MoveFile(from, to);
    if (error == FileError::NotSameDevice)
        return MoveAcrossDrives(from, to, force);
    // When the source is there, it is the folder of the target that is not.
    if (error == FileError::FileNotFound || error == FileError::PathNotFound)
        return IsFree(GetPathType(from).type) ? MoveStatus::EntryNotFound : MoveStatus::Other;
    return Translate(moveErrors, error, MoveStatus::Other);
}

FolderEntry::CopyStatus CopyPath(PathText from, PathText to) {
    if (from == to)
        return MoveStatus::Done;
    PathType const target = GetPathType(to).type;
    if (target != PathType::Other)
        return target == PathType::PathNotFound ? MoveStatus::Other : MoveStatus::TargetExists;
    PathLook const source = GetPathType(from);
    if (source.type == PathType::File)
        return Translate(copyErrors, GetFileCalls().CopyFile(from, to), MoveStatus::Other);
    if (source.type == PathType::Folder)
        return CopyFolder(from, to);
    if (source.type == PathType::AccessDenied)
        return MoveStatus::AccessDenied;
    return source.type == PathType::PathNotFound || source.error == FileError::FileNotFound
               ? MoveStatus::EntryNotFound
               : MoveStatus::Other;
}

DeleteStatus DeletePath(PathText path, bool force) {
    switch (GetPathType(path).type) {
    case PathType::File: return DeleteFilePath(path, force);
    case PathType::Folder: return DeleteFolderPath(path, force);
    case PathType::AccessDenied: return DeleteStatus::AccessDenied;
    default: return DeleteStatus::EntryNotFound;
    }
}

bool CanWriteInto(PathText folder) {
    Mu::UniString const path = JoinPath(folder, u"Write Test 245770131727495");
    Mu::LockGuard guard(GetWriteTestLock());
    FileCalls & calls = GetFileCalls();
    ErrorModeMark const mark(calls);
    FileHandle file = nullptr;
    if (calls.CreateFile(path, FileAccess::None, FileShare::None, FileDisposition::CreateAlways,
                         FileAttribute::Normal, &file) != FileError::None)
        return false;
    calls.CloseHandle(file); // the file goes at once
    return calls.DeleteFile(path) == FileError::None;
}

} // namespace IO
