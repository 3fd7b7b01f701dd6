#pragma once

#include <Kestrel/Root/Memory/AtomicCounter.h>
#include <Kestrel/Root/Memory/Ref.h>
#include <Kestrel/Root/Streams/BinaryChannel.h>
#include <Kestrel/Root/Threads/Thread.h>
#include <Kestrel/Socket/InternetAddress.h>

#include <atomic>

namespace IO::Socket {

/// What does the work behind Socket and ServerSocket, which share it by counted references.
///
/// A call that seems to block tries first and then waits, as long as the timeout allows. Interrupt
/// ends such a wait at once; Mu::Thread::Interrupt and Cancel of the waiting thread come to the same.
/// An interrupted object is as good as before, and the next call waits anew.
///
/// Memory:  the object's own. A call takes memory when a connection comes to stand, and at the first
///          wait and the first one behind an Interrupt; reading and writing take none otherwise.
/// Threads: one reads, another writes, any third may call Interrupt; an Interrupt ends the waits of
///          both. The rest is for one thread at a time.
/// Failure: SocketException and what derives from it, Mu::InterruptedIOException for a wait that was
///          interrupted, Mu::OutOfMemoryException. The object stays as it was, and nothing connects
///          again by itself.
class KESTREL_API SocketImpl : public Mu::Interruptible, public Mu::Allocated {
public:
    enum Option : int {
        MulticastLoop,
        TypeOfService, ///< a number, as are the linger time and the two sizes
        Broadcast,
        KeepAlive,
        Linger, ///< seconds that closing waits for what was not sent; -1 is off
        OOBInline,
        ReceiveBufferSize,
        ReuseAddress,
        SendBufferSize,
        TCPNoDelay
    };
    using Reference = Mu::Ref<SocketImpl, Mu::AtomicCounter>;
    using AddressReference = Mu::Ref<InternetAddress, Mu::AtomicCounter>;

    SocketImpl(SocketImpl const &) = delete;
    SocketImpl & operator=(SocketImpl const &) = delete;
    ~SocketImpl() override;

    /// Ends the waits at this object, which throw. Threads that do not wait are not affected.
    void Interrupt() override = 0;
    /// An option of the other kind throws.
    virtual bool GetBoolOption(Option option) = 0;
    virtual void SetBoolOption(Option option, bool value) = 0;
    virtual int GetIntOption(Option option) = 0;
    virtual void SetIntOption(Option option, int value) = 0;
    /// Write, Flush and Close of this object as a channel, which is a part of it.
    virtual Mu::OBinaryChannel & GetOutputChannel() = 0;
    virtual Mu::IBinaryChannel & GetInputChannel() = 0;
    /// A stream, or else a datagram socket, in the place of an earlier one.
    virtual void Create(bool stream) = 0;
    /// Shuts a connection down and gives the socket back, without a failure; nothing unless
    /// connected, so that a listening socket stays open until the object goes.
    virtual void Close() = 0;
    /// Resolves the name first, however long that takes.
    virtual void Connect(Mu::String const & host, unsigned short port) = 0;
    virtual void Connect(InternetAddress const & address, unsigned short port) = 0;
    /// The peer reads its end behind what was written.
    virtual void ShutdownOutput() = 0;
    virtual void ShutdownInput() = 0;
    /// Port 0 lets the system choose; see GetLocalPort.
    virtual void Bind(InternetAddress const & address, unsigned short port) = 0;
    virtual void Listen(unsigned int backlog) = 0;
    /// Whether a connection waits to be accepted. Does not wait.
    virtual bool IsPending() = 0;
    /// Waits as long as the timeout, behind which it throws SocketTimeoutException.
    virtual Reference Accept() = 0;
    /// Waits so many milliseconds, 0 without limit; empty if there was no connection.
    virtual Reference Accept(unsigned int milliseconds) = 0;
    /// Whether the other one works on the same socket of the system.
    virtual bool Equals(SocketImpl const & other) = 0;
    /// Bytes that can be read without waiting.
    virtual unsigned int GetAvailable() = 0;
    /// Writes all or throws; how much of it was sent is not known then.
    virtual void Write(char const * data, unsigned int length) = 0;
    /// Waits for the first bytes and returns how many came; 0 is the peer's end. Also 0, and nothing
    /// is waited for, when the length is 0 or the memory cannot be written.
    virtual unsigned int Read(char * data, unsigned int length) = 0;
    /// Nothing is buffered here.
    virtual void Flush() = 0;

    /// The peer; empty until connected.
    AddressReference const & GetInternetAddress() const { return remoteAddress; }
    unsigned short GetPort() const { return remotePort; }
    /// This end; empty until bound or connected.
    AddressReference const & GetLocalInternetAddress() const { return localAddress; }
    unsigned short GetLocalPort() const { return localPort; }
    /// Milliseconds for each wait that begins from now on; 0 is without limit.
    unsigned int GetTimeout() const { return timeout.load(std::memory_order_relaxed); }
    void SetTimeout(unsigned int milliseconds) {
        timeout.store(milliseconds, std::memory_order_relaxed);
    }

protected:
    SocketImpl() = default;

    AddressReference remoteAddress;
    unsigned short remotePort = 0;
    AddressReference localAddress;
    unsigned short localPort = 0;
    std::atomic<unsigned int> timeout = 0;
};

} // namespace IO::Socket
