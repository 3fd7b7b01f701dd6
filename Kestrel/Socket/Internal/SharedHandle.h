#pragma once

#include <Kestrel/Socket/Platform/SocketCallTypes.h>

#include <atomic>

namespace IO::Socket {

class SocketCalls;

/// A handle of the system that some threads use while others replace or close it. It is closed
/// after its last use, so that no thread calls the system with a number that has been reused
/// meanwhile.
///
/// Threads: any, without a lock.
class SharedHandle {
    struct Owned;

public:
    using CloseCall = unsigned int (SocketCalls::*)(SocketHandle);

    /// Starts empty. `close` closes a handle.
    explicit SharedHandle(CloseCall close) : close(close) {}
    /// Must not be in use any more.
    ~SharedHandle() { Close(); }
    SharedHandle(SharedHandle const &) = delete;
    SharedHandle & operator=(SharedHandle const &) = delete;

    /// A use of the handle that is current at its start; keep it short, as it delays closing.
    class Use {
    public:
        explicit Use(SharedHandle & owner);
        ~Use() { owner.Leave(); }
        Use(Use const &) = delete;
        Use & operator=(Use const &) = delete;

        /// Stores what `make` creates if there is none; if two threads do so at once, one of the
        /// two is kept. Returns the error of `make`. Throws Mu::OutOfMemoryException.
        unsigned int SetIfNone(unsigned int (SocketCalls::*make)(SocketHandle *));
        /// NoSocket if there is none.
        SocketHandle GetHandle() const;
        /// Whether it has been neither replaced nor closed since.
        bool IsCurrent() const { return owner.current.load() == owned; }

    private:
        SharedHandle & owner;
        Owned * owned;
    };

    /// The current one, or NoSocket; for comparisons only.
    SocketHandle Get();
    /// Takes ownership of the handle and replaces the current one. Throws Mu::OutOfMemoryException,
    /// without taking ownership.
    void Set(SocketHandle handle);
    void Close();
    /// The same with a last call for the handle, if it is in use; if that fails, the handle is
    /// kept.
    void Close(unsigned int (SocketCalls::*last)(SocketHandle));

private:
    void Leave();
    void Keep(Owned * owned);
    void Retire(Owned * owned);
    void CloseRetired();

    CloseCall const close;
    std::atomic<Owned *> current{nullptr};
    std::atomic<Owned *> retired{nullptr}; // a list of former handles
    std::atomic<unsigned int> users{0};
};

} // namespace IO::Socket
