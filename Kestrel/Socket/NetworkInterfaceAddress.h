#pragma once

#include <Kestrel/Socket/InternetAddress.h>

namespace IO::Socket {

/// One address of a network interface, and the network that it belongs to.
///
/// Memory:  that of the addresses' host names; none for addresses from the system.
/// Threads: any number of readers, or one writer.
/// Failure: Mu::OutOfMemoryException from copies of addresses with names.
class KESTREL_API NetworkInterfaceAddress {
public:
    /// InternetAddress::Any, without a network.
    NetworkInterfaceAddress() : NetworkInterfaceAddress(InternetAddress::Any, 0) {}
    /// Without a broadcast address.
    NetworkInterfaceAddress(InternetAddress const & itsAddress, unsigned int itsPrefixLength)
        : NetworkInterfaceAddress(itsAddress, InternetAddress::Any, itsPrefixLength) {}
    NetworkInterfaceAddress(InternetAddress const & itsAddress,
                            InternetAddress const & itsBroadcast, unsigned int itsPrefixLength)
        : address(itsAddress), broadcast(itsBroadcast), prefixLength(itsPrefixLength) {}

    InternetAddress const & GetInterfaceAddress() const { return address; }
    /// The address that reaches all hosts of the network; Any if there is none.
    InternetAddress const & GetBroadcastAddress() const { return broadcast; }
    bool HasBroadcastAddress() const { return !broadcast.IsAnyAddress(); }
    /// The number of leading bits that identify the network; 0 if unknown.
    unsigned int GetNetworkPrefixLength() const { return prefixLength; }

    /// Ignores host names.
    friend bool operator==(NetworkInterfaceAddress const &,
                           NetworkInterfaceAddress const &) = default;

private:
    InternetAddress address;
    InternetAddress broadcast;
    unsigned int prefixLength;
};

} // namespace IO::Socket
