#include <Kestrel/Socket/HardwareAddress.h>

#include <Kestrel/Root/Errors/Exceptions.h>

#include "Tests/Socket/Loopback.h"
#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>

using IO::Socket::HardwareAddress;

namespace {

std::string BytesOf(HardwareAddress const & address) {
    return std::string(address.GetAddressData(), address.GetAddressLength());
}

// What a literal reads as, cut into groups first instead of counting through it.
std::optional<std::string> ReadAsModel(std::string const & literal) {
    auto const value = [](char c) { return c >= 'a' ? 0x61 : c >= 'A' ? c - 'A' : c - '0'; };
    std::string const digits = "0123456789ABCDEFabcdef";
    char const separator = literal.find('-') != literal.npos ? '-' : ':';
    bool const isPlain = literal.find_first_of("-:") == literal.npos;
    std::string bytes;
    for (std::size_t i = 0; i < literal.size(); i += isPlain ? 2 : 3) {
        std::string const pair = literal.substr(i, 2);
        if (pair.size() != 2 || pair.find_first_not_of(digits) != pair.npos)
            return std::nullopt;
        if (!isPlain && i + 2 < literal.size() &&
            (literal[i + 2] != separator || i + 3 == literal.size()))
            return std::nullopt;
        bytes += static_cast<char>(value(pair[0]) << 4 | value(pair[1]));
    }
    return bytes;
}

} // namespace

TEST(HardwareAddress, ReadsExactlyWhatItsGroupsSay) {
    std::mt19937 random(1);
    unsigned int read = 0;
    for (unsigned int i = 0; i < 60000; ++i) {
        std::string literal;
        unsigned int const count = random() % 4 + 1;
        char const separator = "-:"[random() % 2];
        bool const isPlain = random() % 3 == 0;
        for (unsigned int k = 0; k < count; ++k) {
            if (k > 0 && !isPlain)
                literal += separator;
            for (int digit = 0; digit < 2; ++digit)
                literal += "0123456789ABCDEFabcdef"[random() % 22];
        }
        if (random() % 2 == 0) // one wrong unit, one too many or one too few
            literal.replace(random() % literal.size(), random() % 2,
                            random() % 3 == 0 ? "" : std::string(1, "-:g 5A"[random() % 6]));
        if (literal.empty())
            continue;
        SCOPED_TRACE(literal);
        HardwareAddress address("kept", 4);
        auto const model = ReadAsModel(literal);
        ASSERT_EQ(HardwareAddress::Parse(U(literal), address), model.has_value());
        ASSERT_EQ(BytesOf(address), model.value_or("kept"));
        read += model.has_value();
    }
    EXPECT_GT(read, 20000u) << "too few were addresses at all";
}

TEST(HardwareAddress, WritesCapitalDigitsAndReadsBackWhatHasNoLetters) {
    HardwareAddress const address("\x00\x1A\xff", 3);
    EXPECT_EQ(ToUtf8(address.ToString()), "00-1A-FF");
    EXPECT_EQ(ToUtf8(address.ToString(0)), "001AFF");
    EXPECT_EQ(ToUtf8(address.ToString(':')), "00:1A:FF");
    EXPECT_EQ(ToUtf8(HardwareAddress().ToString()), "");
    EXPECT_EQ(HardwareAddress::Parse(U("00-1A-ab")), HardwareAddress("\x00\x10\x71", 3));
    EXPECT_FALSE(address == HardwareAddress("\x00\x1A\xfe", 3));
    EXPECT_FALSE(address == HardwareAddress("\x00\x1A", 2));
    EXPECT_EQ(HardwareAddress("x", 0), HardwareAddress());
}

TEST(HardwareAddress, SaysWhatIsWrong) {
    HardwareAddress address;
    EXPECT_EQ(Tests::Describe([] { HardwareAddress(nullptr, 1); }),
              "IllegalArgumentException: Invalid hardware address: address is null.");
    EXPECT_EQ(Tests::Describe([&] { HardwareAddress::Parse(U(""), address); }),
              "IllegalArgumentException: Invalid hardware address literal: literal is empty.");
    EXPECT_EQ(Tests::Describe([] { HardwareAddress::Parse(U("0-11-22")); }),
              "ConversionErrorException: Failed to parse hardware address literal: '0-11-22'.");
}

TEST(HardwareAddress, KeepsItsBytesWhenMemoryEnds) {
    SweepAllocations([](bool) {
        HardwareAddress address("abc", 3);
        HardwareAddress const other("defg", 4);
        try {
            address = other;
            EXPECT_EQ(BytesOf(address), "defg");
        } catch (Mu::OutOfMemoryException const &) {
            EXPECT_EQ(BytesOf(address), "abc");
            throw;
        }
        EXPECT_TRUE(HardwareAddress::Parse(U("00:11"), address));
    });
}
