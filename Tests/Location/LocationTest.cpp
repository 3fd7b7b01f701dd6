#include <Kestrel/Location/Location.h>

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Location/Internal/LocalRoot.h>
#include <Kestrel/Location/NameEnumerator.h>
#include <Kestrel/Location/RelativeLocation.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Location/Locations.h"
#include "Tests/Support/Location/TestResolver.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <unordered_set>
#include <utility>

using namespace Tests;
using IO::Location;

namespace {

Location const & NullLocation() {
    return NullReference<Location const>();
}
IO::Name const & NullName() {
    return NullReference<IO::Name const>();
}

} // namespace

TEST(Location, IsBornEmptyHealthyAndLegal) {
    Location const location;
    EXPECT_EQ(location.GetStatus(), IO::NoError);
    EXPECT_TRUE(location.IsValid());
    EXPECT_TRUE(location.IsEmpty());
    EXPECT_TRUE(location.IsRoot());
    EXPECT_TRUE(location.IsLocal());
    EXPECT_EQ(location.GetNetworkModel(), Location::HierarchicalModel);
    EXPECT_EQ(location.GetPort(), 0);
}

TEST(Location, IsSmall) {
    EXPECT_LE(sizeof(Location), 144u);
    EXPECT_LE(sizeof(IO::RelativeLocation), 32u);
}

TEST(Location, IsPublishedAsRootBetweenStartAndEnd) {
    IO::StartLocalRoot();
    EXPECT_TRUE(IO::localRoot.IsValid());
    EXPECT_EQ(IO::localRoot, Location());
    IO::EndLocalRoot();
}

TEST(Location, ReadsThePortableForms) {
    TestResolver const resolver;
    struct Row {
        char16_t const * text;
        Names network, local;
        bool isLocal;
    };
    Row const rows[] = {
        {u"C:\\", {}, {"C:"}, true},
        {u"C:\\a\\b", {}, {"C:", "a", "b"}, true},
        {u"\\\\host\\share\\x", {"host"}, {"share", "x"}, false},
        {u"\\\\localhost\\x", {"localhost"}, {"x"}, true},
        {u"\\\\LOCALHOST\\x", {"LOCALHOST"}, {"x"}, false},
        {u"a\\b", {}, {"a", "b"}, true},
    };
    for (Row const & row : rows) {
        Location const location(row.text);
        SCOPED_TRACE(location);
        EXPECT_EQ(location.GetStatus(), IO::NoError);
        EXPECT_EQ(GetNetwork(location), row.network);
        EXPECT_EQ(GetLocal(location), row.local);
        EXPECT_EQ(location.IsLocal(), row.isLocal);
        EXPECT_FALSE(location.IsRoot());
        EXPECT_EQ(location.GetNetworkModel(), Location::FlatModel);
    }
}

TEST(Location, EditsBothListsOfNames) {
    Location location = MakeLocation({"com", "www"}, {"C:", "a", "b"});
    EXPECT_EQ(location.SetLocalName(1, "x"), IO::NoError);
    EXPECT_EQ(location.SetLastLocalName("y"), IO::NoError);
    EXPECT_EQ(GetLocal(location), (Names{"C:", "x", "y"}));
    EXPECT_EQ(location.DeleteLocalName(1), IO::NoError);
    IO::Name name;
    EXPECT_EQ(location.MoveLastLocalName(&name), IO::NoError);
    EXPECT_EQ(name, "y");
    EXPECT_EQ(location.DeleteLastLocalName(), IO::NoError);
    EXPECT_TRUE(location.IsRoot());

    EXPECT_EQ(location.SetNetworkName(0, "org"), IO::NoError);
    EXPECT_EQ(location.SetLastNetworkName("ftp"), IO::NoError);
    EXPECT_EQ(GetNetwork(location), (Names{"org", "ftp"}));
    EXPECT_EQ(location.DeleteNetworkName(0), IO::NoError);
    EXPECT_EQ(location.MoveLastNetworkName(&name), IO::NoError);
    EXPECT_EQ(name, "ftp");
    EXPECT_TRUE(location.IsEmpty());

    location = MakeLocation({"a", "b"}, {"c"});
    EXPECT_EQ(location.DeleteLastNetworkName(), IO::NoError);
    location.ClearLocal();
    EXPECT_EQ(GetNetwork(location), Names{"a"});
    location.ClearNetwork();
    EXPECT_TRUE(location.IsEmpty());
}

