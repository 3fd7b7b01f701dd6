#include <Kestrel/IPC/Connection.h>

#include <Kestrel/Channel/PlatformProtocol.h>
#include <Kestrel/IPC/CommunicatorPool.h>
#include <Kestrel/IPC/Server.h>
#include <Kestrel/IPC/Service.h>
#include <Kestrel/Socket/SocketFunctions.h>

namespace IO::IPC {

Connection::Connection() : state(Idle), server(nullptr) {
    this->socket = ~0ull; // none
}

Connection::Connection(Server * server, unsigned long long socket)
    : state(WaitingForSign), server(server) {
    this->socket = socket;
    CommunicatorPool::Instance().Register(this);
    SetTakesMessages(true);
    try {
        ProcessRead(); // the first bytes may be there already
    } catch (Mu::OutOfMemoryException const &) {
        // They are not lost: the next pass continues here.
    }
}

Connection::~Connection() {
    if (Socket::InvalidSocket(socket))
        return;
    CommunicatorPool::Instance().UnRegister(this);
    if (server != nullptr)
        server->UnregisterConnection(this);
    Socket::Close(socket);
}

void Connection::ProcessError() {
    if (state != InService) {
        delete this;
        return;
    }
    isEnding = true;
    GiveUp();
    CommunicatorPool::Instance().UnRegister(this);
}

void Connection::GiveUp() {
    GetIChannel().GoToErrorState();
    GetOChannel().GoToErrorState(OutputClosed);
    CloseAfterFailure(socket);
}

void Connection::SetState(State next) {
    state = next;
    // A message that no service would take is no reason for another pass.
    SetTakesMessages(next == WaitingForSign || (next == Idle && service != nullptr));
}

void Connection::SeparatorArrived() {
    if (GetIChannel().GetInputStatus() != NoError)
        return; // lost: nothing of it can be read any more
    if (state == WaitingForSign)
        TakeSign();
    else if (state == Idle && !IsPeerBehind()) // a peer that does not read responses gets no more
        HandleMessage();
}

// The sign reads the same in both byte orders, so a peer that sends another one than ours gets ours
// as the platform form: this states that we read and write it, and the peer converts.
void Connection::TakeSign() {
    // Not under a guard: a first message without a sign waits for the bytes of the next one. It
    // does so from pass to pass, so that a peer that sends none blocks nothing.
    SocketIChannel & input = GetIChannel();
    unsigned short sign = 0;
    if (input.GetReadable() < sizeof(sign)) {
        SetTakesMessages(false);
        return;
    }
    static_cast<void>(input.Read(sign)); // a failure is in the channel's status
    if (sign != Mu::WindowsSign) {
        SetPlatformIProtocol(input, Mu::WindowsSign);
        SetPlatformOProtocol(GetOChannel(), Mu::WindowsSign);
    }
    static_cast<void>(input.EatSeparator()); // none if the sign came from the next message
    SetState(Idle);
}

void Connection::HandleMessage() {
    Life::Mark const mark(life);
    SocketIChannel & input = GetIChannel();
    // Back to Idle, however the service ends.
    struct Handling {
        Handling(Connection & connection, Life::Mark const & mark)
            : connection(connection), mark(mark) {
            connection.SetState(InService);
        }
        ~Handling() {
            if (mark.IsOver())
                return;
            if (connection.isEnding)
                delete &connection;
            else
                connection.SetState(Idle);
        }
        Connection & connection;
        Life::Mark const & mark;
    } const handling(*this, mark);
    input.EatLocations();
    if (mark.IsOver())
        return;
    if (service == nullptr) {
        long long const nearest = input.GetNearestSeparator();
        if (nearest > 0)
            static_cast<void>(input.Skip(static_cast<unsigned long long>(nearest), nullptr));
        return;
    }
    try {
        service->SeparatorArrived(*this);
    } catch (...) {
        // Its output may be half of a response, which the peer must not take for a whole one.
        if (!mark.IsOver())
            GiveUp();
        throw;
    }
    // A service that read past the end of a message has got its EOI; the next message is another
    // one.
    if (!mark.IsOver() && !isEnding)
        ForgetMessageEnd();
}

void Connection::ChangeService(Mu::UniString const & name, Service * now) {
    if (service == nullptr || serviceName != name)
        return;
    service = now;
    SetState(state);
}

void Connection::LocationArrived(Location const & location) {
    if (server == nullptr)
        return;
    Mu::UniString name = Service::Loc2Name(location);
    if (Service * const * const found = server->GetServiceMap().Find(name)) {
        service = *found;
        serviceName.Swap(name);
    }
}

} // namespace IO::IPC
