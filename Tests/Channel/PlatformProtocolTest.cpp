#include <Kestrel/Channel/PlatformProtocol.h> // first: the header stands on its own

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Root/Values/Guid.h>

#include "Tests/Support/Channel/Ends.h"
#include "Tests/Support/Root/ByteChannels.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

using Mu::BigEndianMacSign;
using Mu::LittleEndianMacSign;
using Mu::WindowsSign;

constexpr Mu::PlatformSign Plain{}; // stands for the protocol that every channel begins with
constexpr Mu::PlatformSign allSigns[] = {BigEndianMacSign, WindowsSign, LittleEndianMacSign, Plain};

MuErrCode Set(Mu::IChannel & channel, Mu::PlatformSign sign) {
    return sign == Plain ? IO::NoError : IO::SetPlatformIProtocol(channel, sign);
}

std::string Written(Mu::PlatformSign sign, std::function<void(Mu::OChannel &)> const & write) {
    Tests::ByteOChannel channel;
    EXPECT_EQ(sign == Plain ? IO::NoError : IO::SetPlatformOProtocol(channel, sign), IO::NoError);
    write(channel);
    return channel.GetBytes();
}

// `bytes` are those of the big-endian form; in all others they stand the other way round. Behind a
// value is a clean end, and inside of it none.
template <typename T>
void ExpectWire(T value, std::string const & bytes) {
    for (Mu::PlatformSign sign : allSigns) {
        SCOPED_TRACE(sign);
        std::string expected = bytes;
        if (sign != BigEndianMacSign)
            std::reverse(expected.begin(), expected.end());
        EXPECT_EQ(
            Written(sign,
                    [&](Mu::OChannel & channel) { EXPECT_EQ(channel.Write(value), IO::NoError); }),
            expected);
        Tests::ForEachIChannel(expected, [&](Mu::IChannel & channel) {
            ASSERT_EQ(Set(channel, sign), IO::NoError);
            T read{};
            EXPECT_EQ(channel.Read(read), IO::NoError);
            EXPECT_EQ(read, value);
            EXPECT_EQ(channel.Read(read), IO::EOI);
        });
        for (std::size_t cut = 1; cut < bytes.size(); ++cut)
            Tests::ForEachIChannel(expected.substr(0, cut), [&](Mu::IChannel & channel) {
                ASSERT_EQ(Set(channel, sign), IO::NoError);
                T read{};
                EXPECT_EQ(channel.Read(read), Mu::IChannel::ConvertObjectReadError(IO::EOI));
            });
    }
}

TEST(PlatformProtocol, TurnsTheBytesOfEveryTypeRound) {
    ExpectWire<bool>(true, "\x01");
    ExpectWire<bool>(false, std::string(1, '\0'));
    ExpectWire<char>('a', "a");
    ExpectWire<unsigned char>(0xFE, "\xFE");
    ExpectWire<short>(-2, "\xFF\xFE");
    ExpectWire<unsigned short>(0x0102, "\x01\x02");
    ExpectWire<int>(0x01020304, "\x01\x02\x03\x04");
    ExpectWire<unsigned int>(0xFFFEFDFC, "\xFF\xFE\xFD\xFC");
    ExpectWire<long>(-3, "\xFF\xFF\xFF\xFD");
    ExpectWire<unsigned long>(0x80020304ul, "\x80\x02\x03\x04");
    ExpectWire<long long>(0x0102030405060708ll, "\x01\x02\x03\x04\x05\x06\x07\x08");
    ExpectWire<unsigned long long>(0xFF02030405060708ull, "\xFF\x02\x03\x04\x05\x06\x07\x08");
    ExpectWire<float>(1.0f, std::string("\x3F\x80\0\0", 4));
    ExpectWire<double>(1.0, std::string("\x3F\xF0\0\0\0\0\0\0", 8));
    ExpectWire<long double>(-2.5L, std::string("\xC0\x04\0\0\0\0\0\0", 8));
}

