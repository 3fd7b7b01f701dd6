#include <Kestrel/Location/Internal/RecentFolder.h>

#include <Kestrel/Location/Internal/AddressTree.h>
#include <Kestrel/Root/Memory.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Location/AddressTrees.h"
#include "Tests/Support/Location/Locations.h"
#include "Tests/Support/Location/TestResolver.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <thread>

using namespace Tests;
using IO::Location;

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

TEST(RecentFolder, StaysBetweenOnePathAndTheNext) {
    {
        IO::Address const keep = MakeAddress({u"keep"});
        (void)LookUp({u"C:", u"x", u"y", u"f"});
        EXPECT_EQ(CountNames(), 5u) << "but for the file's";
        (void)LookUp({u"C:", u"x", u"g"});
        EXPECT_EQ(CountNames(), 4u) << "but for those of the folder before";
        (void)LookUp({u"alone"});
        EXPECT_EQ(CountNames(), 4u) << "a path without a folder is no reason";
        (void)LookUp({Text(261, u'l'), u"f"});
        EXPECT_EQ(CountNames(), 4u) << "nor is a folder that is too long";
        CheckTree();
        EXPECT_EQ(CountNames(), 2u);
        EXPECT_EQ(PrintTree(), "Root (1)\n|\n+---keep (1)\n");
    }
    EXPECT_TRUE(IsTreeGone());
}

// Whatever was the last: an address of that folder, of another one, or a copy.
TEST(RecentFolder, GoesWithTheLastAddress) {
    for (Path const & last : {Path{u"C:", u"x", u"f"}, Path{u"C:"}, Path{u"D:", u"y"}, Path{}}) {
        IO::Address address = MakeAddress(last);
        (void)LookUp({u"C:", u"x", u"g"});
        IO::Address copy = address;
        address = LookUp({u"C:", u"x"});
        (void)LookUp({u"C:", u"x", u"g"});
        EXPECT_EQ(address.DeleteLastName(), IO::NoError);
        address = IO::Address(std::move(copy));
        EXPECT_FALSE(IsTreeGone());
        { IO::Address const gone = std::move(address); }
        EXPECT_TRUE(IsTreeGone());
    }
    IO::Address const before = LookUp({u"C:", u"x", u"g"});
    IO::Address::CleanUp();
    EXPECT_TRUE(IsTreeGone());
}

// A node of one address gets its name in place, where it may stand out of order, whether the folder
// ends there or goes through it; a node of two does not.
TEST(RecentFolder, IsNoHolderOfANodeThatGetsAnotherName) {
    for (Path const & recent : {Path{u"b", u"f"}, Path{u"b", u"x", u"f"}}) {
        IO::Address const other = MakeAddress({u"c"});
        IO::Address address = MakeAddress({u"b"});
        (void)LookUp(recent);
        ASSERT_EQ(address.SetLastName(IO::Name("z")), IO::NoError);
        EXPECT_EQ(PrintTree(), "Root (2)\n|\n+---z (1)\n|\n+---c (1)\n");
    }
    IO::Address address = MakeAddress({u"b"});
    IO::Address const same = LookUp({u"b", u"f"});
    ASSERT_EQ(address.SetLastName(IO::Name("z")), IO::NoError);
    EXPECT_EQ(GetPath(same), (Path{u"b", u"f"}));
    EXPECT_EQ(PrintTree(), "Root (2)\n|\n+---b (1)\n|   |\n|   +---f (1)\n|\n+---z (1)\n");
}

TEST(RecentFolder, IsInNoCounter) {
    std::mt19937 random(11);
    ModelTree model;
    std::vector<std::pair<IO::Address, ModelTree::Node *>> held;
    for (int step = 0; step < 6000; ++step) {
        Path path(random() % 5);
        for (Text & name : path)
            name = Text(1 + random() % 2, static_cast<char16_t>(u'a' + random() % 2));
        if (held.size() < 3 || random() % 2 == 0) {
            held.emplace_back(LookUp(path), model.AppendPath(model.HoldRoot(), path));
        } else {
            auto & [address, end] = held[random() % held.size()];
            if (unsigned int const length = address.GetLength(); length > 0) {
                ASSERT_EQ(address.DeleteName(step % length), IO::NoError);
                end = model.DeleteName(end, step % length);
            }
            std::swap(held[random() % held.size()], held.back());
            model.Release(held.back().second);
            held.pop_back();
        }
        if (random() % 8 == 0) {
            ASSERT_EQ(PrintTree(), model.Print());
            CheckTree();
        }
    }
    held.clear();
    EXPECT_TRUE(IsTreeGone());
}

namespace {

// The library gets no memory while this lives.
class Shortage {
public:
    Shortage() {
        Mu::SetMemoryCalls({[](std::size_t) -> void * { return nullptr; },
                            [](void *, std::size_t) -> void * { return nullptr; }, calls.free});
    }
    ~Shortage() { Mu::SetMemoryCalls(calls); }
    Shortage(Shortage const &) = delete;
    Shortage & operator=(Shortage const &) = delete;

private:
    Mu::MemoryCalls const calls = Mu::GetMemoryCalls();
};

} // namespace

// The first tables have room for 64 nodes, the root among them.
TEST(RecentFolder, GivesItsNodesToWhoWouldGetNone) {
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

namespace {

// What one of several threads does: paths of few folders, some of which live for a while.
void ReadFolders(unsigned int seed) {
    std::mt19937 random(seed);
    std::vector<IO::Address> some(5);
    for (int step = 0; step < 10000; ++step) {
        Path const path = {u"C:", Text(1 + random() % 3, u'x'), Text(1, u'y'),
                           Text(1, static_cast<char16_t>(u'a' + random() % 9))};
        IO::Address const read = LookUp(path);
        IO::Address & one = some[random() % some.size()];
        one = read;
        if (random() % 3 == 0 &&
            (one.DeleteLastName() != IO::NoError || one.SetLastName(IO::Name("z")) != IO::NoError))
            ADD_FAILURE();
        IO::Address const copy = some[random() % some.size()];
        if (random() % 500 == 0)
            some.assign(5, copy);
        if (random() % 100 == 0)
            CheckTree();
        if (GetPath(read) != path)
            ADD_FAILURE();
    }
}

} // namespace

TEST(RecentFolder, IsLeftByManyThreads) {
    std::vector<std::thread> threads;
    for (unsigned int thread = 0; thread < 4; ++thread)
        threads.emplace_back(ReadFolders, thread);
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_TRUE(IsTreeGone());
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
        Location const other(u"C:\\a\\another\\name");
        Location const first(u"C:\\a\\b\\c\\d");
        Location const second(u"C:\\a\\b\\c\\e");
        for (Location const * location : {&first, &second})
            EXPECT_TRUE(location->GetStatus() == IO::NoError || failed);
        if (second.GetStatus() == IO::NoError) {
            EXPECT_TRUE(failed || GetLocal(second) == (Names{"C:", "a", "b", "c", "e"}));
        }
    });
    EXPECT_TRUE(IsTreeGone());
}
