#pragma once

#include <Kestrel/Root/Export.h>

// What a crash reporter should attach. The paths are copied, into places that need no memory, so
// that they can be read when nothing else works any more.
//
// Threads: any.

/// The paths of the log that is being written and of the one before it; null: there is none. A
/// path of 1024 bytes or more counts as none.
KESTREL_API void BugRep_SetLogFileLocations(char const * current, char const * previous);

/// Copies a path to `path`, which has room for `capacity` bytes, its end mark included. False:
/// there is none, or not enough room; the text is empty then.
KESTREL_API bool BugRep_GetCurrentLogFile(char * path, unsigned int capacity);
KESTREL_API bool BugRep_GetPreviousLogFile(char * path, unsigned int capacity);
