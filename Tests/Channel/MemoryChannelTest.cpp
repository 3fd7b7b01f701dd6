#include <Kestrel/Channel/MemoryIChannel.h> // first: the headers stand on their own

#include <Kestrel/Channel/MemoryOChannel.h>

#include "Tests/Support/Channel/Ends.h"
#include "Tests/Support/FaultSweep.h"

#include <Kestrel/Root/Memory/Memory.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using IO::MemoryIChannel;
using IO::MemoryOChannel;
using Tests::ReadBytes;

char * NewBlock(std::string const & text) {
    char * const block = BMAllocatePtr(text.size(), 0, 0);
    std::memcpy(block, text.data(), text.size());
    return block;
}

unsigned long long Available(Mu::IChannel & channel) {
    unsigned long long available = 999;
    EXPECT_EQ(channel.GetAvailable(&available), IO::NoError);
    return available;
}

unsigned long long Position(Mu::IChannel & channel) {
    unsigned long long position = 999;
    EXPECT_EQ(channel.GetInputPosition(&position), IO::NoError);
    return position;
}

std::string Text(MemoryOChannel & channel) {
    char const * const block = channel.GetDestination(MemoryOChannel::LeaveWithCaller);
    return block == nullptr ? "" : std::string(block, channel.GetDataSize());
}

MuErrCode Write(Mu::OChannel & channel, std::string const & text) {
    return channel.WriteBin(text.data(), static_cast<unsigned int>(text.size()), nullptr);
}

TEST(MemoryIChannel, KnowsWhereItIsAndWhatIsLeft) {
    std::string const text = "0123456789";
    MemoryIChannel channel(text.data(), 10, MemoryIChannel::LeaveWithCaller);
    EXPECT_EQ(Available(channel), 10u);
    EXPECT_EQ(ReadBytes(channel, 3), "012");
    EXPECT_EQ(Available(channel), 7u) << "what waits in the ring counts";
    EXPECT_EQ(Position(channel), 3u);
    unsigned int available = 0;
    EXPECT_EQ(channel.GetAvailable(&available), IO::NoError);
    EXPECT_EQ(available, 7u);
    EXPECT_EQ(channel.PushBack("2", 1), IO::NoError);
    EXPECT_EQ(Position(channel), 2u);
    EXPECT_EQ(ReadBytes(channel, 8), "23456789");
    EXPECT_EQ(ReadBytes(channel, 1, IO::EOI), "");
    channel.ResetSource();
    EXPECT_EQ(ReadBytes(channel, 1), "0");
    EXPECT_EQ(channel.PushBack("abc", 3), IO::NoError);
    EXPECT_EQ(Position(channel), 0u) << "there is nothing in front of the start";
    MemoryIChannel none;
    EXPECT_TRUE(none.IsEOI());
    EXPECT_EQ(Available(none), 0u);
}

TEST(MemoryIChannel, FreesOnlyTheBlocksItWasGiven) {
    long long const before = Tests::CountLiveBlocks();
    {
        MemoryIChannel channel(NewBlock("abc"), 3, MemoryIChannel::TakeOwnership);
        EXPECT_EQ(ReadBytes(channel, 2), "ab");
        char const * const second = NewBlock("defg");
        channel.SetSource(second, 4, MemoryIChannel::TakeOwnership);
        EXPECT_EQ(channel.GetSource(), second);
        EXPECT_EQ(channel.GetDataLength(), 4u);
        EXPECT_EQ(ReadBytes(channel, 4), "defg");
        channel.SetSource(second, 2, MemoryIChannel::TakeOwnership); // the same once more
        EXPECT_EQ(ReadBytes(channel, 3, IO::EOI), "de");
        channel.RemoveSource();
        EXPECT_EQ(channel.GetSource(), nullptr);
        EXPECT_EQ(Tests::CountLiveBlocks(), before);
        channel.SetSource(NewBlock("x"), 1, MemoryIChannel::TakeOwnership);
        EXPECT_EQ(ReadBytes(channel, 1), "x");
    }
    EXPECT_EQ(Tests::CountLiveBlocks(), before);
}

