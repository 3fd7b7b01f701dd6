#pragma once

#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/FileSystem/Platform/FileCalls.h>

namespace IO {

// What is done to whole entries of the platform, files and folders with all that is in them.

/// Without `force`, a write-protected source stays. From one drive to another it copies and
/// deletes: then either the target is whole and the source gone, or the target is taken away again.
FolderEntry::MoveStatus MovePath(PathText from, PathText to, bool force);

/// Nothing may stand at `to`, and it may not lie below `from`. Of a copy that breaks off nothing
/// stays.
FolderEntry::CopyStatus CopyPath(PathText from, PathText to);

/// With `force`, write-protected files go too. One that stays all the same keeps its protection.
FolderEntry::DeleteStatus DeletePath(PathText path, bool force);

/// Whether a file can be made in the folder and deleted, by doing it.
bool CanWriteInto(PathText folder);

} // namespace IO
