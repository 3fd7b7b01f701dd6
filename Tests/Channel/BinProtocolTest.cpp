#include <Kestrel/Channel/BinProtocol.h> // first: the header stands on its own

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>

#include "Tests/Support/Channel/Ends.h"
#include "Tests/Support/Root/ByteChannels.h"

#include <gtest/gtest.h>

namespace {

using Tests::ForEachIChannel;

// Every byte but 0 is true; a bool that holds another byte would be no bool.
TEST(BinProtocol, ReadsABoolFromAnyByte) {
    ForEachIChannel(std::string("\2\xFF\0", 3), [](Mu::IChannel & channel) {
        for (bool const expected : {true, true, false}) {
            bool read = !expected;
            EXPECT_EQ(channel.Read(read), IO::NoError);
            EXPECT_EQ(read, expected);
        }
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
        Tests::ByteOChannel bytes;
        EXPECT_EQ(bytes.Write(length), IO::NoError);
        ForEachIChannel(bytes.GetBytes() + "abcd", [](Mu::IChannel & channel) {
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
