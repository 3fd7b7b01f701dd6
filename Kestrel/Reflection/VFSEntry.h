#pragma once

#include <Kestrel/Root/Export.h>

namespace IO {

class BaseFileSystem;
class Location;

/// What all entries of a virtual file system in memory have in common.
///
/// Do not derive from it directly; use VFSFileEntry or VFSFolderEntry.
///
/// Threads: as for the file system that contains it.
class KESTREL_API VFSEntry {
public:
    virtual ~VFSEntry();
    /// Sets its location.
    virtual void SetContext(BaseFileSystem & fileSystem, Location const & location) = 0;
    /// Ends one connection to this entry itself. The caller deletes an entry that nobody owns then.
    virtual void Disconnect() = 0;
    /// Whether this entry itself is connected.
    virtual bool IsConnected() const = 0;
    /// The file system is being destroyed: the entry stops working, but may still be held.
    virtual void Invalidate() = 0;
    virtual void GetLocation(Location * location) const = 0;
};

} // namespace IO
