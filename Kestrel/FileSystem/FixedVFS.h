#pragma once

#include <Kestrel/FileSystem/VirtualFileSystem.h>

namespace IO {

/// A virtual file system that is mounted at one location and serves it and everything below.
///
/// Both operations are called under the lock of IO::fileSystem. Unmount then waits for inspectors
/// of the process that use a folder of it, so that it may be deleted: do not unmount while holding
/// a lock that its entries take.
class KESTREL_API FixedVFS : public VirtualFileSystem {
public:
    virtual void Mounted(Location const & mountPoint) = 0;
    virtual void Unmounted() = 0;
};

} // namespace IO
