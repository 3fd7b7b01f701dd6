#pragma once

#include <Kestrel/Socket/Internal/SocketChannels.h>
#include <Kestrel/Socket/Internal/SocketSignal.h>
#include <Kestrel/Socket/Platform/SocketCallTypes.h>
#include <Kestrel/Socket/SocketImpl.h>

namespace IO::Socket {

/// The sockets of the system, by its socket calls; on every platform.
class WinSocketImpl final : public SocketImpl {
public:
    WinSocketImpl() : input(this), output(this) {}
    ~WinSocketImpl() override;

    void Interrupt() override { signal.Interrupt(); }
    bool GetBoolOption(Option option) override;
    void SetBoolOption(Option option, bool value) override;
    int GetIntOption(Option option) override;
    void SetIntOption(Option option, int value) override;
    Mu::OBinaryChannel & GetOutputChannel() override { return output; }
    Mu::IBinaryChannel & GetInputChannel() override { return input; }
    void Create(bool stream) override;
    void Close() override;
    void Connect(Mu::String const & host, unsigned short port) override;
    void Connect(InternetAddress const & address, unsigned short port) override;
    void ShutdownOutput() override;
    void ShutdownInput() override;
    void Bind(InternetAddress const & address, unsigned short port) override;
    void Listen(unsigned int backlog) override;
    bool IsPending() override;
    Reference Accept() override;
    Reference Accept(unsigned int milliseconds) override;
    bool Equals(SocketImpl const & other) override;
    unsigned int GetAvailable() override;
    void Write(char const * data, unsigned int length) override;
    unsigned int Read(char * data, unsigned int length) override;
    void Flush() override {}

private:
    /// Waits until the socket is ready for some of `wanted`, PollEvent bits, or for Except;
    /// `*ready` is 0 on timeout after the milliseconds, 0 for no limit. Returns the system's error,
    /// and throws if the wait was interrupted.
    unsigned int Wait(SharedHandle::Use const & socket, unsigned char wanted,
                      unsigned int milliseconds, unsigned char * ready);
    /// The same before a retry of a read or write, but failures are thrown.
    void WaitToTry(SharedHandle::Use const & socket, unsigned char wanted, char const * failed,
                   char const * timedOut);
    /// The pending error of the socket, or why it cannot be read.
    static unsigned int TakeError(SharedHandle::Use const & socket);
    void FinishConnect(SharedHandle::Use const & socket, unsigned int lastError);
    void KeepLocalEnd(SocketAddress const & address);
    Reference AcceptNow(SharedHandle::Use const & socket);

    std::atomic<bool> connected = false;
    SocketAddress peer{};
    mutable SharedHandle handle{&SocketCalls::CloseSocket}; // none until Create
    ISocketChannel input;
    OSocketChannel output;
    SocketSignal signal;
    // The memory that was last verified to be writable.
    char const * goodData = nullptr;
    unsigned int goodLength = 0;
};

} // namespace IO::Socket
