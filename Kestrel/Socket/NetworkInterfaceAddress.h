#pragma once

#include <Kestrel/Socket/InternetAddress.h>

namespace IO::Socket {

/// One address of a network interface, with the network that it is in.
///
/// Memory:  that of the addresses' host names; none for what comes from the system.
/// Threads: any number may read, one may change.
/// Failure: Mu::OutOfMemoryException from copies of addresses with names.
class KESTREL_API NetworkInterfaceAddress {
public:
    /// Any, without a network.
    NetworkInterfaceAddress() : NetworkInterfaceAddress(InternetAddress::Any, 0) {}
    /// Without a broadcast address.
    NetworkInterfaceAddress(InternetAddress const & itsAddress, unsigned int itsPrefixLength)
        : NetworkInterfaceAddress(itsAddress, InternetAddress::Any, itsPrefixLength) {}
    NetworkInterfaceAddress(InternetAddress const & itsAddress,
                            InternetAddress const & itsBroadcast, unsigned int itsPrefixLength)
        : address(itsAddress), broadcast(itsBroadcast), prefixLength(itsPrefixLength) {}

    InternetAddress const & GetInterfaceAddress() const { return address; }
    /// Reaches all hosts of the network at once; Any when there is none.
    InternetAddress const & GetBroadcastAddress() const { return broadcast; }
    bool HasBroadcastAddress() const { return !broadcast.IsAnyAddress(); }
    /// How many bits at the front are those of the network; 0 when that is not known.
    unsigned int GetNetworkPrefixLength() const { return prefixLength; }

    /// Host names do not count.
    friend bool operator==(NetworkInterfaceAddress const &,
                           NetworkInterfaceAddress const &) = default;

private:
    InternetAddress address;
    InternetAddress broadcast;
    unsigned int prefixLength;
};

} // namespace IO::Socket
