#include <Kestrel/Channel/BinProtocol.h> // first: the header stands on its own

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Root/Text/String.h>
#include <Kestrel/Root/Values/Guid.h>

#include "Tests/Support/Channel/Ends.h"

#include <gtest/gtest.h>

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

TEST(BinProtocol, ConvertsNoStatusOfAnIdentifier) {
    ForEachIChannel("15 bytes of 16.", [&](Mu::IChannel & channel) {
        Mu::Guid read;
        EXPECT_EQ(channel.Read(read), IO::EOI);
    });
}

// Every byte but 0 is true; a bool that holds another byte would be no bool.
TEST(BinProtocol, ReadsABoolFromAnyByte) {
    ForEachIChannel(Bytes({2, 0xFF, 0}), [](Mu::IChannel & channel) {
        for (bool const expected : {true, true, false}) {
            bool read = !expected;
            EXPECT_EQ(channel.Read(read), IO::NoError);
            EXPECT_EQ(read, expected);
        }
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
