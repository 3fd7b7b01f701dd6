// Reading, writing, and waiting for both.

#include <Kestrel/Socket/Internal/ErrorText.h>
#include <Kestrel/Socket/Internal/WinSocketImpl.h>
#include <Kestrel/Socket/Platform/SocketCalls.h>
#include <Kestrel/Socket/SocketExceptions.h>

#include <algorithm>

namespace IO::Socket {
namespace {

// Records what the current thread blocks on, for the lifetime of the object.
class Blocking {
public:
    explicit Blocking(Mu::Interruptible * on) : thread(Mu::Thread::GetCurrent()) {
        thread.BlockOn(on);
    }
    ~Blocking() { thread.BlockOn(nullptr); }
    Blocking(Blocking const &) = delete;
    Blocking & operator=(Blocking const &) = delete;

private:
    Mu::Thread & thread;
};

void ThrowIfInterrupted() {
    if (Mu::Thread::Interrupted())
        throw Mu::InterruptedIOException("Socket interrupted.", __FILE__, __LINE__);
}

unsigned int Shrink(unsigned int chunk) {
    if (chunk > 0x100000)
        return 0x100000;
    return chunk > 2048 ? chunk / 2 : 2048;
}

constexpr unsigned int MaxShortages = 32; // of buffers, in one Write
constexpr unsigned int MaxReadWaits = 6;  // that report readable data, in one Read

constexpr char readFailed[] = "Socket read failed.";
constexpr char writeFailed[] = "Socket write failed.";

} // namespace

// The socket is checked after the watch was created: a later close finds the watch, and ends the
// wait.
unsigned int WinSocketImpl::Wait(SharedHandle::Use const & socket, unsigned char wanted,
                                 unsigned int milliseconds, unsigned char * ready) {
    SocketSignal::Watch const watch(signal);
    if (!socket.IsCurrent())
        return WSAError::NotSocket;
    PollEntry entries[] = {
        {socket.GetHandle(), static_cast<unsigned char>(wanted | PollEvent::Except), 0},
        {watch.GetHandle(), PollEvent::Read, 0}};
    unsigned int error;
    {
        Blocking const blocking(this);
        ThrowIfInterrupted(); // earlier interruptions cannot have raised the signal
        unsigned int count;
        error = GetSocketCalls().Poll(entries, 2, milliseconds > 0 ? milliseconds * 1000ll : -1,
                                      &count);
    }
    *ready = entries[0].ready;
    if (!watch.IsGone())
        return error;
    ThrowIfInterrupted();
    if (!socket.IsCurrent())
        return WSAError::NotSocket;
    // This object was interrupted but not this thread, perhaps for another one that waits here.
    throw SocketException("Socket internal error.", __FILE__, __LINE__);
}

void WinSocketImpl::WaitToTry(SharedHandle::Use const & socket, unsigned char wanted,
                              char const * failed, char const * timedOut) {
    unsigned char ready;
    unsigned int const error = Wait(socket, wanted, GetTimeout(), &ready);
    if (error != WSAError::None)
        Throw<SocketException>(failed, error);
    if (ready == 0)
        throw SocketTimeoutException(timedOut, __FILE__, __LINE__);
    if (ready & PollEvent::Except)
        Throw<SocketConnectException>(failed, TakeError(socket));
}

unsigned int WinSocketImpl::TakeError(SharedHandle::Use const & socket) {
    int value;
    unsigned int const unread = GetSocketCalls().GetSockOpt(socket.GetHandle(), OptionLevel::Socket,
                                                            OptionName::Error, &value);
    return unread != WSAError::None ? unread : static_cast<unsigned int>(value);
}

unsigned int WinSocketImpl::GetAvailable() {
    unsigned int count;
    unsigned int const error =
        GetSocketCalls().GetAvailable(SharedHandle::Use(handle).GetHandle(), &count);
    if (error != WSAError::None)
        Throw<SocketException>(
            "Failed to get the amount of available data can be read from socket.", error);
    return count;
}

// A system that is short of buffers accepts smaller pieces; the retry does not wait.
void WinSocketImpl::Write(char const * data, unsigned int length) {
    SharedHandle::Use const socket(handle);
    unsigned int chunk = length;
    unsigned int shortages = 0;
    for (unsigned int done = 0; done < length;) {
        unsigned int sent;
        unsigned int const error = GetSocketCalls().Send(socket.GetHandle(), data + done,
                                                         std::min(length - done, chunk), &sent);
        if (error == WSAError::None) {
            done += sent;
        } else if (error == WSAError::NoBuffers && shortages < MaxShortages) {
            chunk = Shrink(chunk);
            ++shortages;
        } else if (error == WSAError::WouldBlock) {
            WaitToTry(socket, PollEvent::Write, writeFailed, "Socket write timed out.");
        } else {
            Throw<SocketException>(writeFailed, error);
        }
    }
}

// Checking whether memory is writable costs a system call, so it is done once for a buffer into
// which a host reads repeatedly. If it changes later, the system reports that.
unsigned int WinSocketImpl::Read(char * data, unsigned int length) {
    if (data == nullptr || length == 0)
        return 0;
    if (data < goodData || length > goodLength ||
        static_cast<std::size_t>(data - goodData) > goodLength - length) {
        if (!BNValidWritePtr(data, length))
            return 0;
        goodData = data;
        goodLength = length;
    }
    SharedHandle::Use const socket(handle);
    for (unsigned int waits = 1;; ++waits) {
        unsigned int received;
        unsigned int error = GetSocketCalls().Recv(socket.GetHandle(), data, length, &received);
        if (error == WSAError::None && received == 0 && !socket.IsCurrent())
            error = WSAError::NotSocket; // closed on this side, not by the peer
        if (error == WSAError::None)
            return received;
        if (error == WSAError::Fault)
            return 0;
        if (error != WSAError::WouldBlock)
            Throw<SocketException>(readFailed, error);
        WaitToTry(socket, PollEvent::Read, readFailed, "Socket read timed out.");
        if (waits == MaxReadWaits)
            Throw<SocketException>(readFailed, error);
    }
}

} // namespace IO::Socket
