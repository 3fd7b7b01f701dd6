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

// Any length on the wire, with any number of bytes behind it, into a place of any size: a text that
// does not fit stays in the channel, and a failure leaves the place empty.
TEST(ReadText, ReadsWhatFitsAndIsThere) {
    for (unsigned int length :
         {0u, 1u, 4u, 5u, 6u, 0x7FFFFFFEu, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu})
        for (std::size_t size = 0; size <= 9; ++size)
            for (unsigned int capacity = 1; capacity <= 7; ++capacity) {
                std::string const bytes = Wire(length, "hello").substr(0, size);
                bool const isKnown = size >= 4, fits = isKnown && length < capacity;
                bool const isThere = fits && length <= size - 4;
                Tests::ForEachIChannel(bytes, [&](Mu::IChannel & channel) {
                    Result const result = Read(channel, capacity);
                    EXPECT_EQ(result.status, isThere ? IO::NoError
                                             : isKnown && !fits
                                                 ? IO::Error
                                                 : Mu::IChannel::ConvertObjectReadError(IO::EOI));
                    EXPECT_EQ(result.text, std::string("hello").substr(0, isThere ? length : 0));
                    EXPECT_EQ(result.length, isThere || (isKnown && !fits) ? length : 0);
                    if (isKnown && !fits && size > 4) {
                        EXPECT_EQ(channel.Skip(size - 4, nullptr), IO::NoError)
                            << "it is left there";
                    }
                });
            }
    // A source that gives less than it was asked for and no reason.
    Tests::ScriptedIChannel channel(Wire(5, "hello"), {{6, IO::NoError}, {1, IO::NoError}});
    EXPECT_EQ(Read(channel, 6).status, Mu::IChannel::ConvertObjectReadError(IO::EOI));
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

} // namespace
