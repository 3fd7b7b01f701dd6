#include <Kestrel/Socket/InternetAddress.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Socket/Internal/DottedText.h>
#include <Kestrel/Socket/Internal/Start.h>

#include <algorithm>
#include <memory>

namespace IO::Socket {

// The constants. Their addresses are constant, so that references to them can be.

namespace {

union AddressPlace {
    constexpr AddressPlace() : nothing(0) {}
    ~AddressPlace() {}
    char nothing;
    InternetAddress address;
};

constinit AddressPlace anyPlace;
constinit AddressPlace loopbackPlace;

unsigned char const * CheckReadable(unsigned char const * address) {
    if (address == nullptr)
        throw Mu::IllegalArgumentException("Invalid IPv4 address: address in null.", __FILE__,
                                           __LINE__);
    if (!BNValidReadPtr(address, 4))
        throw Mu::IllegalArgumentException("Invalid IPv4 address: invalid memory address.",
                                           __FILE__, __LINE__);
    return address;
}

} // namespace

constinit InternetAddress const & InternetAddress::Any = anyPlace.address;
constinit InternetAddress const & InternetAddress::Loopback = loopbackPlace.address;

void StartInternetAddresses() {
    ::new (&anyPlace.address) InternetAddress(0, 0, 0, 0, "0.0.0.0");
    ::new (&loopbackPlace.address) InternetAddress(127, 0, 0, 1, "localhost");
}

void EndInternetAddresses() {
    std::destroy_at(&loopbackPlace.address);
    std::destroy_at(&anyPlace.address);
}

InternetAddress::InternetAddress(unsigned char const * bytes) {
    std::copy_n(CheckReadable(bytes), 4, address);
}

InternetAddress::InternetAddress(unsigned char first, unsigned char second, unsigned char third,
                                 unsigned char fourth, char const * name)
    : InternetAddress(first, second, third, fourth) {
    SetName(name);
}

void InternetAddress::SetName(char const * text) {
    name = text;
    isNameKnown = !name.IsEmpty();
}

Mu::String InternetAddress::GetHostAddress() const {
    return InetNtoa(address);
}

bool InternetAddress::ParseHostAddress(Mu::UniString const & text, unsigned char (&address)[4]) {
    // Wide and signed, so that large and negative ones keep their low byte.
    long long numbers[4];
    if (text.Scanf("%u.%u.%u.%u", &numbers[0], &numbers[1], &numbers[2], &numbers[3]) != 4)
        return false;
    // Kept: 300 is read as 44. Hosts pass texts unchecked, and check them themselves where it
    // matters.
    for (int i = 0; i < 4; ++i)
        address[i] = static_cast<unsigned char>(numbers[i]);
    return true;
}

bool InternetAddress::IsAnyAddress() const {
    return ToNumber(address) == 0;
}

bool InternetAddress::IsLookbackAddress() const {
    return ToNumber(address) == 0x7F000001;
}

bool InternetAddress::IsLinkLocalAddress() const {
    return address[0] == 169 && address[1] == 254;
}

bool InternetAddress::IsMulticastAddress() const {
    // Kept: 240 is included, though the range ends before it; hosts rely on it.
    return address[0] >= 224 && address[0] <= 240;
}

bool InternetAddress::IsPrivateAddress() const {
    return address[0] == 10 || (address[0] == 172 && address[1] >= 16 && address[1] <= 31) ||
           (address[0] == 192 && address[1] == 168);
}

bool operator==(InternetAddress const & a, InternetAddress const & b) {
    return std::equal(a.GetAddress(), a.GetAddress() + 4, b.GetAddress());
}

} // namespace IO::Socket
