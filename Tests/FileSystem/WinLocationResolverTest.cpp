#include <Kestrel/FileSystem/Internal/WinLocationResolver.h>

#include <Kestrel/Location/Internal/ValidatorTable.h>
#include <Kestrel/Location/RelativeLocation.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Location/Locations.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>
#include <random>

namespace {

IO::LocationResolver & Resolver() {
    return *IO::LocationResolver::GetInstance();
}

} // namespace

TEST(WinLocationResolver, ReadsPaths) {
    struct {
        char const * text;
        Tests::Names network, local; // none: refused
        char const * path;           // how it is written again; null: not at all
    } const table[] = {
        {"C:\\", {}, {"C:"}, "C:\\"},
        {"C:", {}, {"C:"}, "C:\\"},
        {"C:\\a\\b", {}, {"C:", "a", "b"}, "C:\\a\\b"},
        {"C:/a/b/", {}, {"C:", "a", "b"}, "C:\\a\\b"},
        {"\\C:\\a", {}, {"C:", "a"}, "C:\\a"},
        {"/C:/a", {}, {"C:", "a"}, "C:\\a"},
        {"a\\b", {}, {"a", "b"}, nullptr},
        {"\\\\host\\share", {"host"}, {"share"}, "\\\\host\\share\\"},
        {"\\\\host\\share\\x", {"host"}, {"share", "x"}, "\\\\host\\share\\x"},
        {"//host/share/x/", {"host"}, {"share", "x"}, "\\\\host\\share\\x"},
        {"\\/host\\share", {"host"}, {"share"}, "\\\\host\\share\\"},
#if !defined(_WIN32) // native paths
        {"/usr/lib", {}, {"C:", "usr", "lib"}, "C:\\usr\\lib"},
        {"/", {}, {"C:"}, "C:\\"},
        {"/a/./b//c/", {}, {"C:", "a", "b", "c"}, "C:\\a\\b\\c"},
#endif
        {"", {}, {}, nullptr},
        {"\\\\host", {}, {}, nullptr},
        {"\\\\", {}, {}, nullptr},
        {"\\\\\\share", {}, {}, nullptr},
        {"C:\\a\\\\b", {}, {}, nullptr},
        {"C:\\\\", {}, {}, nullptr},
    };
    for (auto const & row : table) {
        SCOPED_TRACE(row.text);
        IO::Location location;
        ASSERT_EQ(Resolver().PathToLocation(U(row.text), &location), !row.local.empty());
        if (row.local.empty())
            continue;
        EXPECT_EQ(Tests::GetNetwork(location), row.network);
        EXPECT_EQ(Tests::GetLocal(location), row.local);
        EXPECT_EQ(location.GetNetworkModel(), IO::Location::FlatModel);
        Mu::UniString path("before");
        EXPECT_EQ(Resolver().LocationToPath(location, &path), row.path != nullptr);
        EXPECT_EQ(ToUtf8(path), row.path != nullptr ? row.path : "");
    }
    for (auto const & [model, hasPath] : {std::pair("lan.flat", true),
                                          {"lan.hierarchical", true},
                                          {"lan.smb", true},
                                          {"lan.unknown", false},
                                          {"http", false}}) {
        IO::Location location;
        EXPECT_EQ(location.Set(U(std::string(model) + "://host/share")), IO::NoError);
        Mu::UniString path;
        EXPECT_EQ(Resolver().LocationToPath(location, &path), hasPath) << model;
    }
}

TEST(WinLocationResolver, WritesTheWholePathOrNone) {
    IO::Location const share(u"\\\\a host with a long name\\share\\a folder with a long name");
    SweepAllocations([&](bool failed) {
        IO::Location asked(share); // whose legality nobody has asked yet
        asked.SetPort(0);
        Mu::UniString path;
        MuErrCode const status = asked.ToPath(&path);
        EXPECT_TRUE(status == IO::NoError || (failed && status == IO::ErrMemoryFull)) << status;
        EXPECT_TRUE(status != IO::NoError ||
                    path == u"\\\\a host with a long name\\share\\a folder with a long name");
    });
}

TEST(WinLocationResolver, WritesThePathsOfLegalLocations) {
    std::mt19937 random(5);
    unsigned int legal = 0;
    for (int round = 0; round < 4000; ++round) {
        IO::Location asked, judged;
        std::u16string text;
        for (unsigned int names = 1 + random() % 4; names > 0; --names) {
            std::u16string name = text.empty() && random() % 8 != 0 ? u"C:" : u"";
            if (text.empty() && random() % 8 == 0)
                name = u"?:";
            if (name.empty() && random() % 16 == 0)
                name.assign(248 + random() % 10, u'a');
            for (unsigned int left = name == u"C:" ? random() % 16 == 0 : random() % 4; left > 0;
                 --left)
                name += u"a.:/\\\u00E9"[random() % (random() % 4 == 0 ? 6 : 2)];
            text += (text.empty() ? u"" : u"\\") + name;
            for (IO::Location * location : {&asked, &judged})
                ASSERT_EQ(location->AppendToLocal(IO::Name(name)), IO::NoError);
        }
        Mu::UniString const password(random() % 8 == 0 ? "x" : ""),
            scheme(random() % 8 == 0 ? "x" : "");
        for (IO::Location * location : {&asked, &judged}) {
            location->SetScheme(scheme);
            location->SetPassword(password);
        }
        text += asked.GetLocalLength() == 1 ? u"\\" : u"";
        Mu::UniString path;
        ASSERT_EQ(asked.ToPath(&path) == IO::NoError, judged.IsLegal())
            << ToUtf8(Mu::UniString(text));
        ASSERT_EQ(asked.IsLegal(), judged.IsLegal());
        ASSERT_TRUE(path == (judged.IsLegal() ? text : u"")) << ToUtf8(Mu::UniString(text));
        legal += judged.IsLegal() ? 1 : 0;
    }
    EXPECT_GT(legal, 500u);
}

TEST(WinLocationResolver, RefusesALongText) {
    IO::Location location;
    std::string const fits = "C:\\" + std::string(IO::LongestPathText - 3, 'a');
    EXPECT_TRUE(Resolver().PathToLocation(U(fits), &location));
    EXPECT_FALSE(Resolver().PathToLocation(U(fits + "a"), &location));
    EXPECT_FALSE(
        Resolver().PathToLocation(Mu::UniString(std::u16string_view(u"C:\\a\0b", 6)), &location));
    std::string longText(10000, 'a');
    EXPECT_FALSE(Resolver().PathToLocation(U(longText), &location));
    IO::RelativeLocation relative;
    longText += "\\b";
    EXPECT_TRUE(Resolver().PathToRelativeLocation(U(longText), &relative));
    EXPECT_EQ(relative.GetLength(), 2u) << "only a path as a whole has a limit";
}

TEST(WinLocationResolver, ReadsRelativePaths) {
    struct {
        char const * text;
        unsigned int length; // Mu::NotFound: refused
    } const table[] = {
        {"a", 1},
        {"a\\b/c", 3},
        {"a\\", 1},
        {"..\\a", 2},
        {"", 0},
        {"\\a", Mu::NotFound},
        {"a\\\\b", Mu::NotFound},
    };
    for (auto const & row : table) {
        SCOPED_TRACE(row.text);
        IO::RelativeLocation relative;
        ASSERT_EQ(Resolver().PathToRelativeLocation(U(row.text), &relative),
                  row.length != Mu::NotFound);
        if (row.length != Mu::NotFound) {
            EXPECT_EQ(relative.GetLength(), row.length);
        }
    }
}
