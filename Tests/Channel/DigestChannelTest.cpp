#include <Kestrel/Channel/MD5Channel.h> // first: the headers stand on their own

#include <Kestrel/Channel/NullOChannel.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>

namespace {

std::string Finish(IO::MD5Channel & channel) {
    MD5::FingerPrint print;
    channel.Finish(&print);
    std::string text;
    for (unsigned char byte : print.bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", byte);
        text += digits;
    }
    return text;
}

TEST(NullOChannel, CountsWhatIsWrittenFlushedOrNot) {
    IO::NullOChannel channel;
    EXPECT_EQ(channel.Write(1), IO::NoError);
    EXPECT_EQ(channel.GetDataSize(), 4u);
    EXPECT_EQ(channel.Flush(), IO::NoError);
    EXPECT_EQ(channel.WriteBin(std::string(100000, 'a').data(), 100000, nullptr), IO::NoError);
    EXPECT_EQ(channel.Write('a'), IO::NoError);
    EXPECT_EQ(channel.GetDataSize(), 100005u);
    // A count above 4 GiB, of bytes that nobody touches.
    channel.DisableOutputBuffering();
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(channel.WriteBin("", 0xFFFFFFFFu, nullptr), IO::NoError);
    EXPECT_EQ(channel.GetDataSize(), 100005u + 3 * 0xFFFFFFFFull);
}

TEST(MD5Channel, GivesThePublishedDigests) {
    IO::MD5Channel channel;
    EXPECT_EQ(Finish(channel), "d41d8cd98f00b204e9800998ecf8427e");
    IO::MD5Channel abc;
    EXPECT_EQ(abc.WriteBin("abc", 3, nullptr), IO::NoError);
    EXPECT_EQ(Finish(abc), "900150983cd24fb0d6963f7d28e17f72");
    IO::MD5Channel digits;
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(digits.WriteBin("1234567890", 10, nullptr), IO::NoError);
    EXPECT_EQ(Finish(digits), "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(MD5Channel, DoesNotDependOnHowTheBytesAreSplit) {
    std::mt19937 random(3);
    std::string text(100000, ' ');
    for (char & c : text)
        c = static_cast<char>(random());
    IO::MD5Channel whole;
    EXPECT_EQ(whole.WriteBin(text.data(), 100000, nullptr), IO::NoError);
    std::string const expected = Finish(whole);
    for (int round = 0; round < 20; ++round) {
        IO::MD5Channel channel;
        for (unsigned int at = 0; at < text.size();) {
            unsigned int const left = static_cast<unsigned int>(text.size()) - at;
            unsigned int const part = std::min<unsigned int>(left, random() % 20000);
            ASSERT_EQ(channel.WriteBin(text.data() + at, part, nullptr), IO::NoError);
            at += part;
        }
        ASSERT_EQ(Finish(channel), expected);
    }
}

} // namespace
