#include <Kestrel/Channel/MemoryIChannel.h> // first: the headers stand on their own

#include <Kestrel/Channel/MemoryOChannel.h>

#include "Tests/Support/Channel/Ends.h"
#include "Tests/Support/FaultSweep.h"

#include <Kestrel/Root/Memory/Memory.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <list>
#include <random>
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

/// A channel that goes from block to block, and what its block holds as a text, driven by one seed.
class BlockTrial {
public:
    explicit BlockTrial(unsigned int seed) : random(seed), channel(1, 0) {}

    void Step() {
        switch (random() % 6) {
        case 0:
            Write(false);
            Leave();
            break;
        case 1: { // past the end of a block that is known as a whole, or less
            bool const isPast = text.size() == capacity && random() % 2 == 0;
            size = isPast ? capacity + random() % 30 : random() % (text.size() + 1);
            ASSERT_EQ(channel.SetDataSize(size), IO::NoError);
            break;
        }
        default: Write(true);
        }
        unsigned long long position = 0;
        ASSERT_EQ(channel.GetOutputPosition(&position), IO::NoError);
        ASSERT_EQ(position, size);
        ASSERT_EQ(channel.GetDataSize(), std::min(size, limit));
        ASSERT_EQ(channel.GetStatus(), isThere ? IO::NoError : IO::ErrMemoryFull);
        char const * const block = channel.GetDestination(MemoryOChannel::LeaveWithCaller);
        ASSERT_EQ(block != nullptr, isThere);
        if (size <= text.size()) {
            ASSERT_EQ(std::string(block, size), text.substr(0, size));
        }
        ASSERT_TRUE(caller == nullptr || *caller == text);
    }

private:
    void Write(bool flushes) {
        std::string const bytes(random() % 60, static_cast<char>('a' + random() % 26));
        unsigned int const count = static_cast<unsigned int>(bytes.size());
        unsigned int const part = std::min(count, limit - std::min(size, limit));
        bool const isShort = flushes && random() % 8 == 0,
                   grows = size + part > capacity && part > 0;
        if (grows && isShort) {
            isThere = isOwn = false;
            size = limit = capacity = 0;
            text.clear();
        } else if (grows) {
            capacity = std::min(std::max(size + part, 2 * capacity), limit);
            text.resize(std::min<std::size_t>(text.size(), size));
            isOwn = true;
        }
        std::string const before = caller != nullptr ? *caller : "";
        MuErrCode status = part == count ? IO::NoError : IO::EOO;
        status = isThere || count == 0 ? status : IO::ErrMemoryFull;
        {
            Tests::Shortage const shortage(isShort ? 1 : 0);
            ASSERT_EQ(channel.WriteBin(bytes.data(), count, nullptr), IO::NoError);
            ASSERT_TRUE(!flushes || channel.Flush() == status);
        }
        if (flushes)
            channel.ResetOutputStatus();
        if (grows && caller != nullptr) {
            ASSERT_EQ(*caller, before) << "it is left behind as it was";
            caller = nullptr;
        }
        if (isThere && part > 0) {
            text.resize(std::max<std::size_t>(text.size(), size + part));
            text.replace(size, part, bytes, 0, part);
            size += part;
        }
    }

    void Leave() {
        char * passed = nullptr;
        if (random() % 3 == 0)
            passed = channel.GetDestination(MemoryOChannel::PassOwnership);
        std::string const * const left = caller;
        std::string const expected = text;
        unsigned int const asked = random() % 40, most = random() % 3 == 0 ? 0 : random() % 80;
        bool const wasOwn = isOwn;
        isOwn = random() % 2 == 0;
        if (isOwn) {
            ASSERT_EQ(channel.SetDestination(asked, most), IO::NoError);
            capacity = asked != 0 ? asked : 1024;
            text.clear();
            caller = nullptr;
        } else {
            caller = &callers.emplace_back(capacity = asked, '.');
            text = *caller;
            ASSERT_EQ(channel.SetDestination(caller->data(), asked, most,
                                             MemoryOChannel::LeaveWithCaller),
                      IO::NoError);
        }
        ASSERT_TRUE(left == nullptr || *left == expected) << "what was written is in there";
        ASSERT_EQ(channel.GetOutputStatus(), IO::NoError);
        if (wasOwn)
            BMKillPtr(&passed);
        limit = most != 0 ? most : MemoryOChannel::NoLimit;
        size = 0;
        isThere = true;
    }

    std::mt19937 random;
    std::list<std::string> callers; // whose blocks they are
    std::string * caller = nullptr; // of the present block
    std::string text;               // the bytes of the block that are known
    unsigned int size = 0, capacity = 1, limit = MemoryOChannel::NoLimit;
    bool isThere = true, isOwn = true;
    MemoryOChannel channel;
};

TEST(MemoryOChannel, FillsItsBlocksUpToTheirLimits) {
    long long const before = Tests::CountLiveBlocks();
    Tests::RunTrials<BlockTrial>(100);
    EXPECT_LE(Tests::CountLiveBlocks(), before + 1) << "at most the adapter's block in its cache";
}

} // namespace
