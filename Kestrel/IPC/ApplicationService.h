#pragma once

#include <Kestrel/IPC/Service.h>
#include <Kestrel/Root/Export.h>

namespace IO::IPC {

/// Reports to a peer which applications have run on this machine, and starts programs for it.
///
/// Whoever can connect to a server with this service can start any program of this machine with any
/// parameters, under the user of this process. Register it only with a server that is
/// SetLoopbackOnly, or where everybody who reaches the machine may do that.
///
/// A request is a Mu::String, and what the command takes:
///
/// | Command   | takes                                             | is answered by                |
/// |-----------|---------------------------------------------------|-------------------------------|
/// | "GetList" |                                                   | the ApplicationList           |
/// | "This"    |                                                   | an ApplicationInfo            |
/// | "Launch"  | the program, Location; Mu::Array<Mu::UniString>   | the status, int               |
///
/// The answer to any other request is empty.
///
/// Threads: the one that drives the pool.
class KESTREL_API ApplicationService final : public Service {
public:
    void SeparatorArrived(Connection & connection) override;
};

} // namespace IO::IPC
