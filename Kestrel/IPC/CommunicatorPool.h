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

/// What a socket of the pool waits for, for an event loop of the host.
struct SocketInterest {
    unsigned long long socket;
    bool read;  ///< data, a connection to accept, or the end of the peer's data
    bool write; ///< space to send, or the completion of a connect
};

/// The event loop of all connections: one pass serves every ready socket of the process, without
/// waiting.
///
/// It has no thread of its own. The host must call Process repeatedly: in its main loop, with Wait
/// between two passes, or in a loop of its own that asks ListSockets what to wait for. Blocking
/// reads and writes call it internally, so passes may be nested, and any object may be registered,
/// unregistered or deleted in any call from a pass.
///
///     for (;;) {
///         pool.Process();
///         pool.Wait(1.0);
///     }
///
/// Memory:  the lists, which are reused by the next pass.
/// Threads: one drives the pool and everything that is registered with it.
/// Failure: none from a pass; connections that it finds lost get a ProcessError.
///          Mu::OutOfMemoryException is passed to the caller, and the next pass continues.
class KESTREL_API CommunicatorPool {
public:
    /// The longest time, in seconds, that blocked reads and writes sleep between two passes.
    static constexpr double WaitStep = 0.05;

    static CommunicatorPool & Instance();
    CommunicatorPool(CommunicatorPool const &) = delete;
    CommunicatorPool & operator=(CommunicatorPool const &) = delete;

    /// Runs one pass, or the function that replaces it.
    void Process();
    /// Runs one pass, without waiting.
    void ProcessCommunication();
    /// Replaces the pass by a function, which may end by calling ProcessCommunication; null
    /// restores the pass. Returns the previous function.
    void (*SetProcessFunc(void (*function)()))();
    /// Sleeps for the seconds of the root's clock, or until a pass would find work. If the last
    /// wait ended within 100 us, and with at most eight sockets, it first polls up to forty times,
    /// yielding to other threads in between: a fast conversation then costs processor time instead
    /// of a wake-up for each reply.
    void Wait(double seconds);
    /// Replaces the list by all sockets and what they wait for; a client behind another one that
    /// connects to the same address waits for nothing. True: a pass has work already, regardless of
    /// the sockets.
    bool ListSockets(Mu::Array<SocketInterest> & sockets) const;

    /// Replaces an entry with the same socket. Not owned.
    void Register(Communicator * communicator);
    /// Does nothing if its socket is not registered, or with another object.
    void UnRegister(Communicator * communicator);
    void RegisterServer(Server * server);
    void UnRegisterServer(Server * server);
    /// The client is connecting, and gets a ProcessPendingConnect on each pass; of several clients
    /// with the same address, one per pass.
    void RegisterPendingConnect(Client * client);
    void UnRegisterPendingConnect(Client * client);
    /// Null if the socket is not registered.
    Communicator * GetCommunicator(unsigned long long socket) const;
    bool IsRegistered(Communicator * communicator) const;
    /// The running servers.
    Mu::HashSet<Server *> const & GetServers() const { return servers; }
    /// Writes the number of registered sockets, and for each the socket, its kind and its peer.
    MuErrCode WriteCommunicators(Mu::OChannel & channel) const;

    /// How many unread bytes a connection may hold while a whole message is waiting. Above that it
    /// is not read from until the data is consumed, so that TCP slows the sender down. A server's
    /// connection with more unsent bytes is not served until some are sent. 16 MiB by default.
    void SetUnreadLimit(unsigned long long bytes) { unreadLimit = bytes; }
    unsigned long long GetUnreadLimit() const { return unreadLimit; }
    /// How many bytes may arrive without being read or completing a message before the connection
    /// is closed as hostile. 1 GiB by default.
    void SetMessageLimit(unsigned long long bytes) { messageLimit = bytes; }
    unsigned long long GetMessageLimit() const { return messageLimit; }

private:
    friend class EndPoint;
    friend class Server;

    struct Entry {
        unsigned long long socket;
        Communicator * communicator;
        EndPoint * endPoint;       // the same object, if it is an end point
        unsigned long long serial; // unique
        bool maySleep;             // does nothing by itself on a pass
        bool isListening;          // a server, which never writes
        bool isAwake;
    };
    class Pass;
    class SocketWaker;
    using Entries = std::vector<Entry, Mu::StdAllocator<Entry>>;
    using Sockets = std::vector<unsigned long long, Mu::StdAllocator<unsigned long long>>;

    CommunicatorPool();
    ~CommunicatorPool();

    /// A pass that leaves polling the sockets to the wait that follows it.
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
    /// Whether the end point has work for a pass without new input.
    void Wake(EndPoint & endPoint);
    void SetAwake(Entry & entry);
    void SetAsleep(unsigned long long socket);
    void PutToSleep();
    void GiveBack(Pass * pass);
    void DropSeen();

    Entries entries; // by socket
    unsigned long long lastSerial = 0;
    // Entries that a pass visits even if nothing arrives, by socket; their capacity is reserved.
    Sockets awake;
    unsigned long long changes = 0; // of `awake`
    Mu::HashSet<Server *> servers;
    std::vector<Client *, Mu::StdAllocator<Client *>> pending; // in the order of registration
    int depth = 0;
    void (*processFunction)() = nullptr;
    bool isSomeoneLost = false;
    bool isShortOfSockets = false; // none was left for a connection, in the last pass
    bool mayOnlySend = false;      // the sockets were polled since a pass that only sent
    bool isAnsweredAtOnce = false; // the last wait ended before another thread could run
    unsigned long long unreadLimit = 16ull << 20;
    unsigned long long messageLimit = 1ull << 30;
    Pass * spare = nullptr;        // lists of finished passes, for the next ones
    Pass * seen = nullptr;         // what the last wait found, for the next pass
    unsigned long long seenAt = 0; // monotonic microseconds
};

} // namespace IO::IPC
