#include <Kestrel/Channel/SubIChannel.h> // first: the header stands on its own

#include <Kestrel/Channel/PlatformProtocol.h>

#include "Tests/Support/Channel/Ends.h"

#include <gtest/gtest.h>

namespace {

using IO::SubIChannel;
using Tests::ReadBytes;

TEST(SubIChannel, ReadsItsWindowAndLeavesTheSourceBehindIt) {
    Tests::ForEachIChannel("..0123456789rest", [](Mu::IChannel & source) {
        EXPECT_EQ(source.Skip(2, nullptr), IO::NoError);
        SubIChannel window(&source, 10);
        EXPECT_EQ(window.GetSource(), &source);
        EXPECT_EQ(window.GetDataLength(), 10u);
        EXPECT_EQ(ReadBytes(window, 4), "0123");
        unsigned long long number = 0;
        EXPECT_EQ(window.GetAvailable(&number), IO::NoError);
        EXPECT_EQ(number, 6u);
        EXPECT_EQ(window.GetInputPosition(&number), IO::NoError);
        EXPECT_EQ(number, 4u);
        EXPECT_EQ(ReadBytes(window, 9, IO::EOI), "456789");
        EXPECT_EQ(ReadBytes(source, 4), "rest");
    });
}

TEST(SubIChannel, DoesNotTouchTheSourceForAnEmptyWindow) {
    Tests::ScriptedIChannel source("abc");
    SubIChannel window(&source, 0);
    EXPECT_EQ(ReadBytes(window, 1, IO::EOI), "");
    EXPECT_TRUE(source.source.requests.empty());
}

// The source is too short: the window claims all of its bytes, of which the tail is zeros, and the
// status says so.
TEST(SubIChannel, ClaimsAllBytesOfAWindowThatItsSourceCannotFill) {
    Tests::ScriptedIChannel source("01234");
    SubIChannel window(&source, 10);
    EXPECT_EQ(ReadBytes(window, 10), std::string("01234\0\0\0\0\0", 10));
    EXPECT_EQ(ReadBytes(window, 1, IO::EOI), "") << "deferred, as it came with enough bytes";
    unsigned long long position = 0;
    EXPECT_EQ(window.GetInputPosition(&position), IO::NoError);
    EXPECT_EQ(position, 10u);

    Tests::ScriptedIChannel another("01234");
    SubIChannel unread(&another, 10);
    char bytes[10];
    unsigned int read = 0;
    IO::InputBuffer::BinInput & end = unread;
    EXPECT_EQ(end.InternalRead(bytes, 10, &read), IO::EOI);
    EXPECT_EQ(read, 10u);
}

TEST(SubIChannel, PassesTheFailureOfTheSourceOn) {
    Tests::ScriptedIChannel source("0123456789", {{2, IO::InputFailure}});
    SubIChannel window(&source, 5);
    (void)ReadBytes(window, 5);
    EXPECT_EQ(ReadBytes(window, 1, IO::InputFailure), "");
}

TEST(SubIChannel, ReadsInTheProtocolOfItsSource) {
    Tests::ScriptedIChannel source(std::string("\1\2\3\4\1\2\3\4\1\2\3\4", 12));
    ASSERT_EQ(IO::SetPlatformIProtocol(source, Mu::BigEndianMacSign), IO::NoError);
    SubIChannel window(&source, 12);
    int value = 0;
    EXPECT_EQ(window.Read(value), IO::NoError);
    EXPECT_EQ(value, 0x01020304);
    source.SetDefaultInputProtocol();
    EXPECT_EQ(window.Read(value), IO::NoError);
    EXPECT_EQ(value, 0x01020304) << "what it took at its start";
    window.SetDefaultInputProtocol();
    EXPECT_EQ(window.Read(value), IO::NoError);
    EXPECT_EQ(value, 0x04030201);
}

} // namespace
