#include <Kestrel/Channel/Streams.h> // first: the header stands on its own

#include <Kestrel/Channel/MemoryIChannel.h>

#include "Tests/Support/Channel/Ends.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

TEST(IChannelStream, ReadsLinesAndNumbersAndLeavesTheRestToTheChannel) {
    Tests::ForEachIChannel("first line\n42 tail", [](Mu::IChannel & channel) {
        IO::IChannelStream in(channel);
        std::string line;
        EXPECT_TRUE(std::getline(in, line));
        EXPECT_EQ(line, "first line");
        int number = 0;
        in >> number;
        EXPECT_EQ(number, 42);
        char c = 0;
        EXPECT_EQ(channel.Read(c), IO::NoError);
        EXPECT_EQ(c, ' ') << "nothing is read ahead of the stream";
        EXPECT_EQ(in.get(), 't');
        EXPECT_TRUE(in.unget());
        EXPECT_TRUE(in.putback('_'));
        std::string rest(20, ' ');
        in.read(rest.data(), 20);
        EXPECT_EQ(rest.substr(0, static_cast<std::size_t>(in.gcount())), "_tail");
        EXPECT_TRUE(in.eof());
    });
}

TEST(IChannelStream, TellsItsPositionAndWhatIsAvailable) {
    IO::MemoryIChannel channel("abcdef", 6, IO::MemoryIChannel::LeaveWithCaller);
    IO::IChannelStream in(channel);
    EXPECT_EQ(in.get(), 'a');
    EXPECT_EQ(in.peek(), 'b');
    EXPECT_EQ(in.tellg(), std::streampos(1));
    EXPECT_EQ(in.rdbuf()->in_avail(), 5);
    in.seekg(3);
    EXPECT_TRUE(in.fail()) << "positions cannot be set";
}

TEST(OChannelStream, WritesThroughTheChannel) {
    Tests::RecordingOChannel channel;
    IO::OChannelStream out(channel);
    out << "number " << 42 << ' ';
    EXPECT_EQ(channel.Write('c'), IO::NoError);
    EXPECT_EQ(out.tellp(), std::streampos(11));
    EXPECT_EQ(channel.sink.calls, 0u);
    out << std::endl;
    EXPECT_EQ(channel.sink.GetText(), "number 42 c\n");
    channel.sink.failFrom = 1;
    out << "x" << std::flush;
    EXPECT_TRUE(out.bad());
    EXPECT_EQ(channel.GetOutputStatus(), IO::EOO);
}

TEST(StreamIChannel, ReadsAStreamAndTellsABadOneFromItsEnd) {
    for (bool throws : {false, true}) {
        std::istringstream stream("\x04\x03\x02\x01rest");
        if (throws)
            stream.exceptions(std::ios_base::badbit | std::ios_base::failbit);
        IO::StreamIChannel channel(stream);
        int value = 0;
        EXPECT_EQ(channel.Read(value), IO::NoError);
        EXPECT_EQ(value, 0x01020304);
        unsigned long long position = 0;
        EXPECT_EQ(channel.GetInputPosition(&position), IO::NoError);
        EXPECT_EQ(position, 4u);
        char rest[9];
        unsigned int read = 0;
        EXPECT_EQ(channel.ReadBin(rest, 9, &read), IO::EOI);
        EXPECT_EQ(std::string(rest, read), "rest");
        stream.exceptions({});
        stream.setstate(std::ios_base::badbit);
        channel.ResetInputStatus();
        EXPECT_EQ(channel.ReadBin(rest, 9, &read), IO::InputFailure);
    }
}

TEST(StreamOChannel, WritesToAStreamAndFlushesBoth) {
    struct Counting : std::stringbuf {
        int flushes = 0;
        int sync() override { return ++flushes, 0; }
    } buffer;
    std::ostream counted(&buffer);
    EXPECT_EQ(IO::StreamOChannel(counted).Flush(), IO::NoError);
    EXPECT_GE(buffer.flushes, 1);
    std::ostringstream stream;
    {
        IO::StreamOChannel channel(stream);
        EXPECT_EQ(channel.Write(0x01020304), IO::NoError);
        EXPECT_EQ(stream.str(), "");
        EXPECT_EQ(channel.Flush(), IO::NoError);
        EXPECT_EQ(stream.str(), "\x04\x03\x02\x01");
        EXPECT_EQ(channel.Write('!'), IO::NoError);
    }
    EXPECT_EQ(stream.str(), "\x04\x03\x02\x01!");
}

TEST(StreamOChannel, FailsWithItsStream) {
    for (bool throws : {false, true}) {
        std::ostringstream stream;
        IO::StreamOChannel channel(stream);
        EXPECT_EQ(channel.Write('a'), IO::NoError);
        stream.setstate(std::ios_base::badbit);
        if (throws) {
            EXPECT_THROW(stream.exceptions(std::ios_base::badbit), std::ios_base::failure);
        }
        EXPECT_EQ(channel.Flush(), IO::OutputClosed);
        EXPECT_EQ(channel.GetOutputStatus(), IO::OutputClosed);
    }
}

} // namespace
