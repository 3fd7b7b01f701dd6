#pragma once

#include <Kestrel/Root/Export.h>

namespace IO {

class BaseFileSystem;
class Location;

/// What an entry of a virtual file system in memory is, beside a file or a folder.
///
/// Not used by itself: derive from VFSFileEntry or VFSFolderEntry.
///
/// Threads: as the file system that holds it.
class KESTREL_API VFSEntry {
public:
    virtual ~VFSEntry();
    /// Sets its location.
    virtual void SetContext(BaseFileSystem & fileSystem, Location const & location) = 0;
    /// Ends one connection to this very entry. The caller deletes one that is nobody's then.
    virtual void Disconnect() = 0;
    /// Whether this very entry is connected.
    virtual bool IsConnected() const = 0;
    /// The file system goes away: the entry stops working, though it may still be held.
    virtual void Invalidate() = 0;
    virtual void GetLocation(Location * location) const = 0;
};

} // namespace IO
