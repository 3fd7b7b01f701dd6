#pragma once

#include <Kestrel/Socket/Platform/SocketCallTypes.h>

#include <atomic>

namespace IO::Socket {

/// What ends the waits at one socket from another thread: a signal of the system that they poll
/// besides it. It comes into being at the first wait; an Interrupt uses it up, and the next wait makes
/// another one.
///
/// Used up, it stays open as long as somebody may wait there, so that nobody raises or polls a handle
/// that the system has given to somebody else by then.
///
/// Threads: any, without a lock.
class SocketSignal {
    struct Signal;

public:
    SocketSignal() = default;
    /// Nobody waits or interrupts any more.
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
        ~Watch() { owner.Leave(); }
        Watch(Watch const &) = delete;
        Watch & operator=(Watch const &) = delete;

        SocketHandle GetHandle() const;
        /// Whether it was used up by an Interrupt or closed.
        bool IsGone() const { return owner.current.load() != signal; }

    private:
        SocketSignal & owner;
        Signal * signal;
    };

private:
    Signal * Make();
    void Leave();
    void Keep(Signal * signal);
    void CloseUsed();

    std::atomic<Signal *> current{nullptr};
    std::atomic<Signal *> used{nullptr}; // a list of those that are not current any more
    std::atomic<unsigned int> waiting{0};
};

} // namespace IO::Socket
