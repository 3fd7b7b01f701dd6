#pragma once

#include <Kestrel/IPC/ApplicationInfo.h>
#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Containers/HashTable.h>
#include <Kestrel/Root/Export.h>

namespace IO::IPC {

/// The applications of this machine by name, each with all known versions, and the file that stores
/// them for all programs.
///
/// The file is "IPC.11.dat" in the data folder of Setup. Only one program can have it open at a
/// time, but reading and then writing it is not one step: if two applications add themselves at the
/// same time, one of the entries may be lost.
///
/// Memory:  its entries. Mu::OutOfMemoryException on shortage, but ErrMemoryFull from Read.
/// Threads: one at a time.
/// Failure: statuses. After a failed Read the list contains the entries that were read.
class KESTREL_API ApplicationList : public Mu::HashTable<Mu::String, Mu::Array<ApplicationInfo>> {
public:
    using HashTable::Read;
    using HashTable::Write;

    /// Replaces the list with the content of the file. Returns the status of opening the file, such
    /// as ErrFileNotFound, or of reading it.
    MuErrCode Read();
    /// Replaces the content of the file.
    MuErrCode Write();

private:
    static Location DatFileLocation();
};

} // namespace IO::IPC
