#include <Kestrel/Root/Objects/Frame.h>

#include "Tests/Support/Root/ByteChannels.h"

#include <Kestrel/Root/Containers/Array.h>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

using Tests::ByteIChannel;
using Tests::ByteOChannel;
using Tests::UnmarkedOChannel;

Mu::ClassInfo const treeInfo("Tests::Tree", Mu::ClassVersion(2, 1));
Mu::ClassInfo const otherInfo("Tests::Other", Mu::ClassVersion(2, 1));

constexpr unsigned int headerSize = 16;

// Frames in a frame, as locations have addresses and those have names.
using Nested = Mu::Array<Mu::Array<unsigned int>>;
Nested const nested{{1}, {2, 3}, {}};

template <typename Channel>
std::string ToBytes(Nested const & object = nested) {
    Channel channel;
    EXPECT_EQ(object.Write(channel), Mu::NoError);
    EXPECT_EQ(channel.GetOffset(), 0u);
    return channel.GetBytes();
}

MuErrCode Read(std::string const & bytes, Nested & object) {
    ByteIChannel channel(bytes);
    return object.Read(channel);
}

// Both kinds of frames run the same tests.
template <typename Channel>
class Frame : public ::testing::Test {};
using Channels = ::testing::Types<ByteOChannel, UnmarkedOChannel>;
TYPED_TEST_SUITE(Frame, Channels);

TYPED_TEST(Frame, SaysSoWhenItIsEmpty) {
    TypeParam written;
    { Mu::OutputFrame frame(written, treeInfo); }
    ByteIChannel channel(written.GetBytes() + "tail");
    {
        Mu::InputFrame frame(channel, treeInfo);
        EXPECT_EQ(frame.GetStatus(), Mu::NoError);
        EXPECT_EQ(frame.GetDataLength(), 0u);
        EXPECT_EQ(frame.GetMainVersion(), 2u);
        EXPECT_EQ(frame.GetSubVersion(), 1u);
        EXPECT_EQ(channel.GetReadLimit(), 0u);
    }
    EXPECT_EQ(channel.GetLeft(), 4u);
}

// A reader that knows fewer fields than the writer, at each number of them.
TYPED_TEST(Frame, PassesOverWhatIsLeft) {
    std::string const inner = ToBytes<TypeParam>();
    for (unsigned int taken = 0; taken <= inner.size(); ++taken) {
        SCOPED_TRACE(taken);
        TypeParam written;
        {
            Mu::OutputFrame frame(written, treeInfo);
            nested.Write(written);
        }
        ByteIChannel channel(written.GetBytes() + "tail");
        {
            Mu::InputFrame frame(channel, treeInfo);
            ASSERT_EQ(frame.GetStatus(), Mu::NoError);
            std::vector<char> some(taken + 1);
            EXPECT_EQ(channel.ReadBin(some.data(), taken, nullptr), Mu::NoError);
        }
        EXPECT_EQ(channel.GetLeft(), 4u);
        EXPECT_EQ(channel.GetInputStatus(), Mu::NoError);
    }
}

TYPED_TEST(Frame, RefusesEveryCutAndEveryFlippedByteOfItsHeader) {
    std::string const bytes = ToBytes<TypeParam>();
    bool const open = std::is_same_v<TypeParam, UnmarkedOChannel>;
    Nested read;
    EXPECT_EQ(Read(bytes, read), Mu::NoError);
    EXPECT_TRUE(read == nested);
    EXPECT_EQ(Read("", read), Mu::EOI) << "a clean end";
    ByteIChannel ofAnother(bytes);
    Mu::InputFrame const frame(ofAnother, otherInfo);
    EXPECT_EQ(frame.GetStatus(), Mu::Error);
    EXPECT_EQ(frame.GetMainVersion() + frame.GetDataLength(), 0u);
    for (std::size_t length = 1; length < bytes.size(); ++length) {
        ByteIChannel channel(bytes.substr(0, length));
        if (MuErrCode const status = read.Read(channel); status == Mu::NoError) {
            // What is missing belongs to the end of an open frame.
            EXPECT_TRUE(open && length + 2 * headerSize > bytes.size() && read == nested) << length;
            EXPECT_EQ(channel.GetInputStatus(), Mu::EOI) << "the channel's status tells";
        }
    }
    for (unsigned int place = 0; place < headerSize; ++place)
        for (int flip = 1; flip < 256; ++flip) {
            std::string flipped = bytes;
            flipped[place] = static_cast<char>(flipped[place] ^ flip);
            ASSERT_EQ(Read(flipped, read), Mu::Error) << place << " " << flip;
        }
}

TYPED_TEST(Frame, IsWrittenInTheVersionThatTheScopeAsksFor) {
    auto const expectVersion = [](Mu::ClassVersion version) {
        EXPECT_EQ(Mu::FrameVersionScope::GetVersion(treeInfo), version);
        TypeParam written;
        {
            Mu::OutputFrame const frame(written, treeInfo);
            EXPECT_EQ(frame.GetSubVersion(), version.GetSubVersion());
        }
        ByteIChannel channel(written.GetBytes());
        Mu::InputFrame const frame(channel, treeInfo);
        EXPECT_EQ(frame.GetMainVersion(), version.GetMainVersion());
        EXPECT_EQ(frame.GetSubVersion(), version.GetSubVersion());
    };
    {
        Mu::FrameVersionScope const scope(treeInfo, Mu::ClassVersion(2, 0));
        {
            Mu::FrameVersionScope const inner(otherInfo, Mu::ClassVersion(9, 9));
            Mu::FrameVersionScope const innermost(treeInfo, Mu::ClassVersion(1, 7));
            expectVersion(Mu::ClassVersion(1, 7));
        }
        expectVersion(Mu::ClassVersion(2, 0));
        std::thread(expectVersion, Mu::ClassVersion(2, 1)).join();
    }
    expectVersion(Mu::ClassVersion(2, 1));
}

