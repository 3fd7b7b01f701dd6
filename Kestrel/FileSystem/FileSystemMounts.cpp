#include <Kestrel/FileSystem/FileSystem.h>

#include <Kestrel/FileSystem/FixedVFS.h>
#include <Kestrel/FileSystem/Internal/Report.h>
#include <Kestrel/FileSystem/Internal/Start.h>
#include <Kestrel/FileSystem/RollingVFS.h>
#include <Kestrel/Root/Exceptions.h>
#include <Kestrel/Root/Lock.h>

#include <algorithm>

namespace IO {

namespace {

using Level = ReportLine::Level;

constexpr unsigned int FirstCapacity = 100;

// Appends to a table that grows from 100 records by doubling.
template <typename Table, typename Record>
MuErrCode AppendRecord(Table & table, Record const & record) {
    try {
        if (table.GetSize() == table.GetCapacity())
            table.SetCapacity(std::max(FirstCapacity, 2 * table.GetSize()));
        table.Push(record);
        return NoError;
    } catch (Mu::OutOfMemoryException const &) {
        return ErrMemoryFull;
    } catch (Mu::MuException const &) {
        return Error;
    }
}

// The rows of the two tables below; the last one is for fixed systems only.
enum MountRow : unsigned int { Mounted, AlreadyMounted, MemoryFull, Unknown, PointExists };

MountRow ToRow(MuErrCode appended) {
    if (appended == NoError)
        return Mounted;
    return appended == ErrMemoryFull ? MemoryFull : Unknown;
}

MuErrCode ReportFixed(MountRow row, Location const & mountPoint) {
    static Outcome outcomes[] = {
        {NoError, {Level::Info, "Mounting fixed virtual file system at mount point \"%\""}},
        {ErrFSAlreadyMounted,
         {Level::Error, "Mounting fixed virtual file system at mount point \"%\" has failed: it is "
                        "already mounted (OS errors: %)"}},
        {ErrMemoryFull,
         {Level::Error, "Mounting fixed virtual file system at mount point \"%\" has failed: "
                        "memory is full (OS errors: %)"}},
        {Error,
         {Level::Error, "Mounting fixed virtual file system at mount point \"%\" has failed: "
                        "unknown error (OS errors: %)"}},
        {ErrFSMountPointExists,
         {Level::Error, "Mounting fixed virtual file system at mount point \"%\" has failed: mount "
                        "point already exists (OS errors: %)"}},
    };
    return ReportOutcome(outcomes, row, {mountPoint});
}

MuErrCode ReportRolling(MountRow row) {
    static Outcome outcomes[] = {
        {NoError, {Level::Info, "Mounting rolling virtual file system"}},
        {ErrFSAlreadyMounted,
         {Level::Error, "Mounting rolling virtual file system has failed: it is already mounted "
                        "(OS errors: %)"}},
        {ErrMemoryFull,
         {Level::Error, "Mounting rolling virtual file system has failed: memory is full "
                        "(OS errors: %)"}},
        {Error,
         {Level::Error, "Mounting rolling virtual file system has failed: unknown error "
                        "(OS errors: %)"}},
    };
    return ReportOutcome(outcomes, row, {});
}

// Walks the table while a callback may change it.
template <typename Table>
void EnumerateFixed(Table const & mounts, FileSystem::MountPointCallback callback, void * data) {
    Mu::LockGuard guard(GetFileSystemLock());
    for (unsigned int i = 0; i < mounts.GetSize(); ++i) {
        Location const mountPoint(mounts[i].location);
        if (!callback(mountPoint, data))
            return;
    }
}

} // namespace

MuErrCode FileSystem::Mount(FixedVFS & system, Location const & mountPoint) {
    if (Mu::IsNull(system) || Mu::IsNull(mountPoint) || mountPoint.GetStatus() != NoError)
        return Error;
    Mu::LockGuard guard(GetFileSystemLock());
    for (FixedMount const & mount : fixedMounts)
        if (mount.system == &system)
            return ReportFixed(AlreadyMounted, mountPoint);
    if (IsMountPoint(mountPoint))
        return ReportFixed(PointExists, mountPoint);
    MuErrCode const appended = AppendRecord(fixedMounts, FixedMount{&system, mountPoint});
    if (appended == NoError)
        system.Mounted(mountPoint);
    return ReportFixed(ToRow(appended), mountPoint);
}

MuErrCode FileSystem::Mount(RollingVFS & system) {
    if (Mu::IsNull(system))
        return Error;
    Mu::LockGuard guard(GetFileSystemLock());
    if (std::find(rollingMounts.begin(), rollingMounts.end(), &system) != rollingMounts.end())
        return ReportRolling(AlreadyMounted);
    return ReportRolling(ToRow(AppendRecord(rollingMounts, &system)));
}

MuErrCode FileSystem::Unmount(FixedVFS & system) {
    static ReportLine notFound(Level::Error,
                               "Unmounting fixed virtual file system has failed: it was not found");
    static ReportLine unmounting(Level::Info, "Unmounting fixed virtual file system \"%\"");
    Mu::LockGuard guard(GetFileSystemLock());
    for (unsigned int i = 0; i < fixedMounts.GetSize(); ++i) {
        if (fixedMounts[i].system != &system)
            continue;
        Report(unmounting, {fixedMounts[i].location});
        fixedMounts.Delete(i);
        system.Unmounted();
        return NoError;
    }
    Report(notFound, {});
    return ErrFSNotMounted;
}

MuErrCode FileSystem::Unmount(RollingVFS & system) {
    static ReportLine notFound(
        Level::Error, "Unmounting rolling virtual file system has failed: it was not found");
    static ReportLine unmounting(Level::Info, "Unmounting rolling virtual file system");
    Mu::LockGuard guard(GetFileSystemLock());
    for (unsigned int i = 0; i < rollingMounts.GetSize(); ++i) {
        if (rollingMounts[i] != &system)
            continue;
        Report(unmounting, {});
        rollingMounts.Delete(i);
        return NoError;
    }
    Report(notFound, {});
    return ErrFSNotMounted;
}

bool FileSystem::IsMountPoint(Location const & location) {
    Mu::LockGuard guard(GetFileSystemLock());
    return std::any_of(fixedMounts.begin(), fixedMounts.end(),
                       [&](FixedMount const & mount) { return mount.location == location; });
}

MuErrCode FileSystem::EnumerateMountPoints(MountPointCallback callback, void * data) {
    using Status = NativeFileSystem::MountPointsStatus;
    static Outcome outcomes[] = {
        {NoError, {Level::Trace, "Enumerating mount points"}},
        {NoError, {Level::Trace, "Enumerating mount points (succeeded with break)"}},
        {Error, {Level::Error, "Enumerating mount points: unknown error (OS errors: %)"}},
        {Error, {Level::Error, "Enumerating mount points: internal error (OS errors: %)"}},
    };
    NativeFileSystem * const native = NativeFileSystem::Get();
    if (callback == nullptr || native == nullptr)
        return Error;
    Status const status = native->EnumerateMountPoints(callback, data);
    if (status == Status::Finished)
        EnumerateFixed(fixedMounts, callback, data);
    return ReportOutcome(outcomes, status, {});
}

MuErrCode FileSystem::EnumerateVirtualMountPoints(MountPointCallback callback, void * data) {
    if (callback == nullptr)
        return Error;
    EnumerateFixed(fixedMounts, callback, data);
    return NoError;
}

} // namespace IO
