#include <Kestrel/Channel/BinProtocol.h> // first: the header stands on its own

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Root/Guid.h>
#include <Kestrel/Root/String.h>

#include "Tests/Support/Channel/Ends.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using Tests::ForEachIChannel;

std::string Bytes(std::initializer_list<int> values) {
    std::string text;
    for (int value : values)
        text += static_cast<char>(value);
    return text;
}

template <typename T>
std::string Written(T const & value) {
    IO::MemoryOChannel channel;
    EXPECT_EQ(channel.Write(value), IO::NoError);
    char const * const block = channel.GetDestination(IO::MemoryOChannel::LeaveWithCaller);
    return std::string(block, channel.GetDataSize());
}

// The bytes that a value must be, and the value that they must be, whatever channel holds them;
// behind it is a clean end, and inside of it none.
template <typename T>
void ExpectWire(T value, std::string const & bytes) {
    EXPECT_EQ(Written(value), bytes);
    ForEachIChannel(bytes, [&](Mu::IChannel & channel) {
        T read{};
        EXPECT_EQ(channel.Read(read), IO::NoError);
        EXPECT_EQ(read, value);
        EXPECT_EQ(channel.Read(read), IO::EOI);
    });
    for (std::size_t cut = 1; cut < bytes.size(); ++cut)
        ForEachIChannel(bytes.substr(0, cut), [](Mu::IChannel & channel) {
            T read{};
            EXPECT_EQ(channel.Read(read), Mu::IChannel::ConvertObjectReadError(IO::EOI));
        });
}

TEST(BinProtocol, HasTheseBytesForIntegers) {
    ExpectWire<bool>(true, Bytes({1}));
    ExpectWire<bool>(false, Bytes({0}));
    ExpectWire<char>('A', "A");
    ExpectWire<unsigned char>(0xFE, Bytes({0xFE}));
    ExpectWire<short>(0x0102, Bytes({2, 1}));
    ExpectWire<short>(-2, Bytes({0xFE, 0xFF}));
    ExpectWire<unsigned short>(0xFEDC, Bytes({0xDC, 0xFE}));
    ExpectWire<int>(0x01020304, Bytes({4, 3, 2, 1}));
    ExpectWire<int>(std::numeric_limits<int>::min(), Bytes({0, 0, 0, 0x80}));
    ExpectWire<unsigned int>(0xFFFEFDFC, Bytes({0xFC, 0xFD, 0xFE, 0xFF}));
    ExpectWire<long>(0x01020304, Bytes({4, 3, 2, 1}));
    ExpectWire<long>(-3, Bytes({0xFD, 0xFF, 0xFF, 0xFF}));
    ExpectWire<unsigned long>(0xFFFEFDFCul, Bytes({0xFC, 0xFD, 0xFE, 0xFF}));
    ExpectWire<long long>(0x0102030405060708ll, Bytes({8, 7, 6, 5, 4, 3, 2, 1}));
    ExpectWire<unsigned long long>(0x81828384858687FFull,
                                   Bytes({0xFF, 0x87, 0x86, 0x85, 0x84, 0x83, 0x82, 0x81}));
}

TEST(BinProtocol, HasTheseBytesForFloatingPoint) {
    ExpectWire<float>(1.0f, Bytes({0, 0, 0x80, 0x3F}));
    ExpectWire<double>(-2.5, Bytes({0, 0, 0, 0, 0, 0, 0x04, 0xC0}));
    ExpectWire<long double>(1.0L, Bytes({0, 0, 0, 0, 0, 0, 0xF0, 0x3F}));
    IO::MemoryOChannel channel;
    EXPECT_EQ(channel.Write(std::numeric_limits<long double>::max()), IO::NoError);
    EXPECT_EQ(channel.GetDataSize(), 8u);
}

TEST(BinProtocol, CutsALongToItsWireAndWidensItAgain) {
    ForEachIChannel(Bytes({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}),
                    [](Mu::IChannel & channel) {
                        long number = 0;
                        unsigned long natural = 0;
                        EXPECT_EQ(channel.Read(number), IO::NoError);
                        EXPECT_EQ(number, -1);
                        EXPECT_EQ(channel.Read(natural), IO::NoError);
                        EXPECT_EQ(natural, 0xFFFFFFFFul);
                    });
}

TEST(BinProtocol, WritesPointersAsNumbersOf64Bits) {
    IO::MemoryOChannel channel;
    void const * const pointer = reinterpret_cast<void const *>(0x01020304u);
    EXPECT_EQ(IO::binOProtocol.Write(channel, pointer), IO::NoError);
    EXPECT_EQ(std::string(channel.GetDestination(IO::MemoryOChannel::LeaveWithCaller), 8),
              Bytes({4, 3, 2, 1, 0, 0, 0, 0}));
    EXPECT_EQ(channel.GetDataSize(), 8u);
}

