#pragma once

#include <Kestrel/Root/Containers/PagedArray.h>
#include <Kestrel/Root/Text/UniString.h>
#include <Kestrel/Socket/HardwareAddress.h>
#include <Kestrel/Socket/NetworkInterfaceAddress.h>

namespace IO::Socket {

/// One network interface of this machine, as it was when the list was taken.
///
///     Mu::PagedArray<IO::Socket::NetworkInterface> interfaces;
///     IO::Socket::NetworkInterface::GetNetworkInterfaces(interfaces);
///     for (auto const & interface : interfaces) ...
///
/// Names say the type and count: eth0 and eth1 are the first two of Ethernet, loo0 the loopback, ppp0
/// a dial-up line, tun0 a tunnel, tok0, fdd0 and slp0 what is rare, net0 all else. They are the
/// library's own, the same on every platform, and move when an interface comes or goes.
///
/// Memory:  a page for each kind of address there is, and the name.
/// Threads: any number may read, one may change.
/// Failure: exceptions, as each operation says; Mu::OutOfMemoryException from copies.
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
    /// Takes the parts over.
    NetworkInterface(Mu::UniString && name, unsigned int mtu, unsigned int flags,
                     Mu::PagedArray<NetworkInterfaceAddress> && addresses,
                     Mu::PagedArray<InternetAddress> && gateways,
                     HardwareAddress && hardwareAddress);

    /// Appends the interfaces of this machine, those that are down too, in the system's order, and
    /// returns how many. Throws NetworkInterfaceException when the system does not give its tables;
    /// nothing is appended after any failure.
    static unsigned int GetNetworkInterfaces(Mu::PagedArray<NetworkInterface> & result);

    Mu::UniString const & GetName() const { return name; }
    /// The largest packet, in bytes.
    unsigned int GetMTU() const { return mtu; }
    bool IsPointToPoint() const { return (flags & PointToPoint) != 0; }
    bool IsLoopback() const { return (flags & Loopback) != 0; }
    /// Switched on, and able to send. One that is not up has no addresses and no gateways.
    bool IsUp() const { return (flags & Up) != 0; }
    Mu::PagedArray<NetworkInterfaceAddress> const & GetInterfaceAddresses() const {
        return addresses;
    }
    /// The addresses of GetInterfaceAddresses, in their order.
    Mu::PagedArray<InternetAddress> const & GetInternetAddresses() const {
        return internetAddresses;
    }
    /// Where packets for other networks go. On Windows an interface without a gateway may have
    /// 0.0.0.0 here.
    Mu::PagedArray<InternetAddress> const & GetGatewayAddresses() const { return gateways; }
    /// Empty when the system reports none.
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

/// The same name and the same internet addresses in any order; nothing else counts.
KESTREL_API bool operator==(NetworkInterface const & a, NetworkInterface const & b);

} // namespace IO::Socket
