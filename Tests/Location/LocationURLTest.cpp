#include <Kestrel/Location/Location.h>

#include "Tests/Support/Location/Locations.h"
#include "Tests/Support/Location/TestResolver.h"

#include <gtest/gtest.h>

using namespace Tests;
using IO::Location;

namespace {

// What a URL says, as the table below writes it.
struct Content {
    Location::NetworkModel model;
    char const * scheme;
    char const * user;
    char const * password;
    unsigned short port;
    Names network, local;
};

std::string ToText(Content const & content) {
    return std::to_string(content.model) + "|" + content.scheme + "|" + content.user + "|" +
           content.password + "|" + std::to_string(content.port) + "|" +
           ::testing::PrintToString(content.network) + "|" +
           ::testing::PrintToString(content.local);
}

std::string ToText(Location const & location) {
    return ToText(Content{location.GetNetworkModel(), ToUtf8(location.GetScheme()).c_str(),
                          ToUtf8(location.GetUserName()).c_str(),
                          ToUtf8(location.GetPassword()).c_str(), location.GetPort(),
                          GetNetwork(location), GetLocal(location)});
}

constexpr Location::NetworkModel Flat = Location::FlatModel;
constexpr Location::NetworkModel Tree = Location::HierarchicalModel;
constexpr Location::NetworkModel Smb = Location::SmbModel;
constexpr Location::NetworkModel Null = Location::NullModel;
constexpr Location::NetworkModel Unknown = Location::UnknownModel;
constexpr Location::NetworkModel Scheme = Location::SchemeModel;

} // namespace

TEST(LocationURL, IsRead) {
    std::pair<char const *, Content> const rows[] = {
        {"lan://user:pw@a.b.c:80/x%20y/z",
         {Tree, "", "user", "pw", 80, {"c", "b", "a"}, {"x y", "z"}}},
        {"LAN.SMB://host/share", {Smb, "", "", "", 0, {"host"}, {"share"}}},
        {"lan.flat://h/", {Flat, "", "", "", 0, {"h"}, {}}},
        {"lan.null:///C:/a", {Null, "", "", "", 0, {}, {"C:", "a"}}},
        {"lan.unknown://h/a", {Unknown, "", "", "", 0, {"h"}, {"a"}}},
        {"lan.zone://h/a", {Flat, "", "", "", 0, {"h"}, {"a"}}},
        {"lan.dave://h/a", {Smb, "", "", "", 0, {"h"}, {"a"}}},
        {"url:lan://h/a", {Tree, "", "", "", 0, {"h"}, {"a"}}},
        {"URL:http://h/a", {Scheme, "http", "", "", 0, {"h"}, {"a"}}},
        {"lan://localhost/a", {Tree, "", "", "", 0, {}, {"a"}}},
        {"lan://a.localhost/a", {Tree, "", "", "", 0, {"localhost", "a"}, {"a"}}},
        {"foo://localhost/a", {Scheme, "foo", "", "", 0, {"localhost"}, {"a"}}},
        {"a+b-1.c://h/", {Scheme, "a+b-1.c", "", "", 0, {"h"}, {}}},
        {"lan://u@h/", {Tree, "", "u", "", 0, {"h"}, {}}},
        {"lan://u%20v;&=?:p@h/", {Tree, "", "u%20v;&=?", "p", 0, {"h"}, {}}},
        {"lan://:p@h/", {Tree, "", "", "p", 0, {"h"}, {}}},
        {"lan://@h/", {Tree, "", "", "", 0, {"h"}, {}}},
        {"lan://h:/a", {Tree, "", "", "", 0, {"h"}, {"a"}}},
        {"lan://h:65535/a", {Tree, "", "", "", 65535, {"h"}, {"a"}}},
        {"lan://:7/a", {Tree, "", "", "", 7, {}, {"a"}}},
        {"lan://h//a//", {Tree, "", "", "", 0, {"h"}, {"", "a", ""}}},
        {"lan://h/a/", {Tree, "", "", "", 0, {"h"}, {"a"}}},
        {"lan://h/%zz/%4G", {Tree, "", "", "", 0, {"h"}, {"%zz", "%4G"}}},
        {"lan://h/%2541/%%41", {Tree, "", "", "", 0, {"h"}, {"%41", "%A"}}},
        {"lan://h/a%2fb%2F", {Tree, "", "", "", 0, {"h"}, {"a/b/"}}},
        {"lan://x%2Ey.z/", {Tree, "", "", "", 0, {"z", "x.y"}, {}}},
    };
    TestResolver const resolver;
    for (auto const & [url, content] : rows) {
        SCOPED_TRACE(url);
        Location location;
        EXPECT_EQ(location.Set(url), IO::NoError);
        EXPECT_EQ(ToText(location), ToText(content));
    }
}