TEST(BinProtocol, WritesAnIdentifierAsItLiesInMemory) {
    Mu::Guid guid;
    guid.data1 = 0x01020304;
    guid.data2 = 0x0506;
    guid.data3 = 0x0708;
    for (int i = 0; i < 8; ++i)
        guid.data4[i] = static_cast<unsigned char>(9 + i);
    std::string const bytes = Bytes({4, 3, 2, 1, 6, 5, 8, 7, 9, 10, 11, 12, 13, 14, 15, 16});
    EXPECT_EQ(Written(guid), bytes);
    ForEachIChannel(bytes, [&](Mu::IChannel & channel) {
        Mu::Guid read;
        EXPECT_EQ(channel.Read(read), IO::NoError);
        EXPECT_EQ(read, guid);
    });
    ForEachIChannel(bytes.substr(0, 15), [&](Mu::IChannel & channel) {
        Mu::Guid read;
        EXPECT_EQ(channel.Read(read), IO::EOI) << "its status is not converted";
    });
}

// Every byte but 0 is true; a bool that holds another byte would be no bool.
TEST(BinProtocol, ReadsABoolFromAnyByte) {
    ForEachIChannel(Bytes({2, 0xFF, 0}), [](Mu::IChannel & channel) {
        bool first = false;
        bool second = false;
        bool third = true;
        EXPECT_EQ(channel.Read(first), IO::NoError);
        EXPECT_EQ(channel.Read(second), IO::NoError);
        EXPECT_EQ(channel.Read(third), IO::NoError);
        EXPECT_EQ(first, true);
        EXPECT_EQ(second, true);
        EXPECT_EQ(third, false);
    });
}

TEST(BinProtocol, WritesTextsWithTheirLengthInFront) {
    EXPECT_EQ(Written<char const *>("abc"), Bytes({3, 0, 0, 0, 'a', 'b', 'c'}));
    EXPECT_EQ(Written<char const *>(""), Bytes({0, 0, 0, 0}));
    ForEachIChannel(Bytes({3, 0, 0, 0, 'a', 'b', 'c', 0, 0, 0, 0}), [](Mu::IChannel & channel) {
        char text[8] = "???????";
        EXPECT_EQ(channel.Read(text), IO::NoError);
        EXPECT_EQ(std::string(text, 8), std::string("abc\0???\0", 8));
        EXPECT_EQ(channel.Read(text), IO::NoError);
        EXPECT_STREQ(text, "");
        EXPECT_EQ(channel.Read(text), Mu::IChannel::ConvertObjectReadError(IO::EOI))
            << "a text that is absent is a broken object";
    });
}

TEST(BinProtocol, RefusesNullTexts) {
    IO::MemoryOChannel out;
    EXPECT_EQ(out.Write(static_cast<char const *>(nullptr)), IO::Error);
    EXPECT_EQ(out.GetDataSize(), 0u);
    IO::MemoryIChannel in("\1\0\0\0a", 5, IO::MemoryIChannel::LeaveWithCaller);
    EXPECT_EQ(in.Read(static_cast<char *>(nullptr)), IO::Error);
    unsigned long long position = 9;
    EXPECT_EQ(in.GetInputPosition(&position), IO::NoError);
    EXPECT_EQ(position, 0u) << "nothing is read";
}

// The told form reads up to the end of the channel; a length that no channel can hold ends there,
// within the bytes that are there.
TEST(BinProtocol, FailsAtTheEndOfTheChannelForAnyLength) {
    for (unsigned int length : {5u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(length);
        std::string const bytes = Written(length) + "abcd";
        ForEachIChannel(bytes, [](Mu::IChannel & channel) {
            char text[8] = "???????";
            EXPECT_EQ(channel.Read(text), Mu::IChannel::ConvertObjectReadError(IO::EOI));
            EXPECT_EQ(std::string(text), "abcd???");
        });
    }
}

TEST(BinProtocol, LeavesObjectsToThemselves) {
    Mu::String const text("an object");
    IO::MemoryOChannel own;
    EXPECT_EQ(text.Write(own), IO::NoError);
    std::string const bytes(own.GetDestination(IO::MemoryOChannel::LeaveWithCaller),
                            own.GetDataSize());
    EXPECT_EQ(Written<Mu::Object>(text), bytes);
    ForEachIChannel(bytes, [](Mu::IChannel & channel) {
        Mu::String read;
        EXPECT_EQ(channel.Read(read), IO::NoError);
        EXPECT_TRUE(read == "an object");
    });
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
