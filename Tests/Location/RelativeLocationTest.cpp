#include <Kestrel/Location/RelativeLocation.h>

#include "Tests/Support/Location/NameList.h"
#include "Tests/Support/Location/TestResolver.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace Tests;
using IO::RelativeLocation;

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

KESTREL_NAME_LIST(RelativeNames, RelativeLocation, Name, Append);

TEST(RelativeLocation, IsAListOfNames) {
    TestResolver const resolver;
    ExpectAListOfNames<RelativeNames>({{MakeInvalidRelative(), IO::ErrMemoryFull},
                                       {RelativeLocation("X"), IO::ErrIllegalRelativeLocation}},
                                      [](RelativeLocation const & location, Names const & names) {
                                          ASSERT_EQ(GetNames(location), names);
                                          ASSERT_EQ(location.GetLength(), names.size());
                                          ASSERT_EQ(location.IsEmpty(), names.empty());
                                      });
    EXPECT_LE(sizeof(RelativeLocation), 32u);
    RelativeLocation two = MakeRelative({"a", "b"}), invalid = MakeInvalidRelative(), refused("X");
    Mu::UniString url;
    EXPECT_EQ(two.Append(two), IO::NoError);
    EXPECT_EQ(GetNames(two), (Names{"a", "b", "a", "b"}));
    for (RelativeLocation * any : {&two, &invalid, &refused}) {
        EXPECT_EQ(any->Append(NullReference<RelativeLocation const>()), IO::Error);
        EXPECT_EQ(any->ToURL(nullptr), IO::Error);
    }
    EXPECT_EQ(invalid.Append(two), IO::ErrMemoryFull);
    EXPECT_EQ(invalid.ToURL(&url), IO::ErrMemoryFull);
    EXPECT_EQ(refused.Append(two), IO::ErrIllegalRelativeLocation);
    EXPECT_EQ(refused.ToURL(&url), IO::ErrIllegalRelativeLocation);
}

TEST(RelativeLocation, IsAncestorOfWhatBeginsWithItAndGoesOn) {
    RelativeLocation const ab = MakeRelative({"a", "b"});
    EXPECT_TRUE(ab.IsAncestorOf(MakeRelative({"a", "B", "c"})));
    EXPECT_FALSE(ab.IsAncestorOf(ab));
    EXPECT_FALSE(ab.IsAncestorOf(MakeRelative({"a", "x", "c"})));
    EXPECT_FALSE(RelativeLocation().IsAncestorOf(RelativeLocation()));
    EXPECT_TRUE(ab == MakeRelative({"A", "b"}) && ab != MakeRelative({"a", "b", "b"}));
}

TEST(RelativeLocation, IsLegalWhenAllNamesAre) {
    EXPECT_FALSE(MakeRelative({"a", "b?c"}).IsLegal());
    EXPECT_TRUE(MakeRelative({"a", "con1"}).IsMultiplatform());
    EXPECT_FALSE(MakeRelative({std::string(256, 'x')}).IsMultiplatform()) << "too long for one";
    EXPECT_TRUE(MakeRelative({std::string(255, 'x')}).IsLegal());
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
    for (char const * text : {"rel:///a", "REL:x", "url:rel:///", "UrL:Rel:"}) {
        EXPECT_TRUE(RelativeLocation::IsRelativeURL(text)) << text;
        EXPECT_TRUE(RelativeLocation::IsRelativeURL(U(text))) << text;
    }
    for (char const * text : {"rel", "url:rel", "url:", "url:lan:", "url:url:rel:", "", ":rel:"}) {
        EXPECT_FALSE(RelativeLocation::IsRelativeURL(text)) << text;
        EXPECT_FALSE(RelativeLocation::IsRelativeURL(U(text))) << text;
    }
    EXPECT_FALSE(RelativeLocation::IsRelativeURL(static_cast<char const *>(nullptr)));
}

TEST(RelativeLocation, ReadsURLs) {
    TestResolver const resolver;
    std::pair<char const *, Names> const rows[] = {
        {"rel:///", {}},
        {"URL:REL:///a b", {"a b"}},
        {"rel:////a//b%2Fc/", {"", "a", "", "b/c"}},
        {"rel:///%2/%zz%25", {"%2", "%zz%"}},
    };
    for (auto const & [text, names] : rows) {
        RelativeLocation location = MakeRelative({"old"});
        EXPECT_EQ(location.Set(text), IO::NoError) << text;
        EXPECT_EQ(GetNames(location), names) << text;
    }
    for (char const * text : {"rel://a", "rel:", "rel:/a"}) {
        RelativeLocation location = MakeRelative({"old"});
        EXPECT_EQ(location.Set(text), IO::ErrIllegalRelativeLocation) << text;
        EXPECT_EQ(GetNames(location), Names{"old"}) << text;
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
