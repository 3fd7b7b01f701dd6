#include <Kestrel/Location/RelativeLocation.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Location/Locations.h"
#include "Tests/Support/Location/TestResolver.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <unordered_set>
#include <utility>

using namespace Tests;
using IO::RelativeLocation;

TEST(RelativeLocation, IsBornEmptyHealthyAndLegal) {
    RelativeLocation const location;
    EXPECT_TRUE(location.IsEmpty());
    EXPECT_EQ(location.GetStatus(), IO::NoError);
    EXPECT_TRUE(location.IsValid());
    EXPECT_TRUE(location.IsMultiplatform());
}

TEST(RelativeLocation, IsMadeOfNamesAndTexts) {
    TestResolver const resolver;
    EXPECT_EQ(GetNames(RelativeLocation(IO::Name("a"))), Names{"a"});
    EXPECT_TRUE(RelativeLocation(NullReference<IO::Name const>()).IsEmpty());
    EXPECT_EQ(GetNames(RelativeLocation(MakeRelative({"a"}), IO::Name("b"))), (Names{"a", "b"}));
    EXPECT_EQ(GetNames(RelativeLocation("a\\b/c")), (Names{"a", "b", "c"}));
    EXPECT_EQ(GetNames(RelativeLocation(u"a\\b")), (Names{"a", "b"}));
    EXPECT_EQ(GetNames(RelativeLocation(U("rel:///a%2Fb/c"))), (Names{"a/b", "c"}));
    EXPECT_EQ(RelativeLocation("a\\\\b").GetStatus(), IO::ErrIllegalRelativeLocation);
    EXPECT_EQ(RelativeLocation(static_cast<char const *>(nullptr)).GetStatus(), IO::Error);
}

TEST(RelativeLocation, EditsItsNames) {
    RelativeLocation location = MakeRelative({"a", "b", "c"});
    EXPECT_EQ(location.SetName(0, "x"), IO::NoError);
    EXPECT_EQ(location.DeleteName(1), IO::NoError);
    EXPECT_EQ(location.SetLastName("z"), IO::NoError);
    EXPECT_EQ(location.Append(MakeRelative({"p", "q"})), IO::NoError);
    EXPECT_EQ(GetNames(location), (Names{"x", "z", "p", "q"}));
    IO::Name name;
    EXPECT_EQ(location.MoveLastName(&name), IO::NoError);
    EXPECT_EQ(name, "q");
    EXPECT_EQ(location.DeleteLastName(), IO::NoError);
    EXPECT_EQ(location.GetLastName(&name), IO::NoError);
    EXPECT_EQ(name, "z");
    EXPECT_EQ(location.Append(location), IO::NoError);
    EXPECT_EQ(GetNames(location), (Names{"x", "z", "x", "z"}));
}

TEST(RelativeLocation, ChecksArgumentThenMemoryThenStatusThenIndex) {
    TestResolver const resolver;
    using R = RelativeLocation;
    struct Row {
        char const * name;
        std::function<MuErrCode(R &)> withNull; // empty where nothing can be null
        std::function<MuErrCode(R &)> fine;
        bool needsName;
    };
    IO::Name name;
    Mu::UniString url;
    IO::Name const & null = NullReference<IO::Name const>();
    Row const rows[] = {
        {"GetName", [](R & r) { return r.GetName(0, nullptr); },
         [&](R & r) { return r.GetName(0, &name); }, true},
        {"SetName", [&](R & r) { return r.SetName(0, null); },
         [](R & r) { return r.SetName(0, "n"); }, true},
        {"DeleteName", nullptr, [](R & r) { return r.DeleteName(0); }, true},
        {"GetLastName", [](R & r) { return r.GetLastName(nullptr); },
         [&](R & r) { return r.GetLastName(&name); }, true},
        {"SetLastName", [&](R & r) { return r.SetLastName(null); },
         [](R & r) { return r.SetLastName("n"); }, true},
        {"DeleteLastName", nullptr, [](R & r) { return r.DeleteLastName(); }, true},
        {"MoveLastName", [](R & r) { return r.MoveLastName(nullptr); },
         [&](R & r) { return r.MoveLastName(&name); }, true},
        {"Append a name", [&](R & r) { return r.Append(null); },
         [](R & r) { return r.Append(IO::Name("n")); }, false},
        {"Append", [](R & r) { return r.Append(NullReference<R const>()); },
         [](R & r) { return r.Append(R(IO::Name("n"))); }, false},
        {"ToURL", [](R & r) { return r.ToURL(nullptr); }, [&](R & r) { return r.ToURL(&url); },
         false},
    };
    for (Row const & row : rows) {
        SCOPED_TRACE(row.name);
        R invalid = MakeInvalidRelative();
        R refused("X");
        R empty;
        R full = MakeRelative({"a", "b"});
        name = "kept";
        for (R * any : {&invalid, &refused, &empty, &full})
            EXPECT_EQ(row.withNull ? row.withNull(*any) : IO::Error, IO::Error);
        EXPECT_EQ(row.fine(invalid), IO::ErrMemoryFull);
        EXPECT_EQ(row.fine(refused), IO::ErrIllegalRelativeLocation);
        EXPECT_EQ(row.fine(empty), row.needsName ? IO::Error : IO::NoError);
        EXPECT_EQ(name, "kept");
        EXPECT_EQ(row.fine(full), IO::NoError);
    }
    R two = MakeRelative({"a", "b"});
    EXPECT_EQ(two.GetName(2, &name), IO::Error);
    EXPECT_EQ(two.SetName(2, "n"), IO::Error);
    EXPECT_EQ(two.DeleteName(2), IO::Error);
    EXPECT_EQ(GetNames(two), (Names{"a", "b"}));
}

