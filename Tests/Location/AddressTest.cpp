#include <Kestrel/Location/Address.h>

#include <Kestrel/Location/NameComparer.h>
#include <Kestrel/Location/NameEnumerator.h>
#include <Kestrel/Root/Objects/ClassInfo.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Location/AddressTrees.h"
#include "Tests/Support/Location/Locations.h"

#include <gtest/gtest.h>

#include <unordered_set>

using namespace Tests;

namespace {

class Collector : public IO::NameEnumerator {
public:
    void NameFound(IO::Name const & name) override {
        names.emplace_back(std::u16string_view(name.ToString()));
        EXPECT_EQ(MakeAddress(names).GetLength(), names.size()) << "the thread may use the tree";
    }
    Path names;
};

Path Enumerate(IO::Address const & address) {
    Collector collector;
    EXPECT_EQ(address.EnumerateNames(&collector), IO::NoError);
    return collector.names;
}

IO::Address MakeInvalid() {
    IO::Address address;
    IO::Address const taken(std::move(address));
    return address;
}

class OnlyExactNames : public IO::NameComparer {
public:
    OnlyExactNames() { IO::SetNameComparer(this); }
    ~OnlyExactNames() override { IO::SetNameComparer(nullptr); }
    bool IsSameName(Mu::UniString const & a, Mu::UniString const & b) override {
        ++questions;
        return a == b;
    }
    int questions = 0;
};

} // namespace

TEST(Address, EndsNamesAtTheirZeroUnitAndRefusesNone) {
    IO::Address zero;
    EXPECT_EQ(zero.Append(IO::Name(std::u16string_view(u"a\0b", 3))), IO::NoError);
    EXPECT_EQ(zero, MakeAddress({u"a"}));
    EXPECT_EQ(sizeof(zero), 16u);
    EXPECT_EQ(zero.Append(NullReference<IO::Name>()), IO::Error);
    EXPECT_EQ(zero.GetName(0, nullptr), IO::Error);
    EXPECT_EQ(IO::Address().DeleteLastName(), IO::Error);
}

TEST(Address, AnswersMemoryFullWhileItIsInvalid) {
    IO::Address address = MakeInvalid();
    IO::Name name("kept");
    Collector collector;
    EXPECT_EQ(address.GetStatus(), IO::ErrMemoryFull);
    EXPECT_EQ(address.GetName(0, &name), IO::ErrMemoryFull);
    EXPECT_EQ(address.GetNameAttachment(0, &name), IO::ErrMemoryFull);
    EXPECT_EQ(address.EnumerateNames(&collector), IO::ErrMemoryFull);
    EXPECT_EQ(address.Append(name), IO::ErrMemoryFull);
    EXPECT_EQ(address.Append(IO::Address()), IO::ErrMemoryFull);
    EXPECT_EQ(IO::Address().Append(address), IO::ErrMemoryFull);
    EXPECT_EQ(address.SetName(0, name), IO::ErrMemoryFull);
    EXPECT_EQ(address.SetNameAttachment(0, name), IO::ErrMemoryFull);
    EXPECT_EQ(address.DeleteName(0), IO::ErrMemoryFull);
    EXPECT_EQ(address.GetLength(), 0u);
    EXPECT_EQ(address.GenerateHashValue(), 0u);
    EXPECT_FALSE(address == IO::Address());
    EXPECT_FALSE(address < MakeAddress({u"a"}) || MakeAddress({u"a"}) < address);
    EXPECT_TRUE(name == "kept");
    EXPECT_TRUE(collector.names.empty());
    IO::Address const copy = address;
    EXPECT_EQ(copy.GetStatus(), IO::ErrMemoryFull);
    address = MakeAddress({u"a"});
    EXPECT_EQ(address.GetStatus(), IO::NoError);
}

TEST(Address, HidesAttachmentsFromWhoReadsNames) {
    IO::Address address = MakeAddress({u"a", u"b"});
    IO::Address const plain = address;
    IO::Name name;
    EXPECT_EQ(address.SetNameAttachment(1, IO::Name("tag")), IO::NoError);
    EXPECT_EQ(address.GetNameAttachment(1, &name), IO::NoError);
    EXPECT_TRUE(name == "tag");
    EXPECT_EQ(Enumerate(address), (Path{u"a", u"::<tag>b"}));
    EXPECT_EQ(ToBytes(address), ToBytes(plain)) << "attachments are private to the process";
    EXPECT_EQ(PrintTree(), "Root (2)\n|\n+---a (2)\n|   |\n|   +---::<tag>b (1)\n"
                           "|   |\n|   +---b (1)\n");
    IO::Address appended;
    EXPECT_EQ(appended.Append(address), IO::NoError);
    EXPECT_EQ(Enumerate(appended), (Path{u"a", u"b"})) << "another path has no part in it";
}

