#include <Kestrel/Socket/ServerSocket.h>

#include <Kestrel/Socket/Internal/SharedImpl.h>
#include <Kestrel/Socket/Internal/SocketFactories.h>

namespace IO::Socket {

ServerSocket::ServerSocket(unsigned short port, unsigned int backlog,
                           InternetAddress const & address)
    : impl(serverSocketFactory->Create(0)) {
    OrClose(impl, [&] {
        impl->Create(true);
        impl->Bind(address, port);
        impl->Listen(backlog);
    });
}

ServerSocket::~ServerSocket() = default;

Mu::Ref<Socket, Mu::AtomicCounter> ServerSocket::Wrap(SocketImpl::Reference accepted) {
    return Mu::Ref<Socket, Mu::AtomicCounter>(new Socket(std::move(accepted)));
}

Mu::Ref<Socket, Mu::AtomicCounter> ServerSocket::Accept() {
    return Wrap(impl->Accept());
}

Mu::Ref<Socket, Mu::AtomicCounter> ServerSocket::Accept(unsigned int milliseconds) {
    SocketImpl::Reference accepted = impl->Accept(milliseconds);
    if (accepted.IsNull())
        return {};
    return Wrap(std::move(accepted));
}

bool operator==(ServerSocket const & a, ServerSocket const & b) {
    return IsSame(a.impl, b.impl);
}

} // namespace IO::Socket
