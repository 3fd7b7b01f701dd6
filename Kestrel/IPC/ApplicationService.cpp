#include <Kestrel/IPC/ApplicationService.h>

#include <Kestrel/IPC/ApplicationLauncher.h>
#include <Kestrel/IPC/Connection.h>

namespace IO::IPC {

namespace {

MuErrCode Launch(SocketIChannel & input) {
    Location program;
    Mu::Array<Mu::UniString> parameters;
    MuErrCode status = input.Read(program);
    if (status == NoError)
        status = parameters.Read(input);
    return status == NoError ? ApplicationLauncher::Instance().Launch(program, parameters) : status;
}

void Handle(SocketIChannel & input, SocketOChannel & output) {
    Mu::String command;
    if (input.Read(command) != NoError)
        return;
    ApplicationLauncher & launcher = ApplicationLauncher::Instance();
    if (command == "GetList")
        static_cast<void>(launcher.GetList().Write(output));
    else if (command == "This")
        static_cast<void>(launcher.This().Write(output));
    else if (command == "Launch")
        output.Write(static_cast<int>(Launch(input)));
}

} // namespace

void ApplicationService::SeparatorArrived(Connection & connection) {
    EndPoint::InputSeparatorGuard const guard(connection);
    Handle(connection.GetIChannel(), connection.GetOChannel());
    connection.GetOChannel().WriteSeparator();
}

} // namespace IO::IPC