TEST(PlatformProtocol, TurnsPointersRound) {
    void const * const pointer = reinterpret_cast<void const *>(0x01020304u);
    auto const write = [&](Mu::OChannel & channel) {
        EXPECT_EQ(channel.GetOutputProtocol().Write(channel, pointer), IO::NoError);
    };
    EXPECT_EQ(Written(BigEndianMacSign, write), std::string("\0\0\0\0\x01\x02\x03\x04", 8));
    for (Mu::PlatformSign sign : {WindowsSign, Plain})
        EXPECT_EQ(Written(sign, write), std::string("\x04\x03\x02\x01\0\0\0\0", 8));
}

TEST(PlatformProtocol, WritesAnIdentifierFieldByFieldWhereTheOrderDiffers) {
    Mu::Guid const guid{
        0x01020304, 0x0506, 0x0708, {0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18}};
    auto const write = [&](Mu::OChannel & channel) { EXPECT_EQ(channel.Write(guid), IO::NoError); };
    std::string const tail = "\x11\x12\x13\x14\x15\x16\x17\x18";
    std::string const raw = "\x04\x03\x02\x01\x06\x05\x08\x07" + tail;
    EXPECT_EQ(Written(BigEndianMacSign, write), "\x01\x02\x03\x04\x05\x06\x07\x08" + tail);
    EXPECT_EQ(Written(WindowsSign, write), raw);
    EXPECT_EQ(Written(LittleEndianMacSign, write), raw);
    Tests::ForEachIChannel(raw.substr(1), [&](Mu::IChannel & channel) {
        Mu::Guid read;
        EXPECT_EQ(channel.Read(read), IO::EOI) << "which is not converted";
    });
    for (Mu::PlatformSign sign : allSigns)
        Tests::ForEachIChannel(Written(sign, write), [&](Mu::IChannel & channel) {
            ASSERT_EQ(Set(channel, sign), IO::NoError);
            Mu::Guid read;
            EXPECT_EQ(channel.Read(read), IO::NoError);
            EXPECT_EQ(read, guid);
            EXPECT_EQ(channel.Read(read), IO::EOI);
        });
}

// U+00E4 is 0xE4 on Windows and 0x8A on a Mac.
TEST(PlatformProtocol, RecodesACopyOfTheText) {
    char const text[] = "a\xE4";
    auto const write = [&](Mu::OChannel & channel) {
        EXPECT_EQ(channel.Write(text), IO::NoError);
        EXPECT_EQ(channel.Write(""), IO::NoError);
        EXPECT_EQ(channel.Write(static_cast<char const *>(nullptr)), IO::Error);
    };
    EXPECT_EQ(Written(BigEndianMacSign, write), std::string("\0\0\0\2a\x8A\0\0\0\0", 10));
    EXPECT_EQ(Written(LittleEndianMacSign, write), std::string("\2\0\0\0a\x8A\0\0\0\0", 10));
    for (Mu::PlatformSign sign : {WindowsSign, Plain})
        EXPECT_EQ(Written(sign, write), std::string("\2\0\0\0a\xE4\0\0\0\0", 10));
    EXPECT_STREQ(text, "a\xE4");
    for (Mu::PlatformSign sign : allSigns)
        Tests::ForEachIChannel(Written(sign, write), [&](Mu::IChannel & channel) {
            ASSERT_EQ(Set(channel, sign), IO::NoError);
            char read[4] = "???";
            EXPECT_EQ(channel.Read(read), IO::NoError);
            EXPECT_EQ(std::string(read, 4), std::string("a\xE4\0\0", 4));
            EXPECT_EQ(channel.Read(read), IO::NoError);
            EXPECT_STREQ(read, "");
            EXPECT_EQ(channel.Read(read), Mu::IChannel::ConvertObjectReadError(IO::EOI));
            EXPECT_EQ(channel.Read(static_cast<char *>(nullptr)), IO::Error);
        });
}

