#pragma once

#include <Kestrel/IPC/ApplicationList.h>
#include <Kestrel/IPC/ApplicationService.h>
#include <Kestrel/Root/Export.h>

namespace IO::IPC {

/// The applications of this machine, among which this one enters itself, and the way to start them.
///
///     ApplicationLauncher::SetThisApp("Calculator", 3);
///     for (auto const & [name, versions] : ApplicationLauncher::Instance().GetList())
///         ...
///
/// Whether one of them runs is another question: see ProcessInfoProvider.
///
/// Memory:  the list.
/// Threads: the one that drives the pool.
/// Failure: none from the file: what cannot be read is missing from the list.
class KESTREL_API ApplicationLauncher {
public:
    /// Before the first Instance; later it changes nothing in the list.
    static void SetThisApp(Mu::String const & name, int version);
    /// The first call reads the list from its file, and writes it back when this application, with
    /// its version, was not in it.
    // Kept: an application that has moved stays in the list where it was; and one that could not read
    // the file replaces it, even if that was so for a moment only.
    static ApplicationLauncher & Instance();
    ApplicationLauncher(ApplicationLauncher const &) = delete;
    ApplicationLauncher & operator=(ApplicationLauncher const &) = delete;

    ApplicationInfo const & This() const { return *thisApplication; }
    /// As it was at the first Instance.
    ApplicationList const & GetList() const { return list; }
    /// Not registered with any server; see its header for what it lets peers do. Ours.
    Service * GetService() { return &service; }

    /// Starts the program, or opens the file with what the user has for its kind, and does not wait
    /// for it. Error: it cannot be started. The status of a location that has no path.
    // Kept: the parameters are joined with a blank between two and nothing round one, so that one
    // with blanks arrives as several.
    MuErrCode Launch(Location const & program, Mu::Array<Mu::UniString> const & parameters);

private:
    ApplicationLauncher();
    ~ApplicationLauncher();

    ApplicationList list;
    ApplicationInfo * thisApplication; // in the list
    ApplicationService service;
};

} // namespace IO::IPC
