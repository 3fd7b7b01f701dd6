#include <Kestrel/Channel/ReadText.h> // first: the header stands on its own

#include <Kestrel/Channel/PlatformProtocol.h>

#include "Tests/Support/Channel/Ends.h"

#include <gtest/gtest.h>

namespace {

std::string Wire(unsigned int length, std::string const & text) {
    std::string bytes(4, ' ');
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<char>(length >> (8 * i));
    return bytes + text;
}

// Reads into a place with guard bytes behind it and shows that they stay.
struct Result {
    MuErrCode status;
    std::string text;
    unsigned int length;
};
Result Read(Mu::IChannel & channel, unsigned int capacity) {
    std::string place(capacity + 64, '#');
    Result result{};
    result.status = IO::ReadText(channel, place.data(), capacity, &result.length);
    EXPECT_EQ(place.substr(capacity), std::string(64, '#')) << "written past the place";
    result.text = place.c_str();
    return result;
}

TEST(ReadText, ReadsWhatFits) {
    Tests::ForEachIChannel(Wire(5, "hello") + Wire(0, ""), [](Mu::IChannel & channel) {
        Result const result = Read(channel, 6);
        EXPECT_EQ(result.status, IO::NoError);
        EXPECT_EQ(result.text, "hello");
        EXPECT_EQ(result.length, 5u);
        EXPECT_EQ(Read(channel, 1).status, IO::NoError);
        EXPECT_EQ(Read(channel, 9).status, Mu::IChannel::ConvertObjectReadError(IO::EOI));
    });
}

TEST(ReadText, LeavesATextThatDoesNotFitInTheChannel) {
    Tests::ForEachIChannel(Wire(5, "hello") + Wire(1, "!"), [](Mu::IChannel & channel) {
        Result result = Read(channel, 5);
        EXPECT_EQ(result.status, IO::Error);
        EXPECT_EQ(result.text, "");
        EXPECT_EQ(result.length, 5u);
        EXPECT_EQ(channel.Skip(result.length, nullptr), IO::NoError);
        EXPECT_EQ(Read(channel, 5).text, "!");
    });
}

TEST(ReadText, BoundsEveryLengthThatCanStandOnTheWire) {
    for (unsigned int length :
         {6u, 0x7FFFFFFEu, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu})
        Tests::ForEachIChannel(Wire(length, "hello"), [&](Mu::IChannel & channel) {
            Result const result = Read(channel, 6);
            EXPECT_EQ(result.status, IO::Error);
            EXPECT_EQ(result.text, "");
            EXPECT_EQ(result.length, length);
        });
}

// Cut at every place, and with every bit turned: the place holds, and a failure leaves it empty.
TEST(ReadText, BoundsCutAndTurnedBytes) {
    std::string const whole = Wire(5, "hello");
    for (std::size_t cut = 0; cut < whole.size(); ++cut)
        Tests::ForEachIChannel(whole.substr(0, cut), [](Mu::IChannel & channel) {
            Result const result = Read(channel, 6);
            EXPECT_EQ(result.status, Mu::IChannel::ConvertObjectReadError(IO::EOI));
            EXPECT_EQ(result.text, "");
            EXPECT_EQ(result.length, 0u);
        });
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        std::string bytes = whole;
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << bit % 8));
        Tests::ForEachIChannel(bytes, [&](Mu::IChannel & channel) {
            Result const result = Read(channel, 6);
            bool const fits = bit >= 32 || bit == 0 || bit == 2; // a length of 4 or 1
            EXPECT_EQ(result.status == IO::NoError, fits);
            EXPECT_TRUE(result.status == IO::NoError || result.text.empty());
        });
    }
}

TEST(ReadText, RefusesAPlaceThatIsNone) {
    Tests::ScriptedIChannel channel(Wire(0, "") + Wire(2, "ab"));
    unsigned int length = 9;
    EXPECT_EQ(IO::ReadText(channel, nullptr, 10, &length), IO::Error);
    EXPECT_EQ(length, 0u);
    char text[3] = "??";
    EXPECT_EQ(IO::ReadText(channel, text, 0, &length), IO::Error);
    EXPECT_EQ(text[0], '?');
    EXPECT_TRUE(channel.source.requests.empty());
    EXPECT_EQ(IO::ReadText(channel, text, 1, nullptr), IO::NoError);
    EXPECT_EQ(IO::ReadText(channel, text, 3, nullptr), IO::NoError);
    EXPECT_STREQ(text, "ab");
}

TEST(ReadText, RecodesAsTheProtocolOfTheChannelDoes) {
    Tests::ScriptedIChannel channel(std::string("\0\0\0\2a\x8A", 6));
    ASSERT_EQ(IO::SetPlatformIProtocol(channel, Mu::BigEndianMacSign), IO::NoError);
    EXPECT_EQ(Read(channel, 3).text, "a\xE4");
}

// A source that gives less than it was asked for and no reason.
TEST(ReadText, TakesALackOfBytesForACut) {
    Tests::ScriptedIChannel channel(Wire(5, "hello"), {{6, IO::NoError}, {1, IO::NoError}});
    Result const result = Read(channel, 6);
    EXPECT_EQ(result.status, Mu::IChannel::ConvertObjectReadError(IO::EOI));
    EXPECT_EQ(result.text, "");
}

} // namespace
