#include <Kestrel/FileSystem/Internal/WinFileSystem.h>

#include <Kestrel/FileSystem/Internal/Drives.h>
#include <Kestrel/FileSystem/Internal/SpecialLocations.h>
#include <Kestrel/FileSystem/Internal/Start.h>
#include <Kestrel/Location/Internal/ValidatorTable.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Threads/Lock.h>

#include <algorithm>

namespace IO {

namespace {

using ConnectStatus = BaseFileSystem::ConnectStatus;

struct MountPointCall {
    NativeFileSystem::MountPointCallback callback;
    void * data;
};

// Running out of memory must not be taken for a missing file.
bool IsDone(MuErrCode status) {
    if (status == ErrMemoryFull)
        Mu::ThrowOutOfMemory();
    return status == NoError;
}

bool ReportDrive(PathText root, void * data) {
    MountPointCall const & call = *static_cast<MountPointCall *>(data);
    Location drive;
    // A drive whose name is no location cannot be used either, and is skipped.
    return !IsDone(drive.Set(Mu::UniString(root))) || call.callback(drive, call.data);
}

// False for a location that has no path: one that is illegal, or in a network that paths cannot
// express.
bool GetPath(Location const & location, Mu::UniString * path) {
    return IsDone(location.ToPath(path));
}

// Symbolic links are followed to the end, as the system does; a shell link leads to one place.
unsigned int GetMaxLinks() {
    return GetFileCalls().MarksLinks() ? 40 : 1;
}

/// Room for the target of a link: one that is relative to a deep folder may need as much as the
/// path and the longest text of a link.
class LinkTarget {
public:
    explicit LinkTarget(Mu::UniString const & path) {
        constexpr unsigned int mostOfALink = 4096;
        if (!IsOnLinux || path.GetLength() + mostOfALink <= PathBuffer::Size)
            return;
        large.SetLength(path.GetLength() + mostOfALink);
        usual.text = {reinterpret_cast<char16_t *>(large.begin()), large.GetLength(), 0};
    }
    TextBuffer & Get() { return usual.text; }

private:
    PathBuffer usual;
    Mu::UniString large;
};

// Sets it name by name where the path is longer than Location::Set accepts.
MuErrCode SetToPath(PathText path, Location * location) {
    PathText rest;
    if (path.size() > LongestPathText) {
        std::size_t const end = path.find_last_of(u"\\/", LongestPathText);
        if (end == PathText::npos)
            return Error;
        rest = path.substr(end + 1);
        path = path.substr(0, end);
    }
    MuErrCode status = location->Set(Mu::UniString(Mu::ConstSubstring(path)));
    while (status == NoError && !rest.empty()) {
        PathText const name = rest.substr(0, rest.find_first_of(u"\\/"));
        rest.remove_prefix(std::min(name.size() + 1, rest.size()));
        status = location->AppendToLocal(Name(name));
    }
    return status;
}

ConnectStatus ToStatus(PathType type) {
    return type == PathType::AccessDenied ? ConnectStatus::AccessDenied
           : IsFree(type)                 ? ConnectStatus::NotFound
                                          : ConnectStatus::Connected;
}

} // namespace

WinFileSystem::WinFileSystem() : fileEntries(*this), folderEntries(*this) {}

WinFileSystem::~WinFileSystem() = default;

// Replaces the path by the one that it finally leads to, and sets its type. True: it was a link.
bool WinFileSystem::Follow(Mu::UniString * path, PathType * type, unsigned int maxLinks) const {
    LinkTarget target(*path);
    PathLook look = LookAtPath(*path, restrictLinkExtensions, &target.Get());
    bool const isLink = look.link == LinkStatus::Done;
    for (unsigned int i = 0; look.link == LinkStatus::Done && i < maxLinks; ++i) {
        *path = Mu::ConstSubstring(target.Get().GetText());
        look = i + 1 < maxLinks ? LookAtPath(*path, restrictLinkExtensions, &target.Get())
                                : GetPathType(*path);
    }
    *type = look.type;
    return isLink;
}

// Replaces the location by the one that it leads to, and sets its path and type. A link in the last
// place is followed. An ordinary entry costs one query of the disk and one check of its names: an
// illegal location has no path.
WinFileSystem::ResolveStatus WinFileSystem::Resolve(Location * location, Mu::UniString * path,
                                                    PathType * type, unsigned int maxLinks) {
    if (location->GetStatus() != NoError || !GetPath(*location, path))
        return ResolveStatus::NoPath;
    if (!Follow(path, type, maxLinks))
        return ResolveStatus::Done;
    return IsDone(location->Set(*path)) ? ResolveStatus::Done : ResolveStatus::NoTarget;
}

ConnectStatus WinFileSystem::Look(Location * location, Mu::UniString * path, PathType * type) {
    if (location->GetStatus() != NoError)
        return ConnectStatus::Other;
    switch (Resolve(location, path, type, GetMaxLinks())) {
    case ResolveStatus::Done: return ToStatus(*type);
    case ResolveStatus::NoPath: return ConnectStatus::NotFound;
    default: return ConnectStatus::Other;
    }
}

ConnectStatus WinFileSystem::Connect(Location * location, FileEntry ** entry) {
    if (location->GetStatus() == NoError && location->IsRoot())
        return IsDone(location->CheckLegality()) ? ConnectStatus::NotAFile
                                                 : ConnectStatus::NotFound;
    Mu::UniString path;
    PathType type;
    ConnectStatus const status = Look(location, &path, &type);
    if (status != ConnectStatus::Connected)
        return status;
    if (type == PathType::Folder)
        return ConnectStatus::NotAFile;
    *entry = TakeFile(path);
    return ConnectStatus::Connected;
}

ConnectStatus WinFileSystem::Connect(Location * location, FolderEntry ** entry) {
    Mu::UniString path;
    PathType type;
    ConnectStatus const status = Look(location, &path, &type);
    if (status != ConnectStatus::Connected)
        return status;
    if (type == PathType::File)
        return ConnectStatus::NotAFolder;
    *entry = TakeFolder(path, location->GetLocalLength());
    return ConnectStatus::Connected;
}

ConnectStatus WinFileSystem::FollowTo(Mu::UniString * path, Location * location, PathType other,
                                      ConnectStatus refusal) const {
    PathType type;
    if (Follow(path, &type, GetMaxLinks()) && !IsDone(SetToPath(*path, location)))
        return ConnectStatus::Other;
    return type == other ? refusal : ToStatus(type);
}

ConnectStatus WinFileSystem::ConnectBeyond(Mu::UniString & path, Location * location,
                                           FileEntry ** entry) {
    ConnectStatus const status =
        FollowTo(&path, location, PathType::Folder, ConnectStatus::NotAFile);
    if (status != ConnectStatus::Connected)
        return status;
    *entry = TakeFile(path);
    return ConnectStatus::Connected;
}

ConnectStatus WinFileSystem::ConnectBeyond(Mu::UniString & path, Location * location,
                                           FolderEntry ** entry) {
    ConnectStatus const status =
        FollowTo(&path, location, PathType::File, ConnectStatus::NotAFolder);
    if (status != ConnectStatus::Connected)
        return status;
    *entry = TakeFolder(path, location->GetLocalLength());
    return ConnectStatus::Connected;
}

bool WinFileSystem::ResolveBeyond(Mu::UniString & path, Location * target, EntryType * type) const {
    PathType found;
    if (!Follow(&path, &found, 1) || (found != PathType::File && found != PathType::Folder))
        return false;
    LinkTarget further(path);
    bool const isLink =
        found == PathType::File &&
        LookAtPath(path, restrictLinkExtensions, &further.Get()).link == LinkStatus::Done;
    *type = isLink                      ? EntryType::Link
            : found == PathType::Folder ? EntryType::Folder
                                        : EntryType::File;
    return IsDone(SetToPath(path, target));
}

WinFileEntry * WinFileSystem::TakeFile(Mu::UniString & path) {
    Mu::LockGuard const guard(GetFileSystemLock());
    WinFileEntry * const file = fileEntries.Take();
    file->Set(path);
    return file;
}

WinFolderEntry * WinFileSystem::TakeFolder(Mu::UniString & path, unsigned int depth) {
    Mu::LockGuard const guard(GetFileSystemLock());
    WinFolderEntry * const folder = folderEntries.Take();
    folder->Set(path, depth);
    return folder;
}

void WinFileSystem::Disconnect(FolderEntry * entry) {
    folderEntries.Give(static_cast<WinFolderEntry *>(entry));
}

void WinFileSystem::Disconnect(FileEntry * entry) {
    fileEntries.Give(static_cast<WinFileEntry *>(entry));
}

bool WinFileSystem::IsOnLine(Location const & location) {
    Mu::UniString path; // none for an unhealthy or illegal location
    if (!location.IsLocal() || location.IsRoot() || !GetPath(location, &path))
        return true;
    Mu::UniString const root = GetRootPath(path);
    FileCalls & calls = GetFileCalls();
    unsigned int const type = calls.GetDriveType(root);
    if (type != DriveType::Removable && type != DriveType::CDRom)
        return true;
    ErrorModeMark const mark(calls);
    return calls.GetVolumeInformation(root) == FileError::None;
}

bool WinFileSystem::GetSpecialLocation(SpecLocId id, Location * location) {
    return FindSpecialLocation(id, location);
}

bool WinFileSystem::ResolveLocation(Location const & from, Location * to) {
    *to = from;
    Mu::UniString path;
    PathType type;
    return Resolve(to, &path, &type) == ResolveStatus::Done;
}

NativeFileSystem::MountPointsStatus WinFileSystem::EnumerateMountPoints(MountPointCallback callback,
                                                                        void * data) {
    if (!callback(localRoot, data))
        return MountPointsStatus::Stopped;
    MountPointCall call = {callback, data};
    return static_cast<MountPointsStatus>(EnumerateDrives(ReportDrive, &call));
}

bool WinFileSystem::IsSameName(Mu::UniString const & a, Mu::UniString const & b) {
    return GetFileCalls().IsSameName(a, b);
}

void WinFileSystem::SetOption(unsigned int id, unsigned int value) {
    if (id == LinkExtensionsOption)
        restrictLinkExtensions = value == 0;
}

} // namespace IO
