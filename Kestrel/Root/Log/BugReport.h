#pragma once

#include <Kestrel/Root/Export.h>

// What a crash reporter should attach. The paths are copied to static memory, so that they can be
// read when nothing else works any more.
//
// Threads: any.

/// The paths of the current log file and of the one before it; null: there is none. A path of 1024
/// bytes or more is ignored.
KESTREL_API void BugRep_SetLogFileLocations(char const * current, char const * previous);

/// Copies a path to `path`, which has space for `capacity` bytes, including the terminator. False:
/// there is none, or not enough space; the text is empty then.
KESTREL_API bool BugRep_GetCurrentLogFile(char * path, unsigned int capacity);
KESTREL_API bool BugRep_GetPreviousLogFile(char * path, unsigned int capacity);
