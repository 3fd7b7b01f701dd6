#include <Kestrel/Socket/SubnetMask.h>

#include "Tests/Support/Socket/DrawnTables.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

using IO::Socket::InternetAddress;
using IO::Socket::SubnetMask;
using Tests::Dotted;

TEST(SubnetMask, IsAsManyOnesAsThePrefixSays) {
    for (int prefix = -40; prefix <= 80; ++prefix) {
        SCOPED_TRACE(prefix);
        int const ones = std::clamp(prefix, 0, 32);
        unsigned int const bits = ones == 0 ? 0 : ~0u << (32 - ones);
        SubnetMask const mask(static_cast<short>(prefix));
        EXPECT_EQ(std::string(mask.GetSubnetMask().ToCStr()), Dotted(bits));
        EXPECT_EQ(std::string(mask.GetSubnetAddress({10, 201, 30, 77}).GetHostAddress().ToCStr()),
                  Dotted(0x0AC91E4D & bits));
        EXPECT_EQ(SubnetMask::GetPrefixLength(U(Dotted(bits))), ones == 0 ? -1 : ones);
    }
}

TEST(SubnetMask, ReadsHolesInAByteAsOnes) {
    EXPECT_EQ(SubnetMask::GetPrefixLength(U("255.255.255.1")), 32);
    EXPECT_EQ(SubnetMask::GetPrefixLength(U("160.0.0.0")), 3);
    EXPECT_EQ(SubnetMask::GetPrefixLength(U("255.0.255.0")), -1);
    EXPECT_EQ(SubnetMask::GetPrefixLength(U("255.254.1.0")), -1);
    EXPECT_EQ(SubnetMask::GetPrefixLength(U("no mask")), -1);
}
