#include <Kestrel/IPC/ProcessInfoService.h>

#include <Kestrel/IPC/CommunicatorPool.h>
#include <Kestrel/IPC/Connection.h>
#include <Kestrel/IPC/ProcessInfoProvider.h>

namespace IO::IPC {

namespace {

void Inspect(SocketIChannel & input, SocketOChannel & output) {
    unsigned int socket = 0;
    char kind = 0;
    if (input.Read(socket) != NoError || input.Read(kind) != NoError)
        return;
    auto * const end =
        dynamic_cast<EndPoint *>(CommunicatorPool::Instance().GetCommunicator(socket));
    if (end == nullptr)
        return;
    MuErrCode status = NoError;
    if (kind == 'b' || kind == 'i')
        status = end->GetIChannel().WriteDetails(output);
    if (status == NoError && (kind == 'b' || kind == 'o'))
        static_cast<void>(end->GetOChannel().WriteDetails(output));
}

void Handle(SocketIChannel & input, SocketOChannel & output) {
    Mu::String command;
    if (input.Read(command) != NoError)
        return;
    ProcessInfoProvider & provider = ProcessInfoProvider::Instance();
    if (command == "GetList") {
        provider.Refresh();
        static_cast<void>(provider.GetList().Write(output));
    } else if (command == "This") {
        static_cast<void>(provider.This().Write(output));
    } else if (command == "Communicators") {
        static_cast<void>(CommunicatorPool::Instance().WriteCommunicators(output));
    } else if (command == "Inspect") {
        Inspect(input, output);
    }
}

} // namespace

void ProcessInfoService::SeparatorArrived(Connection & connection) {
    EndPoint::InputSeparatorGuard const guard(connection);
    Handle(connection.GetIChannel(), connection.GetOChannel());
    connection.GetOChannel().WriteSeparator();
}

} // namespace IO::IPC
