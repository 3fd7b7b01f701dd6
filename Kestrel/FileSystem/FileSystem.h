#pragma once

#include <Kestrel/FileSystem/BaseFileSystem.h>
#include <Kestrel/FileSystem/FileSystemTypes.h>
#include <Kestrel/FileSystem/NativeFileSystem.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/Name.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/WindowsNames.h>

namespace IO {

class FixedVFS;
class RollingVFS;
class VirtualFileSystem;

/// The entry point of all file access, available as IO::fileSystem.
///
/// Keeps the table of mounted file systems and selects the one for each location: first the disk,
/// then the deepest fixed mount, then the one rolling system that claims it. To work on one file or
/// folder use File and Folder; the operations here take whole locations, and each forwards to a
/// temporary Folder.
///
/// Memory:  none but the mount tables and the private locations. Owns no entries.
/// Memory:  only the mount tables and the private locations. Owns no entries.
///          held while an entry works. Private locations and the retry duration have no lock:
///          hosts set them up at start.
/// Failure: codes, each failure with its log line. Error for an argument that is null, unhealthy
///          or, where an entry must have a parent, a root. An interrupted thread leaves the wait
///          between two tries with Mu::InterruptedIOException: out of every operation that takes an
///          AccessDeniedTreatment, and out of Copy and Move between file systems.
class KESTREL_API FileSystem {
public:
    using EntryType = IO::EntryType;
    using DataSafety = IO::DataSafety;
    using SpecLocId = IO::SpecLocId;
    using MountPointCallback = NativeFileSystem::MountPointCallback;
    enum class AccessDeniedAction : unsigned int { GiveUp = 0, Retry = 1 };

    /// Milliseconds of one retry interval.
    static constexpr unsigned int AccessDeniedWaitTime = 100;

    static FileSystem & singleton;

    FileSystem(FileSystem const &) = delete;
    FileSystem & operator=(FileSystem const &) = delete;

    // Used by File and Folder. The location may be replaced by that of a link's target.
    [[nodiscard]] MuErrCode Connect(Location * location, FileEntry ** entry);
    [[nodiscard]] MuErrCode Connect(Location * location, FolderEntry ** entry);
    void Disconnect(FileEntry * entry);
    void Disconnect(FolderEntry * entry);

    MuErrCode CreateFile(Location const & location);
    MuErrCode CreateFolder(Location const & location);
    /// Creates the folders of `relative` that are missing below `base`, one in the other.
    MuErrCode CreateFolderTree(Location const & base, RelativeLocation const & relative);
    /// The same from the drive or share down.
    MuErrCode CreateFolderTree(Location const & location);
    MuErrCode Rename(Location const & location, Name const & to,
                     AccessDeniedTreatment treatment = AccessDeniedTreatment::RetryPrivate);
    [[nodiscard]] MuErrCode Move(Location const & source, Location const & target,
                                 DataSafety safety = DataSafety::KeepProtected);
    [[nodiscard]] MuErrCode Copy(Location const & source, Location const & target);
    MuErrCode Delete(Location const & location, DataSafety safety = DataSafety::KeepProtected,
                     AccessDeniedTreatment treatment = AccessDeniedTreatment::RetryPrivate);

    /// A root is a folder, and is contained, without access to the disk.
    MuErrCode GetType(Location const & location, EntryType * type);
    /// The type of the target for a link.
    MuErrCode GetResolvedType(Location const & location, EntryType * type);
    /// As GetResolvedType, but the native file system alone resolves the link.
    MuErrCode EstimateResolvedType(Location const & location, EntryType * type);
    MuErrCode Contains(Location const & location, bool * contained);

    // The files of a folder with all folders in it, and their bytes, links followed as documented
    // for TreeEnumerator. After a failure of the walk the count is that of what could be read.
    // Otherwise the status of connecting to the folder, and 0.
    MuErrCode CountFiles(Location const & location, unsigned int * count);
    MuErrCode CountSize(Location const & location, unsigned long long * size);

    bool IsOnLine(Location const & location);
    /// The target of a link, or the location itself if it is none. False, with a log line, for a
    /// location that has no path, and for a link whose target is no location.
    bool ResolveLocation(Location const & from, Location * to);
    bool ResolveLocation(Location * location);
    MuErrCode GetSpecialLocation(SpecLocId id, Location * location);

    MuErrCode Mount(FixedVFS & system, Location const & mountPoint);
    MuErrCode Mount(RollingVFS & system);
    MuErrCode Unmount(FixedVFS & system);
    MuErrCode Unmount(RollingVFS & system);
    bool IsMountPoint(Location const & location);
    /// The root of the computer, its drives, then the fixed mounts. A callback that returns false
    /// stops it, which is not a failure.
    MuErrCode EnumerateMountPoints(MountPointCallback callback, void * data);
    /// Only the fixed mounts.
    MuErrCode EnumerateVirtualMountPoints(MountPointCallback callback, void * data);

    // Places where the library is the only user, so that a denied access is worth a retry.
    void AddPrivateLocation(Location const & location);
    void DeletePrivateLocation(Location const & location);
    /// Also true below a private location.
    bool IsPrivateLocation(Location const & location);

    /// Milliseconds; less than one interval means no second try.
    void SetAccessDeniedRetryDuration(unsigned int duration) {
        accessDeniedRetryDuration = duration;
    }
    unsigned int GetAccessDeniedRetryDuration() const { return accessDeniedRetryDuration; }
    /// Sets the number of tries for an operation that is about to start.
    void InitAccessDeniedCounter(unsigned int * counter);
    /// Whether an operation that was denied is tried again. Waits for an interval first where the
    /// library is the only user; an interrupted thread leaves that wait with
    /// Mu::InterruptedIOException, and so all operations that take an AccessDeniedTreatment.
    AccessDeniedAction ProcessAccessDenied(Location const & location,
                                           AccessDeniedTreatment treatment, unsigned int * counter);

private:
    friend class FileSystemStart;
    struct FixedMount {
        FixedVFS * system;
        Location location;
    };

    FileSystem();
    ~FileSystem();

    template <typename Entry>
    MuErrCode ConnectEntry(Location * location, Entry ** entry);
    template <typename Entry>
    void DisconnectEntry(Entry * entry);
    VirtualFileSystem * FindVFS(Location const & location) const;
    VirtualFileSystem * FindFixed(Location const & location) const;
    VirtualFileSystem * FindRolling(Location const & location) const;

    // The position of a walk through one of the two tables, on the stack of the caller: the host's
    // callback runs in between, and may mount and unmount.
    struct TableWalk;
    template <typename Table, typename Visit>
    void WalkTable(Table const & table, Visit visit) const;
    void EnumerateFixed(MountPointCallback callback, void * data) const;
    template <typename Table>
    void DeleteRecord(Table & table, unsigned int index);

    Mu::Array<FixedMount> fixedMounts;      // in the order of mounting
    Mu::Array<RollingVFS *> rollingMounts;  // in the order of mounting
    mutable TableWalk * walks = nullptr;    // the innermost one under way; under the lock
    Mu::Array<Location> privateLocations;   // no two equal
    unsigned int accessDeniedRetryDuration; // milliseconds
};

/// The one FileSystem.
extern KESTREL_API FileSystem & fileSystem;

/// After this call only files with the extension "lnk" count as links, where links are files.
KESTREL_API void RestrictLinkExtensions();

} // namespace IO
