#pragma once

#include <Kestrel/FileSystem/FSEntry.h>
#include <Kestrel/FileSystem/FileSystemTypes.h>
#include <Kestrel/FileSystem/Internal/ErrorGroups.h>
#include <Kestrel/FileSystem/Platform/FileCalls.h>

namespace IO {

/// From seconds since 1970 to 100 ns since 1601. The time must be representable.
unsigned long long ToFileTime(long long seconds);

/// The reverse. A file time of 0 means none and returns 0. InvalidTime: more than 63 bits are
/// needed; `*seconds` is unchanged.
FSEntry::TimeStatus FromFileTime(unsigned long long fileTime, long long * seconds);
/// Also InvalidTime when the seconds need more than 32 bits.
FSEntry::TimeStatus FromFileTime(unsigned long long fileTime, int * seconds);

/// Reads the time of the entry at `path`. Other for a null output.
template <typename Seconds> // int or long long
FSEntry::TimeStatus ReadPathTime(PathText path, TimeKind kind, Seconds * seconds);

/// Opens the entry at `path` exclusively for writing, sets the one time and closes it. `flags` are
/// passed to CreateFile. InvalidTime also: before 1601, beyond 63 bits of a file time, or what the
/// disk cannot hold; the entry's own time is restored then.
FSEntry::TimeStatus WritePathTime(PathText path, TimeKind kind, long long seconds,
                                  unsigned int flags);

/// The time of an entry in 64 bits where its class has them, else in those of its file system.
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
