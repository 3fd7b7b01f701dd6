#include <Kestrel/Channel/MD5Channel.h> // first: the headers stand on their own

#include <Kestrel/Channel/NullOChannel.h>

#include <gtest/gtest.h>

#include <cstring>
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
    std::string const text = "Digests do not depend on how a text is split.";
    unsigned int const size = static_cast<unsigned int>(text.size());
    MD5::Generator generator;
    generator.Update(text.data(), size);
    MD5::FingerPrint expected, digest;
    generator.Finish(expected);
    IO::MD5Channel channel;
    for (unsigned int first = 0; first < size; ++first) {
        ASSERT_EQ(channel.WriteBin(text.data(), first, nullptr), IO::NoError);
        ASSERT_EQ(channel.WriteBin(text.data() + first, size - first, nullptr), IO::NoError);
        channel.Finish(&digest);
        ASSERT_EQ(std::memcmp(digest.bytes, expected.bytes, sizeof digest.bytes), 0);
    }
}

} // namespace
