#pragma once

#include <Kestrel/FileSystem/VirtualFileSystem.h>

namespace IO {

/// A virtual file system without a location of its own, which claims locations by its own rules,
/// such as everything inside files of one type.
class KESTREL_API RollingVFS : public VirtualFileSystem {
public:
    /// Called under the lock of IO::fileSystem, for locations that neither the disk nor a fixed
    /// system serves. A location that two rolling systems claim belongs to neither.
    virtual bool Serves(Location const & location) = 0;
};

} // namespace IO