// The length goes straight in the peer's order, whatever protocol the channel has meanwhile.
TEST(PlatformProtocol, WritesTheLengthOfATextByItself) {
    IO::MemoryOChannel other;
    ASSERT_EQ(IO::SetPlatformOProtocol(other, BigEndianMacSign), IO::NoError);
    IO::MemoryOChannel channel;
    EXPECT_EQ(other.GetOutputProtocol().Write(channel, "ab"), IO::NoError);
    EXPECT_EQ(std::string(channel.GetDestination(IO::MemoryOChannel::LeaveWithCaller), 6),
              std::string("\0\0\0\2ab", 6));
    EXPECT_EQ(channel.GetDataSize(), 6u);
}

TEST(PlatformProtocol, TellsThePlatformOfAChannel) {
    IO::MemoryIChannel in;
    IO::MemoryOChannel out;
    for (Mu::PlatformSign set : {Plain, BigEndianMacSign, LittleEndianMacSign, WindowsSign}) {
        EXPECT_TRUE(set == Plain || IO::SetPlatformIProtocol(in, set) == IO::NoError);
        EXPECT_TRUE(set == Plain || IO::SetPlatformOProtocol(out, set) == IO::NoError);
        Mu::PlatformSign signs[2] = {};
        EXPECT_EQ(IO::GetChannelIProtocolPlatform(in, &signs[0]), IO::NoError);
        EXPECT_EQ(IO::GetChannelOProtocolPlatform(out, &signs[1]), IO::NoError);
        for (Mu::PlatformSign sign : signs)
            EXPECT_EQ(sign, set == Plain ? WindowsSign : set);
    }
    for (unsigned int other : {0u, 12345u, 0x4D57u, 0xFFFFu}) {
        EXPECT_EQ(IO::SetPlatformIProtocol(in, Mu::PlatformSign(other)), IO::Error);
        EXPECT_EQ(IO::SetPlatformOProtocol(out, Mu::PlatformSign(other)), IO::Error);
    }
    Mu::PlatformSign sign{};
    out.SetOutputProtocol(Mu::textOProtocol);
    EXPECT_EQ(IO::GetChannelOProtocolPlatform(out, &sign), IO::Error);
    EXPECT_EQ(sign, WindowsSign);
    in.SetDefaultInputProtocol();
    EXPECT_EQ(&in.GetInputProtocol(), &IO::binIProtocol);
}

// Every byte but 0 is true; a bool that holds another byte would be no bool.
TEST(BinProtocol, ReadsABoolFromAnyByte) {
    Tests::ForEachIChannel(std::string("\2\xFF\0", 3), [](Mu::IChannel & channel) {
        for (bool const expected : {true, true, false}) {
            bool read = !expected;
            EXPECT_EQ(channel.Read(read), IO::NoError);
            EXPECT_EQ(read, expected);
        }
    });
}

// The told form reads up to the end of the channel; a length that no channel can hold ends there,
// within the bytes that are there.
TEST(BinProtocol, FailsAtTheEndOfTheChannelForAnyLength) {
    for (unsigned int length : {5u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(length);
        Tests::ByteOChannel bytes;
        EXPECT_EQ(bytes.Write(length), IO::NoError);
        Tests::ForEachIChannel(bytes.GetBytes() + "abcd", [](Mu::IChannel & channel) {
            char text[8] = "???????";
            EXPECT_EQ(channel.Read(text), Mu::IChannel::ConvertObjectReadError(IO::EOI));
            EXPECT_EQ(std::string(text), "abcd???");
        });
    }
}

TEST(BinProtocol, TellsTheStatusOfTheChannel) {
    Tests::RecordingOChannel channel;
    channel.sink.failFrom = 1;
    channel.sink.failure = IO::OutputClosed;
    channel.DisableOutputBuffering();
    EXPECT_EQ(channel.Write(1), IO::OutputClosed);
    EXPECT_EQ(channel.Write("abc"), IO::OutputClosed);
    EXPECT_EQ(channel.Write(1.0), IO::OutputClosed);
    EXPECT_EQ(channel.sink.calls, 1u);
    Tests::ScriptedIChannel broken("abcdef", {{2, IO::InputFailure}});
    int value = 0;
    EXPECT_EQ(broken.Read(value), Mu::IChannel::ConvertObjectReadError(IO::InputFailure));
    EXPECT_EQ(broken.Read(value), IO::InputFailure) << "no byte of it was there";
}

} // namespace
