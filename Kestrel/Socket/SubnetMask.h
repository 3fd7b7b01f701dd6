#pragma once

#include <Kestrel/Socket/InternetAddress.h>

namespace IO::Socket {

/// The mask of an IPv4 network, as the number of its leading one bits.
///
/// Memory:  none.
/// Threads: any number may read, one may change.
/// Failure: none but Mu::OutOfMemoryException from what returns a text.
class KESTREL_API SubnetMask {
public:
    /// Takes any number: below 0 means what 0 does, above 32 what 32 does.
    explicit SubnetMask(short length) noexcept : prefixLength(length) {}

    /// The dotted form, 255.255.255.0 for 24.
    Mu::String GetSubnetMask() const;
    /// The address of the network that `address` is in, without a host name.
    InternetAddress GetSubnetAddress(InternetAddress address) const;

    /// The number of leading one bits of a dotted mask; -1 for a text that is no address, for 0.0.0.0
    /// and for a mask with a byte that is not 0 behind one that ends in a 0 bit. A hole inside one
    /// byte is not noticed: 255.255.255.1 is 32, and 160.0.0.0 is 3.
    static short GetPrefixLength(Mu::UniString const & mask);

    friend bool operator==(SubnetMask const &, SubnetMask const &) = default;

private:
    void GetNumbers(unsigned char (&mask)[4]) const;

    short prefixLength; // as it was given
};

} // namespace IO::Socket
