#include <Kestrel/Location/Location.h>

#include <Kestrel/Location/Internal/LocalRoot.h>
#include <Kestrel/Location/NameEnumerator.h>
#include <Kestrel/Location/RelativeLocation.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Location/NameList.h"
#include "Tests/Support/Location/TestResolver.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <utility>

using namespace Tests;
using IO::Location;

namespace {

KESTREL_NAME_LIST(NetworkNames, Location, NetworkName, AppendToNetwork);
KESTREL_NAME_LIST(LocalNames, Location, LocalName, AppendToLocal);

} // namespace

TEST(Location, IsTwoListsOfNames) {
    TestResolver const resolver;
    std::vector<std::pair<Location, MuErrCode>> const unhealthy = {
        {MakeInvalidLocation(), IO::ErrMemoryFull}, {Location("X"), IO::ErrIllegalLocation}};
    auto const check = [](Location & location, Names const & network, Names const & local) {
        ASSERT_EQ(GetNetwork(location), network);
        ASSERT_EQ(GetLocal(location), local);
        ASSERT_EQ(location.GetNetworkLength(), network.size());
        ASSERT_EQ(location.GetLocalLength(), local.size());
        ASSERT_EQ(location.IsRoot(), local.empty());
        ASSERT_EQ(location.IsEmpty(), local.empty() && network.empty());
        unsigned long long const before = CountAllocations();
        Location copy(location);
        Location const moved(std::move(copy));
        copy = moved; // what was moved from can be assigned to
        ASSERT_TRUE(copy.GenerateHashValue() == location.GenerateHashValue());
        ASSERT_EQ(CountAllocations(), before);
        ASSERT_EQ(copy, location);
        if (local.size() + network.size() > 5) {
            location.ClearLocal();
            ASSERT_EQ(GetNetwork(location), network);
            location.ClearNetwork();
            ASSERT_TRUE(location.IsEmpty());
            location = copy;
        }
    };
    ExpectAListOfNames<NetworkNames>(
        unhealthy, [&](Location & location, Names const & names) { check(location, names, {}); });
    ExpectAListOfNames<LocalNames>(
        unhealthy, [&](Location & location, Names const & names) { check(location, {}, names); });
    EXPECT_LE(sizeof(Location), 32u);
    EXPECT_EQ(GetLocal(Location(MakeLocation({}, {"C:"}), IO::Name("a"))), (Names{"C:", "a"}));
    EXPECT_EQ(GetLocal(Location(MakeLocation({}, {"C:"}), NullReference<IO::Name const>())),
              Names{"C:"});
}

TEST(Location, ChecksArgumentThenMemoryThenStatus) {
    TestResolver const resolver;
    Mu::UniString text;
    IO::NameEnumerator enumerator;
    IO::RelativeLocation const relative;
    using L = Location;
    struct {
        std::function<MuErrCode(L &)> withNull, fine;
    } const rows[] = {
        {[](L & l) { return l.EnumerateLocalNames(nullptr); },
         [&](L & l) { return l.EnumerateLocalNames(&enumerator); }},
        {[](L & l) { return l.AppendToLocal(NullReference<IO::RelativeLocation const>()); },
         [&](L & l) { return l.AppendToLocal(relative); }},
        {[](L & l) { return l.ToPath(static_cast<Mu::UniString *>(nullptr)); },
         [&](L & l) { return l.ToPath(&text); }},
        {[](L & l) { return l.ToDisplayText(static_cast<Mu::UniString *>(nullptr)); },
         [&](L & l) { return l.ToDisplayText(&text); }},
        {[](L & l) { return l.ToURL(static_cast<Mu::UniString *>(nullptr)); },
         [&](L & l) { return l.ToURL(&text); }},
    };
    Location invalid = MakeInvalidLocation(), refused("X"), full = MakeLocation({"h"}, {"s", "x"});
    for (auto const & row : rows) {
        SCOPED_TRACE(&row - rows);
        for (Location * any : {&invalid, &refused, &full})
            EXPECT_EQ(row.withNull(*any), IO::Error);
        EXPECT_EQ(row.fine(invalid), IO::ErrMemoryFull);
        EXPECT_EQ(row.fine(refused), IO::ErrIllegalLocation);
        EXPECT_EQ(row.fine(full), IO::NoError);
    }
    for (Location & unhealthy : {std::ref(invalid), std::ref(refused)}) {
        EXPECT_TRUE(unhealthy.IsEmpty() && unhealthy.IsRoot() && unhealthy.IsLocal());
        EXPECT_EQ(unhealthy.GetLocalLength() + unhealthy.GetNetworkLength(), 0u);
        EXPECT_EQ(unhealthy.Clone(), nullptr);
        EXPECT_FALSE(unhealthy.IsValid());
        unhealthy.Clear();
        EXPECT_TRUE(unhealthy.IsValid());
    }
}

