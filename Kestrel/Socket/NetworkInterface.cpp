#include <Kestrel/Socket/NetworkInterface.h>

#include <Kestrel/Root/Memory/Ref.h>
#include <Kestrel/Socket/Internal/WinNetworkInterfaceImpl.h>

#include <algorithm>
#include <utility>

namespace IO::Socket {

// Hosts built without optimisation take the addresses.
constexpr unsigned int NetworkInterface::PointToPoint;
constexpr unsigned int NetworkInterface::Loopback;
constexpr unsigned int NetworkInterface::Up;

NetworkInterface::NetworkInterface(Mu::UniString const & name, unsigned int mtu, unsigned int flags,
                                   Mu::PagedArray<NetworkInterfaceAddress> const & addresses,
                                   Mu::PagedArray<InternetAddress> const & gateways,
                                   HardwareAddress const & hardwareAddress)
    : name(name), mtu(mtu), flags(flags), addresses(addresses), gateways(gateways),
      hardwareAddress(hardwareAddress) {
    AddInternetAddresses();
}

NetworkInterface::NetworkInterface(Mu::UniString && name, unsigned int mtu, unsigned int flags,
                                   Mu::PagedArray<NetworkInterfaceAddress> && addresses,
                                   Mu::PagedArray<InternetAddress> && gateways,
                                   HardwareAddress && hardwareAddress)
    : name(std::move(name)), mtu(mtu), flags(flags), addresses(std::move(addresses)),
      gateways(std::move(gateways)), hardwareAddress(std::move(hardwareAddress)) {
    AddInternetAddresses();
}

void NetworkInterface::AddInternetAddresses() {
    for (NetworkInterfaceAddress const & address : addresses)
        internetAddresses.Push(address.GetInterfaceAddress());
}

unsigned int NetworkInterface::GetNetworkInterfaces(Mu::PagedArray<NetworkInterface> & result) {
    Mu::Ref<NetworkInterfaceImpl> const implementation(new WinNetworkInterfaceImpl);
    return implementation->GetNetworkInterfaces(result);
}

bool operator==(NetworkInterface const & a, NetworkInterface const & b) {
    if (&a == &b)
        return true;
    auto const & mine = a.GetInternetAddresses();
    auto const & others = b.GetInternetAddresses();
    return a.GetName() == b.GetName() && mine.GetSize() == others.GetSize() &&
           std::all_of(mine.begin(), mine.end(), [&](InternetAddress const & address) {
               return std::find(others.begin(), others.end(), address) != others.end();
           });
}

} // namespace IO::Socket