// The length in a header, right behind a right check byte.
std::string WithLength(std::string bytes, std::size_t header, unsigned int length) {
    for (unsigned int i = 0; i < 4; ++i)
        bytes[header + 12 + i] = static_cast<char>(length >> (8 * i));
    unsigned int check = 1;
    for (unsigned int i = 0; i < headerSize; ++i)
        if (i != 11)
            check = check * 31 + static_cast<unsigned char>(bytes[header + i]);
    bytes[header + 11] = static_cast<char>(check);
    return bytes;
}

TEST(ClosedFrame, HasItsHeaderAsToldWhateverTheProtocol) {
    ByteOChannel channel;
    channel.SetOutputProtocol(Mu::textOProtocol);
    {
        Mu::OutputFrame frame(channel, treeInfo);
        channel.WriteBin("abc", 3, nullptr);
    }
    std::string const bytes = channel.GetBytes();
    ASSERT_EQ(bytes.size(), headerSize + 3);
    EXPECT_EQ(bytes.substr(0, 4), "KFrm");
    EXPECT_EQ(bytes.substr(8, 3), std::string("\2\1\0", 3));
    EXPECT_EQ(bytes.substr(12), std::string("\3\0\0\0abc", 7));
    EXPECT_EQ(bytes, WithLength(bytes, 0, 3)) << "the check byte";
}

TEST(ClosedFrame, RefusesOneInsideThatReachesPastItsEnd) {
    ByteOChannel written;
    {
        Mu::OutputFrame outer(written, otherInfo);
        Mu::OutputFrame inner(written, treeInfo);
        written.WriteBin("abcd", 4, nullptr);
    }
    for (unsigned int claimed :
         {3u, 4u, 5u, 6u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFEFu, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
        SCOPED_TRACE(claimed);
        ByteIChannel channel(WithLength(written.GetBytes(), headerSize, claimed) + "tail");
        {
            Mu::InputFrame outer(channel, otherInfo);
            Mu::InputFrame inner(channel, treeInfo);
            EXPECT_EQ(inner.GetStatus(), claimed <= 4 ? Mu::NoError : Mu::Error);
        }
        EXPECT_EQ(channel.GetLeft(), 4u);
        ByteIChannel alone(WithLength(written.GetBytes(), 0, claimed));
        Mu::InputFrame frame(alone, otherInfo);
        EXPECT_EQ(frame.GetStatus(), claimed == 0xFFFFFFFFu ? Mu::Error : Mu::NoError);
        EXPECT_EQ(frame.GetRest(), claimed == 0xFFFFFFFFu ? 0u : claimed);
    }
}

TEST(OpenFrame, IsChosenWhereTheWriterIsOverwriting) {
    ByteOChannel channel;
    channel.PushMark();
    channel.WriteBin(std::string(200, '.').c_str(), 200, nullptr);
    channel.PopMark();
    EXPECT_EQ(nested.Write(channel), Mu::NoError);
    EXPECT_NE(channel.GetOffset(), 0u) << "the writer stays where it was";
    channel.ResetOffset();
    Nested read;
    EXPECT_EQ(Read(channel.GetBytes(), read), Mu::NoError);
    EXPECT_TRUE(read == nested);
}

TEST(OpenFrame, EndsAtTheEndOfTheFrameAroundIt) {
    // An open frame whose trailer is missing lies in a closed one.
    UnmarkedOChannel open;
    {
        Mu::OutputFrame frame(open, treeInfo);
        open.WriteBin("0123456789abcdefghij", 20, nullptr);
    }
    std::string const cut = open.GetBytes().substr(0, open.GetBytes().size() - headerSize);
    ByteOChannel written;
    {
        Mu::OutputFrame frame(written, otherInfo);
        written.WriteBin(cut.data(), static_cast<unsigned int>(cut.size()), nullptr);
    }
    for (unsigned int taken = 0; taken <= 20; ++taken) {
        ByteIChannel channel(written.GetBytes() + "tail");
        {
            Mu::InputFrame outer(channel, otherInfo);
            Mu::InputFrame inner(channel, treeInfo);
            EXPECT_EQ(inner.GetStatus(), Mu::NoError);
            EXPECT_EQ(inner.GetDataLength(), 0xFFFFFFFFu);
            EXPECT_EQ(inner.GetRest(), 20u) << "no more than the outer one has";
            EXPECT_EQ(channel.Skip(taken, nullptr), Mu::NoError);
        }
        EXPECT_EQ(channel.GetLeft(), 4u) << taken;
    }
}

TEST(InputFrame, RefusesAChannelThatDoesNotKnowItsPosition) {
    class Unplaced : public ByteIChannel {
    public:
        using ByteIChannel::ByteIChannel;
        MuErrCode GetInputPosition(unsigned long long *) const override { return Mu::Error; }
    };
    Unplaced channel(ToBytes<ByteOChannel>());
    EXPECT_EQ(Mu::InputFrame(channel, treeInfo).GetStatus(), Mu::Error);
}

} // namespace