TEST(Location, IsPublishedAsRootBetweenStartAndEnd) {
    IO::StartLocalRoot();
    EXPECT_TRUE(IO::localRoot.IsValid());
    EXPECT_EQ(IO::localRoot.GetNetworkModel(), Location::HierarchicalModel);
    EXPECT_EQ(IO::localRoot, Location());
    IO::EndLocalRoot();
}

TEST(Location, CopiesEverything) {
    Location original = MakeLocation({"host"}, {"C:", "a"});
    original.SetScheme(U("http"));
    original.SetUserName(U("me"));
    original.SetPassword(U("secret"));
    original.SetPort(80);
    Location assigned;
    assigned = original;
    std::unique_ptr<Location> const clone(original.Clone());
    for (Location const * copy : {&assigned, clone.get()}) {
        EXPECT_EQ(*copy, original);
        EXPECT_EQ(copy->GetNetworkModel(), Location::SchemeModel);
        EXPECT_EQ(copy->GetScheme(), "http");
        EXPECT_EQ(copy->GetUserName(), "me");
        EXPECT_EQ(copy->GetPassword(), "secret");
        EXPECT_EQ(copy->GetPort(), 80);
    }
    EXPECT_EQ(clone->AppendToLocal("b"), IO::NoError);
    EXPECT_EQ(GetLocal(original), (Names{"C:", "a"})) << "copies do not share";
    assigned = *&assigned;
    assigned = NullReference<Location const>();
    EXPECT_EQ(assigned, original) << "itself and nothing leave a location as it is";
    assigned.SetScheme(U(""));
    EXPECT_EQ(assigned.GetNetworkModel(), Location::HierarchicalModel);
}

TEST(Location, AsksForLegalityAgainAfterEveryChange) {
    Location location = MakeLocation({}, {"C:", "a"});
    EXPECT_TRUE(location.IsLegal());
    EXPECT_EQ(location.SetLastLocalName("a?"), IO::NoError);
    EXPECT_FALSE(location.IsLegal());
    EXPECT_EQ(location.SetLastLocalName("a"), IO::NoError);
    location.SetPassword(U("p"));
    EXPECT_FALSE(location.IsLegal());
    location.SetUserName(U("u"));
    EXPECT_TRUE(location.IsLegal());
    EXPECT_EQ(location.DeleteLocalName(0), IO::NoError);
    EXPECT_FALSE(location.IsLegal());
    location.Clear();
    EXPECT_TRUE(location.IsLegal());
    EXPECT_EQ(location.AppendToLocal(MakeRelative({"no drive"})), IO::NoError);
    EXPECT_FALSE(location.IsLegal());
    EXPECT_EQ(location.Set("lan.null://h/s"), IO::NoError);
    EXPECT_FALSE(location.IsLegal());
    location.SetScheme(U("x"));
    EXPECT_TRUE(location.IsLegal());
}

TEST(Location, IsMadeOnTheHeapOrToldWhyNot) {
    TestResolver const resolver;
    auto const take = [](auto const &... arguments) {
        Location * made = reinterpret_cast<Location *>(1);
        MuErrCode const status = Location::New(&made, arguments...);
        std::unique_ptr<Location> const owner(made);
        EXPECT_EQ(made != nullptr, status == IO::NoError);
        return std::pair(status, made == nullptr ? Names{} : GetLocal(*made));
    };
    auto const refused = [](MuErrCode status) { return std::pair(status, Names{}); };
    Location const parent = MakeLocation({}, {"C:"});
    EXPECT_EQ(take(), refused(IO::NoError));
    EXPECT_EQ(take(parent), std::pair(IO::NoError, Names{"C:"}));
    EXPECT_EQ(take(parent, IO::Name("a")), std::pair(IO::NoError, Names{"C:", "a"}));
    EXPECT_EQ(take(U("C:\\b")), std::pair(IO::NoError, Names{"C:", "b"}));
    EXPECT_EQ(take("C:\\b"), std::pair(IO::NoError, Names{"C:", "b"}));
    EXPECT_EQ(take(U("X")), refused(IO::ErrIllegalLocation));
    EXPECT_EQ(take(MakeInvalidLocation()), refused(IO::ErrMemoryFull));
    EXPECT_EQ(take(NullReference<Location const>()), refused(IO::Error));
    EXPECT_EQ(take(parent, NullReference<IO::Name const>()), refused(IO::Error));
    EXPECT_EQ(take(static_cast<char const *>(nullptr)), refused(IO::Error));
    EXPECT_EQ(Location::New(nullptr, "C:\\"), IO::Error);
}

namespace {

// A platform that keeps one byte with a location.
class BytePDI : public Location::PDI {
public:
    explicit BytePDI(unsigned char byte) : byte(byte) { ++living; }
    ~BytePDI() override { --living; }
    Mu::PlatformSign GetPlatformSign() const override { return Mu::WindowsSign; }
    PDI * Clone() const override { return new BytePDI(byte); }

