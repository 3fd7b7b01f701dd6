#pragma once

#include <Kestrel/FileSystem/FixedVFS.h>
#include <Kestrel/Location/Location.h>

namespace IO {

class MemoryFolderEntry;

/// A file system whose folders are in memory: the frame for entries of a host's own.
///
///     IO::MemoryVFS inside;
///     IO::fileSystem.Mount(inside, IO::Location("C:\\Inside"));
///     IO::Folder(IO::Location("C:\\Inside"))
///         .CreateFolder("Classes", IO::ReflectionFolderEntry::New(reflectable));
///
/// Its folders have no data of their own. CreateFolder without an entry makes one more of them;
/// CreateFile needs an entry. Nothing can be moved or copied into it, and there are no links.
///
/// Memory:  the folders, and the entries that were created in them.
/// Threads: any, under the lock of IO::fileSystem, which is not held while an enumeration calls back
///          and while a deleted entry's destructor runs.
/// Failure: statuses.
class KESTREL_API MemoryVFS : public FixedVFS {
public:
    MemoryVFS();
    /// After Unmount, with no File or Folder of it alive; what one still holds stays in memory.
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

    MemoryFolderEntry * root = nullptr; // null while not mounted
    Location mountPoint;
};

} // namespace IO
