#pragma once

#include <Kestrel/Socket/Platform/SocketCallTypes.h>

#include <atomic>

namespace IO::Socket {

class SocketCalls;

/// A handle of the system that some threads use while others replace or close it. It is given back when
/// nobody uses it any more, so that nobody calls the system with a number that it has given to somebody
/// else by then.
///
/// Threads: any, without a lock.
class SharedHandle {
    struct Owned;

public:
    using CloseCall = unsigned int (SocketCalls::*)(SocketHandle);

    /// Holds none. `close` is what gives one back.
    explicit SharedHandle(CloseCall close) : close(close) {}
    /// Nobody uses it any more.
    ~SharedHandle() { Close(); }
    SharedHandle(SharedHandle const &) = delete;
    SharedHandle & operator=(SharedHandle const &) = delete;

    /// A use of the handle that is current when it begins; short, or what is closed stays open.
    class Use {
    public:
        explicit Use(SharedHandle & owner);
        ~Use() { owner.Leave(); }
        Use(Use const &) = delete;
        Use & operator=(Use const &) = delete;

        /// Takes what `make` creates where there is none; of two threads at once that of one stays.
        /// Returns the error of `make`. Throws Mu::OutOfMemoryException.
        unsigned int SetIfNone(unsigned int (SocketCalls::*make)(SocketHandle *));
        /// NoSocket where there is none.
        SocketHandle GetHandle() const;
        /// Whether it has been neither replaced nor closed since.
        bool IsCurrent() const { return owner.current.load() == owned; }

    private:
        SharedHandle & owner;
        Owned * owned;
    };

    /// The current one, or NoSocket; for comparisons only.
    SocketHandle Get();
    /// Takes the handle over in place of the current one. Throws Mu::OutOfMemoryException, and has not
    /// taken it then.
    void Set(SocketHandle handle);
    void Close();
    /// The same with a last call for the handle, if somebody uses it; where that fails it stays.
    void Close(unsigned int (SocketCalls::*last)(SocketHandle));

private:
    void Leave();
    void Keep(Owned * owned);
    void Retire(Owned * owned);
    void CloseRetired();

    CloseCall const close;
    std::atomic<Owned *> current{nullptr};
    std::atomic<Owned *> retired{nullptr}; // a list of those that are not current any more
    std::atomic<unsigned int> users{0};
};

} // namespace IO::Socket
