#include <Kestrel/Socket/SocketImplFactory.h>

#include <Kestrel/Socket/Internal/SocketFactories.h>
#include <Kestrel/Socket/Internal/WinSocketImpl.h>

namespace IO::Socket {

constinit SocketImplFactory * socketFactory = nullptr;
constinit SocketImplFactory * serverSocketFactory = nullptr;

SocketImplFactory::~SocketImplFactory() = default;

TCPIPSocketImplFactory & TCPIPSocketImplFactory::Get() {
    static TCPIPSocketImplFactory factory;
    return factory;
}

SocketImpl::Reference TCPIPSocketImplFactory::Create(unsigned int timeout) {
    SocketImpl::Reference made(new WinSocketImpl());
    made->SetTimeout(timeout);
    return made;
}

} // namespace IO::Socket
