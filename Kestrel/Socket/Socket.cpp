#include <Kestrel/Socket/Socket.h>

#include <Kestrel/Socket/Internal/SharedImpl.h>
#include <Kestrel/Socket/Internal/SocketFactories.h>

namespace IO::Socket {
namespace {

constexpr unsigned int ConnectLimit = 30000; // milliseconds

} // namespace

// The limit is only for connecting, not for the steps before and after.
template <typename Connect>
void Socket::Open(InternetAddress const * localAddress, unsigned short localPort, Connect connect) {
    impl = socketFactory->Create(0);
    OrClose(impl, [&] {
        impl->Create(true);
        if (localAddress != nullptr)
            impl->Bind(*localAddress, localPort);
        impl->SetTimeout(ConnectLimit);
        connect();
        impl->SetTimeout(0);
    });
}

Socket::Socket(InternetAddress const & address, unsigned short port) {
    Open(nullptr, 0, [&] { impl->Connect(address, port); });
}

Socket::Socket(InternetAddress const & address, unsigned short port,
               InternetAddress const & localAddress, unsigned short localPort) {
    Open(&localAddress, localPort, [&] { impl->Connect(address, port); });
}

Socket::Socket(char const * host, unsigned short port) {
    Open(nullptr, 0, [&] { impl->Connect(Mu::String(host), port); });
}

Socket::Socket(char const * host, unsigned short port, InternetAddress const & localAddress,
               unsigned short localPort) {
    Open(&localAddress, localPort, [&] { impl->Connect(Mu::String(host), port); });
}

Socket::~Socket() = default;

bool Socket::GetKeepAlive() const {
    return impl->GetBoolOption(SocketImpl::KeepAlive);
}

void Socket::SetKeepAlive(bool isOn) {
    impl->SetBoolOption(SocketImpl::KeepAlive, isOn);
}

bool Socket::GetOOBInline() const {
    return impl->GetBoolOption(SocketImpl::OOBInline);
}

void Socket::SetOOBInline(bool isOn) {
    impl->SetBoolOption(SocketImpl::OOBInline, isOn);
}

bool Socket::GetReuseAddress() const {
    return impl->GetBoolOption(SocketImpl::ReuseAddress);
}

void Socket::SetReuseAddress(bool isOn) {
    impl->SetBoolOption(SocketImpl::ReuseAddress, isOn);
}

bool Socket::GetTCPNoDelay() const {
    return impl->GetBoolOption(SocketImpl::TCPNoDelay);
}

void Socket::SetTCPNoDelay(bool isOn) {
    impl->SetBoolOption(SocketImpl::TCPNoDelay, isOn);
}

unsigned int Socket::GetReceiveBufferSize() const {
    return static_cast<unsigned int>(impl->GetIntOption(SocketImpl::ReceiveBufferSize));
}

void Socket::SetReceiveBufferSize(unsigned int size) {
    impl->SetIntOption(SocketImpl::ReceiveBufferSize, static_cast<int>(size));
}

unsigned int Socket::GetSendBufferSize() const {
    return static_cast<unsigned int>(impl->GetIntOption(SocketImpl::SendBufferSize));
}

void Socket::SetSendBufferSize(unsigned int size) {
    impl->SetIntOption(SocketImpl::SendBufferSize, static_cast<int>(size));
}

bool operator==(Socket const & a, Socket const & b) {
    return IsSame(a.impl, b.impl);
}

} // namespace IO::Socket
