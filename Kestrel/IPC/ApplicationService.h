#pragma once

#include <Kestrel/IPC/Service.h>
#include <Kestrel/Root/Export.h>

namespace IO::IPC {

/// Reports to a peer which applications have run on this machine, and starts programs for it.
///
/// Anyone who can connect to a server with this service can start any program of this machine with
/// any parameters, as the user of this process. Register it only with a server that is
/// SetLoopbackOnly, or where everyone who can reach the machine is allowed to do that.
///
/// A request is a Mu::String, followed by the parameters of the command:
///
/// | Command   | parameters                                        | response                      |
/// |-----------|---------------------------------------------------|-------------------------------|
/// | "GetList" |                                                   | the ApplicationList           |
/// | "This"    |                                                   | an ApplicationInfo            |
/// | "Launch"  | the program, Location; Mu::Array<Mu::UniString>   | the status, int               |
///
/// The response to any other request is empty.
///
/// Threads: the one that drives the pool.
class KESTREL_API ApplicationService final : public Service {
public:
    void SeparatorArrived(Connection & connection) override;
};

} // namespace IO::IPC
