#pragma once

#include <Kestrel/Root/Errors/Exceptions.h>

namespace IO::Socket {

// What the object sockets throw beside the root's own. The text names what failed, and ends with the
// number of the system's error and its text where there is one; numbers are those of Windows
// everywhere. A wait that another thread ended is thrown as Mu::InterruptedIOException.

/// Any failure of a socket that has no class of its own.
KESTREL_DECLARE_EXCEPTION(SocketException, ::Mu::IOException);
/// The address to bind a socket to is in use.
KESTREL_DECLARE_EXCEPTION(SocketAddressAlreadyUsedException, SocketException);
/// A connection was refused or lost, or an error came up at the socket while it was waited for.
KESTREL_DECLARE_EXCEPTION(SocketConnectException, SocketException);
/// The time set for a wait was over.
KESTREL_DECLARE_EXCEPTION(SocketTimeoutException, SocketException);
/// A name does not resolve, or a text is no address.
KESTREL_DECLARE_EXCEPTION(UnknownHostException, ::Mu::IOException);
/// The network interfaces of the machine cannot be listed.
KESTREL_DECLARE_EXCEPTION(NetworkInterfaceException, ::Mu::IOException);

} // namespace IO::Socket
