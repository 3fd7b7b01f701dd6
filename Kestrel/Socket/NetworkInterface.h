#pragma once

#include <Kestrel/Root/Containers/PagedArray.h>
#include <Kestrel/Root/Text/UniString.h>
#include <Kestrel/Socket/HardwareAddress.h>
#include <Kestrel/Socket/NetworkInterfaceAddress.h>

namespace IO::Socket {

/// One network interface of this machine, as of the time when the list was made.
///
///     Mu::PagedArray<IO::Socket::NetworkInterface> interfaces;
///     IO::Socket::NetworkInterface::GetNetworkInterfaces(interfaces);
///     for (auto const & interface : interfaces) ...
///
/// A name is the kind and a number: eth0 and eth1 are the first two Ethernet interfaces, loo0 is
/// the loopback, ppp0 a dial-up line, tun0 a tunnel; tok0, fdd0 and slp0 are rare kinds, and net0
/// is any other. These are the library's own names, the same on every platform, and they change
/// when an interface comes or goes.
///
/// Memory:  a page for each kind of address that it has, and the name.
/// Threads: any number of readers, or one writer.
/// Failure: exceptions, as documented with each operation; Mu::OutOfMemoryException from copies.
class KESTREL_API NetworkInterface {
public:
    /// Bits of the flags that the constructor takes.
    static constexpr unsigned int PointToPoint = 1;
    static constexpr unsigned int Loopback = 2;
    static constexpr unsigned int Up = 4;

    /// No name, no addresses, not up.
    NetworkInterface() = default;
    NetworkInterface(Mu::UniString const & name, unsigned int mtu, unsigned int flags,
                     Mu::PagedArray<NetworkInterfaceAddress> const & addresses,
                     Mu::PagedArray<InternetAddress> const & gateways,
                     HardwareAddress const & hardwareAddress);
    /// Takes ownership of the parts.
    NetworkInterface(Mu::UniString && name, unsigned int mtu, unsigned int flags,
                     Mu::PagedArray<NetworkInterfaceAddress> && addresses,
                     Mu::PagedArray<InternetAddress> && gateways,
                     HardwareAddress && hardwareAddress);

    /// Appends the interfaces of this machine in the system's order, including those that are down,
    /// and returns their number. Throws NetworkInterfaceException if the system does not provide
    /// its tables; after any failure nothing is appended.
    static unsigned int GetNetworkInterfaces(Mu::PagedArray<NetworkInterface> & result);

    Mu::UniString const & GetName() const { return name; }
    /// The maximum packet size in bytes.
    unsigned int GetMTU() const { return mtu; }
    bool IsPointToPoint() const { return (flags & PointToPoint) != 0; }
    bool IsLoopback() const { return (flags & Loopback) != 0; }
    /// Enabled and able to send. An interface that is not up has no addresses and no gateways.
    bool IsUp() const { return (flags & Up) != 0; }
    Mu::PagedArray<NetworkInterfaceAddress> const & GetInterfaceAddresses() const {
        return addresses;
    }
    /// The internet addresses of GetInterfaceAddresses, in the same order.
    Mu::PagedArray<InternetAddress> const & GetInternetAddresses() const {
        return internetAddresses;
    }
    /// The gateways to other networks. On Windows an interface without a gateway may have 0.0.0.0
    /// here.
    Mu::PagedArray<InternetAddress> const & GetGatewayAddresses() const { return gateways; }
    /// Empty if the system reports none.
    HardwareAddress const & GetHardwareAddress() const { return hardwareAddress; }

private:
    void AddInternetAddresses();

    Mu::UniString name;
    unsigned int mtu = 0;
    unsigned int flags = 0;
    Mu::PagedArray<NetworkInterfaceAddress> addresses;
    Mu::PagedArray<InternetAddress> internetAddresses; // those of `addresses`
    Mu::PagedArray<InternetAddress> gateways;
    HardwareAddress hardwareAddress;
};

/// Compares the name and the set of internet addresses, and nothing else.
KESTREL_API bool operator==(NetworkInterface const & a, NetworkInterface const & b);

} // namespace IO::Socket
