#pragma once

#include <Kestrel/IPC/ApplicationList.h>
#include <Kestrel/IPC/ApplicationService.h>
#include <Kestrel/Root/Export.h>

namespace IO::IPC {

/// The applications of this machine, which this one adds itself to, and a way to start them.
///
///     ApplicationLauncher::SetThisApp("Calculator", 3);
///     for (auto const & [name, versions] : ApplicationLauncher::Instance().GetList())
///         ...
///
/// It does not show whether one of them is running; see ProcessInfoProvider for that.
///
/// Memory:  the list.
/// Threads: the one that drives the pool.
/// Failure: none from the file: entries that cannot be read are missing from the list.
class KESTREL_API ApplicationLauncher {
public:
    /// To be called before the first Instance; later it has no effect on the list.
    static void SetThisApp(Mu::String const & name, int version);
    /// The first call reads the list from its file, and writes it back if this application, with
    /// its version, was missing.
    // Kept: an application that has moved keeps its old entry; and one that could not read the file
    // replaces it, even if the failure was temporary.
    static ApplicationLauncher & Instance();
    ApplicationLauncher(ApplicationLauncher const &) = delete;
    ApplicationLauncher & operator=(ApplicationLauncher const &) = delete;

    ApplicationInfo const & This() const { return *thisApplication; }
    /// The entry of this application as of the first Instance.
    ApplicationList const & GetList() const { return list; }
    /// The service, which is not registered with any server; see its header for what it lets peers
    /// do. Owned by this object.
    Service * GetService() { return &service; }

    /// Starts the program, or opens the file with the user's program for its type, and does not
    /// wait for it. Error: it cannot be started. A location without a path returns its status.
    // Kept: the parameters are joined by single spaces without quotes, so one that contains spaces
    // arrives as several.
    MuErrCode Launch(Location const & program, Mu::Array<Mu::UniString> const & parameters);

private:
    ApplicationLauncher();
    ~ApplicationLauncher();

    ApplicationList list;
    ApplicationInfo * thisApplication; // in the list
    ApplicationService service;
};

} // namespace IO::IPC
