#pragma once

#include <Kestrel/IPC/ProcessInfo.h>
#include <Kestrel/IPC/ProcessInfoService.h>
#include <Kestrel/Root/Export.h>

namespace IO::IPC {

/// Which of the running processes are of interest, and which of them is this one.
///
/// Of interest are those whose program has one of the names that were added; at first the other
/// instances of this program. A list is a look at the system, which only Refresh renews.
///
/// Memory:  the list. Mu::OutOfMemoryException on shortage; the list is the earlier one then.
/// Threads: the one that drives the pool; there is one walk over the processes at a time.
/// Failure: none. A system that cannot be queried yields an empty list.
class KESTREL_API ProcessInfoProvider {
public:
    /// Queries the processes when it is first called.
    static ProcessInfoProvider & Instance();
    ProcessInfoProvider(ProcessInfoProvider const &) = delete;
    ProcessInfoProvider & operator=(ProcessInfoProvider const &) = delete;

    /// This process: as in the list, or, when it is not in there, as Process::GetActualProcess
    /// describes it. Valid until the next Refresh.
    ProcessInfo const & This() const;
    /// The processes of interest at the last Refresh, which ends the life of what is in it.
    ProcessList const & GetList() const { return list; }
    /// Not registered with any server. Ours.
    Service * GetService() { return &service; }

    /// A program's name, with its extension or, for ".exe", without. As the platform compares names,
    /// but one without the extension in lower case. Counts from the next Refresh on.
    void AddProcessName(Mu::UniString const & name) { names.Insert(name); }
    void RemoveProcessName(Mu::UniString const & name) { names.Delete(name); }
    Mu::HashSet<Mu::UniString> const & GetProcessNames() const { return names; }
    void Refresh();
    /// Writes the file of this process; see ProcessInfo.
    void WriteServicesFile();
    /// The same for the pool and its servers, whenever one or a service comes or goes, also when the
    /// one object is over. A process that cannot be found by name can still be connected to,
    /// so no failure counts.
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
