#pragma once

#include <Kestrel/IPC/ApplicationInfo.h>
#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Containers/HashTable.h>
#include <Kestrel/Root/Export.h>

namespace IO::IPC {

/// The applications of this machine by name, each name with all known versions; and the file that
/// holds them for all programs.
///
/// The file is "IPC.11.dat" in the data folder of Setup. It is open for one program alone while it
/// is read or written, and nothing orders a reading and the writing that follows: of two applications
/// that enter themselves at the same time, one may be lost.
///
/// Memory:  its entries. Mu::OutOfMemoryException on shortage, but ErrMemoryFull from Read.
/// Threads: one at a time.
/// Failure: statuses. After one of reading the list holds what was read.
class KESTREL_API ApplicationList : public Mu::HashTable<Mu::String, Mu::Array<ApplicationInfo>> {
public:
    using HashTable::Read;
    using HashTable::Write;

    /// Replaces the list by that of the file. The status of the opening, such as ErrFileNotFound, or
    /// of the reading.
    MuErrCode Read();
    /// Replaces the file.
    MuErrCode Write();

private:
    static Location DatFileLocation();
};

} // namespace IO::IPC
