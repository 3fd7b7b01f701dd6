#include <Kestrel/Location/Address.h>

#include <Kestrel/Location/NameComparer.h>
#include <Kestrel/Location/NameEnumerator.h>
#include <Kestrel/Root/Objects/ClassInfo.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Location/AddressTrees.h"
#include "Tests/Support/Location/Locations.h"
#include "Tests/Support/Location/NameList.h"

#include <gtest/gtest.h>

#include <unordered_set>

using namespace Tests;

namespace {

class Collector : public IO::NameEnumerator {
public:
    void NameFound(IO::Name const & name) override {
        address.Clear();
        names.emplace_back(std::u16string_view(name.ToString()));
        EXPECT_EQ(MakeAddress(names).GetLength(), names.size()) << "the thread may use the tree";
    }
    IO::Address address;
    Path names;
};

Path Enumerate(IO::Address address) {
    Collector collector;
    collector.address = std::move(address);
    EXPECT_EQ(collector.address.EnumerateNames(&collector), IO::NoError);
    return collector.names;
}

template <typename T = IO::Address>
T MakeInvalid() {
    T address;
    T const taken(std::move(address));
    return address;
}

/// With what only the lists of locations have.
struct AddressList : IO::Address {
    MuErrCode MoveLastName(IO::Name * name) {
        MuErrCode const status = GetLastName(name);
        return status != IO::NoError ? status : DeleteLastName();
    }
};
KESTREL_NAME_LIST(AddressNames, AddressList, Name, Append);

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

TEST(Address, IsAListOfNames) {
    ExpectAListOfNames<AddressNames>({{MakeInvalid<AddressList>(), IO::ErrMemoryFull}},
                                     [](AddressList const & address, Names const & names) {
                                         Path path;
                                         for (std::string const & name : names)
                                             path.emplace_back(name.begin(), name.end());
                                         ASSERT_EQ(GetPath(address), path);
                                         ASSERT_EQ(Enumerate(address), path);
                                         ASSERT_EQ(address.GetLength(), path.size());
                                         ASSERT_EQ(address.IsEmpty(), path.empty());
                                     });
    IO::Address zero;
    EXPECT_EQ(zero.Append(IO::Name(std::u16string_view(u"a\0b", 3))), IO::NoError);
    EXPECT_EQ(zero, MakeAddress({u"a"}));
    EXPECT_EQ(sizeof(zero), 16u);
}

TEST(Address, ChecksArgumentThenMemory) {
    IO::Address invalid = MakeInvalid(), valid = MakeAddress({u"a"});
    IO::Name name("kept");
    Collector collector;
    for (IO::Address * any : {&invalid, &valid})
        for (MuErrCode const status :
             {any->Append(NullReference<IO::Address>()), any->GetNameAttachment(0, nullptr),
              any->SetNameAttachment(0, NullReference<IO::Name>()), any->EnumerateNames(nullptr),
              any->Read(NullReference<Mu::IChannel>()), any->Write(NullReference<Mu::OChannel>())})
            EXPECT_EQ(status, IO::Error);
    for (MuErrCode const status :
         {invalid.GetStatus(), invalid.GetNameAttachment(0, &name),
          invalid.SetNameAttachment(0, name), invalid.EnumerateNames(&collector),
          invalid.Append(valid), valid.Append(invalid)})
        EXPECT_EQ(status, IO::ErrMemoryFull);
    EXPECT_EQ(invalid.GetLength(), 0u);
    EXPECT_EQ(invalid.GenerateHashValue(), 0u);
    EXPECT_FALSE(invalid == valid || invalid < valid || valid < invalid || valid < valid);
    EXPECT_TRUE(name == "kept");
    EXPECT_TRUE(collector.names.empty());
    IO::Address const copy = invalid;
    EXPECT_EQ(copy.GetStatus(), IO::ErrMemoryFull);
    invalid = valid;
    EXPECT_EQ(invalid, valid);
    IO::Address::PrintAddressTree(NullReference<Mu::OChannel>());
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
    IO::Address appended = MakeAddress({u"c"});
    EXPECT_EQ(appended.Append(address), IO::NoError);
    EXPECT_EQ(Enumerate(std::move(appended)), (Path{u"c", u"a", u"b"}))
        << "another path has no part in it";
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
    Text const tail(40, u'x');
    IO::Address const upper = MakeAddress({u"A", u"b", u"\x00C4" + tail});
    IO::Address const lower = MakeAddress({u"a", u"b", u"\x00E4" + tail});
    EXPECT_EQ(upper, lower);
    EXPECT_EQ((std::unordered_set<IO::Address>{upper, IO::Address(), lower}.size()), 2u);
    OnlyExactNames exact;
    EXPECT_NE(upper, lower);
    EXPECT_LT(upper, lower);
    EXPECT_FALSE(lower < upper);
    exact.questions = 0;
    EXPECT_EQ(upper, MakeAddress({u"A", u"b", u"\x00C4" + tail}));
    EXPECT_NE(upper, MakeAddress({u"A", u"b"}));
    EXPECT_EQ(exact.questions, 0) << "one node, or two lengths, settle it";
    Shortage const shortage;
    EXPECT_EQ(upper, lower) << "the nearest that takes no memory";
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
    EXPECT_TRUE(read({1, 0}, nothing, IO::EOI).IsEmpty());
    IO::Address empty;
    EXPECT_EQ(FromBytes(ToBytes(MakeInvalid()), empty), IO::NoError);
    EXPECT_EQ(empty.GetStatus(), IO::ErrMemoryFull);
}
