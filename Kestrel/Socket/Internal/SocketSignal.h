#pragma once

#include <Kestrel/Socket/Internal/SharedHandle.h>
#include <Kestrel/Socket/Platform/SocketCalls.h>

namespace IO::Socket {

/// What ends the waits at one socket from another thread: a signal of the system that they poll
/// besides it. It comes into being at the first wait; an Interrupt uses it up, and the next wait makes
/// another one.
///
/// Threads: any, without a lock.
class SocketSignal {
public:
    /// What cannot be raised stays, so that a later Interrupt may do it.
    void Interrupt() { signal.Close(&SocketCalls::RaiseSignal); }

    /// One wait's share in the signal.
    class Watch {
    public:
        /// Makes a signal where there is none. SocketException: the system has none to give.
        explicit Watch(SocketSignal & owner);

        SocketHandle GetHandle() const { return use.GetHandle(); }
        /// Whether an Interrupt used it up.
        bool IsGone() const { return !use.IsCurrent(); }

    private:
        SharedHandle::Use use;
    };

private:
    SharedHandle signal{&SocketCalls::CloseSignal};
};

} // namespace IO::Socket
