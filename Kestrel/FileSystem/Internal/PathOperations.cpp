#include <Kestrel/FileSystem/Internal/PathOperations.h>

#include <Kestrel/FileSystem/Internal/ErrorGroups.h>
#include <Kestrel/FileSystem/Internal/PathType.h>
#include <Kestrel/FileSystem/Internal/TransferStep.h>
#include <Kestrel/Location/Internal/OSErrors.h>
#include <Kestrel/Root/Log/Quietly.h>
#include <Kestrel/Root/Threads/Lock.h>

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

// A copy has no status of its own for a target that appears after its path was checked.
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

// The codes for a TransferObserver.

MuErrCode ToCode(MoveStatus status) {
    constexpr MuErrCode codes[] = {NoError,       ErrSourceNotFound,     ErrTargetExists,
                                   ErrDeviceFull, ErrFolderAccessDenied, Error};
    return codes[static_cast<unsigned int>(status)];
}

MuErrCode ToCode(DeleteStatus status) {
    constexpr MuErrCode codes[] = {NoError, ErrEntryNotFound, ErrFolderAccessDenied, Error};
    return codes[static_cast<unsigned int>(status)];
}

bool IsBelow(PathText path, PathText folder) {
    while (!folder.empty() && IsSeparator(folder.back()))
        folder.remove_suffix(1);
    return path.size() > folder.size() && IsSeparator(path[folder.size()]) &&
           GetFileCalls().IsSameName(path.substr(0, folder.size()), folder);
}

/// The folder of a path's last name, held open, and that name in it.
class HeldEntry {
public:
    HeldEntry(PathText path, FolderUse use)
        : name(path.substr(FindLastName(path))),
          folder(path.substr(0, path.size() - name.size()), use) {}
    unsigned int GetError() const { return folder.GetError(); }
    EntryPath Get() const { return {folder.Get(), name}; }

private:
    PathText name;
    HeldFolder folder;
};

// Continues after the first attempt, which returned `error`.
DeleteStatus FinishDeletion(EntryPath file, bool force, unsigned int error) {
    FileCalls & calls = GetFileCalls();
    if (error == FileError::AccessDenied && force && IsWriteProtectedPath(file) &&
        calls.SetFileAttributes(file, FileAttribute::Normal) == FileError::None) {
        error = calls.DeleteFile(file);
        if (error != FileError::None)
            calls.SetFileAttributes(file, FileAttribute::ReadOnly); // restores the protection
    }
    return TranslateDenial<DeleteStatus>(error);
}

DeleteStatus DeleteFileEntry(EntryPath file, bool force) {
    return FinishDeletion(file, force, GetFileCalls().DeleteFile(file));
}

DeleteStatus DeleteContent(EntryPath folder, bool force) {
    FolderSearch search(folder);
    DeleteStatus first = DeleteStatus::Done; // of the skipped entries
    for (; search.HasEntry(); search.Next()) {
        TransferStep step(TransferStep::below, search.GetEntry().GetName());
        DeleteStatus const status =
            step.IsEnded() ? DeleteStatus::Other : DeleteFound(search, force);
        // An entry that is already deleted is no failure.
        if (status == DeleteStatus::Done || status == DeleteStatus::EntryNotFound)
            continue;
        if (!step.Skips(ToCode(status)))
            return status;
        first = first == DeleteStatus::Done ? status : first;
    }
    DeleteStatus const read = TranslateDenial<DeleteStatus>(search.GetError());
    return read != DeleteStatus::Done ? read : first;
}

// A folder that is not empty is no failure: its content is then deleted first.
unsigned int RemoveEmptyFolder(EntryPath folder) {
    OSErrorMark const mark = MarkOSErrors();
    unsigned int const error = GetFileCalls().RemoveDirectory(folder);
    if (error == FileError::DirNotEmpty)
        ForgetOSErrors(mark);
    return error;
}