TEST(Address, TakesWhatOnlyLooksLikeAnAttachmentAsText) {
    Text const longTag(70, u't');
    Text const rows[][3] = {
        {u"::<", u"::<", u""},     {u"::<x", u"::<x", u""},
        {u"::>x", u"::>x", u""},   {u"::<>x", u"x", u""},
        {u"::<a>", u"", u"a"},     {u"::<a>b>c", u"b>c", u"a"},
        {u":<a>b", u":<a>b", u""}, {u"::<" + longTag + u">x", u"x", longTag},
    };
    for (auto const & [stored, name, tag] : rows) {
        IO::Address const address = MakeAddress({stored}), plain = MakeAddress({name});
        IO::Name attachment;
        EXPECT_EQ(address.GetNameAttachment(0, &attachment), IO::NoError);
        EXPECT_EQ(Text(std::u16string_view(attachment.ToString())), tag);
        EXPECT_EQ(GetPath(address), Path{name});
        EXPECT_EQ(address, plain);
        EXPECT_EQ(address.GenerateHashValue(), plain.GenerateHashValue());
    }
}

TEST(Address, OverlooksTheCaseUnlessTheComparerLooks) {
    IO::Address const upper = MakeAddress({u"A", u"b", u"\x00C4"});
    IO::Address const lower = MakeAddress({u"a", u"b", u"\x00E4"});
    EXPECT_EQ(upper, lower);
    EXPECT_EQ((std::unordered_set<IO::Address>{upper, IO::Address(), lower}.size()), 2u);
    OnlyExactNames exact;
    EXPECT_NE(upper, lower);
    EXPECT_LT(upper, lower);
    EXPECT_FALSE(lower < upper);
    exact.questions = 0;
    EXPECT_EQ(upper, MakeAddress({u"A", u"b", u"\x00C4"}));
    EXPECT_NE(upper, MakeAddress({u"A", u"b"}));
    EXPECT_EQ(exact.questions, 0) << "one node, or two lengths, settle it";
}

TEST(Address, WritesItsTailInFrontForOldReaders) {
    IO::Address const address = MakeAddress({u"com", u"example", u"www"});
    ByteOChannel channel;
    EXPECT_EQ(address.Write(channel, 1), IO::NoError);
    std::string const bytes = channel.GetBytes();
    std::string const expected =
        MakeFrame(IO::Address::GetClassInfoStatic(), {1, 2}, [](Mu::OChannel & out) {
            out.Write(1u);
            out.Write(IO::Name("www"));
            out.Write(2u);
            out.Write(IO::Name("com"));
            out.Write(IO::Name("example"));
        });
    EXPECT_EQ(bytes, expected);
    IO::Address copy;
    EXPECT_EQ(FromBytes(bytes, copy), IO::NoError);
    EXPECT_EQ(GetPath(copy), (Path{u"com", u"example", u"www"}));
}

TEST(Address, ReadsOlderAndNewerForms) {
    auto const read = [](Mu::ClassVersion version, auto const & write, MuErrCode expected) {
        IO::Address address = MakeAddress({u"old"});
        EXPECT_EQ(FromBytes(MakeFrame(IO::Address::GetClassInfoStatic(), version, write), address),
                  expected);
        return address;
    };
    auto const nothing = [](Mu::OChannel &) {};
    auto const oneName = [](Mu::OChannel & out) {
        out.Write(1u);
        out.Write(IO::Name("a"));
    };
    auto const newer = [](Mu::OChannel & out) {
        for (unsigned int const number : {0u, 0u, 77u})
            out.Write(number);
    };
    EXPECT_EQ(GetPath(read({1, 0}, oneName, IO::NoError)), Path{u"a"});
    EXPECT_EQ(GetPath(read({1, 1}, oneName, IO::NoError)), Path{u"a"});
    EXPECT_TRUE(read({1, 3}, newer, IO::NoError).IsEmpty());
    EXPECT_EQ(read({1, 1}, nothing, IO::NoError).GetStatus(), IO::ErrMemoryFull);
    EXPECT_EQ(read({1, 2}, nothing, IO::NoError).GetStatus(), IO::ErrMemoryFull);
    IO::Address empty;
    EXPECT_NE(FromBytes(MakeFrame(IO::Address::GetClassInfoStatic(), {1, 0}, nothing), empty),
              IO::NoError);
    EXPECT_EQ(FromBytes(ToBytes(MakeInvalid()), empty), IO::NoError);
    EXPECT_EQ(empty.GetStatus(), IO::ErrMemoryFull);
}

// The tree keeps what a name was compared with; a shortage must not make two of one.
TEST(Address, KeepsOneNodeForEqualNamesInAShortage) {
    struct : IO::NameComparer {
        bool IsSameName(Mu::UniString const & first, Mu::UniString const & second) override {
            return first.IsEqual(second, Mu::IgnoreCase);
        }
    } caseless;
    IO::SetNameComparer(&caseless);
    int round = 0;
    SweepAllocations([&](bool failed) {
        std::string const name = "a name that takes memory of its own" + std::to_string(++round);
        std::string upper = name;
        upper[0] = 'A';
        IO::Address first;
        IO::Address second;
        bool const isMade = first.Append(IO::Name(name.c_str())) == IO::NoError &&
                            second.Append(IO::Name(upper.c_str())) == IO::NoError;
        EXPECT_TRUE(isMade || failed);
        if (isMade) {
            EXPECT_EQ(first, second);
        }
    });
    IO::SetNameComparer(nullptr);
}