TEST(RelativeLocation, KeepsAFailureUntilItIsClearedOrSet) {
    TestResolver const resolver;
    RelativeLocation location("X");
    EXPECT_EQ(location.GetStatus(), IO::ErrIllegalRelativeLocation);
    EXPECT_TRUE(location.IsLegal()) << "the validator has nothing against no names";
    EXPECT_FALSE(location.IsValid());
    EXPECT_FALSE(location.IsMultiplatform());
    EXPECT_EQ(location.GetLength(), 0u);
    EXPECT_EQ(location.Set("a"), IO::NoError);
    EXPECT_TRUE(location.IsValid());
    EXPECT_EQ(location.Set("X"), IO::ErrIllegalRelativeLocation);
    EXPECT_EQ(location.GetStatus(), IO::NoError) << "Set answers a failure and forgets it";
    RelativeLocation invalid = MakeInvalidRelative();
    EXPECT_EQ(invalid.Set("a"), IO::ErrMemoryFull);
    EXPECT_FALSE(invalid.IsLegal());
    invalid.Clear();
    EXPECT_TRUE(invalid.IsValid());
}

TEST(RelativeLocation, FindsNothingEqualOrDifferentToTheUnhealthyOrToNull) {
    TestResolver const resolver;
    RelativeLocation const healthy = MakeRelative({"a"});
    RelativeLocation const refused("X");
    RelativeLocation const invalid = MakeInvalidRelative();
    for (RelativeLocation const * bad :
         {&refused, &invalid, &NullReference<RelativeLocation const>()}) {
        EXPECT_FALSE(healthy == *bad);
        EXPECT_FALSE(healthy != *bad);
        EXPECT_FALSE(healthy.IsAncestorOf(*bad));
    }
    EXPECT_FALSE(refused == refused);
    EXPECT_FALSE(refused != healthy);
    EXPECT_TRUE(healthy == MakeRelative({"A"}));
    EXPECT_TRUE(healthy != MakeRelative({"a", "a"}));
}

TEST(RelativeLocation, IsAncestorOfWhatBeginsWithItAndGoesOn) {
    RelativeLocation const ab = MakeRelative({"a", "b"});
    EXPECT_TRUE(ab.IsAncestorOf(MakeRelative({"a", "B", "c"})));
    EXPECT_TRUE(RelativeLocation().IsAncestorOf(ab));
    EXPECT_FALSE(ab.IsAncestorOf(ab));
    EXPECT_FALSE(ab.IsAncestorOf(MakeRelative({"a", "x", "c"})));
    EXPECT_FALSE(RelativeLocation().IsAncestorOf(RelativeLocation()));
}

TEST(RelativeLocation, IsLegalWhenAllNamesAre) {
    EXPECT_TRUE(MakeRelative({"a", "b?c"}).IsLegal() == false);
    EXPECT_TRUE(MakeRelative({"a", "con1"}).IsMultiplatform());
    EXPECT_FALSE(MakeRelative({"a", "CON"}).IsLegal());
    EXPECT_FALSE(MakeRelative({std::string(256, 'x')}).IsMultiplatform()) << "too long for one";
    EXPECT_TRUE(MakeRelative({std::string(256, 'x')}).IsLegal());
}

TEST(RelativeLocation, PrintsItsNames) {
    TestResolver const resolver;
    EXPECT_EQ(Print(MakeRelative({"a", "b c", "d"})), "a/b c/d");
    EXPECT_EQ(Print(RelativeLocation()), "");
    EXPECT_EQ(Print(RelativeLocation("X")), "Error in RelativeLocation state!");
    MakeRelative({"a"}).Print(NullReference<Mu::OChannel>());
    std::ostringstream stream;
    stream << MakeRelative({"a", "\xC3\xA4"});
    EXPECT_EQ(stream.str(), "a/\xC3\xA4");
}

