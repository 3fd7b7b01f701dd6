#pragma once

#include <Kestrel/IPC/Service.h>
#include <Kestrel/Root/Export.h>

namespace IO::IPC {

/// Reports to a peer the data of ProcessInfoProvider, and the connections of this process.
///
/// A request is a Mu::String, followed by the parameters of the command:
///
/// | Command         | parameters                          | response                               |
/// |-----------------|-------------------------------------|----------------------------------------|
/// | "GetList"       |                                     | a ProcessList, renewed for it          |
/// | "This"          |                                     | a ProcessInfo                          |
/// | "Communicators" |                                     | CommunicatorPool::WriteCommunicators   |
/// | "Inspect"       | the socket, unsigned int; one char: | the WriteDetails of the channels; for  |
/// |                 | "i", "o", or "b" for both           | "b" the input's, then the output's     |
///
/// The response to any other request, and for a socket that is not a connection's, is empty.
///
///     server.RegisterService(Location("Processes"), ProcessInfoProvider::Instance().GetService());
///
/// Threads: the one that drives the pool.
class KESTREL_API ProcessInfoService final : public Service {
public:
    void SeparatorArrived(Connection & connection) override;
};

} // namespace IO::IPC