TEST(MemoryOChannel, StopsAtItsLimit) {
    MemoryOChannel channel(100, 50);
    EXPECT_EQ(Write(channel, std::string(49, 'a').append("bc")), IO::NoError);
    EXPECT_EQ(channel.GetDataSize(), 50u) << "what will not fit does not count";
    EXPECT_EQ(channel.Flush(), IO::EOO);
    EXPECT_EQ(Text(channel), std::string(49, 'a').append("b"));
    EXPECT_EQ(Write(channel, "d"), IO::EOO);
    MemoryOChannel growing(10, 25);
    EXPECT_EQ(Write(growing, std::string(15, 'a')), IO::NoError);
    EXPECT_EQ(growing.Flush(), IO::NoError);
    EXPECT_EQ(Write(growing, std::string(15, 'b')), IO::NoError);
    EXPECT_EQ(growing.Flush(), IO::EOO);
    EXPECT_EQ(Text(growing), std::string(15, 'a').append(std::string(10, 'b')));
}

TEST(MemoryOChannel, LeavesACallersBlockBehindWhenItOutgrowsIt) {
    char stack[1024];
    std::memset(stack, '.', sizeof stack);
    MemoryOChannel channel(stack, sizeof stack, 0, MemoryOChannel::LeaveWithCaller);
    EXPECT_EQ(Write(channel, std::string(1500, 'a')), IO::NoError);
    EXPECT_EQ(std::string(stack, 1024), std::string(1024, '.')) << "nothing before a flush";
    char const * const block = channel.GetDestination(MemoryOChannel::LeaveWithCaller);
    EXPECT_NE(block, stack);
    EXPECT_EQ(std::string(stack, 1024), std::string(1024, '.'));
    EXPECT_EQ(Text(channel), std::string(1500, 'a'));
    unsigned long long const before = Tests::CountAllocations();
    EXPECT_EQ(Write(channel, std::string(548, 'b')), IO::NoError);
    EXPECT_EQ(channel.GetDestination(MemoryOChannel::LeaveWithCaller), block) << "of 2048 bytes";
    EXPECT_EQ(Tests::CountAllocations(), before);
}

TEST(MemoryOChannel, AllocatesNothingForAShortMessageOnTheStack) {
    char stack[256];
    { EXPECT_EQ(MemoryOChannel(stack, 256, 0, MemoryOChannel::LeaveWithCaller).Write('a'), 0); }
    unsigned long long const before = Tests::CountAllocations();
    {
        MemoryOChannel channel(stack, sizeof stack, 0, MemoryOChannel::LeaveWithCaller);
        EXPECT_EQ(channel.PushMark(), IO::NoError);
        EXPECT_EQ(channel.Write(0u), IO::NoError);
        EXPECT_EQ(channel.Write("a message"), IO::NoError);
        EXPECT_EQ(channel.PopMark(), IO::NoError);
        EXPECT_EQ(channel.Write(13u), IO::NoError);
        channel.ResetOffset();
    }
    EXPECT_EQ(std::memcmp(stack, "\x0D\0\0\0\x09\0\0\0a message", 17), 0);
    EXPECT_EQ(Tests::CountAllocations(), before);
}

TEST(MemoryOChannel, PassesItsBlockToTheCaller) {
    long long const before = Tests::CountLiveBlocks();
    char * block = nullptr;
    {
        MemoryOChannel channel(16, 0);
        EXPECT_EQ(Write(channel, "abc"), IO::NoError);
        block = channel.GetDestination(MemoryOChannel::PassOwnership);
    }
    ASSERT_EQ(std::string(block, 3), "abc");
    {
        MemoryOChannel channel(block, 3, 0, MemoryOChannel::TakeOwnership);
        EXPECT_EQ(Write(channel, "12"), IO::NoError);
        EXPECT_EQ(Text(channel), "12");
    }
    EXPECT_LE(Tests::CountLiveBlocks(), before + 1) << "at most the adapter's block in its cache";
}

