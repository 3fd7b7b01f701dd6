#pragma once

#include <Kestrel/IPC/ServerInfo.h>
#include <Kestrel/Process/Descriptor.h>
#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Containers/HashSet.h>
#include <Kestrel/Root/Containers/HashTable.h>
#include <Kestrel/Root/Export.h>

#include <optional>

namespace IO::IPC {

/// A process, and on demand the servers that it runs.
///
/// A process publishes its servers in a file in the data folder that is named after its number. The
/// file outlives a process that ends without stopping its servers. To distinguish it from that of
/// another program that has the same number now, a second file, with ".name" after the number,
/// stores the name of the program.
///
///     ProcessInfoProvider & provider = ProcessInfoProvider::Instance();
///     provider.AddProcessName("calculator");
///     provider.Refresh();
///     for (auto const & [name, processes] : provider.GetList())
///         for (ProcessInfo const & process : processes)
///             for (ServerInfo const & server : process.GetServerSet())
///                 ...
///
/// Memory:  its own. Mu::OutOfMemoryException on shortage.
/// Threads: the one that drives the pool.
/// Failure: statuses.
class KESTREL_API ProcessInfo : public Mu::Object {
public:
    using ServerSet = Mu::HashSet<ServerInfo>;

    static Mu::ClassInfo const & GetClassInfoStatic();
    Mu::ClassInfo const & GetClassInfo() const override;
    ProcessInfo * Clone() const override;
    ~ProcessInfo() override;
    MuErrCode Read(Mu::IChannel & channel) override;
    /// Writes the descriptor, whether the servers are known, and if so their set.
    MuErrCode Write(Mu::OChannel & channel) const override;

    /// Its servers are unknown.
    ProcessInfo();
    ProcessInfo(Process::Descriptor const & descriptor);
    ProcessInfo(ProcessInfo const & other);
    ProcessInfo & operator=(ProcessInfo const & other);

    Process::Descriptor const & GetDescriptor() const { return descriptor; }
    /// Whether the servers are known: read from the file, or received together with this object by
    /// Read.
    bool HasServerSet() const { return servers.has_value(); }
    /// The servers. Reads them from the file of the process unless they are known, and caches them;
    /// later changes appear in a new ProcessInfo. Also empty if they could not be read.
    ServerSet const & GetServerSet() const;
    /// Reads them again and returns the status, for callers that must distinguish a process without
    /// servers from one whose file cannot be read.
    // A process without a file has no servers: NoError. The file may be locked by its writer for a
    // moment; Error if it remains so, and if it cannot be looked up or read, or is damaged, with the
    // servers that were read before the damage.
    MuErrCode RefreshServerSet() { return ObtainServerSet(); }
    /// Writes the running servers of the calling process to the file with the number of this one,
    /// or deletes the file if none are running. Error: the file cannot be written.
    MuErrCode WriteServicesFile() const;

private:
    MuErrCode ObtainServerSet() const;
    Location GetInfoFileLoc(bool isLock) const;
    Location GetFileBeside(char const * ending) const;
    Name GetProgramName() const;
    MuErrCode ReadIsOfAnotherProgram(bool * isOther) const;
    MuErrCode WriteProgramName() const;

    Process::Descriptor descriptor;
    mutable std::optional<ServerSet> servers; // none: unknown
};

/// Processes by the name of their program; those with the same name are in the system's order.
using ProcessList = Mu::HashTable<Mu::UniString, Mu::Array<ProcessInfo>>;

} // namespace IO::IPC
