#pragma once

#include <Kestrel/IPC/Service.h>
#include <Kestrel/Root/Export.h>

namespace IO::IPC {

/// Reports to a peer what ProcessInfoProvider knows, and the connections of this process.
///
/// A request is a Mu::String, and what the command takes:
///
/// | Command         | takes                               | is answered by                         |
/// |-----------------|-------------------------------------|----------------------------------------|
/// | "GetList"       |                                     | a ProcessList, renewed for it          |
/// | "This"          |                                     | a ProcessInfo                          |
/// | "Communicators" |                                     | CommunicatorPool::WriteCommunicators   |
/// | "Inspect"       | the socket, unsigned int; one char: | the WriteDetails of the channels; both |
/// |                 | "i", "o", or "b" for both           | one behind the other for "b"           |
///
/// Any other request, and a socket that is no connection's, has an empty answer.
///
///     server.RegisterService(Location("Processes"), ProcessInfoProvider::Instance().GetService());
///
/// Threads: the one that drives the pool.
class KESTREL_API ProcessInfoService final : public Service {
public:
    void SeparatorArrived(Connection & connection) override;
};

} // namespace IO::IPC
