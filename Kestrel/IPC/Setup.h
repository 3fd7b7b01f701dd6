#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Export.h>

namespace IO::IPC {

/// Where the programs of this machine find each other: the folder of their services files, and the
/// ports that servers try.
///
///     Setup const & setup = Setup::Instance();
///     server.Start(setup.GetPortBegin(), setup.GetPortEnd());
///
/// A host that needs other values sets them before its first server starts, and identically in all
/// programs that should find each other.
///
/// Memory:  one location.
/// Threads: the one that drives the pool.
/// Failure: none of its own. If the folder cannot be created, files cannot be opened in it.
class KESTREL_API Setup {
public:
    static constexpr unsigned int DefaultPortBegin = 65000;
    static constexpr unsigned int DefaultPortEnd = 65100;

    static Setup & Instance();
    Setup(Setup const &) = delete;
    Setup & operator=(Setup const &) = delete;

    // Kept: a value of 0 is replaced by both defaults when it is read, even if the other one was
    // set.
    unsigned int GetPortBegin() const;
    unsigned int GetPortEnd() const;
    void SetPortBegin(unsigned int port) { portBegin = port; }
    void SetPortEnd(unsigned int port) { portEnd = port; }

    /// The folder "Brightmoor", and in it "IPC Data", in the user's home folder, unless
    /// SetDataFolder was called. The first call creates them. Mu::OutOfMemoryException on shortage.
    Location GetDataFolderLocation() const;
    /// Replaces the folder; it must exist.
    void SetDataFolderLocation(Location const & folder);

private:
    Setup() = default;
    ~Setup() = default;

    void ObtainPortLimits() const;

    mutable unsigned int portBegin = 0; // 0: neither set nor determined
    mutable unsigned int portEnd = 0;
    mutable Location dataFolder;
    mutable bool isDataFolderKnown = false;
};

} // namespace IO::IPC
