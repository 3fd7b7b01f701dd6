#include <Kestrel/FileSystem/FileSystem.h>

#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/FileSystem/FixedVFS.h>
#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/FileSystem/Internal/Start.h>
#include <Kestrel/FileSystem/Internal/TableWalk.h>
#include <Kestrel/FileSystem/RollingVFS.h>
#include <Kestrel/Location/Internal/OSErrors.h>
#include <Kestrel/Root/Threads/Lock.h>
#include <Kestrel/Root/Threads/Thread.h>

#include <algorithm>

namespace IO {

// Hosts compiled without optimisation take the addresses.
constexpr unsigned int FileSystem::AccessDeniedWaitTime;

namespace {

using ConnectStatus = BaseFileSystem::ConnectStatus;

// The differences between connecting a file and a folder: the status of the native file system
// after which the virtual ones are tried, beside "not found", and the codes.
struct ConnectTable {
    ConnectStatus goesOn;
    MuErrCode codes[5]; // by ConnectStatus
};

constexpr ConnectTable fileTable = {
    ConnectStatus::NotAFile, {NoError, ErrFSNotAFile, Error, ErrFSAccessDenied, ErrFSFileNotFound}};

constexpr ConnectTable folderTable = {
    ConnectStatus::NotAFolder,
    {NoError, Error, ErrFSNotAFolder, ErrFSAccessDenied, ErrFSFolderNotFound}};

ConnectTable const & TableOf(FileEntry **) {
    return fileTable;
}
ConnectTable const & TableOf(FolderEntry **) {
    return folderTable;
}

MuErrCode ToCode(ConnectTable const & table, ConnectStatus status) {
    unsigned int const row = static_cast<unsigned int>(status);
    return row < std::size(table.codes) ? table.codes[row] : Error;
}

} // namespace

FileSystem::FileSystem() : accessDeniedRetryDuration(1000) {}

FileSystem::~FileSystem() = default;

template <typename Entry>
MuErrCode FileSystem::ConnectEntry(Location * location, Entry ** entry) {
    NativeFileSystem * const native = NativeFileSystem::Get();
    if (location == nullptr || entry == nullptr || native == nullptr)
        return Error;
    *entry = nullptr;
    ConnectTable const & table = TableOf(entry);
    Mu::LockGuard guard(GetFileSystemLock());
    ConnectStatus status = native->Connect(location, entry);
    if (status == ConnectStatus::NotFound || status == table.goesOn)
        if (VirtualFileSystem * const system = FindVFS(*location)) {
            ClearOSErrors(); // it need not be on the disk
            status = system->Connect(location, entry);
        }
    if (status != ConnectStatus::Connected)
        *entry = nullptr;
    return ToCode(table, status);
}

MuErrCode FileSystem::Connect(Location * location, FileEntry ** entry) {
    return ConnectEntry(location, entry);
}

MuErrCode FileSystem::Connect(Location * location, FolderEntry ** entry) {
    return ConnectEntry(location, entry);
}

template <typename Entry>
void FileSystem::DisconnectEntry(Entry * entry) {
    if (entry == nullptr || NativeFileSystem::Get() == nullptr)
        return;
    Mu::LockGuard guard(GetFileSystemLock());
    entry->GetOwnerFileSystem()->Disconnect(entry);
}

void FileSystem::Disconnect(FileEntry * entry) {
    DisconnectEntry(entry);
}

void FileSystem::Disconnect(FolderEntry * entry) {
    DisconnectEntry(entry);
}

VirtualFileSystem * FileSystem::FindVFS(Location const & location) const {
    VirtualFileSystem * const fixed = FindFixed(location);
    return fixed != nullptr ? fixed : FindRolling(location);
}

VirtualFileSystem * FileSystem::FindFixed(Location const & location) const {
    FixedMount const * deepest = nullptr;
    for (FixedMount const & mount : fixedMounts)
        if (mount.location == location || mount.location.IsAncestorOf(location))
            if (deepest == nullptr || deepest->location.IsAncestorOf(mount.location))
                deepest = &mount;
    return deepest != nullptr ? deepest->system : nullptr;
}

VirtualFileSystem * FileSystem::FindRolling(Location const & location) const {
    RollingVFS * found = nullptr;
    bool isClaimedTwice = false;
    WalkTable(rollingMounts, [&](RollingVFS * system) {
        if (!system->Serves(location))
            return true;
        // Kept: a location claimed by two systems belongs to neither, not to the one mounted first.
        isClaimedTwice = found != nullptr;
        found = system;
        return !isClaimedTwice;
    });
    // A system that was queried may have unmounted the one that claimed the location.
    bool const isMounted =
        std::find(rollingMounts.begin(), rollingMounts.end(), found) != rollingMounts.end();
    return isMounted && !isClaimedTwice ? found : nullptr;
}

void FileSystem::AddPrivateLocation(Location const & location) {
    if (Mu::IsNull(location))
        return;
    for (Location const & listed : privateLocations)
        if (listed == location)
            return;
    privateLocations.Push(location);
}

void FileSystem::DeletePrivateLocation(Location const & location) {
    for (unsigned int i = privateLocations.GetSize(); i-- > 0;)
        if (privateLocations[i] == location)
            privateLocations.Delete(i);
}

bool FileSystem::IsPrivateLocation(Location const & location) {
    for (Location const & listed : privateLocations)
        if (listed == location || listed.IsAncestorOf(location))
            return true;
    return false;
}

void FileSystem::InitAccessDeniedCounter(unsigned int * counter) {
    if (counter != nullptr)
        *counter = accessDeniedRetryDuration / AccessDeniedWaitTime;
}

FileSystem::AccessDeniedAction FileSystem::ProcessAccessDenied(Location const & location,
                                                               AccessDeniedTreatment treatment,
                                                               unsigned int * counter) {
    if (Mu::IsNull(location) || counter == nullptr || treatment == AccessDeniedTreatment::Fail ||
        *counter == 0)
        return AccessDeniedAction::GiveUp;
    --*counter;
    // Kept: RetryAlways makes all its attempts without waiting.
    if (treatment != AccessDeniedTreatment::RetryAlways) {
        if (!IsPrivateLocation(location))
            return AccessDeniedAction::GiveUp;
        Mu::Thread::Sleep(AccessDeniedWaitTime, true);
    }
    ClearOSErrors(); // one denial is reported once, by the last try
    return AccessDeniedAction::Retry;
}

void RestrictLinkExtensions() {
    if (NativeFileSystem * const native = NativeFileSystem::Get())
        native->SetOption(NativeFileSystem::LinkExtensionsOption, 0);
}

} // namespace IO
