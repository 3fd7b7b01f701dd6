#include <Kestrel/Socket/SocketExceptions.h>

namespace IO::Socket {

KESTREL_DEFINE_EXCEPTION(SocketException, ::Mu::IOException)
KESTREL_DEFINE_EXCEPTION(SocketAddressAlreadyUsedException, SocketException)
KESTREL_DEFINE_EXCEPTION(SocketConnectException, SocketException)
KESTREL_DEFINE_EXCEPTION(SocketTimeoutException, SocketException)
KESTREL_DEFINE_EXCEPTION(UnknownHostException, ::Mu::IOException)
KESTREL_DEFINE_EXCEPTION(NetworkInterfaceException, ::Mu::IOException)

} // namespace IO::Socket
