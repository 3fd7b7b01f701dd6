#include <Kestrel/IPC/CommunicatorPool.h>

#include <Kestrel/IPC/Client.h>
#include <Kestrel/IPC/Connection.h>
#include <Kestrel/IPC/EndPoint.h>
#include <Kestrel/IPC/Internal/BlockStore.h>
#include <Kestrel/IPC/ProcessInfoProvider.h>
#include <Kestrel/IPC/Server.h>
#include <Kestrel/IPC/Setup.h>
#include <Kestrel/Root/Platform/SystemCalls.h>
#include <Kestrel/Root/Streams/OChannel.h>
#include <Kestrel/Root/Time/Clock.h>
#include <Kestrel/Socket/Platform/SocketCalls.h>
#include <Kestrel/Socket/SocketFunctions.h>

#include <algorithm>
#include <typeinfo>
#include <utility>
#include <vector>

namespace IO::IPC {

// Hosts built without optimisation take the addresses.
constexpr double CommunicatorPool::WaitStep;

using Socket::PollEntry;
namespace PollEvent = Socket::PollEvent;

namespace {

// Of those who connect to one place a pass calls the first; what the others wait for ends no wait.
template <typename Clients>
bool IsNextToConnect(Client const & client, Clients const & pending) {
    Location const & place = client.GetPendingConnectLocation();
    return &client == *std::find_if(pending.begin(), pending.end(), [&](Client const * other) {
        return other->GetPendingConnectLocation() == place;
    });
}

} // namespace

/// The results of one pass. Nested passes have one each.
class CommunicatorPool::Pass : public Mu::Allocated {
public:
    /// Borrows one from the pool.
    class Use {
    public:
        explicit Use(CommunicatorPool & pool, Pass * found = nullptr) : pool(pool), pass(found) {
            if (pass == nullptr) {
                pass = pool.spare != nullptr ? pool.spare : new Pass;
                pool.spare = pass->next;
                pass->next = nullptr;
            }
            ++pool.depth;
        }
        ~Use() {
            --pool.depth;
            if (pass != nullptr)
                pool.GiveBack(pass);
        }
        Use(Use const &) = delete;
        Use & operator=(Use const &) = delete;
        Pass * operator->() const { return pass; }
        Pass & operator*() const { return *pass; }
        /// Keeps it for the next pass, which then need not poll.
        void Keep() {
            pool.DropSeen();
            pool.seen = std::exchange(pass, nullptr);
            pool.seenAt = Mu::GetClock().GetMonotonicMicroseconds();
        }

    private:
        CommunicatorPool & pool;
        Pass * pass;
    };

    void List(CommunicatorPool const & pool);
    /// Lists what a wait polls for, pending connects included. False: nothing.
    bool ListInterests(CommunicatorPool const & pool);
    /// Returns the error number.
    unsigned int Poll(CommunicatorPool const & pool, long long microseconds);
    bool IsAnyReady() const { return seen != 0; }
    void FindNothing() {
        found.clear();
        seen = 0;
    }
    /// Whether the wait has polled for all that a pass would poll for.
    bool IsForPass() const { return isForPass; }
    void KeepLost(CommunicatorPool const & pool);
    void KeepClosed(CommunicatorPool const & pool);
    void NotifyLost(CommunicatorPool & pool);
    /// Serves all entries in the order of sockets. Those with events are awake from now on.
    void WalkAll(CommunicatorPool & pool);

    Pass * next = nullptr;

private:
    struct Found {
        unsigned long long socket;
        unsigned long long serial;
        unsigned char ready;
    };

    static unsigned char GetWanted(Entry const & entry);
    /// Calls `act` with each entry that is awake then and its events, in the order of sockets.
    template <typename Act>
    void Walk(CommunicatorPool & pool, Act act) const;

