#pragma once

#include <Kestrel/Socket/SocketImplFactory.h>

namespace IO::Socket {

// What the constructors of Socket and of ServerSocket ask; there from StartSockets on.
extern SocketImplFactory * socketFactory;
extern SocketImplFactory * serverSocketFactory;

} // namespace IO::Socket
