#include <Kestrel/Channel/IChannelAdapter.h> // first: the headers stand on their own

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Channel/OChannelAdapter.h>

#include "Tests/Support/Channel/Ends.h"

#include <gtest/gtest.h>

namespace {

using Tests::RecordingOChannel;

TEST(OChannelAdapter, DropsWhatIsNotFlushedAtItsEnd) {
    Tests::RecordingSink sink;
    struct Watched : RecordingOChannel {
        explicit Watched(Tests::RecordingSink & sink) { SetBinOutput(sink); }
    };
    { EXPECT_EQ(Watched(sink).WriteBin("abc", 3, nullptr), IO::NoError); }
    EXPECT_EQ(sink.calls, 0u);
}

// Who puts an operation in the place of ours meets every number.
TEST(ChannelAdapter, LeavesNumbersToWhoReadsAndWritesThemOtherwise) {
    struct Output : IO::MemoryOChannel {
        MuErrCode WriteBin(char const * source, unsigned int count, unsigned int * put) override {
            ++calls;
            return MemoryOChannel::WriteBin(source, count, put);
        }
        unsigned int calls = 0;
    } output;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(output.Write(i), IO::NoError);
    output << 'c';
    EXPECT_EQ(output.calls, 4u);
    struct Input : IO::MemoryIChannel {
        using MemoryIChannel::MemoryIChannel;
        MuErrCode ReadBin(char * destination, unsigned int count, unsigned int * read) override {
            ++calls;
            return MemoryIChannel::ReadBin(destination, count, read);
        }
        unsigned int calls = 0;
    } input("abcdefghi", 9);
    for (short value; input.Read(value) == IO::NoError;)
        continue;
    EXPECT_EQ(input.calls, 5u);
}

} // namespace
