#pragma once

#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Containers/HashSet.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>

#include <vector>

namespace Mu {
class OChannel;
class Waker;
} // namespace Mu

namespace IO::IPC {

class Client;
class Communicator;
class EndPoint;
class Server;

/// What a socket of the pool waits for, for an event loop of the host's own.
struct SocketInterest {
    unsigned long long socket;
    bool read;  ///< bytes, a connection to accept, or the peer's end
    bool write; ///< room to send, or a requested connection is established
};

/// The engine of all connections: one pass looks at every socket of the process, without waiting.
///
/// There is no thread here. Something must call Process again and again: the host's main loop, with
/// Wait between two passes, or a loop of its own that asks ListSockets what to wait for. Reads and
/// writes that wait call it from inside, so a pass may run inside a pass, and anybody may be
/// registered, unregistered or deleted in any call from one.
///
///     for (;;) {
///         pool.Process();
///         pool.Wait(1.0);
///     }
///
/// Memory:  the lists, which are kept for the next pass.
/// Threads: one drives the pool and everything that is registered with it.
/// Failure: none from a pass; those it finds lost get a ProcessError. Mu::OutOfMemoryException goes
///          through to the caller, and the next pass goes on.
class KESTREL_API CommunicatorPool {
public:
    /// In seconds; how long blocked reads and writes sleep at most between two passes.
    static constexpr double WaitStep = 0.05;

    static CommunicatorPool & Instance();
    CommunicatorPool(CommunicatorPool const &) = delete;
    CommunicatorPool & operator=(CommunicatorPool const &) = delete;

    /// One pass, or the function in its place.
    void Process();
    /// One pass, without waiting.
    void ProcessCommunication();
    /// Puts a function in the place of the pass, which may end by calling ProcessCommunication; null
    /// takes it away. Returns the one before.
    void (*SetProcessFunc(void (*function)()))();
    /// Sleeps so many seconds of the root's clock, or until a pass would find something to do. Where
    /// the last wait was over within 100 us, and with at most eight sockets, it first looks up to
    /// forty times, giving way to other threads in between: a quick conversation costs processor
    /// time instead of being woken for each answer.
    void Wait(double seconds);
    /// All sockets and what they wait for, in the place of what the list held; a client that another
    /// one to the same place comes before waits for nothing. True: a pass has work already, whatever
    /// the sockets do.
    bool ListSockets(Mu::Array<SocketInterest> & sockets) const;

    /// An entry with the same socket is replaced. Not owned.
    void Register(Communicator * communicator);
    /// Nothing happens when the entry of its socket is another one, or there is none.
    void UnRegister(Communicator * communicator);
    void RegisterServer(Server * server);
    void UnRegisterServer(Server * server);
    /// The client waits for its connection and gets a ProcessPendingConnect at each pass; of clients
    /// that go to the same place, one at a pass.
    void RegisterPendingConnect(Client * client);
    void UnRegisterPendingConnect(Client * client);
    /// Null: no such socket.
    Communicator * GetCommunicator(unsigned long long socket) const;
    bool IsRegistered(Communicator * communicator) const;
    /// The servers that run.
    Mu::HashSet<Server *> const & GetServers() const { return servers; }
    /// How many are registered, and for each the socket, its kind and its peer.
    MuErrCode WriteCommunicators(Mu::OChannel & channel) const;

    /// How much a connection may hold unread, in bytes, while a whole message waits; with more it is
    /// not read from until some is taken, so that TCP holds the sender back. A server's connection
    /// that holds more unsent gets no service until some has left. 16 MiB at first.
    void SetUnreadLimit(unsigned long long bytes) { unreadLimit = bytes; }
    unsigned long long GetUnreadLimit() const { return unreadLimit; }
    /// How much may come without being read or forming a message before the connection is given up
    /// as hostile. 1 GiB at first.
    void SetMessageLimit(unsigned long long bytes) { messageLimit = bytes; }
    unsigned long long GetMessageLimit() const { return messageLimit; }

private:
    friend class EndPoint;
    friend class Server;

    struct Entry {
        unsigned long long socket;
        Communicator * communicator;
        EndPoint * endPoint;       // the same one, if it is any
        unsigned long long serial; // never given twice
        bool maySleep;             // does nothing of its own at a pass
        bool isListening;          // a server, which never writes
        bool isAwake;
    };
    class Pass;
    class SocketWaker;
    using Entries = std::vector<Entry, Mu::StdAllocator<Entry>>;
    using Sockets = std::vector<unsigned long long, Mu::StdAllocator<unsigned long long>>;

    CommunicatorPool();
    ~CommunicatorPool();

    /// A pass that leaves polling the sockets to the wait right after it.
    void ProcessBeforeWait();
    void MakePass(bool looks);
    void SomeoneIsLost() { isSomeoneLost = true; }
    bool IsWorkWaiting() const;
    bool IsAnythingFresh() const;
    bool IsSeenFresh() const;
    bool WaitForSockets(unsigned long long microseconds);
    unsigned int Look(Pass & pass, long long microseconds);
    static SocketInterest GetInterest(Entry const & entry);
    Entries::const_iterator Find(unsigned long long socket) const;
    Entry const & Get(unsigned long long socket, std::size_t * near) const;
    void ProcessPendingConnects();
    /// The end point has something to do in a pass without new input.
    void Wake(EndPoint & endPoint);
    void SetAwake(Entry & entry);
    void SetAsleep(unsigned long long socket);
    void PutToSleep();
    void GiveBack(Pass * pass);
    void DropSeen();

    Entries entries; // by socket
    unsigned long long lastSerial = 0;
    // Those that a pass looks at even when nothing comes; room for all is kept. By socket.
    Sockets awake;
    unsigned long long changes = 0; // of `awake`
    Mu::HashSet<Server *> servers;
    std::vector<Client *, Mu::StdAllocator<Client *>> pending; // in the order of registration
    int depth = 0;
    void (*processFunction)() = nullptr;
    bool isSomeoneLost = false;
    bool isShortOfSockets = false; // none was left for a connection, in the last pass
    bool mayOnlySend = false;      // the sockets were polled since a pass that only sent
    bool isAnsweredAtOnce = false; // the last wait was over before anybody could fall asleep
    unsigned long long unreadLimit = 16ull << 20;
    unsigned long long messageLimit = 1ull << 30;
    Pass * spare = nullptr;        // lists of passes that are over, for the next ones
    Pass * seen = nullptr;         // what the last wait found, for the next pass
    unsigned long long seenAt = 0; // monotonic microseconds
};

} // namespace IO::IPC
