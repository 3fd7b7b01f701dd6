#include <Kestrel/Location/Location.h>

#include "Tests/Support/Location/Locations.h"
#include "Tests/Support/Location/TestResolver.h"

#include <gtest/gtest.h>

using namespace Tests;
using IO::Location;

TEST(LocationCompare, CountsNamesAndUserOnly) {
    Location const plain = MakeLocation({"h"}, {"C:", "a"});
    Location other = plain;
    other.SetPassword(U("p"));
    other.SetPort(5);
    other.SetScheme(U("ftp"));
    EXPECT_TRUE(plain == other);
    EXPECT_FALSE(plain != other);
    other.SetUserName(U("me"));
    EXPECT_FALSE(plain == other);
    EXPECT_TRUE(plain != other);
    EXPECT_TRUE(plain == MakeLocation({"H"}, {"c:", "A"})) << "names decide about case";
}

template <typename T>
static void ExpectNothingOfTheUnhealthy(T const & refused, T const & invalid) {
    T const healthy;
    for (T const * bad : {&refused, &invalid, &NullReference<T const>()}) {
        EXPECT_FALSE(healthy == *bad || healthy != *bad || healthy.IsAncestorOf(*bad));
        if (bad == &refused || bad == &invalid) {
            EXPECT_FALSE(*bad == *bad || *bad != healthy || bad->IsAncestorOf(healthy));
        }
    }
}

TEST(LocationCompare, FindsNothingEqualOrDifferentToTheUnhealthyOrToNull) {
    TestResolver const resolver;
    Location const refused("X"), invalid = MakeInvalidLocation();
    ExpectNothingOfTheUnhealthy(refused, invalid);
    ExpectNothingOfTheUnhealthy(IO::RelativeLocation("X"), MakeInvalidRelative());
    for (Location const * bad : {&refused, &invalid, &NullReference<Location const>()})
        EXPECT_FALSE(Location() < *bad);
    EXPECT_FALSE(refused < Location() || invalid < Location());
}

TEST(LocationCompare, HashesMachineAndPathApart) {
    Location const location = MakeLocation({"n"}, {"C:", "a"});
    unsigned int const n = IO::Name("n").GenerateHashValue();
    unsigned int const c = IO::Name("C:").GenerateHashValue();
    unsigned int const a = IO::Name("a").GenerateHashValue();
    EXPECT_EQ(location.GenerateHashValue(), 65599u * n + (65599u * c + a));
    EXPECT_EQ(MakeInvalidLocation().GenerateHashValue(), 0u);
}

namespace {

bool StartsWith(Names const & names, Names const & start) {
    return start.size() <= names.size() && std::equal(start.begin(), start.end(), names.begin());
}

bool IsAncestor(Names const & network, Names const & local, Names const & otherNetwork,
                Names const & otherLocal) {
    if (network == otherNetwork)
        return local.size() < otherLocal.size() && StartsWith(otherLocal, local);
    return StartsWith(otherNetwork, network) && local.empty();
}

// Texts are ordered by their units, and of two lists the one that the other goes on from comes first.
bool IsLess(Names const & names, Names const & others) {
    return std::lexicographical_compare(names.begin(), names.end(), others.begin(), others.end());
}

} // namespace

TEST(LocationCompare, KnowsAncestorsAndOrderAsListsOfNamesDo) {
    std::mt19937 random(1);
    unsigned int found = 0;
    for (int i = 0; i < 5000; ++i) {
        Names const network = MakeRandomNames(random, 2);
        Names const local = MakeRandomNames(random, 2);
        Names otherNetwork = random() % 2 ? network : MakeRandomNames(random, 2);
        Names otherLocal = random() % 2 ? local : MakeRandomNames(random, 2);
        for (std::string const & name : MakeRandomNames(random, 2))
            (random() % 4 == 0 ? otherNetwork : otherLocal).push_back(name);
        bool const expected = IsAncestor(network, local, otherNetwork, otherLocal);
        found += expected;
        Location const first = MakeLocation(network, local);
        Location const second = MakeLocation(otherNetwork, otherLocal);
        ASSERT_EQ(first.IsAncestorOf(second), expected)
            << ::testing::PrintToString(network) << ::testing::PrintToString(local)
            << ::testing::PrintToString(otherNetwork) << ::testing::PrintToString(otherLocal);
        ASSERT_EQ(first < second, IsLess(network, otherNetwork) ||
                                      (network == otherNetwork && IsLess(local, otherLocal)));
        ASSERT_EQ(first == second, network == otherNetwork && local == otherLocal);
    }
    EXPECT_GT(found, 500u);
}

