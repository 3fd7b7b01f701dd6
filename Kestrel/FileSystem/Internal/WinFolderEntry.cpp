#include <Kestrel/FileSystem/Internal/WinFolderEntry.h>

#include <Kestrel/FileSystem/Internal/Drives.h>
#include <Kestrel/FileSystem/Internal/ErrorGroups.h>
#include <Kestrel/FileSystem/Internal/FileTimes.h>
#include <Kestrel/FileSystem/Internal/PathOperations.h>
#include <Kestrel/FileSystem/Internal/PathType.h>
#include <Kestrel/FileSystem/Internal/WinFileEntry.h>
#include <Kestrel/FileSystem/Internal/WinFileSystem.h>
#include <Kestrel/Location/Internal/OSErrors.h>
#include <Kestrel/Location/Internal/ValidatorTable.h>

namespace IO {

namespace {

using CreateStatus = FolderEntry::CreateStatus;
using EnumerateStatus = FolderEntry::EnumerateStatus;
using MoveStatus = FolderEntry::MoveStatus;

constexpr ErrorRow<CreateStatus> createFileErrors[] = {
    {FileError::AccessDenied, CreateStatus::AccessDenied},
    {FileError::SharingViolation, CreateStatus::AccessDenied},
    {FileError::LockViolation, CreateStatus::AccessDenied},
    {FileError::FileExists, CreateStatus::AlreadyExists},
    {FileError::AlreadyExists, CreateStatus::AlreadyExists},
    {FileError::HandleDiskFull, CreateStatus::DeviceFull},
    {FileError::DiskFull, CreateStatus::DeviceFull},
};

constexpr ErrorRow<CreateStatus> createFolderErrors[] = {
    {FileError::AccessDenied, CreateStatus::AccessDenied},
    {FileError::SharingViolation, CreateStatus::AccessDenied},
    {FileError::LockViolation, CreateStatus::AccessDenied},
    {FileError::AlreadyExists, CreateStatus::AlreadyExists},
    {FileError::HandleDiskFull, CreateStatus::DeviceFull},
    {FileError::DiskFull, CreateStatus::DeviceFull},
};

// Reports one drive after another as a folder, without the separator that ends its root.
bool ReportDrive(PathText drive, void * data) {
    while (!drive.empty() && IsSeparator(drive.back()))
        drive.remove_suffix(1);
    return static_cast<EntryEnumerator *>(data)->EntryFound(Name(drive), true);
}

EnumerateStatus EnumerateDriveNames(EntryEnumerator & enumerator) {
    switch (EnumerateDrives(ReportDrive, &enumerator)) {
    case DrivesStatus::Done: return EnumerateStatus::Done;
    case DrivesStatus::Stopped: return EnumerateStatus::Stopped;
    default: return EnumerateStatus::Other;
    }
}

bool AddFreeSpace(PathText drive, void * data) {
    unsigned long long available = 0;
    // A drive that does not respond, such as one without a medium, adds nothing.
    if (GetFileCalls().GetDiskFreeSpaceEx(drive, &available) == FileError::None)
        *static_cast<unsigned long long *>(data) += available;
    return true;
}

} // namespace

/// The entry that the innermost enumeration is reporting. One Name is used for all, so that most
/// need no allocation.
struct WinFolderEntry::Found {
    explicit Found(WinFolderEntry & entry)
        : entry(entry), outer(entry.found), search(entry.StartSearch()),
          marksLinks(GetFileCalls().MarksLinks()) {
        entry.found = this;
    }
    ~Found() { entry.found = outer; }
    Found(Found const &) = delete;
    Found & operator=(Found const &) = delete;

    // Where links are not marked, only reading shows whether an entry is a file. A name from the
    // disk is legal unless it is too long, and one of so few units has few bytes.
    bool IsFile() const {
        constexpr unsigned int others = FileAttribute::Folder | FileAttribute::Link;
        constexpr unsigned int surelyShort = 64;
        return marksLinks && (search.GetEntry().attributes & others) == 0 &&
               (search.GetEntry().nameLength <= surelyShort || name.IsLegal());
    }
    bool IsFolder() const {
        constexpr unsigned int kinds = FileAttribute::Folder | FileAttribute::Link;
        return (search.GetEntry().attributes & kinds) == FileAttribute::Folder;
    }
    bool IsOf(Name const & other) const {
        return search.HasEntry() && PathText(other.ToString()) == search.GetEntry().GetName();
    }
    // A folder that allows a query of one of its entries allows it for all.
    bool AllowsQueries() {
        if (!isTried)
            allowsQueries = search.LookAtEntry();
        isTried = true;
        return allowsQueries;
    }

