// The pool inside an event loop that is not the library's: poll waits for the sockets of the pool
// together with whatever else the program waits for. An epoll or the loop of a window system takes
// the same list.

#include <Kestrel/Kestrel.h>

#include <iostream>
#include <vector>

#if defined(_WIN32)
#include <winsock2.h>
#else
#include <poll.h>
#endif

namespace {

using namespace IO::IPC;

#if defined(_WIN32)
using PollEntry = WSAPOLLFD;
int Poll(std::vector<PollEntry> & entries, int milliseconds) {
    return WSAPoll(entries.data(), static_cast<ULONG>(entries.size()), milliseconds);
}
#else
using PollEntry = pollfd;
int Poll(std::vector<PollEntry> & entries, int milliseconds) {
    return poll(entries.data(), entries.size(), milliseconds);
}
#endif

/// Waits until a pass would find something to do, at most so long.
void WaitForPool(int milliseconds) {
    Mu::Array<SocketInterest> sockets;
    if (CommunicatorPool::Instance().ListSockets(sockets))
        return; // it has work already
    std::vector<PollEntry> entries;
    for (SocketInterest const & socket : sockets) {
        PollEntry entry{};
        entry.fd = static_cast<decltype(entry.fd)>(socket.socket);
        entry.events =
            static_cast<short>((socket.read ? POLLIN : 0) | (socket.write ? POLLOUT : 0));
        entries.push_back(entry);
    }
    // A program of this kind adds its own descriptors here.
    Poll(entries, milliseconds);
}

/// Counts how often it was asked.
class Counter final : public Service {
public:
    void SeparatorArrived(Connection & connection) override {
        EndPoint::InputSeparatorGuard const guard(connection);
        connection.GetOChannel().Write(++count);
        connection.GetOChannel().WriteSeparator();
    }

private:
    int count = 0;
};

/// Asks again whenever it has an answer.
class Asker final : public Client {
public:
    bool IsOver() const { return last == 5 || GetConnectState() == NotConnected; }
    int GetLast() const { return last; }

    void Ask() { GetOChannel().WriteSeparator(); } // an empty message

    void SeparatorArrived() override {
        InputSeparatorGuard const guard(*this);
        if (GetIChannel().Read(last) == IO::NoError && !IsOver())
            Ask();
    }

private:
    int last = 0;
};

} // namespace

int main() {
    Counter counter;
    Server server;
    server.SetLoopbackOnly(true);
    server.RegisterService(IO::Location("Counter"), &counter);
    Setup const & setup = Setup::Instance();
    if (server.Start(setup.GetPortBegin(), setup.GetPortEnd()) != IO::NoError)
        return 1;

    // Both ends on one thread here; most often the other one is in another process.
    Asker asker;
    IO::Location const place(
        Mu::UniString::Printf("ipc://localhost:%lu/Counter", server.GetPort()));
    if (asker.Connect(place) != IO::NoError)
        return 1;
    bool hasAsked = false;
    while (!asker.IsOver()) {
        WaitForPool(1000);
        CommunicatorPool::Instance().Process();
        if (!hasAsked && asker.GetConnectState() == Client::Connected) {
            asker.Ask();
            hasAsked = true;
        }
    }
    std::cout << "answers: " << asker.GetLast() << "\n";
    return asker.GetLast() == 5 ? 0 : 1;
}