    std::vector<PollEntry, Mu::StdAllocator<PollEntry>> polled; // the pool's, and pending connects
    std::vector<Found, Mu::StdAllocator<Found>> found;
    unsigned char seen = 0;
    bool isForPass = true;
};

void CommunicatorPool::GiveBack(Pass * pass) {
    pass->next = std::exchange(spare, pass);
}

void CommunicatorPool::DropSeen() {
    if (seen != nullptr)
        GiveBack(std::exchange(seen, nullptr));
}

unsigned char CommunicatorPool::Pass::GetWanted(Entry const & entry) {
    if (!entry.isAwake)
        return PollEvent::Read | PollEvent::Except;
    if (entry.endPoint != nullptr && !entry.endPoint->WantsRead())
        return PollEvent::Except;
    // Where writing is tried anyway, the system need not be queried.
    return entry.communicator->AlwaysWrite()
               ? PollEvent::Read | PollEvent::Except
               : PollEvent::Read | PollEvent::Write | PollEvent::Except;
}

void CommunicatorPool::Pass::List(CommunicatorPool const & pool) {
    polled.clear();
    for (Entry const & entry : pool.entries)
        polled.push_back({entry.socket, GetWanted(entry), 0});
}

bool CommunicatorPool::Pass::ListInterests(CommunicatorPool const & pool) {
    polled.clear();
    isForPass = true;
    for (Entry const & entry : pool.entries) {
        SocketInterest const interest = GetInterest(entry);
        bool const isInVain = entry.isListening && pool.isShortOfSockets;
        unsigned int const wanted = PollEvent::Except |
                                    (interest.read && !isInVain ? PollEvent::Read : 0u) |
                                    (interest.write ? PollEvent::Write : 0u);
        polled.push_back({entry.socket, static_cast<unsigned char>(wanted), 0});
        isForPass = isForPass && (entry.isListening || (GetWanted(entry) & ~wanted) == 0);
    }
    for (Client const * const client : pool.pending)
        if (IsNextToConnect(*client, pool.pending))
            polled.push_back({client->GetSocket(), PollEvent::Write | PollEvent::Except, 0});
    return !polled.empty();
}

unsigned int CommunicatorPool::Pass::Poll(CommunicatorPool const & pool, long long microseconds) {
    unsigned int ready = 0;
    unsigned int const error = Socket::GetSocketCalls().Poll(
        polled.data(), static_cast<unsigned int>(polled.size()), microseconds, &ready);
    FindNothing();
    if (error != Socket::WSAError::None || ready == 0)
        return error;
    for (std::size_t i = 0; i < polled.size(); ++i) {
        if (polled[i].ready == 0)
            continue;
        seen |= polled[i].ready;
        if (i < pool.entries.size())
            found.push_back({polled[i].socket, pool.entries[i].serial, polled[i].ready});
    }
    return error;
}

template <typename Act>
void CommunicatorPool::Pass::Walk(CommunicatorPool & pool, Act act) const {
    std::size_t at = 0;
    std::size_t near = 0;
    for (std::size_t i = 0; i < pool.awake.size();) {
        unsigned long long const socket = pool.awake[i];
        Entry const entry = pool.Get(socket, &near);
        while (at < found.size() && found[at].socket < socket)
            ++at;
        // Events belong to the entry registered at that time, not to one that got the number since.
        bool const isFound = at < found.size() && found[at].serial == entry.serial;
        unsigned long long const before = pool.changes;
        act(entry, isFound ? found[at].ready : 0);
        if (pool.changes == before)
            ++i;
        else
            i = static_cast<std::size_t>(
                std::upper_bound(pool.awake.begin(), pool.awake.end(), socket) -
                pool.awake.begin());
    }
}

void CommunicatorPool::Pass::WalkAll(CommunicatorPool & pool) {
    for (Found const & one : found)
        if (auto const entry = pool.Find(one.socket);
            entry != pool.entries.end() && entry->serial == one.serial)
            pool.SetAwake(pool.entries[static_cast<std::size_t>(entry - pool.entries.begin())]);
    if (seen & PollEvent::Except)
        Walk(pool, [](Entry const & entry, unsigned char ready) {
            if (ready & PollEvent::Except)
                entry.communicator->ProcessError();
        });
    Walk(pool, [](Entry const & entry, unsigned char ready) {
        if ((ready & PollEvent::Read) || (entry.endPoint != nullptr && entry.endPoint->HasRest()))
            entry.communicator->ProcessRead();
    });
    Walk(pool, [](Entry const & entry, unsigned char ready) {
        if ((ready & PollEvent::Write) || entry.communicator->AlwaysWrite())
            entry.communicator->ProcessWrite();
    });
    Walk(pool, [](Entry const & entry, unsigned char) {
        if (entry.endPoint != nullptr && entry.endPoint->GetISeparatorCount() > 0)
            entry.endPoint->SeparatorArrived();
    });
}

void CommunicatorPool::Pass::KeepLost(CommunicatorPool const & pool) {
    found.clear();
    for (Entry const & entry : pool.entries)
        if (entry.endPoint != nullptr && entry.endPoint->isLost)
            found.push_back({entry.socket, entry.serial, 0});
}

// Keeps those whose sockets no longer exist for the system.
void CommunicatorPool::Pass::KeepClosed(CommunicatorPool const & pool) {
    found.clear();
    for (Entry const & entry : pool.entries) {
        PollEntry one{entry.socket, PollEvent::Read, 0};
        unsigned int ready;
        if (Socket::GetSocketCalls().Poll(&one, 1, 0, &ready) != Socket::WSAError::None)
            found.push_back({entry.socket, entry.serial, 0});
    }
}

void CommunicatorPool::Pass::NotifyLost(CommunicatorPool & pool) {
    for (Found const & one : found) {
        auto const entry = pool.Find(one.socket);
        if (entry == pool.entries.end() || entry->serial != one.serial)
            continue;
        try {
            entry->communicator->ProcessError();
        } catch (...) {
            pool.isSomeoneLost = true; // the others follow at the next pass
            throw;
        }
    }
}

/// Ends a sleep as soon as the pool has something to do.
class CommunicatorPool::SocketWaker final : public Mu::Waker {
public:
    explicit SocketWaker(CommunicatorPool & pool) : pool(pool) {}
    bool Wait(unsigned long long microseconds) override {
        return pool.WaitForSockets(microseconds);
    }

private:
    CommunicatorPool & pool;
};

CommunicatorPool::CommunicatorPool() {
    BlockStore::Instance();
    Setup::Instance(); // needed by the last server when it stops
}

CommunicatorPool::~CommunicatorPool() {
    DropSeen();
    while (spare != nullptr) {
        Pass * const next = spare->next;
        delete spare;
        spare = next;
    }
}

// Every communicator calls this while it is constructed, and is therefore destroyed before the
// pool.
CommunicatorPool & CommunicatorPool::Instance() {
    static CommunicatorPool pool;
    return pool;
}

void CommunicatorPool::Process() {
    if (processFunction != nullptr)
        processFunction();
    else
        ProcessCommunication();
}

void (*CommunicatorPool::SetProcessFunc(void (*function)()))() {
    return std::exchange(processFunction, function);
}

void CommunicatorPool::ProcessBeforeWait() {
    if (processFunction != nullptr)
        processFunction();
    else
        MakePass(false);
}

void CommunicatorPool::ProcessCommunication() {
    MakePass(true);
}

void CommunicatorPool::MakePass(bool looks) {
    isShortOfSockets = false;
    if (!entries.empty()) {
        bool const isLooked = seen != nullptr && !isSomeoneLost && IsSeenFresh();
        Pass::Use pass(*this, std::exchange(seen, nullptr));
        if (isSomeoneLost) {
            pass->KeepLost(*this);
            isSomeoneLost = false;
            pass->NotifyLost(*this);
            return;
        }
        PutToSleep();
        if (!isLooked && !looks) {
            pass->FindNothing();
        } else if (!isLooked) {
            mayOnlySend = true;
            pass->List(*this);
            if (pass->Poll(*this, 0) != Socket::WSAError::None) {
                pass->KeepClosed(*this);
                pass->NotifyLost(*this);
                return;
            }
        }
        pass->WalkAll(*this);
    }
    ProcessPendingConnects();
}

// One client per location proceeds in a pass, so that many of them do not flood one peer.
void CommunicatorPool::ProcessPendingConnects() {
    if (pending.empty())
        return;
    auto const waiting = pending;
    std::vector<Location, Mu::StdAllocator<Location>> tried;
    for (Client * const client : waiting) {
        if (std::find(pending.begin(), pending.end(), client) == pending.end())
            continue; // removed during the call of another one
        Location const & place = client->GetPendingConnectLocation();
        if (std::find(tried.begin(), tried.end(), place) != tried.end())
            continue;
        tried.push_back(place);
        client->ProcessPendingConnect();
    }
}

// Waiting.

bool CommunicatorPool::IsWorkWaiting() const {
    return isSomeoneLost || std::any_of(awake.begin(), awake.end(),
                                        [this, near = std::size_t{0}](auto socket) mutable {
                                            EndPoint const * const endPoint =
                                                Get(socket, &near).endPoint;
                                            return endPoint != nullptr && endPoint->WantsPass();
                                        });
}

// The host may have been busy for long in between; a pass must see the state at its start.
bool CommunicatorPool::IsSeenFresh() const {
    constexpr unsigned long long Moment = 200;
    return Mu::GetClock().GetMonotonicMicroseconds() - seenAt < Moment;
}

// Data written since the last pass can be sent without polling the sockets.
bool CommunicatorPool::IsAnythingFresh() const {
    return std::any_of(awake.begin(), awake.end(),
                       [this, near = std::size_t{0}](auto socket) mutable {
                           EndPoint const * const endPoint = Get(socket, &near).endPoint;
                           return endPoint != nullptr && endPoint->output.mIsFresh &&
                                  endPoint->output.HasSendable();
                       });
}

SocketInterest CommunicatorPool::GetInterest(Entry const & entry) {
    EndPoint const * const endPoint = entry.endPoint;
    if (endPoint == nullptr || !entry.isAwake)
        return {entry.socket, true, false};
    return {entry.socket, endPoint->WantsRead(), endPoint->output.HasSendable()};
}

bool CommunicatorPool::ListSockets(Mu::Array<SocketInterest> & sockets) const {
    sockets.Clear(true);
    for (Entry const & entry : entries)
        sockets.Push(GetInterest(entry));
    for (Client const * const client : pending)
        sockets.Push({client->GetSocket(), false, IsNextToConnect(*client, pending)});
    return IsWorkWaiting();
}

// If the peer responds at once, the thread does not sleep: waking up takes longer than such a
// response. Hence the polling, but only if the last wait was that short, a limited number of times,
// and for few sockets, where it costs next to nothing.
unsigned int CommunicatorPool::Look(Pass & pass, long long microseconds) {
    constexpr unsigned long long AtOnce = 100;
    constexpr unsigned int MostSockets = 8;
    constexpr int MostLooks = 40;
    unsigned long long const start = Mu::GetClock().GetMonotonicMicroseconds();
    unsigned int error = Socket::WSAError::None;
    pass.FindNothing();
    if (isAnsweredAtOnce && entries.size() <= MostSockets)
        for (int i = 0; i < MostLooks && error == Socket::WSAError::None && !pass.IsAnyReady();
             ++i) {
            error = pass.Poll(*this, 0);
            Mu::Platform::YieldThread();
        }
    if (error == Socket::WSAError::None && !pass.IsAnyReady())
        error = pass.Poll(*this, microseconds);
    isAnsweredAtOnce =
        pass.IsAnyReady() && Mu::GetClock().GetMonotonicMicroseconds() - start < AtOnce;
    return error;
}

bool CommunicatorPool::WaitForSockets(unsigned long long microseconds) {
    if (IsWorkWaiting())
        return true;
    Pass::Use pass(*this);
    if (mayOnlySend && IsAnythingFresh()) {
        mayOnlySend = false;
        pass->FindNothing();
        pass.Keep();
        return true;
    }
    if (pass->ListInterests(*this)) {
        // A connection that cannot be accepted would end each wait at once; nothing reports that
        // there is a socket for it again.
        constexpr unsigned long long Step = static_cast<unsigned long long>(WaitStep * 1e6);
        if (isShortOfSockets)
            microseconds = std::min(microseconds, Step);
        if (Look(*pass, static_cast<long long>(microseconds)) != Socket::WSAError::None)
            return true;
        if (!pass->IsAnyReady())
            return isShortOfSockets;
        if (pass->IsForPass())
            pass.Keep();
        mayOnlySend = true;
        return true;
    }
    Mu::clockManager.Sleep(static_cast<double>(microseconds) / 1e6);
    return false;
}

void CommunicatorPool::Wait(double seconds) {
    SocketWaker waker(*this);
    Mu::clockManager.Sleep(seconds, waker);
}

// Registers.

CommunicatorPool::Entries::const_iterator CommunicatorPool::Find(unsigned long long socket) const {
    auto const found = std::lower_bound(
        entries.begin(), entries.end(), socket,
        [](Entry const & entry, unsigned long long other) { return entry.socket < other; });
    return found != entries.end() && found->socket == socket ? found : entries.end();
}

// For sequential lookups: usually it is the next entry.
CommunicatorPool::Entry const & CommunicatorPool::Get(unsigned long long socket,
                                                      std::size_t * near) const {
    ++*near;
    if (*near >= entries.size() || entries[*near].socket != socket)
        *near = static_cast<std::size_t>(Find(socket) - entries.begin());
    return entries[*near];
}

// Only objects of the library's own classes may sleep while they have nothing to do: derived
// classes must be called in every pass.
void CommunicatorPool::Register(Communicator * communicator) {
    bool const maySleep =
        typeid(*communicator) == typeid(Connection) || typeid(*communicator) == typeid(Client);
    Entry const entry{communicator->GetSocket(),
                      communicator,
                      dynamic_cast<EndPoint *>(communicator),
                      ++lastSerial,
                      maySleep,
                      typeid(*communicator) == typeid(Server),
                      false};
    awake.reserve(entries.size() + 1);
    auto place = std::lower_bound(
        entries.begin(), entries.end(), entry.socket,
        [](Entry const & other, unsigned long long socket) { return other.socket < socket; });
    if (place != entries.end() && place->socket == entry.socket) {
        SetAsleep(entry.socket);
        *place = entry;
    } else {
        place = entries.insert(place, entry);
    }
    SetAwake(*place);
}

void CommunicatorPool::UnRegister(Communicator * communicator) {
    auto const found = Find(communicator->GetSocket());
    if (found == entries.end() || found->communicator != communicator)
        return;
    SetAsleep(found->socket);
    entries.erase(found);
}

void CommunicatorPool::Wake(EndPoint & endPoint) {
    auto const found = Find(endPoint.GetSocket());
    if (found != entries.end() && found->communicator == &endPoint)
        SetAwake(entries[static_cast<std::size_t>(found - entries.begin())]);
}

void CommunicatorPool::SetAwake(Entry & entry) {
    if (std::exchange(entry.isAwake, true))
        return;
    if (entry.endPoint != nullptr)
        entry.endPoint->isAwake = true;
    awake.insert(std::lower_bound(awake.begin(), awake.end(), entry.socket), entry.socket);
    ++changes;
}

void CommunicatorPool::SetAsleep(unsigned long long socket) {
    auto const found = std::lower_bound(awake.begin(), awake.end(), socket);
    if (found == awake.end() || *found != socket)
        return;
    awake.erase(found);
    ++changes;
}

void CommunicatorPool::PutToSleep() {
    auto const isIdle = [this, near = std::size_t{0}](unsigned long long socket) mutable {
        Entry & entry = const_cast<Entry &>(Get(socket, &near));
        if (!entry.maySleep || !entry.endPoint->IsIdle())
            return false;
        entry.isAwake = entry.endPoint->isAwake = false;
        return true;
    };
    auto const kept = std::remove_if(awake.begin(), awake.end(), isIdle);
    if (kept == awake.end())
        return;
    awake.erase(kept, awake.end());
    ++changes;
}

void CommunicatorPool::RegisterServer(Server * server) {
    Register(server);
    servers.Insert(server);
    ProcessInfoProvider::RenewServicesFile();
}

void CommunicatorPool::UnRegisterServer(Server * server) {
    UnRegister(server);
    servers.Delete(server);
    ProcessInfoProvider::RenewServicesFile();
}

void CommunicatorPool::RegisterPendingConnect(Client * client) {
    if (std::find(pending.begin(), pending.end(), client) == pending.end())
        pending.push_back(client);
}

void CommunicatorPool::UnRegisterPendingConnect(Client * client) {
    pending.erase(std::remove(pending.begin(), pending.end(), client), pending.end());
}

Communicator * CommunicatorPool::GetCommunicator(unsigned long long socket) const {
    auto const found = Find(socket);
    return found != entries.end() ? found->communicator : nullptr;
}

bool CommunicatorPool::IsRegistered(Communicator * communicator) const {
    return std::any_of(entries.begin(), entries.end(), [communicator](Entry const & entry) {
        return entry.communicator == communicator;
    });
}

MuErrCode CommunicatorPool::WriteCommunicators(Mu::OChannel & channel) const {
    MuErrCode status = channel.Write(static_cast<unsigned int>(entries.size()));
    for (Entry const & entry : entries) {
        Client const * const client = dynamic_cast<Client const *>(entry.communicator);
        Server const * const server = dynamic_cast<Server const *>(entry.communicator);
        if (status == NoError)
            status = channel.Write(static_cast<unsigned int>(entry.socket));
        if (status == NoError)
            status = channel.Write(client != nullptr           ? 'L'
                                   : server != nullptr         ? 'S'
                                   : entry.endPoint != nullptr ? 'C'
                                                               : '-');
        if (status == NoError && server != nullptr)
            status = channel.Write(server->GetPort());
        if (status != NoError || entry.endPoint == nullptr)
            continue;
        Mu::String host;
        unsigned int port = 0;
        if (entry.endPoint->GetPeer(host, port) != NoError) {
            host.Clear();
            port = 0;
        }
        status = channel.Write(host);
        if (status == NoError && client != nullptr)
            status = channel.Write(port);
    }
    return status;
}

} // namespace IO::IPC
