#pragma once

#include <Kestrel/Socket/InternetAddress.h>

namespace IO::Socket {

/// The mask of an IPv4 network, stored as the number of its leading one bits.
///
/// Memory:  none.
/// Threads: any number of readers, or one writer.
/// Failure: none, except Mu::OutOfMemoryException from operations that return a text.
class KESTREL_API SubnetMask {
public:
    /// Accepts any number: below 0 counts as 0, above 32 as 32.
    explicit SubnetMask(short length) noexcept : prefixLength(length) {}

    /// The dotted form, such as 255.255.255.0 for 24.
    Mu::String GetSubnetMask() const;
    /// The network of `address`, without a host name.
    InternetAddress GetSubnetAddress(InternetAddress address) const;

    /// The number of leading one bits of a mask in dotted form; -1 for a text that is not an
    /// address, for 0.0.0.0 and for a mask with a non-zero byte after one whose last bit is 0. A
    /// gap within one byte is not detected: 255.255.255.1 is 32, and 160.0.0.0 is 3.
    static short GetPrefixLength(Mu::UniString const & mask);

    friend bool operator==(SubnetMask const &, SubnetMask const &) = default;

private:
    void GetNumbers(unsigned char (&mask)[4]) const;

    short prefixLength; // as passed to the constructor
};

} // namespace IO::Socket