TEST(MemoryOChannel, GoesOnFromWhereItIsTold) {
    MemoryOChannel channel(64, 0);
    EXPECT_EQ(Write(channel, "abcdef"), IO::NoError);
    unsigned long long const before = Tests::CountAllocations();
    EXPECT_EQ(channel.SetDataSize(0), IO::NoError);
    EXPECT_EQ(Write(channel, "12"), IO::NoError);
    EXPECT_EQ(Text(channel), "12");
    EXPECT_EQ(channel.SetDataSize(6), IO::NoError);
    EXPECT_EQ(Text(channel), "12cdef");
    unsigned long long position = 0;
    EXPECT_EQ(channel.GetOutputPosition(&position), IO::NoError);
    EXPECT_EQ(position, 6u);
    EXPECT_EQ(Tests::CountAllocations(), before);
    // The size is not checked; past the block nothing may be read or written for it.
    EXPECT_EQ(channel.SetDataSize(1000), IO::NoError);
    EXPECT_EQ(Write(channel, "end"), IO::NoError);
    EXPECT_EQ(Text(channel).substr(64), std::string(1000 - 64, '\0').append("end"));
    MemoryOChannel limited(8, 8);
    EXPECT_EQ(limited.SetDataSize(100), IO::NoError);
    EXPECT_EQ(Write(limited, "a"), IO::NoError);
    EXPECT_EQ(limited.Flush(), IO::EOO);
}

TEST(MemoryOChannel, BeginsAnewOnAnotherBlock) {
    char first[8] = {};
    char second[8] = {};
    MemoryOChannel channel(first, 8, 4, MemoryOChannel::LeaveWithCaller);
    EXPECT_EQ(Write(channel, "abcdef"), IO::NoError);
    EXPECT_EQ(channel.SetDestination(second, 8, 0, MemoryOChannel::LeaveWithCaller), IO::NoError);
    EXPECT_STREQ(first, "abcd") << "flushed into the block that it left";
    EXPECT_EQ(channel.GetOutputStatus(), IO::NoError) << "the limit was that of the first block";
    EXPECT_EQ(Write(channel, "gh"), IO::NoError);
    EXPECT_EQ(channel.SetDestination(0, 0), IO::NoError);
    EXPECT_STREQ(second, "gh");
    EXPECT_EQ(channel.GetDataSize(), 0u);
    EXPECT_EQ(Write(channel, "i"), IO::NoError);
    EXPECT_EQ(Text(channel), "i");
    EXPECT_EQ(channel.SetDestination(nullptr, 0, 0, MemoryOChannel::LeaveWithCaller),
              IO::ErrMemoryFull);
    EXPECT_EQ(Write(channel, "j"), IO::NoError);
    EXPECT_EQ(channel.Flush(), IO::ErrMemoryFull);
}

TEST(MemoryOChannel, LosesAllWhenItCannotGrow) {
    SweepAllocations([](bool failed) {
        MemoryOChannel channel(8, 0);
        bool const made = channel.GetStatus() == IO::NoError;
        MuErrCode status = Write(channel, std::string(8, 'a'));
        EXPECT_EQ(channel.Flush(), made && status == IO::NoError ? IO::NoError : IO::ErrMemoryFull);
        status = Write(channel, std::string(30000, 'b'));
        if (status == IO::NoError) {
            EXPECT_EQ(Text(channel), std::string(8, 'a').append(std::string(30000, 'b')));
            return;
        }
        ASSERT_TRUE(failed);
        EXPECT_EQ(status, IO::ErrMemoryFull);
        if (channel.GetStatus() == IO::ErrMemoryFull) {
            EXPECT_EQ(channel.GetDataSize(), 0u);
            EXPECT_EQ(channel.GetDestination(MemoryOChannel::LeaveWithCaller), nullptr);
        }
        channel.ResetOutputStatus();
        if (channel.SetDestination(0, 0) == IO::NoError && Write(channel, "c") == IO::NoError) {
            EXPECT_EQ(Text(channel), "c");
        }
    });
}

} // namespace
