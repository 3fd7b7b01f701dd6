#include <Kestrel/Location/Internal/RecentFolder.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Location/Locations.h"
#include "Tests/Support/Location/TestResolver.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

using namespace Tests;
using IO::Location;

// Each of these makes the tree remember a folder and then something happen to it.

TEST(RecentFolder, IsLeftWhenItGoes) {
    TestResolver const resolver;
    Location const keep(u"D:\\");
    (void)Location(u"C:\\x\\f");
    Location const other(u"C:\\y\\g"); // takes the nodes that went
    Location const again(u"C:\\x\\f");
    EXPECT_EQ(GetLocal(other), (Names{"C:", "y", "g"}));
    EXPECT_EQ(GetLocal(again), (Names{"C:", "x", "f"}));
}

TEST(RecentFolder, IsLeftWhenItGetsAnotherName) {
    TestResolver const resolver;
    Location folder(u"C:\\x\\f");
    ASSERT_EQ(folder.DeleteLastLocalName(), IO::NoError);
    ASSERT_EQ(folder.SetLastLocalName("y"), IO::NoError); // in place: nobody else holds it
    EXPECT_EQ(GetLocal(Location(u"C:\\x\\f")), (Names{"C:", "x", "f"}));
    EXPECT_EQ(GetLocal(folder), (Names{"C:", "y"}));
}

TEST(RecentFolder, IsLeftWithTheTree) {
    TestResolver const resolver;
    (void)Location(u"C:\\x\\f");
    Location const again(u"C:\\x\\f");
    EXPECT_EQ(GetLocal(again), (Names{"C:", "x", "f"}));
}

TEST(RecentFolder, IsTakenForWhatItWouldBeFoundAs) {
    TestResolver const resolver;
    std::mt19937 random(7);
    std::map<unsigned int, std::pair<std::u16string, Location>> held;
    char16_t const * const names[] = {u"a", u"A", u"ab", u"b", u"a name of more than thirty units"};
    for (int step = 0; step < 20000; ++step) {
        std::u16string path = u"C:";
        for (unsigned int n = random() % 4; n != 0; --n)
            path += std::u16string(u"\\") + names[random() % std::size(names)];
        auto & [text, location] = held[random() % 6];
        text = path;
        ASSERT_EQ(location.Set(path.c_str()), IO::NoError);
        if (random() % 4 == 0) { // in place, when nobody else holds the node
            text.replace(text.find_last_of(u'\\') + 1, text.npos, u"new");
            ASSERT_EQ(location.SetLastLocalName("new"), IO::NoError);
        }
        if (random() % 3 == 0)
            held.erase(random() % 6);
        for (auto const & [key, pair] : held) {
            Mu::UniString read;
            for (std::string const & name : GetLocal(pair.second))
                read.Append(U(read.IsEmpty() ? name : "\\" + name));
            ASSERT_EQ(read, pair.first.c_str());
        }
    }
}

TEST(RecentFolder, MeetsEveryFailedAllocation) {
    TestResolver const resolver;
    SweepAllocations([](bool failed) {
        Location const first(u"C:\\a\\b\\c\\d");
        Location const second(u"C:\\a\\b\\c\\e");
        for (Location const * location : {&first, &second})
            EXPECT_TRUE(location->GetStatus() == IO::NoError || failed);
        if (second.GetStatus() == IO::NoError) {
            EXPECT_TRUE(failed || GetLocal(second) == (Names{"C:", "a", "b", "c", "e"}));
        }
    });
}