DeleteStatus DeleteFolderEntry(EntryPath folder, bool force) {
    unsigned int error = RemoveEmptyFolder(folder);
    if (error == FileError::DirNotEmpty) {
        DeleteStatus const status = DeleteContent(folder, force);
        if (status != DeleteStatus::Done)
            return status;
        error = GetFileCalls().RemoveDirectory(folder);
    }
    return Translate(deleteFolderErrors, error, DeleteStatus::Other);
}

DeleteStatus DeleteEntry(EntryPath entry, bool isFolder, bool force) {
    return isFolder ? DeleteFolderEntry(entry, force) : DeleteFileEntry(entry, force);
}

bool IsGone(EntryPath entry) {
    unsigned int attributes;
    unsigned int const error = GetFileCalls().GetFileAttributes(entry, &attributes);
    return error == FileError::FileNotFound || error == FileError::PathNotFound;
}

// Someone else may have been faster.
DeleteStatus DeleteFoundEntry(EntryPath entry, bool isFolder, bool force) {
    DeleteStatus const status = DeleteEntry(entry, isFolder, force);
    return status == DeleteStatus::Other && IsGone(entry) ? DeleteStatus::EntryNotFound : status;
}

/// One copy of a tree: remembers the target's top folder, so that it does not copy itself.
class TreeCopy {
public:
    MoveStatus Copy(EntryPath from, bool isFolder, EntryPath to) {
        return isFolder
                   ? CopyFolder(from, to)
                   : Translate(copyErrors, GetFileCalls().CopyFile(from, to), MoveStatus::Other);
    }

private:
    MoveStatus CopyFolder(EntryPath from, EntryPath to);
    MoveStatus CopyContent(FolderSearch & source, EntryPath to, bool * isWhole);
    bool IsTop(FindHandle folder) const {
        FolderId id;
        return hasTop && GetFileCalls().GetFolderId(folder, &id) == FileError::None && id == top;
    }

    FolderId top = {};
    bool hasTop = false;
};

// Deletes an incomplete copy of a folder.
class HalfMadeCopy {
public:
    explicit HalfMadeCopy(EntryPath folder) : folder(folder) {}
    ~HalfMadeCopy() {
        if (!whole)
            Remove();
    }
    HalfMadeCopy(HalfMadeCopy const &) = delete;
    HalfMadeCopy & operator=(HalfMadeCopy const &) = delete;
    void SetWhole() { whole = true; }

private:
    // The failure to report is that of the copy. Leftovers are visible to everyone.
    void Remove() noexcept {
        Mu::Quietly([this] {
            TransferPause const pause;
            (void)DeleteFolderEntry(folder, true);
        });
    }

    EntryPath folder;
    bool whole = false;
};

// A copy that lacks only entries that an observer had skipped is whole, too.
MoveStatus TreeCopy::CopyContent(FolderSearch & source, EntryPath to, bool * isWhole) {
    MoveStatus first = MoveStatus::Done; // of the skipped entries
    HeldFolder const target(to, FolderUse::Target);
    if (target.GetError() != FileError::None)
        return Translate(copyErrors, target.GetError(), MoveStatus::Other);
    if (!hasTop) {
        unsigned int const error = GetFileCalls().GetFolderId(target.Get(), &top);
        if (error != FileError::None)
            return Translate(copyErrors, error, MoveStatus::Other);
        hasTop = true;
    }
    for (; source.HasEntry(); source.Next()) {
        FindData const & found = source.GetEntry();
        TransferStep step(TransferStep::below, found.GetName());
        MoveStatus const status = step.IsEnded() ? MoveStatus::Other
                                                 : Copy(source.GetEntryPath(), found.IsFolder(),
                                                        {target.Get(), found.GetName()});
        if (status != MoveStatus::Done && !step.Skips(ToCode(status)))
            return status;
        first = first == MoveStatus::Done ? status : first;
    }
    *isWhole = source.GetError() == FileError::None;
    return *isWhole ? first : Translate(copyErrors, source.GetError(), MoveStatus::Other);
}

