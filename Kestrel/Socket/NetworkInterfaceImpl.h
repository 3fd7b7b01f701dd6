#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Socket/NetworkInterface.h>

namespace IO::Socket {

/// What lists the interfaces of a machine. For callers there is
/// NetworkInterface::GetNetworkInterfaces.
///
/// Memory:  what it appends.
/// Threads: any.
/// Failure: NetworkInterfaceException and Mu::OutOfMemoryException.
class KESTREL_API NetworkInterfaceImpl : public Mu::Allocated {
public:
    virtual ~NetworkInterfaceImpl();
    /// Appends the interfaces and returns how many; nothing is appended after a failure.
    virtual unsigned int GetNetworkInterfaces(Mu::PagedArray<NetworkInterface> & result) = 0;

protected:
    NetworkInterfaceImpl() = default;
    NetworkInterfaceImpl(NetworkInterfaceImpl const &) = default;
    NetworkInterfaceImpl & operator=(NetworkInterfaceImpl const &) = default;
};

} // namespace IO::Socket
