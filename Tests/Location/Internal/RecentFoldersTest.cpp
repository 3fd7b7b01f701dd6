#include <Kestrel/Location/Internal/RecentFolders.h>

#include <Kestrel/Location/Internal/AddressTree.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Location/AddressTrees.h"

#include <gtest/gtest.h>

using namespace Tests;

namespace {

// Looked up by its whole list of names, which is what makes the tree remember a folder.
IO::Address LookUp(Path const & path) {
    Text list;
    for (Text const & name : path)
        list += name + u'\0';
    return IO::Address((list + u'\0').c_str());
}

// How many names are stored, that of the root and those that the tree itself keeps included.
unsigned int CountNames() {
    return IO::AddressTree::Turn()->GetNames().GetCount();
}

} // namespace

TEST(RecentFolders, StayBetweenOnePathAndTheNext) {
    {
        IO::Address const keep = MakeAddress({u"keep"});
        (void)LookUp({u"C:", u"x", u"y", u"f"});
        EXPECT_EQ(CountNames(), 5u) << "but for the file's";
        for (int round = 0; round < 3; ++round)
            for (Text const folder : {u"1", u"2", u"3", u"4"})
                (void)LookUp({u"C:", folder, u"g"});
        EXPECT_EQ(CountNames(), 7u) << "but for those of the fifth folder before";
        (void)LookUp({u"alone"});
        EXPECT_EQ(CountNames(), 7u) << "a path without a folder is no reason";
        (void)LookUp({Text(261, u'l'), u"f"});
        EXPECT_EQ(CountNames(), 7u) << "nor is a folder that is too long";
        CheckTree();
        EXPECT_EQ(CountNames(), 2u);
        EXPECT_EQ(PrintTree(), "Root (1)\n|\n+---keep (1)\n");
    }
    EXPECT_TRUE(IsTreeGone());
}

// The first tables have room for 64 nodes, the root among them.
TEST(RecentFolders, GiveTheirNodesToWhoWouldGetNone) {
    std::vector<IO::Address> crowd(64);
    std::vector<IO::Name> names;
    for (unsigned int i = 0; i < crowd.size(); ++i)
        names.emplace_back(std::to_string(i).c_str());
    (void)LookUp({u"C:", u"x", u"f"});
    {
        Shortage const shortage;
        for (unsigned int i = 0; i < crowd.size(); ++i)
            EXPECT_EQ(crowd[i].Append(names[i]), i < 63 ? IO::NoError : IO::ErrMemoryFull) << i;
    }
    CheckTree();
}