MoveStatus TreeCopy::CopyFolder(EntryPath from, EntryPath to) {
    FolderSearch source(from);
    if (source.GetFolder() == nullptr)
        return Translate(copyErrors, source.GetError(), MoveStatus::Other);
    if (IsTop(source.GetFolder()))
        return MoveStatus::
            Other; // the copy has found itself in its source, and would repeat that forever
    unsigned int const error = GetFileCalls().CreateDirectory(to);
    if (error != FileError::None)
        return Translate(copyErrors, error, MoveStatus::Other);
    HalfMadeCopy copy(to);
    bool isWhole = false;
    MoveStatus const status = CopyContent(source, to, &isWhole);
    if (isWhole)
        copy.SetWhole();
    return status;
}

MoveStatus CopyFolderPath(PathText from, PathText to) {
    if (IsBelow(to, from))
        return MoveStatus::Other;
    HeldEntry const target(to, FolderUse::Target);
    if (target.GetError() != FileError::None)
        return Translate(copyErrors, target.GetError(), MoveStatus::Other);
    if (FindLastName(from) == 0) // the root of a drive is in no folder
        return TreeCopy().Copy(from, true, target.Get());
    HeldEntry const source(from, FolderUse::Base);
    if (source.GetError() != FileError::None)
        return Translate(copyErrors, source.GetError(), MoveStatus::Other);
    return TreeCopy().Copy(source.Get(), true, target.Get());
}

// Both folders are held from the copying to the deletion, so that exactly what was copied is
// deleted.
MoveStatus MoveAcrossDrives(PathText from, PathText to, bool force) {
    PathType const sourceType = GetPathType(from).type;
    if (sourceType != PathType::File && sourceType != PathType::Folder)
        return CopyPath(from, to); // returns why it cannot be copied
    if (LookForTarget(to) != PathType::Other)
        return CopyPath(from, to);
    HeldEntry const source(from, FolderUse::Base);
    HeldEntry const target(to, FolderUse::Target);
    for (HeldEntry const * entry : {&source, &target})
        if (entry->GetError() != FileError::None)
            return Translate(copyErrors, entry->GetError(), MoveStatus::Other);
    bool const isFolder = sourceType == PathType::Folder;
    TransferStep const step(from);
    TransferWhole const whole;
    MoveStatus const copied = TreeCopy().Copy(source.Get(), isFolder, target.Get());
    if (copied != MoveStatus::Done)
        return copied;
    TransferPause const pause;
    DeleteStatus const deleted = DeleteEntry(source.Get(), isFolder, force);
    if (deleted == DeleteStatus::Done)
        return MoveStatus::Done;
    // The failure to report is that of the source.
    (void)DeleteEntry(target.Get(), isFolder, true);
    return deleted == DeleteStatus::AccessDenied ? MoveStatus::AccessDenied : MoveStatus::Other;
}

Mu::Lock & GetWriteTestLock() {
    static Mu::Lock lock;
    return lock;
}

constexpr PathText WriteTestName = u"Write Test 245770131727495";

bool CanWriteAt(EntryPath path) {
    Mu::LockGuard guard(GetWriteTestLock());
    FileCalls & calls = GetFileCalls();
    ErrorModeMark const mark(calls);
    FileHandle file = nullptr;
    if (calls.CreateFile(path, FileAccess::None, FileShare::None, FileDisposition::CreateAlways,
                         FileAttribute::Normal, &file) != FileError::None)
        return false;
    calls.CloseHandle(file); // the file is deleted at once
    return calls.DeleteFile(path) == FileError::None;
}

} // namespace

