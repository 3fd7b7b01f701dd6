#pragma once

#include <Kestrel/FileSystem/FSEntry.h>
#include <Kestrel/FileSystem/Internal/ErrorGroups.h>
#include <Kestrel/FileSystem/Platform/FileCalls.h>

namespace IO {

/// Which of the two times of an entry.
enum class TimeKind : unsigned char { Creation, Modification };

/// From seconds since the start of 1970 to 100 ns since the start of 1601.
unsigned long long ToFileTime(int seconds);

/// The way back. A file time of 0 is no time and gives 0. InvalidTime: the seconds need more than
/// 32 bits; `*seconds` is left alone.
FSEntry::TimeStatus FromFileTime(unsigned long long fileTime, int * seconds);

/// Reads the time of the entry at `path`. A null output gives Other.
FSEntry::TimeStatus ReadPathTime(PathText path, TimeKind kind, int * seconds);

/// Opens what stands at `path` for writing, alone, sets the one time and closes it again.
/// `flags` goes to CreateFile.
FSEntry::TimeStatus WritePathTime(PathText path, TimeKind kind, int seconds, unsigned int flags);

} // namespace IO