    unsigned char byte;
    static inline int living = 0;
};

class ByteResolver : public TestResolver {
public:
    MuErrCode ReadPDI(Mu::IChannel & channel, Location & location) override {
        unsigned char byte = 0;
        MuErrCode const status = channel.Read(byte);
        SetPDI(location, new BytePDI(byte));
        return status;
    }
    MuErrCode WritePDI(Mu::OChannel & channel, Location const & location) override {
        return channel.Write(static_cast<BytePDI const *>(GetPDI(location))->byte);
    }
};

} // namespace

TEST(Location, OwnsAndWritesWhatThePlatformKeepsWithIt) {
    ByteResolver const resolver;
    {
        Location location;
        TestResolver::SetPDI(location, new BytePDI(42));
        Location copy(location);
        EXPECT_EQ(BytePDI::living, 2);
        copy = location;
        EXPECT_EQ(BytePDI::living, 2) << "the old one goes";
        std::string const bytes = ToBytes(copy);
        EXPECT_NE(bytes.find("\x57\x57\x2A"), bytes.npos);
        copy.Clear();
        EXPECT_EQ(BytePDI::living, 1);
        EXPECT_EQ(FromBytes(bytes, copy), IO::NoError);
        EXPECT_EQ(static_cast<BytePDI *>(TestResolver::GetPDI(copy))->byte, 42);
        Location moved(std::move(location));
        EXPECT_EQ(BytePDI::living, 2);
        unsigned short const none[] = {0, 0};
        TestResolver::SetContent(moved, nullptr, none, Location::NullModel);
        EXPECT_EQ(BytePDI::living, 2) << "a null list changes nothing";
        TestResolver::SetContent(moved, none, none, Location::NullModel);
        EXPECT_EQ(BytePDI::living, 1);
        EXPECT_EQ(moved.GetNetworkModel(), Location::NullModel);
    }
    EXPECT_EQ(BytePDI::living, 0);
}

// A question that a shortage left open must not be answered from memory later on.
TEST(Location, ForgetsALegalityThatAShortageSpoilt) {
    std::vector<Location> asked(200, MakeLocation({}, {"C:", "con1", "abc"}));
    unsigned int count = 0;
    SweepAllocations([&](bool failed) {
        bool const legal = asked.at(count++).IsLegal();
        EXPECT_TRUE(legal || failed);
    });
    for (Location const & location : asked)
        EXPECT_TRUE(location.IsLegal());
}

// A question has the right answer, or says that it has none; "no" is never said for want of memory.
TEST(Location, HasTheRightAnswerOrSaysThatItHasNone) {
    std::string const longName = "a name that is longer than any place which a text has within";
    Location const parent = Tests::MakeLocation({"localhost"}, {"C:", longName});
    Location const child(parent, IO::Name((longName + " too").c_str()));
    MuErrCode const expected = Location(child).CheckLegality();
    MuErrCode const onAll = child.CheckMultiplatform();
    IO::Name const name(longName.c_str());
    SweepAllocations([&](bool failed) {
        EXPECT_TRUE(parent.IsLocal());
        EXPECT_TRUE(parent.IsAncestorOf(child));
        EXPECT_FALSE(child.IsAncestorOf(parent));
        Location const asked(child);
        MuErrCode const legality = asked.CheckLegality();
        EXPECT_TRUE(legality == expected || (failed && legality == IO::ErrMemoryFull));
        MuErrCode const everywhere = asked.CheckMultiplatform();
        EXPECT_TRUE(everywhere == onAll || (failed && everywhere == IO::ErrMemoryFull));
        IO::RelativeLocation const way(name);
        MuErrCode const wayLegality = way.CheckLegality();
        EXPECT_TRUE(wayLegality == IO::NoError || (failed && wayLegality == IO::ErrMemoryFull));
        MuErrCode const wayEverywhere = way.CheckMultiplatform();
        EXPECT_TRUE(wayEverywhere == IO::NoError || (failed && wayEverywhere == IO::ErrMemoryFull));
        IO::RelativeLocation difference;
        MuErrCode const known = child.GetDifference(parent, &difference);
        EXPECT_TRUE(known == IO::NoError ? difference.GetLength() == 1 : failed);
        Mu::UniString url;
        MuErrCode const told = child.ToURL(&url);
        EXPECT_TRUE(told == IO::NoError || (failed && told == IO::ErrMemoryFull));
        Location fromURL;
        MuErrCode const set = told == IO::NoError ? fromURL.Set(url) : told;
        EXPECT_TRUE(set == IO::NoError ? fromURL.GetLocalLength() == 3
                                       : failed && set == IO::ErrMemoryFull);
    });
}
