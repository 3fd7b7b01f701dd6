#include <Kestrel/IPC/CommunicatorPool.h>

#include <Kestrel/IPC/Client.h>
#include <Kestrel/IPC/EndPoint.h>
#include <Kestrel/IPC/ProcessInfoProvider.h>
#include <Kestrel/IPC/Server.h>
#include <Kestrel/IPC/Setup.h>
#include <Kestrel/Root/Clock.h>
#include <Kestrel/Root/OChannel.h>
#include <Kestrel/Socket/Platform/SocketCalls.h>
#include <Kestrel/Socket/SocketFunctions.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace IO::IPC {

// Hosts that are not optimised take the addresses.
constexpr double CommunicatorPool::WaitStep;

using Socket::PollEntry;
namespace PollEvent = Socket::PollEvent;

/// What one pass found, and how far it came. Nested passes have one each.
class CommunicatorPool::Pass : public Mu::Allocated {
public:
    /// Borrows one from the pool.
    class Use {
    public:
        explicit Use(CommunicatorPool & pool)
            : pool(pool), pass(pool.spare != nullptr ? pool.spare : new Pass) {
            if (pass == pool.spare)
                pool.spare = pass->next;
            ++pool.depth;
        }
        ~Use() {
            --pool.depth;
            pass->next = pool.spare;
            pool.spare = pass;
        }
        Use(Use const &) = delete;
        Use & operator=(Use const &) = delete;
        Pass * operator->() const { return pass; }

    private:
        CommunicatorPool & pool;
        Pass * pass;
    };

    void List(CommunicatorPool const & pool);
    /// What a wait is for, those who connect included. False: nothing.
    bool ListInterests(CommunicatorPool const & pool);
    /// The error number.
    unsigned int Poll(long long microseconds);
    void KeepLost(CommunicatorPool const & pool);
    void KeepClosed();
    void TellLost(CommunicatorPool & pool);
    bool IsAnyReady(unsigned char event) const { return (seen & event) != 0; }

    /// Calls `act` with each entry that the pool has then, in the order of sockets, and the events
    /// that were seen at it.
    template <typename Act>
    void Walk(CommunicatorPool & pool, Act act) const;

    Pass * next = nullptr;

private:
    static unsigned char GetWanted(Entry const & entry);

    std::vector<PollEntry, Mu::StdAllocator<PollEntry>> polled;                    // by socket
    std::vector<unsigned long long, Mu::StdAllocator<unsigned long long>> serials; // of the same
    unsigned char seen = 0;
};

unsigned char CommunicatorPool::Pass::GetWanted(Entry const & entry) {
    if (entry.endPoint != nullptr && !entry.endPoint->WantsRead())
        return PollEvent::Except;
    // Where writing is tried anyway, the system need not be asked.
    return entry.communicator->AlwaysWrite()
               ? PollEvent::Read | PollEvent::Except
               : PollEvent::Read | PollEvent::Write | PollEvent::Except;
}

void CommunicatorPool::Pass::List(CommunicatorPool const & pool) {
    polled.clear();
    serials.clear();
    seen = 0;
    for (Entry const & entry : pool.entries) {
        polled.push_back({entry.socket, GetWanted(entry), 0});
        serials.push_back(entry.serial);
    }
}

bool CommunicatorPool::Pass::ListInterests(CommunicatorPool const & pool) {
    polled.clear();
    seen = 0;
    for (Entry const & entry : pool.entries) {
        SocketInterest const interest = GetInterest(entry);
        unsigned int const wanted = PollEvent::Except | (interest.read ? PollEvent::Read : 0u) |
                                    (interest.write ? PollEvent::Write : 0u);
        polled.push_back({entry.socket, static_cast<unsigned char>(wanted), 0});
    }
    for (Client const * const client : pool.pending)
        polled.push_back({client->GetSocket(), PollEvent::Write | PollEvent::Except, 0});
    return !polled.empty();
}

unsigned int CommunicatorPool::Pass::Poll(long long microseconds) {
    unsigned int ready = 0;
    unsigned int const error = Socket::GetSocketCalls().Poll(
        polled.data(), static_cast<unsigned int>(polled.size()), microseconds, &ready);
    if (error == Socket::WSAError::None && ready != 0)
        for (PollEntry const & entry : polled)
            seen |= entry.ready;
    return error;
}

template <typename Act>
void CommunicatorPool::Pass::Walk(CommunicatorPool & pool, Act act) const {
    std::size_t listed = 0;
    for (std::size_t i = 0; i < pool.entries.size();) {
        Entry const entry = pool.entries[i];
        while (listed < polled.size() && polled[listed].socket < entry.socket)
            ++listed;
        // What was seen belongs to who was registered then, not to who got the number since.
        bool const isListed = listed < polled.size() && serials[listed] == entry.serial;
        unsigned long long const before = pool.changes;
        act(entry, isListed ? polled[listed].ready : 0);
        if (pool.changes == before)
            ++i;
        else
            i = static_cast<std::size_t>(
                std::upper_bound(pool.entries.begin(), pool.entries.end(), entry.socket,
                                 [](unsigned long long socket, Entry const & other) {
                                     return socket < other.socket;
                                 }) -
                pool.entries.begin());
    }
}

