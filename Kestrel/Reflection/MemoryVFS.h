#pragma once

#include <Kestrel/FileSystem/FixedVFS.h>
#include <Kestrel/Location/Location.h>

namespace IO {

class MemoryFolderEntry;

/// A file system whose folders are in memory, and which hosts add their own entries to.
///
///     IO::MemoryVFS inside;
///     IO::fileSystem.Mount(inside, IO::Location("C:\\Inside"));
///     IO::Folder(IO::Location("C:\\Inside"))
///         .CreateFolder("Classes", IO::ReflectionFolderEntry::New(reflectable));
///
/// Its folders store no data. CreateFolder without an entry creates another such folder; CreateFile
/// needs an entry. Nothing can be moved or copied into it, and there are no links.
///
/// Memory:  the folders, and the entries that were created in them.
/// Threads: any, under the lock of IO::fileSystem, which is released while an enumeration calls
///          back and while the destructor of a deleted entry runs.
/// Failure: statuses.
class KESTREL_API MemoryVFS : public FixedVFS {
public:
    MemoryVFS();
    /// To be called after Unmount, when no File or Folder uses it; an entry still in use is leaked.
    ~MemoryVFS() override;
    MemoryVFS(MemoryVFS const &) = delete;
    MemoryVFS & operator=(MemoryVFS const &) = delete;

    ConnectStatus Connect(Location * location, FolderEntry ** entry) override;
    ConnectStatus Connect(Location * location, FileEntry ** entry) override;
    void Disconnect(FolderEntry * entry) override;
    void Disconnect(FileEntry * entry) override;
    void Mounted(Location const & mountPoint) override;
    void Unmounted() override;

private:
    template <typename VFSKind, typename Kind>
    void Return(Kind * entry);

    MemoryFolderEntry * root = nullptr; // null while it is not mounted
    Location mountPoint;
};

} // namespace IO
