#pragma once

#include <Kestrel/FileSystem/Platform/DriveTable.h>
#include <Kestrel/FileSystem/Platform/Posix/FolderNames.h>

namespace IO {

/// For a path that is too long for one call of the system: opens the folder of its last name in
/// steps, in the spellings that the folders have, so that the entry is that name there.
/// PathNotFound: one of the folders does not exist.
unsigned int ReachInSteps(DriveTable const & drives, PathText path, NativeEntry * entry);

} // namespace IO