void CommunicatorPool::Pass::KeepLost(CommunicatorPool const & pool) {
    polled.clear();
    serials.clear();
    for (Entry const & entry : pool.entries)
        if (entry.endPoint != nullptr && entry.endPoint->isLost) {
            polled.push_back({entry.socket, 0, 0});
            serials.push_back(entry.serial);
        }
}

// Keeps those that the system does not know as sockets any more.
void CommunicatorPool::Pass::KeepClosed() {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < polled.size(); ++i) {
        PollEntry one{polled[i].socket, PollEvent::Read, 0};
        unsigned int ready;
        if (Socket::GetSocketCalls().Poll(&one, 1, 0, &ready) == Socket::WSAError::None)
            continue;
        polled[kept] = one;
        serials[kept++] = serials[i];
    }
    polled.resize(kept);
    serials.resize(kept);
}

void CommunicatorPool::Pass::TellLost(CommunicatorPool & pool) {
    for (std::size_t i = 0; i < polled.size(); ++i) {
        auto const found = pool.Find(polled[i].socket);
        if (found != pool.entries.end() && found->serial == serials[i])
            found->communicator->ProcessError();
    }
}

/// Ends the sleeps of those who wait for something from the pool.
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
    Setup::Instance(); // which the last server needs when it stops
}

CommunicatorPool::~CommunicatorPool() {
    while (spare != nullptr) {
        Pass * const next = spare->next;
        delete spare;
        spare = next;
    }
}

// Every communicator has asked for it while it was made, and so goes before it.
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

void CommunicatorPool::ProcessCommunication() {
    if (!entries.empty()) {
        Pass::Use const pass(*this);
        if (std::exchange(isSomeoneLost, false)) {
            pass->KeepLost(*this);
            pass->TellLost(*this);
            return;
        }
        pass->List(*this);
        unsigned int const error = pass->Poll(0);
        if (error != Socket::WSAError::None) {
            pass->KeepClosed();
            pass->TellLost(*this);
            return;
        }
        if (pass->IsAnyReady(PollEvent::Except))
            pass->Walk(*this, [](Entry const & entry, unsigned char ready) {
                if (ready & PollEvent::Except)
                    entry.communicator->ProcessError();
            });
        pass->Walk(*this, [](Entry const & entry, unsigned char ready) {
            if ((ready & PollEvent::Read) ||
                (entry.endPoint != nullptr && entry.endPoint->HasRest()))
                entry.communicator->ProcessRead();
        });
        pass->Walk(*this, [](Entry const & entry, unsigned char ready) {
            if ((ready & PollEvent::Write) || entry.communicator->AlwaysWrite())
                entry.communicator->ProcessWrite();
        });
        pass->Walk(*this, [](Entry const & entry, unsigned char) {
            if (entry.endPoint != nullptr && entry.endPoint->GetISeparatorCount() > 0)
                entry.endPoint->SeparatorArrived();
        });
    }
    ProcessPendingConnects();
}

// One client for each place moves on in a pass, so that a crowd of them does not hammer one peer.
void CommunicatorPool::ProcessPendingConnects() {
    if (pending.empty())
        return;
    auto const waiting = pending;
    std::vector<Location, Mu::StdAllocator<Location>> tried;
    for (Client * const client : waiting) {
        if (std::find(pending.begin(), pending.end(), client) == pending.end())
            continue; // gone in the call of another one
        Location const & place = client->GetPendingConnectLocation();
        if (std::find(tried.begin(), tried.end(), place) != tried.end())
            continue;
        tried.push_back(place);
        client->ProcessPendingConnect();
    }
}

// Waiting.

bool CommunicatorPool::IsWorkWaiting() const {
    return isSomeoneLost || std::any_of(entries.begin(), entries.end(), [](Entry const & entry) {
               return entry.endPoint != nullptr && entry.endPoint->WantsPass();
           });
}

SocketInterest CommunicatorPool::GetInterest(Entry const & entry) {
    EndPoint const * const endPoint = entry.endPoint;
    if (endPoint == nullptr)
        return {entry.socket, true, false};
    return {entry.socket, endPoint->WantsRead(), endPoint->output.HasSendable()};
}

bool CommunicatorPool::ListSockets(Mu::Array<SocketInterest> & sockets) const {
    sockets.Clear(true);
    for (Entry const & entry : entries)
        sockets.Push(GetInterest(entry));
    for (Client const * const client : pending)
        sockets.Push({client->GetSocket(), false, true});
    return IsWorkWaiting();
}

bool CommunicatorPool::WaitForSockets(unsigned long long microseconds) {
    if (IsWorkWaiting())
        return true;
    Pass::Use const pass(*this);
    if (pass->ListInterests(*this))
        return pass->Poll(static_cast<long long>(microseconds)) != Socket::WSAError::None ||
               pass->IsAnyReady(0xFF);
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

void CommunicatorPool::Register(Communicator * communicator) {
    Entry const entry{communicator->GetSocket(), communicator,
                      dynamic_cast<EndPoint *>(communicator), ++lastSerial};
    auto const place = std::lower_bound(
        entries.begin(), entries.end(), entry.socket,
        [](Entry const & other, unsigned long long socket) { return other.socket < socket; });
    if (place != entries.end() && place->socket == entry.socket)
        *place = entry;
    else
        entries.insert(place, entry);
    ++changes;
}

void CommunicatorPool::UnRegister(Communicator * communicator) {
    auto const found = Find(communicator->GetSocket());
    if (found == entries.end() || found->communicator != communicator)
        return;
    entries.erase(found);
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
