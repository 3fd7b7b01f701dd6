#pragma once

#include <Kestrel/Socket/Internal/SharedHandle.h>
#include <Kestrel/Socket/Platform/SocketCalls.h>

namespace IO::Socket {

/// Ends the waits on one socket from another thread: a signal of the system that they poll besides
/// it. It is created by the first wait; an Interrupt uses it up, and the next wait creates another
/// one.
///
/// Threads: any, without a lock.
class SocketSignal {
public:
    /// A signal that cannot be raised is kept, so that a later Interrupt may retry.
    void Interrupt() { signal.Close(&SocketCalls::RaiseSignal); }

    /// One wait's share in the signal.
    class Watch {
    public:
        /// Creates a signal if there is none. SocketException: the system could not.
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
