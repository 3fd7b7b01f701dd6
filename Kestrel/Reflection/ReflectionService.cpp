#include <Kestrel/Reflection/ReflectionService.h>

#include <Kestrel/Reflection/Internal/ReflectionDialogue.h>
#include <Kestrel/Reflection/Internal/Start.h>
#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Internal/CoreGuard.h>
#include <Kestrel/Root/Memory/SharedPtr.h>
#include <Kestrel/Root/Threads/Condition.h>
#include <Kestrel/Root/Threads/Thread.h>
#include <Kestrel/Socket/ServerSocket.h>

#include <algorithm>
#include <atomic>
#include <memory>

namespace IO {

// Hosts built without optimisation take the addresses.
constexpr unsigned short ReflectionService::FirstPort;
constexpr unsigned short ReflectionService::LastPort;

namespace {

using ClientSocket = Mu::Ref<Socket::Socket, Mu::AtomicCounter>;

std::atomic<bool> isLoopbackOnly = false;
std::atomic<unsigned int> requestLimit = 16 << 20;
std::atomic<unsigned int> answerLimit = 256 << 20;
std::atomic<unsigned int> clientLimit = 64;

// The number of inspectors. Shared by the accepting thread and those of the connections, which may
// outlive it if a hook ends the service.
class Clients : public Mu::SharedObject {
public:
    explicit Clients(unsigned int limit) : limit(std::max(limit, 1u)) {}

    // Waits until there is room for one more. Throws if the thread is canceled.
    void Enter() {
        Mu::LockGuard guard(lock);
        while (count >= limit)
            left.WaitInterruptibly();
        ++count;
    }
    void Leave() {
        Mu::LockGuard guard(lock);
        --count;
        left.Notify();
    }

private:
    Mu::ReentrantLock lock;
    Mu::Condition left{lock};
    unsigned int count = 0;
    unsigned int const limit;
};

// The place of one inspector, until it leaves.
class Seat {
public:
    explicit Seat(Mu::SharedPtr<Clients> const & clients) : clients(clients) { clients->Enter(); }
    ~Seat() {
        if (clients)
            clients->Leave();
    }
    Seat(Seat && other) noexcept : clients(std::move(other.clients)) {}
    Seat & operator=(Seat &&) = delete;

private:
    Mu::SharedPtr<Clients> clients;
};

// One connection. After any failure it is closed, without details for the inspector.
class SingleThreadTask : public Mu::Runnable {
public:
    SingleThreadTask(ClientSocket const & socket, Mu::UniString const & ident, Seat seat)
        : socket(socket), ident(ident), seat(std::move(seat)) {}

    void Run() override {
        Seat const taken(std::move(seat)); // released with the thread, not with the object
        try {
            ReflectionDialogue dialogue(socket->GetInputChannel(), socket->GetOutputChannel(),
                                        ident, requestLimit, answerLimit);
            while (!Mu::Thread::GetCurrent().IsCanceled() && dialogue.ServeRequest()) {
            }
        } catch (...) { // also those of a hook
        }
        try {
            socket->Close();
        } catch (Mu::MuException const &) {
        }
    }

private:
    ClientSocket socket;
    Mu::UniString ident;
    Seat seat;
};

void EndThread(Mu::Thread * thread) {
    try {
        thread->Cancel();
        thread->Join(false);
    } catch (Mu::MuException const &) { // called by a hook on this very thread
    }
    delete thread;
}

// Accepts connections until it is canceled.
class ReflectionThreadTask : public Mu::Runnable {
public:
    ReflectionThreadTask(std::unique_ptr<Socket::ServerSocket> server, Mu::UniString const & ident)
        : server(std::move(server)), ident(ident), clients(new Clients(clientLimit)) {}

    ~ReflectionThreadTask() override {
        server.reset();
        for (Mu::Thread * thread : threads)
            EndThread(thread);
    }

