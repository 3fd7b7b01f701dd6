#include <Kestrel/Root/Streams/IChannel.h>

#include "Tests/Support/Root/ByteChannels.h"

#include <gtest/gtest.h>

namespace {

class Knowing : public Tests::ByteIChannel {
public:
    explicit Knowing(unsigned long long available) : ByteIChannel("ab"), available(available) {}
    using Mu::IChannel::GetAvailable;
    MuErrCode GetAvailable(unsigned long long * value) const override {
        *value = available;
        return Mu::NoError;
    }

private:
    unsigned long long available;
};

TEST(IChannel, KnowsNothingOfWhatIsAvailableUnlessToldSo) {
    Tests::ByteIChannel const channel("ab");
    unsigned int narrow = 7;
    unsigned long long wide = 7;
    EXPECT_EQ(channel.Mu::IChannel::GetAvailable(&wide), Mu::Error);
    EXPECT_EQ(wide, 0u);
    EXPECT_EQ(Knowing(0xFFFFFFFFu).GetAvailable(&narrow), Mu::NoError);
    EXPECT_EQ(narrow, 0xFFFFFFFFu);
    EXPECT_EQ(Knowing(0x100000000ull).GetAvailable(&narrow), Mu::Error);
    EXPECT_EQ(narrow, 0u);
}

TEST(IChannel, LooksForTheEnd) {
    Tests::ByteIChannel channel("a");
    char c = 0;
    EXPECT_FALSE(channel.IsEOI());
    EXPECT_EQ(channel.Read(c), Mu::NoError);
    EXPECT_EQ(channel.PushBack('b'), Mu::NoError);
    EXPECT_EQ(channel.Read(c), Mu::NoError);
    EXPECT_EQ(c, 'b');
    EXPECT_TRUE(channel.IsEOI());
}

} // namespace
