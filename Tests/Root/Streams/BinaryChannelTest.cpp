#include <Kestrel/Root/Streams/BinaryChannel.h>

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Errors/Exceptions.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

// Delivers three bytes at most at a time.
class Dripping : public Mu::IBinaryChannel {
public:
    explicit Dripping(std::string text) : text(std::move(text)) {}
    using Mu::IBinaryChannel::Read;
    unsigned int Read(char * destination, unsigned int count) override {
        std::size_t const taken = text.copy(destination, std::min(count, 3u));
        text.erase(0, taken);
        return static_cast<unsigned int>(taken);
    }
    unsigned int GetAvailable() override { return static_cast<unsigned int>(text.size()); }
    void Close() override { text.clear(); }

private:
    std::string text;
};

TEST(IBinaryChannel, ReadsAllOrThrows) {
    Dripping channel("0123456789");
    char bytes[16] = {};
    channel.Read(bytes, 7, Mu::ReadAll);
    EXPECT_STREQ(bytes, "0123456");
    try {
        channel.Read(bytes, 4, Mu::ReadAll);
        FAIL();
    } catch (Mu::MuException const & e) {
        EXPECT_EQ(e.GetID(), Mu::EOI);
    }
}

TEST(IBinaryChannelUtilities, ReadsUntilTheCountOrTheEnd) {
    Dripping channel("0123456789");
    char bytes[16] = {};
    EXPECT_EQ(Mu::IBinaryChannelUtilities::ReadFully(channel, bytes, 8), 8u);
    EXPECT_STREQ(bytes, "01234567");
    EXPECT_EQ(Mu::IBinaryChannelUtilities::ReadFully(channel, bytes, 8), 2u);
    EXPECT_EQ(Mu::IBinaryChannelUtilities::ReadFully(channel, bytes, 0), 0u);
}

} // namespace