// One row for each checked operation; every one answers in the same order.
TEST(Location, ChecksArgumentThenMemoryThenStatusThenIndex) {
    TestResolver const resolver;
    struct Row {
        char const * name;
        std::function<MuErrCode(Location &)> withNull; // empty where nothing can be null
        std::function<MuErrCode(Location &)> onEmpty;  // empty where an empty location will do
        std::function<MuErrCode(Location &)> fine;
    };
    IO::Name name;
    Mu::UniString text;
    IO::NameEnumerator enumerator;
    IO::RelativeLocation const relative;
    using L = Location;
#define NAMES(Side)                                                                                \
    {"AppendTo" #Side, [](L & l) { return l.AppendTo##Side(NullName()); }, nullptr,                \
     [](L & l) { return l.AppendTo##Side(IO::Name("n")); }},                                       \
        {"Get" #Side "Name", [](L & l) { return l.Get##Side##Name(0, nullptr); },                  \
         [&](L & l) { return l.Get##Side##Name(0, &name); },                                       \
         [&](L & l) { return l.Get##Side##Name(0, &name); }},                                      \
        {"Set" #Side "Name", [](L & l) { return l.Set##Side##Name(0, NullName()); },               \
         [](L & l) { return l.Set##Side##Name(0, "n"); },                                          \
         [](L & l) { return l.Set##Side##Name(0, "n"); }},                                         \
        {"GetLast" #Side "Name", [](L & l) { return l.GetLast##Side##Name(nullptr); },             \
         [&](L & l) { return l.GetLast##Side##Name(&name); },                                      \
         [&](L & l) { return l.GetLast##Side##Name(&name); }},                                     \
        {"SetLast" #Side "Name", [](L & l) { return l.SetLast##Side##Name(NullName()); },          \
         [](L & l) { return l.SetLast##Side##Name("n"); },                                         \
         [](L & l) { return l.SetLast##Side##Name("n"); }},                                        \
        {"Delete" #Side "Name", nullptr, [](L & l) { return l.Delete##Side##Name(0); },            \
         [](L & l) { return l.Delete##Side##Name(0); }},                                           \
        {"DeleteLast" #Side "Name", nullptr, [](L & l) { return l.DeleteLast##Side##Name(); },     \
         [](L & l) { return l.DeleteLast##Side##Name(); }},                                        \
    {                                                                                              \
        "MoveLast" #Side "Name", [](L & l) { return l.MoveLast##Side##Name(nullptr); },            \
            [&](L & l) { return l.MoveLast##Side##Name(&name); },                                  \
            [&](L & l) { return l.MoveLast##Side##Name(&name); }                                   \
    }
    Row const rows[] = {
        NAMES(Network),
        NAMES(Local),
        {"EnumerateLocalNames", [](L & l) { return l.EnumerateLocalNames(nullptr); }, nullptr,
         [&](L & l) { return l.EnumerateLocalNames(&enumerator); }},
        {"AppendToLocal",
         [](L & l) { return l.AppendToLocal(NullReference<IO::RelativeLocation const>()); },
         nullptr, [&](L & l) { return l.AppendToLocal(relative); }},
        {"ToPath", [](L & l) { return l.ToPath(static_cast<Mu::UniString *>(nullptr)); }, nullptr,
         [&](L & l) { return l.ToPath(&text); }},
        {"ToDisplayText",
         [](L & l) { return l.ToDisplayText(static_cast<Mu::UniString *>(nullptr)); }, nullptr,
         [&](L & l) { return l.ToDisplayText(&text); }},
        {"ToURL", [](L & l) { return l.ToURL(static_cast<Mu::UniString *>(nullptr)); }, nullptr,
         [&](L & l) { return l.ToURL(&text); }},
    };
#undef NAMES
    for (Row const & row : rows) {
        SCOPED_TRACE(row.name);
        Location invalid = MakeInvalidLocation();
        Location refused("X");
        Location empty;
        Location full(u"\\\\host\\share\\x");
        name = "kept";
        for (Location * any : {&invalid, &refused, &full})
            EXPECT_EQ(row.withNull ? row.withNull(*any) : IO::Error, IO::Error);
        EXPECT_EQ(row.fine(invalid), IO::ErrMemoryFull);
        EXPECT_EQ(row.fine(refused), IO::ErrIllegalLocation);
        if (row.onEmpty) {
            EXPECT_EQ(row.onEmpty(empty), IO::Error);
        }
        EXPECT_EQ(name, "kept") << "outputs are left alone";
        EXPECT_EQ(row.fine(full), IO::NoError);
    }
}

TEST(Location, RefusesAnIndexBehindTheEnd) {
    Location location = MakeLocation({"h"}, {"C:", "a"});
    IO::Name name("kept");
    for (unsigned int index : {2u, 3u, 0xFFFFFFFFu}) {
        EXPECT_EQ(location.GetLocalName(index, &name), IO::Error);
        EXPECT_EQ(location.SetLocalName(index, "n"), IO::Error);
        EXPECT_EQ(location.DeleteLocalName(index), IO::Error);
        EXPECT_EQ(location.GetNetworkName(index - 1, &name), IO::Error);
    }
    EXPECT_EQ(name, "kept");
    EXPECT_EQ(location, MakeLocation({"h"}, {"C:", "a"}));
}

TEST(Location, IsEverythingAndNothingWhenUnhealthy) {
    TestResolver const resolver;
    for (Location location : {MakeInvalidLocation(), Location("X")}) {
        EXPECT_FALSE(location.IsValid());
        EXPECT_TRUE(location.IsEmpty());
        EXPECT_TRUE(location.IsRoot());
        EXPECT_TRUE(location.IsLocal());
        EXPECT_EQ(location.GetLocalLength(), 0u);
        EXPECT_EQ(location.GetNetworkLength(), 0u);
        EXPECT_EQ(location.Clone(), nullptr);
        location.Clear();
        EXPECT_TRUE(location.IsValid());
    }
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
    assigned = NullLocation();
    EXPECT_EQ(assigned, original) << "itself and nothing leave a location as it is";
}

TEST(Location, CopiesAndMovesWithoutMemory) {
    Location const original = MakeLocation({}, {"C:", "a", "b", "c", "d", "e", "f", "g"});
    Location target = MakeLocation({}, {"D:"});
    unsigned long long const before = CountAllocations();
    Location copy(original);
    target = copy;
    Location const moved(std::move(copy));
    EXPECT_EQ(CountAllocations(), before);
    EXPECT_EQ(moved, target);
    EXPECT_EQ(copy.GetStatus(), IO::ErrMemoryFull);
    copy = moved;
    EXPECT_EQ(copy, original) << "what was moved from can be assigned to";
}

TEST(Location, AppendsOneNameToACopy) {
    Location const parent = MakeLocation({}, {"C:"});
    EXPECT_EQ(GetLocal(Location(parent, IO::Name("a"))), (Names{"C:", "a"}));
    EXPECT_EQ(GetLocal(Location(parent, NullName())), Names{"C:"});
}

TEST(Location, SetsTheModelWithTheScheme) {
    Location location;
    location.SetScheme(U("ftp"));
    EXPECT_EQ(location.GetNetworkModel(), Location::SchemeModel);
    location.SetScheme(U(""));
    EXPECT_EQ(location.GetNetworkModel(), Location::HierarchicalModel);
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
}

TEST(Location, AnswersLegalityFromWhatItKnows) {
    Location const location = MakeLocation({}, {"C:", "a"});
    EXPECT_TRUE(location.IsLegal());
    unsigned long long const before = CountAllocations();
    EXPECT_TRUE(location.IsValid());
    EXPECT_EQ(CountAllocations(), before) << "no name is looked at again";
}

TEST(Location, IsMadeOnTheHeapOrToldWhyNot) {
    TestResolver const resolver;
    auto const take = [](auto const &... arguments) {
        Location * made = reinterpret_cast<Location *>(1);
        MuErrCode const status = Location::New(&made, arguments...);
        EXPECT_EQ(made != nullptr, status == IO::NoError);
        std::string const text = made == nullptr ? "" : ::testing::PrintToString(GetLocal(*made));
        delete made;
        return std::pair(status, text);
    };
    using Answer = std::pair<MuErrCode, std::string>;
    Location const parent = MakeLocation({}, {"C:"});
    EXPECT_EQ(take(), Answer(IO::NoError, "{}"));
    EXPECT_EQ(take(parent), Answer(IO::NoError, "{ \"C:\" }"));
    EXPECT_EQ(take(parent, IO::Name("a")), Answer(IO::NoError, "{ \"C:\", \"a\" }"));
    EXPECT_EQ(take(U("C:\\b")), Answer(IO::NoError, "{ \"C:\", \"b\" }"));
    EXPECT_EQ(take("C:\\b"), Answer(IO::NoError, "{ \"C:\", \"b\" }"));
    EXPECT_EQ(take(U("X")), Answer(IO::ErrIllegalLocation, ""));
    EXPECT_EQ(take(MakeInvalidLocation()), Answer(IO::ErrMemoryFull, ""));
    EXPECT_EQ(take(NullLocation()), Answer(IO::Error, ""));
    EXPECT_EQ(take(parent, NullName()), Answer(IO::Error, ""));
    EXPECT_EQ(take(static_cast<char const *>(nullptr)), Answer(IO::Error, ""));
    EXPECT_EQ(Location::New(nullptr), IO::Error);
    EXPECT_EQ(Location::New(nullptr, "C:\\"), IO::Error);
}

namespace {

class CountedPDI : public Location::PDI {
public:
    CountedPDI() { ++living; }
    CountedPDI(CountedPDI const &) : PDI() { ++living; }
    ~CountedPDI() override { --living; }
    Mu::PlatformSign GetPlatformSign() const override { return Mu::BigEndianMacSign; }
    PDI * Clone() const override { return new CountedPDI(*this); }

    static inline int living = 0;
};

} // namespace

TEST(Location, OwnsWhatThePlatformKeepsWithIt) {
    {
        Location location;
        TestResolver::SetPDI(location, new CountedPDI);
        Location copy(location);
        EXPECT_EQ(CountedPDI::living, 2);
        EXPECT_NE(TestResolver::GetPDI(copy), TestResolver::GetPDI(location));
        copy = location;
        EXPECT_EQ(CountedPDI::living, 2) << "the old one goes";
        copy.Clear();
        EXPECT_EQ(CountedPDI::living, 1);
        Location moved(std::move(location));
        EXPECT_EQ(CountedPDI::living, 1);
        unsigned short const none[] = {0, 0};
        TestResolver::SetContent(moved, nullptr, none, Location::NullModel);
        EXPECT_EQ(CountedPDI::living, 1) << "a null list changes nothing";
        TestResolver::SetContent(moved, none, none, Location::NullModel);
        EXPECT_EQ(CountedPDI::living, 0);
        EXPECT_EQ(moved.GetNetworkModel(), Location::NullModel);
        TestResolver::SetPDI(moved, new CountedPDI);
    }
    EXPECT_EQ(CountedPDI::living, 0);
}

TEST(Location, ServesStandardContainers) {
    std::unordered_set<Location> set;
    set.insert(MakeLocation({}, {"C:", "a"}));
    set.insert(MakeLocation({}, {"c:", "A"}));
    EXPECT_EQ(set.size(), 1u) << "equal locations hash alike, whatever their case";
    set.insert(MakeLocation({"h"}, {"C:", "a"}));
    EXPECT_EQ(set.size(), 2u);
}

TEST(Location, MeetsEveryFailedAllocation) {
    TestResolver const resolver;
    SweepAllocations([](bool failed) {
        Location location("C:\\folder\\a name that is longer than thirty units\\x");
        if (location.GetStatus() != IO::NoError) {
            ASSERT_TRUE(failed);
            ASSERT_EQ(location.GetStatus(), IO::ErrMemoryFull);
            location.Clear();
            return;
        }
        MuErrCode status = location.AppendToLocal("another");
        Location copy(location);
        if (status == IO::NoError)
            status = copy.SetLocalName(1, "elsewhere");
        IO::RelativeLocation difference;
        if (status == IO::NoError)
            status = copy.GetDifference(location, &difference);
        if (status == IO::NoError)
            status = location.AppendToLocal(difference);
        Mu::UniString url;
        if (status == IO::NoError)
            status = location.ToURL(&url);
        if (status != IO::NoError) {
            ASSERT_TRUE(failed);
            ASSERT_EQ(status, IO::ErrMemoryFull);
            return;
        }
        if (!failed) {
            EXPECT_EQ(location, copy);
        }
        Location again;
        status = again.Set(url);
        ASSERT_TRUE(status == IO::NoError || (failed && status == IO::ErrMemoryFull)) << status;
        if (!failed) {
            EXPECT_EQ(again, copy);
        }
    });
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
        IO::MemoryOChannel out;
        MuErrCode const written = child.Write(out);
        EXPECT_TRUE(written == IO::NoError || failed);
        if (written != IO::NoError || out.Flush() != IO::NoError)
            return;
        IO::MemoryIChannel in(out.GetDestination(), out.GetDataSize(),
                              IO::MemoryIChannel::LeaveWithCaller);
        Location back;
        MuErrCode const read = back.Read(in);
        EXPECT_TRUE(read == IO::NoError ? back == child : failed);
    });
}