    void Run() override {
        while (!Mu::Thread::GetCurrent().IsCanceled()) {
            try {
                AcceptOne();
            } catch (Mu::InterruptedIOException const &) {
                return;
            } catch (Mu::MuException const &) {
                // A closed connection, or a lack of handles or memory, does not end the service.
                Mu::Thread::Sleep(RetryPause, true);
            }
        }
    }

private:
    static constexpr unsigned int RetryPause = 100; // milliseconds

    void AcceptOne() {
        Seat seat(clients);
        ClientSocket const socket = server->Accept();
        JoinEnded();
        // Each answer is written at once, and the next request waits for it.
        socket->SetTCPNoDelay(true);
        // An inspector whose machine has failed must not keep its place.
        socket->SetKeepAlive(true);
        Mu::RunnableTask const task(new SingleThreadTask(socket, ident, std::move(seat)));
        auto thread = std::make_unique<Mu::Thread>(task, Mu::UniString());
        threads.Push(thread.get());
        if (thread->Start())
            static_cast<void>(thread.release());
        else
            threads.DeleteLast();
    }

    void JoinEnded() {
        for (unsigned int i = threads.GetSize(); i-- > 0;) {
            if (threads[i]->IsRunning())
                continue;
            EndThread(threads[i]);
            threads.Delete(i);
        }
    }

    std::unique_ptr<Socket::ServerSocket> server;
    Mu::UniString ident;
    Mu::SharedPtr<Clients> clients;
    Mu::Array<Mu::Thread *> threads; // owned
};

constinit Mu::LockCore serviceLock;
constinit Mu::Thread * serviceThread = nullptr; // under the lock, like the port
constinit unsigned short servicePort = 0;

std::unique_ptr<Socket::ServerSocket> ListenSomewhere() {
    constexpr unsigned int Backlog = 50;
    Socket::InternetAddress const & address =
        isLoopbackOnly ? Socket::InternetAddress::Loopback : Socket::InternetAddress::Any;
    for (unsigned short port = ReflectionService::FirstPort; port <= ReflectionService::LastPort;
         ++port)
        try {
            return std::make_unique<Socket::ServerSocket>(port, Backlog, address);
        } catch (Mu::MuException const &) { // the next one may be free
        }
    return nullptr;
}

bool StartThread(Mu::UniString const & ident) {
    std::unique_ptr<Socket::ServerSocket> server = ListenSomewhere();
    if (server == nullptr)
        return false;
    unsigned short const port = server->GetLocalPort();
    Mu::RunnableTask const task(new ReflectionThreadTask(std::move(server), ident));
    auto thread = std::make_unique<Mu::Thread>(task, Mu::UniString("ReflectionService"));
    if (!thread->Start())
        return false;
    serviceThread = thread.release();
    servicePort = port;
    return true;
}

} // namespace

bool ReflectionService::Initialize(Mu::UniString const & ident) {
    Mu::CoreGuard guard(serviceLock);
    if (serviceThread != nullptr)
        return false;
    try {
        return StartThread(ident);
    } catch (Mu::MuException const &) {
        return false;
    }
}

ServiceEnd::ServiceEnd() {
    Mu::CoreGuard guard(serviceLock);
    thread = std::exchange(serviceThread, nullptr);
    servicePort = 0;
}

ServiceEnd::~ServiceEnd() {
    if (thread != nullptr)
        EndThread(thread);
}

void ReflectionService::Terminate() {
    ServiceEnd const end;
}

unsigned short ReflectionService::GetPort() {
    Mu::CoreGuard guard(serviceLock);
    return servicePort;
}

void ReflectionService::SetLoopbackOnly(bool isOn) {
    isLoopbackOnly = isOn;
}

void ReflectionService::SetRequestLimit(unsigned int size) {
    requestLimit = size;
}

void ReflectionService::SetAnswerLimit(unsigned int size) {
    answerLimit = size;
}

void ReflectionService::SetClientLimit(unsigned int count) {
    clientLimit = count;
}

} // namespace IO
