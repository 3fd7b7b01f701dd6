#include <Kestrel/Root/Streams/OChannel.h>

#include "Tests/Support/Root/ByteChannels.h"
#include "Tests/Support/Text.h"

#include <Kestrel/Root/Values/Guid.h>

#include <gtest/gtest.h>

#include <limits>

namespace {

TEST(OChannel, GivesTextThroughItsOperators) {
    Tests::ByteOChannel channel;
    channel << "n = " << 4294967295u << ' ' << 0.5f << ' ' << 1e100 << ' ' << 0.1;
    EXPECT_EQ(channel.GetBytes(), "n = 4294967295 0.5 1e+100 0.1");
    Tests::ByteOChannel pointers;
    pointers << static_cast<void const *>(nullptr) << " " << reinterpret_cast<void *>(0xABCD12);
    EXPECT_EQ(pointers.GetBytes(), "0x0 0xabcd12");
    Tests::ByteOChannel full(2);
    full << "abc" << 7u;
    EXPECT_EQ(full.GetBytes(), "ab");
    EXPECT_EQ(full.GetOutputStatus(), Mu::EOO);
}

TEST(TextOProtocol, TurnsEveryTypeIntoText) {
    Tests::ByteOChannel channel;
    channel.SetOutputProtocol(Mu::textOProtocol);
    channel.Write(true);
    channel.Write('c');
    channel.Write(static_cast<unsigned char>('u'));
    channel.Write(static_cast<short>(-1));
    channel.Write(static_cast<unsigned short>(65535));
    channel.WriteUShort(1);
    channel.Write(std::numeric_limits<int>::min());
    channel.Write(-5l);
    channel.Write(5ul);
    channel.Write(std::numeric_limits<long long>::min());
    channel.Write(std::numeric_limits<unsigned long long>::max());
    channel.Write(2.5L);
    channel.Write("text");
    channel.Write(U("object"));
    channel.Write(Mu::Guid());
    EXPECT_EQ(channel.GetBytes(), "truecu-1655351-2147483648-55-9223372036854775808"
                                  "184467440737095516152.5textobject"
                                  "00000000-0000-0000-0000-000000000000");
    EXPECT_EQ(channel.Write(static_cast<char const *>(nullptr)), Mu::Error);
    EXPECT_EQ(Mu::textOProtocol.Note(channel, 1, 2, "ab"), Mu::NoError);
}

} // namespace
