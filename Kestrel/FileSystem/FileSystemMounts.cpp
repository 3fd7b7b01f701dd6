#include <Kestrel/FileSystem/FileSystem.h>

#include <Kestrel/FileSystem/FixedVFS.h>
#include <Kestrel/FileSystem/Internal/Report.h>
#include <Kestrel/FileSystem/Internal/Start.h>
#include <Kestrel/FileSystem/Internal/TableWalk.h>
#include <Kestrel/FileSystem/RollingVFS.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Threads/Lock.h>

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

// The index of the record in the table, or the table's size.
template <typename Table, typename IsRecord>
unsigned int FindRecord(Table const & table, IsRecord isRecord) {
    return static_cast<unsigned int>(std::find_if(table.begin(), table.end(), isRecord) -
                                     table.begin());
}

} // namespace

void FileSystem::EnumerateFixed(MountPointCallback callback, void * data) const {
    Mu::LockGuard guard(GetFileSystemLock());
    WalkTable(fixedMounts,
              [&](FixedMount const & mount) { return callback(mount.location, data); });
}

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

namespace {

// Does not wait inside a call of the file system: the threads waited for may need its lock.
class UnmountGuard {
public:
    UnmountGuard() {
        GetFileSystemLock().Enter();
        isOutermost = GetFileSystemLock().IsHeldOnce();
    }
    ~UnmountGuard() {
        GetFileSystemLock().Leave();
        if (isOutermost)
            WaitBehindUnmount();
    }
    UnmountGuard(UnmountGuard const &) = delete;
    UnmountGuard & operator=(UnmountGuard const &) = delete;

private:
    bool isOutermost;
};

} // namespace

MuErrCode FileSystem::Unmount(FixedVFS & system) {
    static ReportLine notFound(Level::Error,
                               "Unmounting fixed virtual file system has failed: it was not found");
    static ReportLine unmounting(Level::Info, "Unmounting fixed virtual file system \"%\"");
    UnmountGuard const guard;
    auto const find = [&] {
        return FindRecord(fixedMounts,
                          [&](FixedMount const & mount) { return mount.system == &system; });
    };
    if (unsigned int const index = find(); index < fixedMounts.GetSize()) {
        Location const mountPoint(fixedMounts[index].location);
        Report(unmounting, {mountPoint});
    }
    // A listener of the log may have changed the table.
    unsigned int const index = find();
    if (index == fixedMounts.GetSize()) {
        Report(notFound, {});
        return ErrFSNotMounted;
    }
    DeleteRecord(fixedMounts, index);
    system.Unmounted();
    return NoError;
}

MuErrCode FileSystem::Unmount(RollingVFS & system) {
    static ReportLine notFound(
        Level::Error, "Unmounting rolling virtual file system has failed: it was not found");
    static ReportLine unmounting(Level::Info, "Unmounting rolling virtual file system");
    UnmountGuard const guard;
    auto const find = [&] {
        return FindRecord(rollingMounts, [&](RollingVFS * mounted) { return mounted == &system; });
    };
    if (find() < rollingMounts.GetSize())
        Report(unmounting, {});
    unsigned int const index = find();
    if (index == rollingMounts.GetSize()) {
        Report(notFound, {});
        return ErrFSNotMounted;
    }
    DeleteRecord(rollingMounts, index);
    return NoError;
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
        EnumerateFixed(callback, data);
    return ReportOutcome(outcomes, status, {});
}

MuErrCode FileSystem::EnumerateVirtualMountPoints(MountPointCallback callback, void * data) {
    if (callback == nullptr)
        return Error;
    EnumerateFixed(callback, data);
    return NoError;
}

} // namespace IO
