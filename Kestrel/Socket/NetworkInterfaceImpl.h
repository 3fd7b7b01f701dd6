#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Socket/NetworkInterface.h>

namespace IO::Socket {

/// Lists the interfaces of a machine. Callers use NetworkInterface::GetNetworkInterfaces.
///
/// Memory:  that of the appended interfaces.
/// Threads: any.
/// Failure: NetworkInterfaceException and Mu::OutOfMemoryException.
class KESTREL_API NetworkInterfaceImpl : public Mu::Allocated {
public:
    virtual ~NetworkInterfaceImpl();
    /// Appends the interfaces and returns their number; after a failure nothing is appended.
    virtual unsigned int GetNetworkInterfaces(Mu::PagedArray<NetworkInterface> & result) = 0;

protected:
    NetworkInterfaceImpl() = default;
    NetworkInterfaceImpl(NetworkInterfaceImpl const &) = default;
    NetworkInterfaceImpl & operator=(NetworkInterfaceImpl const &) = default;
};

} // namespace IO::Socket
