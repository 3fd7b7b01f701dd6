#pragma once

#include <Kestrel/FileSystem/FSEntry.h>
#include <Kestrel/FileSystem/FileSystemTypes.h>
#include <Kestrel/FileSystem/Internal/ErrorGroups.h>
#include <Kestrel/FileSystem/Platform/FileCalls.h>

namespace IO {

/// From seconds since the start of 1970 to 100 ns since the start of 1601. They must be there.
unsigned long long ToFileTime(long long seconds);

/// The way back. A file time of 0 is no time and gives 0. InvalidTime: it needs more than 63 bits;
/// `*seconds` is left alone.
FSEntry::TimeStatus FromFileTime(unsigned long long fileTime, long long * seconds);
/// InvalidTime also: the seconds need more than 32 bits.
FSEntry::TimeStatus FromFileTime(unsigned long long fileTime, int * seconds);

/// Reads the time of the entry at `path`. A null output gives Other.
template <typename Seconds> // int or long long
FSEntry::TimeStatus ReadPathTime(PathText path, TimeKind kind, Seconds * seconds);

/// Opens what stands at `path` for writing, alone, sets the one time and closes it again.
/// `flags` goes to CreateFile. InvalidTime also: before 1601, beyond 63 bits of a file time, or what the
/// disk cannot hold; the entry then has its own time again.
FSEntry::TimeStatus WritePathTime(PathText path, TimeKind kind, long long seconds,
                                  unsigned int flags);

/// An entry's time in 64 bits where its class has that, else as its file system counts.
template <typename Own, typename Entry>
FSEntry::TimeStatus ReadEntryTime(Entry & entry, TimeKind kind, long long * seconds) {
    if (auto * const own = dynamic_cast<Own *>(&entry))
        return own->GetTime(kind, seconds);
    int narrow = 0;
    FSEntry::TimeStatus const status = kind == TimeKind::Creation
                                           ? entry.GetCreationTime(&narrow)
                                           : entry.GetModificationTime(&narrow);
    if (status == FSEntry::TimeStatus::Done)
        *seconds = narrow;
    return status;
}
template <typename Own, typename Entry>
FSEntry::TimeStatus WriteEntryTime(Entry & entry, TimeKind kind, long long seconds) {
    if (auto * const own = dynamic_cast<Own *>(&entry))
        return own->SetTime(kind, seconds);
    int const narrow = static_cast<int>(seconds);
    if (narrow != seconds)
        return FSEntry::TimeStatus::InvalidTime;
    return kind == TimeKind::Creation ? entry.SetCreationTime(narrow)
                                      : entry.SetModificationTime(narrow);
}

} // namespace IO