TEST(LocationURL, IsRefusedAndLeavesTheLocationAsItWas) {
    TestResolver const resolver;
    char const * const rows[] = {
        "Foo://x",           "lanX://h/a",       "://x",
        "fo o://x",          "lan:/x://",        "foo:x://y",
        "lan://a:99999/",    "lan://a:x/",       "lan://a:-1/",
        "lan://u:@a/",       "lan://u v@a/",     "lan://u:p:q@a/",
        "lan://u%2@a/",      "lan://u:p@q@h:x/", "lan://a:4294967376/",
        "lan://\xC3\xA4@h/", "f\xC3\xB6o://h",
    };
    for (char const * url : rows) {
        SCOPED_TRACE(url);
        Location location = MakeLocation({"h"}, {"a"});
        EXPECT_EQ(location.Set(url), IO::ErrIllegalLocation);
        EXPECT_EQ(location, MakeLocation({"h"}, {"a"}));
        EXPECT_EQ(Location(url).GetStatus(), IO::ErrIllegalLocation);
    }
}

TEST(LocationURL, ThatNamesNothingKeepsTheNames) {
    for (char const * url : {"lan.smb://", "lan.smb:///"}) {
        Location location = MakeLocation({"h"}, {"a"});
        location.SetUserName(U("u"));
        EXPECT_EQ(location.Set(url), IO::NoError);
        EXPECT_EQ(GetNetwork(location), Names{"h"});
        EXPECT_EQ(GetLocal(location), Names{"a"});
        EXPECT_EQ(location.GetUserName(), "u");
        EXPECT_EQ(location.GetNetworkModel(), Smb);
    }
}

TEST(LocationURL, IsWritten) {
    char const * const rows[][2] = {
        {"lan://user:pw@a.b.c:80/x%20y/z", "lan.hierarchical://user:pw@a.b.c:80/x%20y/z"},
        {"lan.zone://h/a", "lan.flat://h/a"},
        {"lan.dave://h", "lan.smb://h"},
        {"lan.null:///a", "lan.null:///a"},
        {"lan.unknown://h/", "lan.unknown://h"},
        {"foo:///a", "foo://localhost/a"},
        {"foo://h:8080", "foo://h:8080"},
        {"lan:///a%2Fb/%25/%41", "lan.hierarchical:///a%2Fb/%25/A"},
        // Kept: what a password without a user gives does not read back.
        {"lan://:p@h/a", "lan.hierarchical://:ph/a"},
    };
    for (auto const & [from, to] : rows) {
        Mu::UniString url;
        EXPECT_EQ(Location(from).ToURL(&url), IO::NoError);
        EXPECT_EQ(url, to);
    }
    Mu::UniString url;
    EXPECT_EQ(Location().ToURL(&url), IO::NoError);
    EXPECT_EQ(url, "lan.hierarchical:///");
    Location named;
    EXPECT_EQ(named.Set("foo://"), IO::NoError);
    EXPECT_EQ(named.ToURL(&url), IO::ErrNoScheme);
    EXPECT_EQ(url, "lan.hierarchical:///") << "the output is left alone";
    named.SetScheme(U("foo"));
    EXPECT_EQ(named.ToURL(&url), IO::NoError);
    EXPECT_EQ(url, "foo://localhost/");
}

