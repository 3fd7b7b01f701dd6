#pragma once

#include <Kestrel/Root/Export.h>

namespace IO {

class FileEntry;
class FolderEntry;
class Location;

/// Maps locations to entries.
///
/// An implementation of a file system derives from FixedVFS or RollingVFS, not from here.
///
/// Memory:  the file system owns the entries that Connect returns; each must be passed to
///          Disconnect before the file system is destroyed.
/// Threads: IO::fileSystem calls all four under its lock, one at a time.
/// Failure: statuses; with any but Connected the output is ignored.
class KESTREL_API BaseFileSystem {
public:
    enum class ConnectStatus : unsigned int {
        Connected = 0,
        NotAFile = 1,
        NotAFolder = 2,
        AccessDenied = 3,
        NotFound = 4,
        Other = 5
    };

    virtual ~BaseFileSystem() = default;

    /// The location may be replaced by that of a link's target.
    virtual ConnectStatus Connect(Location * location, FolderEntry ** entry) = 0;
    virtual ConnectStatus Connect(Location * location, FileEntry ** entry) = 0;
    virtual void Disconnect(FolderEntry * entry) = 0;
    virtual void Disconnect(FileEntry * entry) = 0;
};

} // namespace IO