    WinFolderEntry & entry;
    Found * outer;
    FolderSearch search;
    bool marksLinks;
    bool isTried = false;
    bool allowsQueries = false;
    Name name;
};

void WinFolderEntry::Release() noexcept {
    path.Clear();
    if (held != nullptr)
        GetFileCalls().FindClose(held);
    held = nullptr;
    heldError = FileError::None;
    LetGo();
}

FolderSearch WinFolderEntry::StartSearch() {
    FindHandle const opened = held;
    held = nullptr;
    unsigned int const error = std::exchange(heldError, 0u);
    // The system may not accept the path.
    if (IsOnLinux && error != FileError::None)
        return FolderSearch(error);
    return opened != nullptr ? FolderSearch(opened) : FolderSearch(path);
}

void WinFolderEntry::Set(Mu::UniString & newPath, unsigned int newDepth) noexcept {
    path.Swap(newPath);
    depth = newDepth;
}

// Whether an entry of this name can be created or changed here. Names of dots lead to other
// folders; Windows removes all dots and blanks at the end of a name, so that more of them lead to
// this one.
bool WinFolderEntry::Takes(Name const & name) const {
    PathText const text = name.ToString();
    std::size_t const most = RunningPlatform == Mu::WindowsSign ? text.size() : 2;
    bool const isDots = text.size() <= most && text.find_first_not_of(u". ") == PathText::npos;
    return depth != 0 && !isDots && name.IsLegal();
}

Mu::UniString WinFolderEntry::PathOf(Name const & name) const {
    return JoinPath(path, name.ToString());
}

// Null for entries of other file systems, which have no path here.
WinFolderEntry * WinFolderEntry::AsOurs(FolderEntry & other) const {
    return other.GetOwnerFileSystem() == &owner ? static_cast<WinFolderEntry *>(&other) : nullptr;
}

FSEntry::TimeStatus WinFolderEntry::SetTime(TimeKind kind, long long seconds) {
    return depth <= 1 ? TimeStatus::Other
                      : WritePathTime(path, kind, seconds, FileFlagBackupSemantics);
}

template <typename Seconds>
FSEntry::TimeStatus WinFolderEntry::GetTime(TimeKind kind, Seconds * seconds) const {
    return depth <= 1 ? TimeStatus::Other : ReadPathTime(path, kind, seconds);
}
template FSEntry::TimeStatus WinFolderEntry::GetTime(TimeKind, long long *) const;

FSEntry::TimeStatus WinFolderEntry::SetCreationTime(int const & time) {
    return Mu::IsNull(time) ? TimeStatus::Other : SetTime(TimeKind::Creation, time);
}

FSEntry::TimeStatus WinFolderEntry::GetCreationTime(int * time) {
    return GetTime(TimeKind::Creation, time);
}

FSEntry::TimeStatus WinFolderEntry::SetModificationTime(int const & time) {
    return Mu::IsNull(time) ? TimeStatus::Other : SetTime(TimeKind::Modification, time);
}

FSEntry::TimeStatus WinFolderEntry::GetModificationTime(int * time) {
    return GetTime(TimeKind::Modification, time);
}

BaseFileSystem * WinFolderEntry::GetOwnerFileSystem() {
    return &owner;
}

CreateStatus WinFolderEntry::CreateFile(Name const & name, FileEntry * reserved) {
    if (!Takes(name) || reserved != nullptr)
        return CreateStatus::Other;
    FileHandle file = nullptr;
    unsigned int const error = WithEntry(name, [&file](EntryPath entry) {
        return GetFileCalls().CreateFile(entry, FileAccess::None, FileShare::None,
                                         FileDisposition::CreateNew, FileAttribute::Normal, &file);
    });
    if (error == FileError::None)
        GetFileCalls().CloseHandle(file); // an empty file has nothing to lose
    return Translate(createFileErrors, error, CreateStatus::Other);
}

CreateStatus WinFolderEntry::CreateFolder(Name const & name, FolderEntry * reserved) {
    if (!Takes(name) || reserved != nullptr)
        return CreateStatus::Other;
    unsigned int const error =
        WithEntry(name, [](EntryPath entry) { return GetFileCalls().CreateDirectory(entry); });
    return Translate(createFolderErrors, error, CreateStatus::Other);
}

CreateStatus WinFolderEntry::CreateLink(Name const & name, Location const & target) {
    if (!Takes(name) || (owner.RestrictsLinks() && !HasLinkExtension(name.ToString())))
        return CreateStatus::Other;
    Mu::UniString const linkPath = PathOf(name);
    if (!IsFree(LookForTarget(linkPath)))
        return CreateStatus::AlreadyExists;
    Mu::UniString targetPath;
    if (Mu::IsNull(target) || target.ToPath(&targetPath) != NoError ||
        GetFileCalls().CreateShellLink(linkPath, targetPath, u"IO link") != FileError::None)
        return CreateStatus::Other;
    return CreateStatus::Done;
}

MoveStatus WinFolderEntry::Move(Name const & from, FolderEntry & target, Name const & to,
                                bool force) {
    WinFolderEntry * const folder = AsOurs(target);
    if (folder == nullptr || !Takes(from) || !folder->Takes(to))
        return MoveStatus::Other;
    return MovePath(PathOf(from), folder->PathOf(to), force);
}

MoveStatus WinFolderEntry::Replace(Name const & from, Name const & to) {
    if (!Takes(from) || !Takes(to))
        return MoveStatus::Other;
    return ReplacePath(PathOf(from), PathOf(to));
}

CreateStatus WinFolderEntry::CreateFileLike(Name const & name, Name const & model) {
    if (!Takes(name) || !Takes(model))
        return CreateStatus::Other;
    return Translate(createFileErrors, GetFileCalls().CreateFileLike(PathOf(name), PathOf(model)),
                     CreateStatus::Other);
}

FolderEntry::CopyStatus WinFolderEntry::Copy(Name const & from, FolderEntry & target,
                                             Name const & to) {
    WinFolderEntry * const folder = AsOurs(target);
    // The names of drives, in the root of the computer, are legal nowhere else.
    if (folder == nullptr || (depth != 0 && !Takes(from)) || !folder->Takes(to))
        return CopyStatus::Other;
    return CopyPath(PathOf(from), folder->PathOf(to));
}

FolderEntry::DeleteStatus WinFolderEntry::Delete(Name const & name, bool force) {
    if (!Takes(name))
        return DeleteStatus::Other;
    // The entry being reported is deleted in the enumerated folder, wherever its path leads.
    if (found != nullptr && found->IsOf(name))
        return DeleteFound(found->search, force);
    return kept != nullptr ? DeleteHeld({kept, name.ToString()}, force)
                           : DeletePath(PathOf(name), force);
}

FolderEntry::GetTypeStatus WinFolderEntry::GetType(Name const & name, EntryType * type) {
    if (depth != 0 && !name.IsLegal())
        return GetTypeStatus::Other;
    // The entry being reported is queried in its folder, whatever length its path has.
    if (LookAtFoundFile(name) != nullptr) {
        *type = EntryType::File;
        return GetTypeStatus::Done;
    }
    PathBuffer target;
    PathLook const look = LookAtPath(PathOf(name), owner.RestrictsLinks(), &target.text);
    switch (look.type) {
    case PathType::File:
        *type = look.link == LinkStatus::Done || look.link == LinkStatus::Broken ? EntryType::Link
                                                                                 : EntryType::File;
        return GetTypeStatus::Done;
    case PathType::Folder: *type = EntryType::Folder; return GetTypeStatus::Done;
    case PathType::AccessDenied: return GetTypeStatus::AccessDenied;
    default: return GetTypeStatus::EntryNotFound;
    }
}

EnumerateStatus WinFolderEntry::Enumerate(EntryEnumerator & enumerator) {
    if (depth == 0)
        return EnumerateDriveNames(enumerator);
    Found current(*this);
    FolderSearch & search = current.search;
    Mu::UniString text;
    for (; search.HasEntry(); search.Next()) {
        text = Mu::ConstSubstring(search.GetEntry().GetName());
        current.name = std::move(text); // `text` has the previous name's block then
        if (!enumerator.EntryFound(current.name, search.GetEntry().IsFolder()))
            return EnumerateStatus::Stopped;
    }
    return TranslateDenial<EnumerateStatus>(search.GetError());
}

bool WinFolderEntry::IsFoundFile(Name const & name) const {
    return found != nullptr && found->IsOf(name) && found->IsFile() && found->AllowsQueries() &&
           found->IsFile();
}

FindData const * WinFolderEntry::LookAtFoundFile(Name const & name) const {
    if (found == nullptr || !found->IsOf(name) || !found->IsFile() ||
        !found->search.LookAtEntry() || !found->IsFile())
        return nullptr;
    return &found->search.GetEntry();
}

WinFolderEntry * WinFolderEntry::ConnectFound(Name const & name) const {
    if (!IsOnLinux || found == nullptr || !found->IsOf(name) || !found->IsFolder())
        return nullptr;
    Mu::UniString below = PathOf(name);
    return owner.TakeFolder(below, depth + 1);
}

bool WinFolderEntry::IsBeyond(Name const & name, Location const & location) const {
    return IsOnLinux && Takes(name) && location.GetStatus() == NoError && !location.IsLegal();
}

FileEntry * WinFolderEntry::ConnectMade(Name const & name, Location const & location) const {
    Mu::UniString own = PathOf(name);
    Mu::UniString path;
    if (kept != nullptr || location.ToPath(&path) != NoError || path != own)
        return nullptr;
    return owner.TakeFile(own);
}

template <typename Entry>
BaseFileSystem::ConnectStatus WinFolderEntry::ConnectBeyond(Name const & name, Location * location,
                                                            Entry ** entry) const {
    if (!IsBeyond(name, *location))
        return BaseFileSystem::ConnectStatus::NotFound;
    Mu::UniString below = PathOf(name);
    return owner.ConnectBeyond(below, location, entry);
}

template BaseFileSystem::ConnectStatus WinFolderEntry::ConnectBeyond(Name const &, Location *,
                                                                     FileEntry **) const;
template BaseFileSystem::ConnectStatus WinFolderEntry::ConnectBeyond(Name const &, Location *,
                                                                     FolderEntry **) const;

bool WinFolderEntry::ResolveBeyond(Name const & name, Location const & link, Location * target,
                                   EntryType * type) const {
    if (!IsBeyond(name, link))
        return false;
    Mu::UniString below = PathOf(name);
    return owner.ResolveBeyond(below, target, type);
}

WinFolderEntry::HoldStatus WinFolderEntry::HoldFound(Name const & name,
                                                     WinFolderEntry & folder) const {
    if (found == nullptr || !found->IsOf(name) || !found->IsFolder())
        return HoldStatus::There;
    OSErrorMark const mark = MarkOSErrors();
    folder.heldError =
        OpenIn(found->search.GetFolder(), name, folder, FolderUse::List, &folder.held);
    // A folder that may not be listed is reported by its enumeration.
    if (folder.heldError == FileError::Directory)
        return HoldStatus::Other;
    if (folder.heldError != FileError::FileNotFound)
        return HoldStatus::There;
    ForgetOSErrors(mark); // its removal is no failure
    return HoldStatus::Gone;
}

// The folder through which entries are reached instead of by their paths; null for none.
FindHandle WinFolderEntry::GetReach() const {
    return found != nullptr ? found->search.GetFolder() : kept;
}

// Opens the folder of this name there, for which `folder` was created. Directory: it is none, or
// was a link when `folder` was connected.
unsigned int WinFolderEntry::OpenIn(FindHandle in, Name const & name, WinFolderEntry const & folder,
                                    FolderUse use, FindHandle * opened) const {
    *opened = nullptr;
    if (!GetFileCalls().IsSameName(folder.path, PathOf(name)))
        return FileError::Directory;
    return GetFileCalls().OpenFolder({in, name.ToString()}, use, opened);
}

bool WinFolderEntry::Keep() {
    return depth == 0 || kept != nullptr ||
           GetFileCalls().OpenFolder(path, FolderUse::Target, &kept) == FileError::None;
}

bool WinFolderEntry::KeepIn(WinFolderEntry const & parent, Name const & name) {
    FindHandle const in = parent.GetReach();
    return in == nullptr
               ? Keep()
               : parent.OpenIn(in, name, *this, FolderUse::Target, &kept) == FileError::None;
}

void WinFolderEntry::LetGo() noexcept {
    if (kept != nullptr)
        GetFileCalls().FindClose(kept);
    kept = nullptr;
}

bool WinFolderEntry::Lend(Name const & name, WinFolderEntry & folder) const {
    FindHandle const in = GetReach(); // a drive is in no folder
    return in == nullptr ||
           OpenIn(in, name, folder, FolderUse::List, &folder.held) == FileError::None;
}

bool WinFolderEntry::Lend(Name const & name, WinFileEntry & file) const {
    return file.SetFolder(GetReach(), PathOf(name));
}

FSEntry::AttributeStatus WinFolderEntry::GetDiskUse(DiskUse * use) const {
    *use = {}; // the result for the root of the computer
    return depth == 0 ? AttributeStatus::Done
                      : TranslateDenial<AttributeStatus>(GetFileCalls().GetDiskUse(path, use));
}

FolderEntry::GetTypeStatus WinFolderEntry::GetDiskUse(Name const & name, DiskUse * use) const {
    static constexpr ErrorRow<GetTypeStatus> errors[] = {
        {FileError::FileNotFound, GetTypeStatus::EntryNotFound},
        {FileError::PathNotFound, GetTypeStatus::EntryNotFound},
        {FileError::AccessDenied, GetTypeStatus::AccessDenied},
        {FileError::SharingViolation, GetTypeStatus::AccessDenied},
    };
    *use = {};
    bool const isFound = found != nullptr && found->IsOf(name);
    if (depth != 0 && !isFound && !Takes(name))
        return GetTypeStatus::Other;
    FindHandle const in = isFound ? found->search.GetFolder() : kept;
    unsigned int const error = in != nullptr ? GetFileCalls().GetDiskUse({in, name.ToString()}, use)
                                             : GetFileCalls().GetDiskUse(PathOf(name), use);
    return Translate(errors, error, GetTypeStatus::Other);
}

FSEntry::AttributeStatus WinFolderEntry::GetFreeSpace(unsigned long long * bytes) {
    if (depth != 0)
        return TranslateDenial<AttributeStatus>(GetFileCalls().GetDiskFreeSpaceEx(path, bytes));
    *bytes = 0;
    return EnumerateDrives(AddFreeSpace, bytes) == DrivesStatus::Done ? AttributeStatus::Done
                                                                      : AttributeStatus::Other;
}

bool WinFolderEntry::IsReadable() {
    if (depth == 0)
        return true;
    return FolderSearch(path).GetError() == FileError::None;
}

bool WinFolderEntry::IsWriteable() {
    return depth != 0 && (kept != nullptr ? CanWriteInto(kept) : CanWriteInto(path));
}

FSEntry::AttributeStatus WinFolderEntry::GetVolumeType(unsigned int * type) const {
    Mu::UniString const root = GetRootPath(path);
    if (root.IsEmpty())
        return AttributeStatus::Other;
    *type = GetFileCalls().GetDriveType(root);
    return AttributeStatus::Done;
}

FSEntry::AttributeStatus WinFolderEntry::IsOnLocalVolume(bool * isLocal) {
    unsigned int type = DriveType::Fixed; // the root of the computer counts as fixed
    AttributeStatus const status = depth == 0 ? AttributeStatus::Done : GetVolumeType(&type);
    if (status == AttributeStatus::Done)
        *isLocal = type != DriveType::Remote;
    return status;
}

FSEntry::AttributeStatus WinFolderEntry::IsOnFixedVolume(bool * isFixed) {
    unsigned int type = DriveType::Fixed;
    AttributeStatus const status = depth == 0 ? AttributeStatus::Done : GetVolumeType(&type);
    if (status == AttributeStatus::Done)
        *isFixed = type == DriveType::Fixed;
    return status;
}

} // namespace IO
