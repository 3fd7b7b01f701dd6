#pragma once

#include <Kestrel/FileSystem/BaseFileSystem.h>

namespace IO {

/// A file system implemented by the host, accessed through File and Folder like a disk.
///
/// The disk comes first: a location that exists there never reaches a virtual file system. All
/// Files and Folders of one must be destroyed before it is unmounted.
class KESTREL_API VirtualFileSystem : public BaseFileSystem {};

} // namespace IO
