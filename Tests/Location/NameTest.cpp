#include <Kestrel/Location/Name.h>

#include <Kestrel/Location/NameComparer.h>
#include <Kestrel/Root/Objects/ClassInfo.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Location/Locations.h"

#include <gtest/gtest.h>

#include <utility>

using namespace Tests;

namespace {

// The old form, which holds bytes; a sign of 0 stands for the oldest, which has none.
std::string MakeOldFrame(std::string const & bytes, unsigned short sign, unsigned int count) {
    Mu::ClassVersion const version(1, sign == 0 ? 0 : 1);
    return MakeFrame(IO::Name::GetClassInfoStatic(), version, [&](Mu::OChannel & out) {
        out.Write(count);
        out.WriteBin(bytes.data(), static_cast<unsigned int>(bytes.size()), nullptr);
        if (sign != 0)
            out.WriteUShort(sign);
    });
}

std::string MakeOldFrame(std::string const & bytes, unsigned short sign) {
    return MakeOldFrame(bytes, sign, static_cast<unsigned int>(bytes.size()));
}

std::string WriteOld(IO::Name const & name, Mu::ClassVersion version) {
    Mu::FrameVersionScope const scope(IO::Name::GetClassInfoStatic(), version);
    return ToBytes(name);
}

} // namespace

TEST(Name, SplitsAtTheLastDot) {
    char const * const rows[][3] = {{"a.b.c", "a.b", "c"}, {".profile", "", "profile"},
                                    {"end.", "end", ""},   {"plain", "plain", ""},
                                    {"", "", ""},          {".", "", ""}};
    for (auto const & [text, base, extension] : rows) {
        IO::Name name(text);
        EXPECT_EQ(ToUtf8(name.GetBase()), base);
        EXPECT_EQ(ToUtf8(name.GetExtension()), extension);
        EXPECT_EQ(name.HasExtension(), std::string(text).find('.') != std::string::npos);
        name.DeleteExtension();
        EXPECT_EQ(ToUtf8(name), base);
    }
}

TEST(Name, AppendsTextsAndExtensions) {
    IO::Name name("a");
    name.Append("b");
    name.Append(u"\x00E4");
    name.AppendExtension("x");
    name.AppendExtension(Mu::UniString());
    name.AppendExtension(static_cast<char const *>(nullptr));
    name.AppendExtension(NullReference<Mu::UniString>());
    EXPECT_EQ(ToUtf8(name), "ab\xC3\xA4.x.");
    EXPECT_EQ(name[2], 0xE4);
    name.ClearContent();
    EXPECT_TRUE(name.IsEmpty() && name.GetCapacity() >= 6);
    name.Clear();
    EXPECT_EQ(name.GetCapacity(), 0u);
}

TEST(Name, OverlooksTheCaseInEqualityButNotInOrder) {
    std::pair<char16_t const *, int> const texts[] = {{u"", 0},  {u"a", 1},      {u"A", 1},
                                                      {u"b", 2}, {u"ab", 3},     {u"AB", 3},
                                                      {u"$", 4}, {u"\u00C4", 5}, {u"\u00E4", 5}};
    for (auto const & [first, kind] : texts)
        for (auto const & [second, otherKind] : texts) {
            bool const isSame = kind == otherKind;
            auto const check = [&, name = IO::Name(first)](auto const & other) {
                EXPECT_EQ(name == other, isSame);
                EXPECT_EQ(name != other, !isSame);
            };
            IO::Name const name(first), other(second);
            check(other);
            check(other.ToString());
            check(second);
            check(std::u16string_view(second));
            if (otherKind != 5) // all others are the same in every code
                check(ToUtf8(other).c_str());
            EXPECT_EQ(name < other, std::u16string_view(first) < second);
            EXPECT_TRUE(!isSame || name.GenerateHashValue() == other.GenerateHashValue());
        }
}

TEST(Name, IsNeitherEqualNorUnequalToNothing) {
    IO::Name const name("a");
    char const * const noText = nullptr;
    char16_t const * const noUnits = nullptr;
    EXPECT_FALSE(name == noText || name != noText || name == noUnits || name != noUnits);
    EXPECT_FALSE(name == NullReference<IO::Name>() || name != NullReference<IO::Name>());
    EXPECT_FALSE(name == NullReference<Mu::UniString>() || name != NullReference<Mu::UniString>());
    EXPECT_FALSE(name < NullReference<IO::Name>());
}

