#pragma once

#include <Kestrel/Root/Memory/AtomicCounter.h>
#include <Kestrel/Root/Memory/Ref.h>
#include <Kestrel/Root/Streams/BinaryChannel.h>
#include <Kestrel/Root/Threads/Thread.h>
#include <Kestrel/Socket/InternetAddress.h>

#include <atomic>

namespace IO::Socket {

/// The implementation behind Socket and ServerSocket, whose copies share it by counted references.
///
/// A blocking call tries first and then waits up to the timeout. Interrupt ends such a wait at
/// once, as do Mu::Thread::Interrupt and Cancel of the waiting thread. An interrupted object
/// remains usable, and the next call waits again.
///
/// Memory:  the object's own. A call allocates when a connection is established, and at the first
///          wait and the first one after an Interrupt; reading and writing allocate nothing
///          otherwise.
/// Threads: one reads, another one writes, and a third may call Interrupt, which ends the waits of
///          both. All else is for one thread at a time.
/// Failure: SocketException and its derived classes, Mu::InterruptedIOException for a wait that was
///          interrupted, Mu::OutOfMemoryException. The object is unchanged then, and does not
///          reconnect by itself.
class KESTREL_API SocketImpl : public Mu::Interruptible, public Mu::Allocated {
public:
    enum Option : int {
        MulticastLoop,
        TypeOfService, ///< a number, as are the linger time and the two sizes
        Broadcast,
        KeepAlive,
        Linger, ///< seconds that closing waits for unsent data; -1 is off
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

    /// Ends the waits on this object, which then throw. Has no effect on threads that do not wait.
    void Interrupt() override = 0;
    /// Throws for an option of the other type.
    virtual bool GetBoolOption(Option option) = 0;
    virtual void SetBoolOption(Option option, bool value) = 0;
    virtual int GetIntOption(Option option) = 0;
    virtual void SetIntOption(Option option, int value) = 0;
    /// Write, Flush and Close of this object as a channel, which is part of it.
    virtual Mu::OBinaryChannel & GetOutputChannel() = 0;
    virtual Mu::IBinaryChannel & GetInputChannel() = 0;
    /// Creates a stream socket, or else a datagram socket, and replaces an earlier one.
    virtual void Create(bool stream) = 0;
    /// Shuts down and closes a connection; does not fail. Does nothing unless connected, so that a
    /// listening socket stays open until the object is destroyed.
    virtual void Close() = 0;
    /// Resolves the name first, which blocks without limit.
    virtual void Connect(Mu::String const & host, unsigned short port) = 0;
    virtual void Connect(InternetAddress const & address, unsigned short port) = 0;
    /// The peer reads the end of the data after everything that was written.
    virtual void ShutdownOutput() = 0;
    virtual void ShutdownInput() = 0;
    /// Port 0 lets the system choose; see GetLocalPort.
    virtual void Bind(InternetAddress const & address, unsigned short port) = 0;
    virtual void Listen(unsigned int backlog) = 0;
    /// Whether a connection is waiting to be accepted. Does not block.
    virtual bool IsPending() = 0;
    /// Waits up to the timeout, and then throws SocketTimeoutException.
    virtual Reference Accept() = 0;
    /// Waits up to the milliseconds, 0 for no limit; empty if there was no connection.
    virtual Reference Accept(unsigned int milliseconds) = 0;
    /// Whether both use the same socket of the system.
    virtual bool Equals(SocketImpl const & other) = 0;
    /// Bytes that can be read without waiting.
    virtual unsigned int GetAvailable() = 0;
    /// Writes all or throws; how much was sent is unknown then.
    virtual void Write(char const * data, unsigned int length) = 0;
    /// Waits for data and returns the number of bytes; 0 means that the peer has closed its side.
    /// Also returns 0, without a wait, if the length is 0 or the memory cannot be written.
    virtual unsigned int Read(char * data, unsigned int length) = 0;
    /// Nothing is buffered here.
    virtual void Flush() = 0;

    /// The address of the peer; empty until connected.
    AddressReference const & GetInternetAddress() const { return remoteAddress; }
    unsigned short GetPort() const { return remotePort; }
    /// The local address; empty until bound or connected.
    AddressReference const & GetLocalInternetAddress() const { return localAddress; }
    unsigned short GetLocalPort() const { return localPort; }
    /// In milliseconds, for each wait that starts later; 0 for no limit.
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
