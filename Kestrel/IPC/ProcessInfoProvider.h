#pragma once

#include <Kestrel/IPC/ProcessInfo.h>
#include <Kestrel/IPC/ProcessInfoService.h>
#include <Kestrel/Root/Export.h>

namespace IO::IPC {

/// Which of the running processes are of interest, and which of them is this one.
///
/// Processes of interest are those whose program has one of the added names; by default the other
/// instances of this program. The list is a snapshot, which only Refresh renews.
///
/// Memory:  the list. Mu::OutOfMemoryException on shortage; the list is unchanged then.
/// Threads: the one that drives the pool; only one walk over the processes can run at a time.
/// Failure: none. If the system cannot be queried, the list is empty.
class KESTREL_API ProcessInfoProvider {
public:
    /// The first call queries the processes.
    static ProcessInfoProvider & Instance();
    ProcessInfoProvider(ProcessInfoProvider const &) = delete;
    ProcessInfoProvider & operator=(ProcessInfoProvider const &) = delete;

    /// This process: its entry in the list, or, if it is not in the list, the result of
    /// Process::GetActualProcess. Valid until the next Refresh.
    ProcessInfo const & This() const;
    /// The processes of interest as of the last Refresh. Valid until the next one.
    ProcessList const & GetList() const { return list; }
    /// The service, which is not registered with any server. Owned by this object.
    Service * GetService() { return &service; }

    /// Adds a program's name, with its extension or, for ".exe", without. Names are compared as on
    /// the platform; one without the extension in lower case. Takes effect at the next Refresh.
    void AddProcessName(Mu::UniString const & name) { names.Insert(name); }
    void RemoveProcessName(Mu::UniString const & name) { names.Delete(name); }
    Mu::HashSet<Mu::UniString> const & GetProcessNames() const { return names; }
    void Refresh();
    /// Writes the services file of this process; see ProcessInfo.
    void WriteServicesFile();
    /// The same for the pool and its servers, when a server or service comes or goes, even after
    /// the instance was destroyed. A process that cannot be found by name can still be connected
    /// to, so failures are ignored.
    static void RenewServicesFile() noexcept;

private:
    ProcessInfoProvider();
    ~ProcessInfoProvider();

    bool ProcessNameMatches(Process::Descriptor const & process) const;

    ProcessList list;
    ProcessInfo * thisProcess = nullptr; // in the list, or ownInformation; null before a Refresh
    ProcessInfo ownInformation;
    Mu::HashSet<Mu::UniString> names;
    ProcessInfoService service;
};

} // namespace IO::IPC
