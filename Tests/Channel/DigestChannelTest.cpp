#include <Kestrel/Channel/MD5Channel.h> // first: the headers stand on their own

#include <Kestrel/Channel/NullOChannel.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

namespace {

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

// It begins anew behind each digest.
TEST(MD5Channel, DigestsWhatIsWrittenHoweverItIsSplit) {
    std::mt19937 random(3);
    std::string text(100000, ' ');
    for (char & c : text)
        c = static_cast<char>(random());
    MD5::Generator generator;
    generator.Update(text.data(), 100000);
    MD5::FingerPrint expected, digest;
    generator.Finish(expected);
    IO::MD5Channel channel;
    for (int round = 0; round < 20; ++round) {
        for (unsigned int at = 0; at < text.size();) {
            unsigned int const part =
                std::min(100000 - at, static_cast<unsigned int>(random() % 20000));
            ASSERT_EQ(channel.WriteBin(text.data() + at, part, nullptr), IO::NoError);
            at += part;
        }
        channel.Finish(&digest);
        ASSERT_EQ(std::memcmp(digest.bytes, expected.bytes, sizeof digest.bytes), 0);
    }
}

} // namespace