MoveStatus MovePath(PathText from, PathText to, bool force) {
    if (from == to)
        return MoveStatus::Done;
    if (!force && IsWriteProtectedPath(from))
        return MoveStatus::AccessDenied;
    OSErrorMark const mark = MarkOSErrors();
    unsigned int const error = GetFileCalls().MoveFile(from, to);
    if (error == FileError::NotSameDevice) {
        ForgetOSErrors(mark); // it will be copied
        return MoveAcrossDrives(from, to, force);
    }
    // If the source exists, it is the target's folder that does not.
    if (error == FileError::FileNotFound || error == FileError::PathNotFound) {
        OSErrorMark const moved = MarkOSErrors();
        PathType const source = GetPathType(from).type;
        ForgetOSErrors(moved); // the same failure once more
        return IsFree(source) ? MoveStatus::EntryNotFound : MoveStatus::Other;
    }
    return Translate(moveErrors, error, MoveStatus::Other);
}

MoveStatus ReplacePath(PathText from, PathText to) {
    if (from == to)
        return MoveStatus::Done;
    unsigned int const error = GetFileCalls().ReplaceFile(from, to);
    return error == FileError::FileNotFound ? MoveStatus::EntryNotFound
                                            : Translate(moveErrors, error, MoveStatus::Other);
}

FolderEntry::CopyStatus CopyPath(PathText from, PathText to) {
    if (from == to)
        return MoveStatus::Done;
    PathType const target = LookForTarget(to);
    if (target != PathType::Other)
        return target == PathType::PathNotFound ? MoveStatus::Other : MoveStatus::TargetExists;
    TransferStep const step(from);
    if (step.IsEnded())
        return MoveStatus::Other;
    PathLook const source = GetPathType(from);
    if (source.type == PathType::File)
        return Translate(copyErrors, GetFileCalls().CopyFile(from, to), MoveStatus::Other);
    if (source.type == PathType::Folder)
        return CopyFolderPath(from, to);
    if (source.type == PathType::AccessDenied)
        return MoveStatus::AccessDenied;
    return source.type == PathType::PathNotFound || source.error == FileError::FileNotFound
               ? MoveStatus::EntryNotFound
               : MoveStatus::Other;
}

DeleteStatus DeletePath(PathText path, bool force) {
    TransferStep const step(path);
    if (step.IsEnded())
        return DeleteStatus::Other;
    // This fails for a folder, so that a file needs no query of its type.
    OSErrorMark const mark = MarkOSErrors();
    unsigned int error = GetFileCalls().DeleteFile(path);
    if (error == FileError::None)
        return DeleteStatus::Done;
    switch (GetPathType(path).type) {
    case PathType::File: return FinishDeletion(path, force, error);
    case PathType::Folder: break;
    case PathType::AccessDenied: return DeleteStatus::AccessDenied;
    default: return DeleteStatus::EntryNotFound;
    }
    ForgetOSErrors(mark);
    error = RemoveEmptyFolder(path);
    if (error != FileError::DirNotEmpty)
        return Translate(deleteFolderErrors, error, DeleteStatus::Other);
    HeldEntry const held(path, FolderUse::Base);
    return held.GetError() != FileError::None ? TranslateDenial<DeleteStatus>(held.GetError())
                                              : DeleteFolderEntry(held.Get(), force);
}

DeleteStatus DeleteHeld(EntryPath entry, bool force) {
    unsigned int attributes;
    unsigned int const error = GetFileCalls().GetFileAttributes(entry, &attributes);
    if (error == FileError::FileNotFound || error == FileError::PathNotFound)
        return DeleteStatus::EntryNotFound;
    return error != FileError::None
               ? TranslateDenial<DeleteStatus>(error)
               : DeleteFoundEntry(entry, (attributes & FileAttribute::Folder) != 0, force);
}

DeleteStatus DeleteFound(FolderSearch const & search, bool force) {
    return DeleteFoundEntry(search.GetEntryPath(), search.GetEntry().IsFolder(), force);
}

bool CanWriteInto(PathText folder) {
    return CanWriteAt(JoinPath(folder, WriteTestName));
}

bool CanWriteInto(FindHandle folder) {
    return CanWriteAt({folder, WriteTestName});
}

} // namespace IO
