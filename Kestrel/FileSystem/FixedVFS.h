#pragma once

#include <Kestrel/FileSystem/VirtualFileSystem.h>

namespace IO {

/// A virtual file system that lives at one location and serves it and everything below.
///
/// Both operations are called under the lock of IO::fileSystem.
class KESTREL_API FixedVFS : public VirtualFileSystem {
public:
    virtual void Mounted(Location const & mountPoint) = 0;
    virtual void Unmounted() = 0;
};

} // namespace IO
