#pragma once

#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/FileSystem/Internal/PathType.h>

namespace IO {

// Operations on whole entries of the platform, files and folders with all that is in them. From the
// top of a tree on, each folder is held open and its entries are reached through it, without
// following links: replacing a folder by a link or another folder redirects nothing out of the
// tree.

/// Without `force`, a write-protected source is kept. From one drive to another it copies and
/// deletes: either the target is complete and the source deleted, or the target is deleted again.
FolderEntry::MoveStatus MovePath(PathText from, PathText to, bool force);

/// Within one volume, in one step; a file at `to` is replaced.
FolderEntry::MoveStatus ReplacePath(PathText from, PathText to);

/// `to` must not exist, nor lie below `from`, however the paths lead there. Nothing is left of an
/// aborted copy.
FolderEntry::CopyStatus CopyPath(PathText from, PathText to);

/// With `force`, write-protected files are deleted, too. One that cannot be keeps its protection.
FolderEntry::DeleteStatus DeletePath(PathText path, bool force);
/// The same for an entry of a folder that is held open.
FolderEntry::DeleteStatus DeleteHeld(EntryPath entry, bool force);
/// The same for the current entry of the search.
FolderEntry::DeleteStatus DeleteFound(FolderSearch const & search, bool force);

/// Whether files can be created in the folder and deleted, found out by doing so.
bool CanWriteInto(PathText folder);
bool CanWriteInto(FindHandle folder);

} // namespace IO
