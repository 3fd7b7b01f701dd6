#include <Kestrel/Channel/IChannelAdapter.h> // first: the headers stand on their own

#include <Kestrel/Channel/OChannelAdapter.h>

#include "Tests/Support/Channel/Ends.h"

#include <gtest/gtest.h>

namespace {

using Tests::RecordingOChannel;

TEST(IChannelAdapter, TakesNullForEveryCount) {
    Tests::ForEachIChannel("abcdefgh", [](Mu::IChannel & channel) {
        char bytes[8] = {};
        char * data = nullptr;
        EXPECT_EQ(channel.ReadBin(bytes, 2, nullptr), IO::NoError);
        EXPECT_STREQ(bytes, "ab");
        EXPECT_EQ(channel.CopyBin(bytes, 3, nullptr), IO::NoError);
        EXPECT_STREQ(bytes, "cde");
        EXPECT_EQ(channel.Skip(2, nullptr), IO::NoError);
        EXPECT_EQ(channel.DirectInputAccess(2, &data, nullptr), IO::NoError);
        EXPECT_EQ(std::string(data, 2), "ef");
        EXPECT_EQ(channel.PushBack('_'), IO::NoError);
        EXPECT_EQ(channel.ReadBin(bytes, 5, nullptr), IO::NoError);
        EXPECT_STREQ(bytes, "_efgh");
        EXPECT_TRUE(channel.IsEOI());
        EXPECT_EQ(channel.GetInputStatus(), IO::EOI);
        channel.ResetInputStatus();
        EXPECT_EQ(channel.GetInputStatus(), IO::NoError);
    });
}

TEST(OChannelAdapter, TellsAllAsWrittenAlsoBesideAFailure) {
    RecordingOChannel channel;
    channel.sink.failFrom = 1;
    unsigned int written = 0;
    EXPECT_EQ(channel.WriteBin("abc", 3, &written), IO::NoError);
    EXPECT_EQ(written, 3u);
    EXPECT_EQ(channel.WriteBin("abc", 3, nullptr), IO::NoError);
    EXPECT_EQ(channel.Flush(), IO::EOO);
    EXPECT_EQ(channel.WriteBin("abcde", 5, &written), IO::EOO);
    EXPECT_EQ(written, 5u);
    EXPECT_EQ(channel.GetOutputStatus(), IO::EOO);
    channel.ResetOutputStatus();
    EXPECT_EQ(channel.GetOutputStatus(), IO::NoError);
}

TEST(OChannelAdapter, TellsThePositionOfTheWriter) {
    RecordingOChannel channel;
    auto const tell = [&] {
        unsigned long long position = 999;
        EXPECT_EQ(channel.GetOutputPosition(&position), IO::NoError);
        return position;
    };
    EXPECT_EQ(channel.WriteBin("abcde", 5, nullptr), IO::NoError);
    EXPECT_EQ(channel.Flush(), IO::NoError);
    EXPECT_EQ(channel.PushMark(), IO::NoError);
    EXPECT_EQ(channel.WriteBin("0123456789", 10, nullptr), IO::NoError);
    EXPECT_EQ(channel.PopMark(), IO::NoError);
    EXPECT_EQ(tell(), 5u);
    EXPECT_EQ(channel.WriteBin("+", 1, nullptr), IO::NoError);
    EXPECT_EQ(tell(), 6u) << "it follows the overwriting";
    channel.ResetOffset();
    channel.DisableOutputBuffering();
    EXPECT_EQ(channel.WriteBin("!", 1, nullptr), IO::NoError);
    EXPECT_EQ(tell(), 16u);
    EXPECT_EQ(channel.sink.GetText(), "abcde+123456789!");
}

TEST(OChannelAdapter, DropsWhatIsNotFlushedAtItsEnd) {
    Tests::RecordingSink sink;
    struct Watched : RecordingOChannel {
        explicit Watched(Tests::RecordingSink & sink) { SetBinOutput(sink); }
    };
    { EXPECT_EQ(Watched(sink).WriteBin("abc", 3, nullptr), IO::NoError); }
    EXPECT_EQ(sink.calls, 0u);
}

} // namespace
