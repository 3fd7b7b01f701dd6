#pragma once

#include <Kestrel/Root/Errors/Exceptions.h>

namespace IO::Socket {

// Exceptions of the socket classes, besides those of the root. The text names the operation, and
// ends with the number and text of the system's error if there is one; numbers are those of Windows
// on every platform. A wait that another thread ended throws Mu::InterruptedIOException.

/// Any failure of a socket without a more specific class.
KESTREL_DECLARE_EXCEPTION(SocketException, ::Mu::IOException);
/// The local address is in use.
KESTREL_DECLARE_EXCEPTION(SocketAddressAlreadyUsedException, SocketException);
/// A connection was refused or lost, or the socket reported an error during a wait.
KESTREL_DECLARE_EXCEPTION(SocketConnectException, SocketException);
/// The timeout of a wait has expired.
KESTREL_DECLARE_EXCEPTION(SocketTimeoutException, SocketException);
/// A name cannot be resolved, or a text is not an address.
KESTREL_DECLARE_EXCEPTION(UnknownHostException, ::Mu::IOException);
/// The network interfaces of the machine cannot be listed.
KESTREL_DECLARE_EXCEPTION(NetworkInterfaceException, ::Mu::IOException);

} // namespace IO::Socket
