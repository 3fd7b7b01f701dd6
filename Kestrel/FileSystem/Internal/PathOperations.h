#pragma once

#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/FileSystem/Internal/PathType.h>

namespace IO {

// What is done to whole entries of the platform, files and folders with all that is in them. From
// the top of a tree on, each folder is held open and its entries are reached in it, links never
// followed: who puts a link or another folder in the place of one leads nothing out of the tree.

/// Without `force`, a write-protected source stays. From one drive to another it copies and
/// deletes: then either the target is whole and the source gone, or the target is taken away again.
FolderEntry::MoveStatus MovePath(PathText from, PathText to, bool force);

/// Inside one volume, in one step; a file at `to` is replaced.
FolderEntry::MoveStatus ReplacePath(PathText from, PathText to);

/// Nothing may stand at `to`, and it may not lie below `from`, however the paths lead there. Of a
/// copy that breaks off nothing stays.
FolderEntry::CopyStatus CopyPath(PathText from, PathText to);

/// With `force`, write-protected files go too. One that stays all the same keeps its protection.
FolderEntry::DeleteStatus DeletePath(PathText path, bool force);
/// The same for an entry of a folder that is held open.
FolderEntry::DeleteStatus DeleteHeld(EntryPath entry, bool force);
/// The same for the entry that the search has met.
FolderEntry::DeleteStatus DeleteFound(FolderSearch const & search, bool force);

/// Whether a file can be made in the folder and deleted, by doing it.
bool CanWriteInto(PathText folder);
bool CanWriteInto(FindHandle folder);

} // namespace IO