TEST(LocationURL, ReadsBackWhatItWrites) {
    std::mt19937 random(4);
    Location::NetworkModel const models[] = {Flat, Tree, Smb, Null, Unknown};
    std::vector<std::string> const labels = {"com", "x y", "a%b", "q/r"};
    for (int i = 0; i < 2000; ++i) {
        Location location;
        for (unsigned int n = random() % 4; n != 0; --n)
            (void)location.AppendToNetwork(IO::Name(U(labels[random() % labels.size()])));
        bool const hasScheme = random() % 2;
        if (location.GetNetworkLength() == 0 && hasScheme)
            (void)location.AppendToNetwork("localhost");
        for (std::string const & name : MakeRandomNames(random, 5))
            (void)location.AppendToLocal(IO::Name(U(name)));
        if (hasScheme)
            location.SetScheme(U("s+1"));
        if (random() % 2) {
            location.SetUserName(U("me%20"));
            location.SetPassword(U(random() % 2 ? "" : "p"));
        }
        location.SetPort(static_cast<unsigned short>(random() % 3 * 32767));
        Mu::UniString url;
        ASSERT_EQ(location.ToURL(&url), IO::NoError);
        Location back;
        ASSERT_EQ(back.Set(url), IO::NoError) << url;
        ASSERT_EQ(ToText(back), ToText(location)) << url;
        if (!hasScheme) {
            Mu::UniString const text =
                Location::ConvertNetworkModelToString(models[random() % std::size(models)]);
            Location::NetworkModel model;
            ASSERT_TRUE(Location::ConvertStringToNetworkModel(text, &model));
            ASSERT_EQ(Location::ConvertNetworkModelToString(model), text);
        }
    }
}

TEST(LocationURL, KnowsItsModels) {
    Location::NetworkModel model = Null;
    for (char const * text : {"", "la", "lan.", "lan.flatt", "xlan", "lan.url"})
        EXPECT_FALSE(Location::ConvertStringToNetworkModel(U(text), &model)) << text;
    EXPECT_EQ(model, Null);
    EXPECT_EQ(Location::ConvertNetworkModelToString(Scheme), "");
    EXPECT_EQ(Location::ConvertNetworkModelToString(static_cast<Location::NetworkModel>(99)), "");
}

TEST(LocationURL, KnowsWhatItsPartsMayHold) {
    EXPECT_TRUE(Location::IsValidScheme(U("a+b-c.d9")));
    for (char const * text : {"", "A", "a b", "a_b", "a:"})
        EXPECT_FALSE(Location::IsValidScheme(U(text))) << text;
    for (char const * text : {"", "aZ9$+-._!'()*,", "&;=?", "%41%fF"}) {
        EXPECT_TRUE(Location::IsValidUserName(U(text))) << text;
        EXPECT_TRUE(Location::IsValidPassword(U(text))) << text;
    }
    for (char const * text : {" ", "%", "%4", "%4g", "a/b", "a:b", "a@b", "#", "\xC3\xA4"})
        EXPECT_FALSE(Location::IsValidUserName(U(text))) << text;
}

// A unit may have the byte of a ":" in either half.
TEST(LocationURL, IsToldFromAPathByItsMarkAlone) {
    TestResolver const resolver;
    for (char16_t const * path : {u"C:\\a", u"C:/a", u"a:/c", u"a\u3A3A/b", u"a\u013A/b", u"a:"})
        EXPECT_EQ(Location(path).GetNetworkModel(), Location::FlatModel) << Mu::UniString(path);
    for (char16_t const * url : {u"x://h", u"x://a\u3A3A/b", u"x:///:"})
        EXPECT_EQ(Location(url).GetNetworkModel(), Location::SchemeModel) << Mu::UniString(url);
}

// The strings of the location itself are replaced while the text is read.
TEST(LocationURL, MayBeOneOfTheLocationsOwnStrings) {
    Location location;
    location.SetUserName(U("http://me@host.that.is.long.enough/for/a/block"));
    EXPECT_EQ(location.Set(location.GetUserName()), IO::NoError);
    EXPECT_EQ(location.GetUserName(), "me");
    EXPECT_EQ(GetLocal(location), (Names{"for", "a", "block"}));
}
