#include <Kestrel/Root/Frame.h>

#include "Tests/Support/Text.h"

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Root/Array.h>
#include <Kestrel/Root/HashTable.h>
#include <Kestrel/Root/UniString.h>

#include <gtest/gtest.h>

// Frames over the channels that hosts use: marks that go across the blocks of the output buffer,
// and an output without a buffer, which has no marks.

namespace {

using Table = Mu::HashTable<Mu::UniString, Mu::Array<Mu::UniString>>;

Table MakeTable(unsigned int entries) {
    Table table;
    for (unsigned int i = 0; i < entries; ++i)
        for (unsigned int k = 0; k < i % 4; ++k)
            table[Mu::UniString::Printf("key %d", i)].Push(Mu::UniString::Printf("value %d", k));
    return table;
}

bool AreEqual(Table const & a, Table const & b) {
    auto other = b.begin();
    for (auto const & [key, values] : a) {
        if (other == b.end() || !(key == other->key) || !(values == other->value))
            return false;
        ++other;
    }
    return other == b.end();
}

void ExpectRoundTrip(bool bufferedOutput, bool bufferedInput, unsigned int entries) {
    Table const table = MakeTable(entries);
    IO::MemoryOChannel output;
    if (!bufferedOutput)
        output.DisableOutputBuffering();
    ASSERT_EQ(table.Write(output), IO::NoError);
    ASSERT_EQ(table.Write(output), IO::NoError);
    output.Write('!');
    char const * const bytes = output.GetDestination();
    IO::MemoryIChannel input(bytes, output.GetDataSize());
    if (!bufferedInput)
        input.DisableInputBuffering();
    Table read;
    ASSERT_EQ(read.Read(input), IO::NoError);
    {
        // The second one is passed over unread.
        Mu::InputFrame frame(input, Mu::HashTablePrivate::classInfo);
        EXPECT_EQ(frame.GetStatus(), IO::NoError);
    }
    char last = 0;
    EXPECT_EQ(input.Read(last), IO::NoError);
    EXPECT_EQ(last, '!');
    EXPECT_TRUE(AreEqual(table, read));
}

TEST(FramesOverChannels, AreReadAsTheyWereWritten) {
    for (unsigned int entries : {0u, 1u, 40u, 900u})
        for (bool bufferedOutput : {true, false})
            for (bool bufferedInput : {true, false})
                ExpectRoundTrip(bufferedOutput, bufferedInput, entries);
}

} // namespace
