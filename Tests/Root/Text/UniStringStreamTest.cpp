#include <Kestrel/Root/Text/UniString.h>

#include <Kestrel/Root/Objects/ClassInfo.h>
#include <Kestrel/Root/Text/String.h>

#include "Tests/Support/Root/Persisted.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

using Mu::String;
using Mu::UniString;
using Tests::ByteIChannel;

namespace {

std::string Print(Mu::Object const & object) {
    Tests::ByteOChannel channel;
    object.Print(channel);
    return channel.GetBytes();
}

std::string CountAnd(unsigned int count, std::string const & bytes) {
    std::string text(reinterpret_cast<char const *>(&count), sizeof(count));
    return text + bytes;
}

template <typename T>
__attribute__((no_sanitize("null"))) T & NullReference() {
    T * volatile none = nullptr;
    return *none;
}

} // namespace

TEST(UniStringStream, RefusesANullChannel) {
    UniString text("kept");
    EXPECT_EQ(text.Read(NullReference<Mu::IChannel>()), Mu::Error);
    EXPECT_EQ(text.Write(NullReference<Mu::OChannel>()), Mu::Error);
    text.Print(NullReference<Mu::OChannel>());
    EXPECT_TRUE(text == "kept");
    String narrow("kept");
    EXPECT_EQ(narrow.Read(NullReference<Mu::IChannel>()), Mu::Error);
    EXPECT_EQ(narrow.Write(NullReference<Mu::OChannel>()), Mu::Error);
    narrow.Print(NullReference<Mu::OChannel>());
    EXPECT_TRUE(narrow == "kept");
}

TEST(UniStringStream, WritesUnitsLowByteFirstAndReadsThemBack) {
    UniString text(u"a\u20AC");
    text.Append(Mu::UniChar(0xD83D)); // a lone surrogate survives
    EXPECT_EQ(Tests::ToBytes(text), std::string("\3\0\0\0a\0\xAC\x20\x3D\xD8", 10));
    for (unsigned int length : {0u, 1u, 511u, 512u, 513u, 5000u}) {
        UniString written;
        for (unsigned int i = 0; i < length; ++i)
            written.Append(Mu::UniChar(static_cast<unsigned short>(i * 77)));
        ByteIChannel channel(Tests::ToBytes(written) + "tail");
        UniString read("what was there before");
        EXPECT_EQ(read.Read(channel), Mu::NoError);
        EXPECT_TRUE(read == written);
        EXPECT_EQ(channel.GetLeft(), 4u) << "not a byte more";
    }
}

TEST(UniStringStream, TakesNoMoreMemoryThanBytesFollow) {
    std::string const bytes(3000, 'x');
    for (unsigned int count : {0xFFFFFFFFu, 0x7FFFFFFFu, 0x3FFFFFFFu, 3001u}) {
        ByteIChannel unitChannel(CountAnd(count, bytes));
        ByteIChannel byteChannel(CountAnd(count, bytes));
        unsigned long long const before = Tests::CountAllocations();
        UniString text;
        EXPECT_EQ(text.Read(unitChannel), Mu::Error);
        String narrow;
        EXPECT_EQ(narrow.Read(byteChannel), Mu::Error);
        EXPECT_EQ(text.GetCapacity() + narrow.GetCapacity(), 0u);
        EXPECT_LE(Tests::CountAllocations() - before, 10u);
    }
}

TEST(UniStringStream, PrintsUtf8WithoutMemory) {
    std::u16string units;
    while (units.size() < 1000)
        units += u"x\U0001F985"; // pairs fall on every boundary of a piece
    UniString const text{std::u16string_view(units)};
    (void)Print(text); // the channel's own block is kept for the next
    unsigned long long const before = Tests::CountAllocations();
    std::string const printed = Print(text);
    EXPECT_EQ(Tests::CountAllocations(), before + 2) << "where the channel writes to, and grows";
    EXPECT_EQ(printed, ToUtf8(text));
    EXPECT_EQ(printed.find("\xEF\xBF\xBD"), std::string::npos);
}