TEST(Name, AsksTheRegisteredComparer) {
    struct ByLength : IO::NameComparer {
        bool IsSameName(Mu::UniString const & a, Mu::UniString const & b) override {
            return a.GetLength() == b.GetLength();
        }
    } byLength;
    IO::SetNameComparer(&byLength);
    EXPECT_EQ(IO::GetNameComparer(), &byLength);
    EXPECT_TRUE(IO::Name("ab") == "cd" && IO::Name("ab") == IO::Name("xy"));
    EXPECT_TRUE(IO::Name("ab") != "c");
    IO::SetNameComparer(nullptr);
    EXPECT_TRUE(IO::Name("ab") != "cd");
}

TEST(Name, IsReadAsItWasWritten) {
    for (Mu::UniString const & text : {U(""), U("a"), U("\xC3\xA4.txt"), Mu::UniString(u"\xD800x"),
                                       U(std::string(10000, 'l'))}) {
        IO::Name name("old");
        EXPECT_EQ(FromBytes(ToBytes(IO::Name(text)), name), IO::NoError);
        EXPECT_EQ(name.ToString(), text);
    }
    EXPECT_EQ(IO::Name().Read(NullReference<Mu::IChannel>()), IO::Error);
    EXPECT_EQ(IO::Name().Write(NullReference<Mu::OChannel>()), IO::Error);
    IO::Name("a").Print(NullReference<Mu::OChannel>());
    EXPECT_EQ(Print(IO::Name(U("\xC3\xA4"))), "\xC3\xA4");
}

TEST(Name, WritesTheOldFormsForOldReaders) {
    EXPECT_EQ(WriteOld(IO::Name("abc"), {1, 0}), MakeOldFrame("abc", 0));
    EXPECT_EQ(WriteOld(IO::Name("abc"), {1, 1}), MakeOldFrame("abc", 0x5757));
    EXPECT_EQ(WriteOld(IO::Name(""), {1, 1}), MakeOldFrame("", 0x5757));
    // As many bytes as units, and never more than there are.
    IO::Name copy;
    EXPECT_EQ(FromBytes(WriteOld(IO::Name(u"\x00E4\x00E4z"), {1, 1}), copy), IO::NoError);
    EXPECT_LE(copy.GetLength(), 3u);
}

TEST(Name, ReadsTheOldForms) {
    // Lengths round the room on the stack and round a piece, and more than one piece.
    for (std::size_t const length : {0u, 1u, 1023u, 1024u, 1025u, 0x10000u, 0x10001u, 300000u}) {
        SCOPED_TRACE(length);
        std::string bytes(length, 'x');
        for (std::size_t i = 0; i < length; ++i)
            bytes[i] = static_cast<char>('a' + i % 26);
        for (unsigned short const sign : {0x0000, 0x5757}) {
            IO::Name name("old");
            EXPECT_EQ(FromBytes(MakeOldFrame(bytes, sign), name), IO::NoError);
            EXPECT_EQ(ToUtf8(name), bytes);
        }
    }
    IO::Name name("old");
    EXPECT_EQ(
        FromBytes(MakeFrame(IO::Name::GetClassInfoStatic(), {1, 1}, [](Mu::OChannel &) {}), name),
        IO::NoError);
    EXPECT_TRUE(name.IsEmpty());
    // Bytes of the Mac are recoded before they are understood: a-umlaut is 0x8A there, 0xE4 here.
    EXPECT_EQ(FromBytes(MakeOldFrame("\x8A", 0x4D4D), name), IO::NoError);
    EXPECT_EQ(name.ToString(), Mu::UniString("\xE4"));
}

TEST(Name, TakesNoMemoryForAPromise) {
    long long const before = CountLiveBlocks();
    unsigned long long const allocations = CountAllocations();
    for (unsigned int const count : {4u, 2000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        IO::Name name("old");
        EXPECT_EQ(FromBytes(MakeOldFrame("abc", 0, count), name), IO::Error);
        EXPECT_TRUE(name.IsEmpty());
    }
    EXPECT_EQ(CountLiveBlocks(), before);
    EXPECT_LT(CountAllocations() - allocations, 60u);
}
