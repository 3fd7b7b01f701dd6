#pragma once

#include <Kestrel/Root/Lock.h>
#include <Kestrel/Root/Memory.h>
#include <Kestrel/Socket/Platform/SocketCallTypes.h>

namespace IO::Socket {

/// What ends the waits at one socket from another thread: a signal of the system that they poll
/// besides it. It comes into being at the first wait; an Interrupt uses it up, and the next wait makes
/// another one.
///
/// Threads: any. The lock is held for the few instructions round raising or closing the signal, so
///          that nobody raises a handle that the system has given to somebody else by then.
class SocketSignal {
    struct Signal;

public:
    SocketSignal() = default;
    /// Nobody waits any more.
    ~SocketSignal() { Close(); }
    SocketSignal(SocketSignal const &) = delete;
    SocketSignal & operator=(SocketSignal const &) = delete;

    void Interrupt();
    /// Gives the system's signal back, unless somebody waits, who does it then.
    void Close();

    /// One wait's share in the signal.
    class Watch {
    public:
        /// Makes a signal where there is none. SocketException: the system has none to give.
        explicit Watch(SocketSignal & owner);
        ~Watch();
        Watch(Watch const &) = delete;
        Watch & operator=(Watch const &) = delete;

        SocketHandle GetHandle() const;
        /// Whether it was used up by an Interrupt or closed.
        bool IsGone() const;

    private:
        SocketSignal & owner;
        Signal * signal;
    };

private:
    static void CloseUnwatched(Signal * signal);
    void Make();

    mutable Mu::LockCore lock;
    Signal * current = nullptr; // under the lock
};

} // namespace IO::Socket
