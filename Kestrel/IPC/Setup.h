#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Export.h>

namespace IO::IPC {

/// Where the programs of this machine find one another: the folder of their services files, and the
/// ports that servers try.
///
///     Setup const & setup = Setup::Instance();
///     server.Start(setup.GetPortBegin(), setup.GetPortEnd());
///
/// A host that wants other values sets them before its first server starts, and alike in all
/// programs that are to find one another.
///
/// Memory:  one location.
/// Threads: the one that drives the pool.
/// Failure: none of its own. A folder that cannot be made shows when files cannot be opened in it.
class KESTREL_API Setup {
public:
    static constexpr unsigned int DefaultPortBegin = 65000;
    static constexpr unsigned int DefaultPortEnd = 65100;

    static Setup & Instance();
    Setup(Setup const &) = delete;
    Setup & operator=(Setup const &) = delete;

    // Kept: what is 0 when it is asked for brings both defaults, also over one that was set.
    unsigned int GetPortBegin() const;
    unsigned int GetPortEnd() const;
    void SetPortBegin(unsigned int port) { portBegin = port; }
    void SetPortEnd(unsigned int port) { portEnd = port; }

    /// "Brightmoor" and in it "IPC Data", in the user's home folder, unless another one was set. The
    /// first call makes them. Mu::OutOfMemoryException on shortage.
    Location GetDataFolderLocation() const;
    /// From now on that one, which must exist.
    void SetDataFolderLocation(Location const & folder);

private:
    Setup() = default;
    ~Setup() = default;

    void ObtainPortLimits() const;

    mutable unsigned int portBegin = 0; // 0: neither set nor obtained
    mutable unsigned int portEnd = 0;
    mutable Location dataFolder;
    mutable bool isDataFolderKnown = false;
};

} // namespace IO::IPC