TEST(RelativeLocation, KnowsItsURLs) {
    struct Row {
        char const * text;
        bool isURL;
    };
    Row const rows[] = {
        {"rel:///a", true},  {"REL:x", true},         {"url:rel:///", true}, {"UrL:Rel:", true},
        {"rel", false},      {"url:rel", false},      {"url:", false},       {"lan://a", false},
        {"url:lan:", false}, {"url:url:rel:", false}, {"", false},           {":rel:", false},
    };
    for (Row const & row : rows) {
        EXPECT_EQ(RelativeLocation::IsRelativeURL(row.text), row.isURL) << row.text;
        EXPECT_EQ(RelativeLocation::IsRelativeURL(U(row.text)), row.isURL) << row.text;
    }
    EXPECT_FALSE(RelativeLocation::IsRelativeURL(static_cast<char const *>(nullptr)));
}

TEST(RelativeLocation, ReadsURLs) {
    TestResolver const resolver;
    struct Row {
        char const * text;
        MuErrCode status;
        Names names;
    };
    Row const rows[] = {
        {"rel:///", IO::NoError, {}},
        {"rel:///a%2Fb/c", IO::NoError, {"a/b", "c"}},
        {"URL:REL:///a b", IO::NoError, {"a b"}},
        {"rel:///a//b/", IO::NoError, {"a", "", "b"}},
        {"rel:////a", IO::NoError, {"", "a"}},
        {"rel:///%2", IO::NoError, {"%2"}},
        {"rel:///%zz%25", IO::NoError, {"%zz%"}},
        {"rel://a", IO::ErrIllegalRelativeLocation, {"old"}},
        {"rel:", IO::ErrIllegalRelativeLocation, {"old"}},
        {"rel:/a", IO::ErrIllegalRelativeLocation, {"old"}},
    };
    for (Row const & row : rows) {
        SCOPED_TRACE(row.text);
        RelativeLocation location = MakeRelative({"old"});
        EXPECT_EQ(location.Set(row.text), row.status);
        EXPECT_EQ(GetNames(location), row.names);
    }
}

TEST(RelativeLocation, WritesURLsThatReadBack) {
    Mu::UniString url;
    EXPECT_EQ(RelativeLocation().ToURL(&url), IO::NoError);
    EXPECT_EQ(url, "rel:///");
    EXPECT_EQ(MakeRelative({"a/b", "c d", "50%"}).ToURL(&url), IO::NoError);
    EXPECT_EQ(url, "rel:///a%2Fb/c d/50%25");
    std::mt19937 random(3);
    for (int i = 0; i < 500; ++i) {
        RelativeLocation const location = MakeRelative(MakeRandomNames(random, 5));
        ASSERT_EQ(location.ToURL(&url), IO::NoError);
        RelativeLocation back;
        ASSERT_EQ(back.Set(url), IO::NoError);
        ASSERT_EQ(back, location) << url;
    }
}

TEST(RelativeLocation, PersistsAsOneAddressInAFrame) {
    IO::Address address;
    (void)address.Append(IO::Name("a"));
    (void)address.Append(IO::Name("b"));
    std::string const expected =
        MakeFrame(RelativeLocation::GetClassInfoStatic(), {1, 1},
                  [&](Mu::OChannel & channel) { (void)address.Write(channel); });
    RelativeLocation const location = MakeRelative({"a", "b"});
    EXPECT_EQ(ToBytes(location), expected);
    RelativeLocation back("X");
    EXPECT_EQ(FromBytes(expected, back), IO::NoError);
    EXPECT_EQ(back, location);
}

TEST(RelativeLocation, PersistsIllHealthAsAnEmptyFrame) {
    TestResolver const resolver;
    std::string const bytes = ToBytes(RelativeLocation("X"));
    EXPECT_EQ(bytes,
              MakeFrame(RelativeLocation::GetClassInfoStatic(), {1, 1}, [](Mu::OChannel &) {}));
    RelativeLocation back = MakeRelative({"a"});
    EXPECT_EQ(FromBytes(bytes, back), IO::NoError);
    EXPECT_EQ(back.GetStatus(), IO::Error);
    std::string const oldest =
        MakeFrame(RelativeLocation::GetClassInfoStatic(), {1, 0}, [](Mu::OChannel &) {});
    EXPECT_NE(FromBytes(oldest, back), IO::NoError) << "the first version had no such mark";
    EXPECT_EQ(back.Read(NullReference<Mu::IChannel>()), IO::Error);
    EXPECT_EQ(back.Write(NullReference<Mu::OChannel>()), IO::Error);
}