TEST(LocationCompare, ChecksWhatAWayIsAskedOf) {
    TestResolver const resolver;
    Location const healthy = MakeLocation({}, {"C:"});
    Location const invalid = MakeInvalidLocation();
    Location const refused("X");
    IO::RelativeLocation way = MakeRelative({"kept"});
    EXPECT_EQ(invalid.GetDifference(NullReference<Location const>(), &way), IO::Error);
    EXPECT_EQ(invalid.GetDifference(healthy, nullptr), IO::Error);
    EXPECT_EQ(invalid.GetDifference(refused, &way), IO::ErrMemoryFull);
    EXPECT_EQ(refused.GetDifference(invalid, &way), IO::ErrIllegalLocation);
    EXPECT_EQ(healthy.GetDifference(invalid, &way), IO::ErrMemoryFull);
    EXPECT_EQ(healthy.GetDifference(refused, &way), IO::ErrIllegalLocation);
    EXPECT_EQ(GetNames(way), Names{"kept"});
    Location place = healthy, lost = MakeInvalidLocation();
    EXPECT_EQ(place.AppendToLocal(MakeInvalidRelative()), IO::Error);
    EXPECT_EQ(place.AppendToLocal(IO::RelativeLocation("X")), IO::Error);
    EXPECT_EQ(place, healthy);
    EXPECT_EQ(lost.AppendToLocal(MakeInvalidRelative()), IO::ErrMemoryFull);
    IO::RelativeLocation broken = MakeInvalidRelative();
    EXPECT_EQ(healthy.GetDifference(Location(), &broken), IO::NoError) << "the result is cleared";
    EXPECT_EQ(MakeLocation({"h"}, {}).GetDifference(healthy, &way), IO::ErrDifferentNetwork);
    EXPECT_EQ(healthy.GetDifference(MakeLocation({}, {"D:", "a"}), &way), IO::NoError);
    EXPECT_EQ(GetNames(way), (Names{"..", "..", "C:"}));
}

TEST(LocationCompare, ArrivesWhenTheWayIsFollowed) {
    std::mt19937 random(2);
    for (int i = 0; i < 3000; ++i) {
        Names const common = MakeRandomNames(random, 3);
        Names from = common;
        Names to = common;
        for (std::string const & name : MakeRandomNames(random, 3))
            from.push_back(name);
        for (std::string const & name : MakeRandomNames(random, 3))
            to.push_back(name);
        Location place = MakeLocation({"h"}, from);
        Location const target = MakeLocation({"h"}, to);
        IO::RelativeLocation way;
        ASSERT_EQ(target.GetDifference(place, &way), IO::NoError);
        ASSERT_EQ(place.AppendToLocal(way), IO::NoError);
        ASSERT_EQ(place, target) << way;
    }
}

TEST(LocationCompare, FollowsLeadingDotsOnly) {
    static char const * const spellings[] = {"..", ".", "..", "..."};
    std::mt19937 random(3);
    for (int i = 0; i < 500; ++i) {
        Names way(random() % 5), expected = {"C:", "a", "b"};
        for (std::string & name : way)
            name = spellings[random() % 4];
        unsigned int dots = 0, ups = 0;
        for (; dots < way.size() && way[dots] != "..."; ++dots)
            ups += way[dots] == "..";
        bool const fits = ups <= expected.size();
        expected.resize(fits ? expected.size() - ups : expected.size());
        if (fits)
            expected.insert(expected.end(), way.begin() + dots, way.end());
        Location location = MakeLocation({}, {"C:", "a", "b"});
        ASSERT_EQ(location.AppendToLocal(MakeRelative(way)), fits ? IO::NoError : IO::Error);
        ASSERT_EQ(GetLocal(location), expected);
    }
}
