#pragma once

#include <Kestrel/Socket/SocketImplFactory.h>

namespace IO::Socket {

// Used by the constructors of Socket and of ServerSocket; valid from StartSockets on.
extern SocketImplFactory * socketFactory;
extern SocketImplFactory * serverSocketFactory;

} // namespace IO::Socket
