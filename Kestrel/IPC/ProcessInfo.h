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
/// A process says what servers it runs in a file in the data folder, named by its number. The file
/// outlives a process that ends without stopping them. So that it is not taken for that of a program
/// of another name which has the number since, the name of the program stands in a file beside it,
/// with ".name" behind the number.
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
    /// The descriptor, whether the servers are known, and if so their set.
    MuErrCode Write(Mu::OChannel & channel) const override;

    /// Its servers are not known yet.
    ProcessInfo();
    ProcessInfo(Process::Descriptor const & descriptor);
    ProcessInfo(ProcessInfo const & other);
    ProcessInfo & operator=(ProcessInfo const & other);

    Process::Descriptor const & GetDescriptor() const { return descriptor; }
    /// Whether the servers are known: read from the file, or come along with what Read got.
    bool HasServerSet() const { return servers.has_value(); }
    /// The servers. Reads them from the file of the process when they are not known, and keeps them:
    /// what changes later shows in another ProcessInfo. Empty also when they could not be read.
    ServerSet const & GetServerSet() const;
    /// The status of the reading, for callers that must distinguish a process without servers from
    /// one whose file cannot be read. Replaces what was known.
    // A process without the file has no servers: NoError. The file may be held by its writer for a
    // moment; Error when it stays so, and when it cannot be read or is damaged, with the servers
    // that were read before the damage.
    MuErrCode RefreshServerSet() { return ObtainServerSet(); }
    /// Writes the running servers of the process that calls this to the file of this one's number, or
    /// deletes it when none run. Error: the file cannot be written.
    MuErrCode WriteServicesFile() const;

private:
    MuErrCode ObtainServerSet() const;
    Location GetInfoFileLoc(bool isLock) const;
    Location GetFileBeside(char const * ending) const;
    Name GetProgramName() const;
    MuErrCode ReadIsOfAnotherProgram(bool * isOther) const;
    MuErrCode WriteProgramName() const;

    Process::Descriptor descriptor;
    mutable std::optional<ServerSet> servers; // none: not known
};

/// Processes by the name of their program; those of one name in the order of the system.
using ProcessList = Mu::HashTable<Mu::UniString, Mu::Array<ProcessInfo>>;

} // namespace IO::IPC
