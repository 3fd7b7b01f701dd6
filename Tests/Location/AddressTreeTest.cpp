#include <Kestrel/Location/Internal/AddressTree.h>

#include <Kestrel/Location/Address.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Location/AddressTrees.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <thread>

using namespace Tests;

namespace {

Text Number(char16_t const * start, unsigned int number) {
    std::string const digits = std::to_string(number);
    return start + Text(digits.begin(), digits.end());
}

// Addresses and, beside each, where the model says that it ends.
class TreeAndModel {
public:
    explicit TreeAndModel(unsigned int seed) : random(seed), crowd(seed % 2 == 0 ? 12 : 300) {}

    ~TreeAndModel() {
        while (!addresses.empty())
            Drop();
    }

    void Step() {
        if (addresses.empty() || random() % 100 < 4)
            return Add(IO::Address(), model.HoldRoot());
        at = random() % addresses.size();
        std::size_t const length = addresses[at].GetLength();
        unsigned int const choice = random() % 100;
        if (choice < 30)
            Copy();
        else if (choice < 62 && length < 5)
            Append();
        else if (choice < 70 && length > 0)
            DeleteName(random() % length);
        else if (choice < 82 && length > 0)
            SetName(random() % 2 == 0 ? length - 1 : random() % length);
        else if (choice < 86 && length > 0)
            SetAttachment(random() % length);
        else if (choice < 88 && length < 3)
            AppendOther();
        else if (addresses.size() > 1)
            Drop();
    }

    void Check() {
        ASSERT_EQ(PrintTree(), model.Print());
        CheckTree();
        for (std::size_t i = 0; i < addresses.size(); ++i)
            ASSERT_EQ(GetPath(addresses[i]), WithoutAttachments(ends[i]));
    }

private:
    using End = ModelTree::Node *;

    // Few long names that differ late, many that share their beginning, and the empty one.
    Text AnyName() {
        switch (random() % 12) {
        case 0: return Text(29 + random() % 4, u'l') + Number(u"", random() % 3);
        case 1: return Text(random() % 3, u'a');
        case 2: return Number(u"file/", random() % 50);
        default: return Number(u"file/0", random() % crowd);
        }
    }

    static Path WithoutAttachments(End end) {
        Path path = ModelTree::GetStoredPath(end);
        for (Text & name : path)
            if (name.starts_with(u"::<") && name.find(u'>') != Text::npos)
                name = name.substr(name.find(u'>') + 1);
        return path;
    }

    void Add(IO::Address const & address, End end) {
        addresses.push_back(address);
        ends.push_back(end);
    }

    void Copy() {
        model.AddRef(ends[at]);
        Add(addresses[at], ends[at]);
    }

    void Append() {
        Text const name = AnyName();
        ASSERT_EQ(addresses[at].Append(IO::Name(name)), IO::NoError);
        ends[at] = model.Append(ends[at], name);
    }

    void AppendOther() {
        std::size_t const other = random() % addresses.size();
        Path const names = WithoutAttachments(ends[other]);
        ASSERT_EQ(addresses[at].Append(addresses[other]), IO::NoError);
        ends[at] = model.AppendPath(ends[at], names);
    }

    void DeleteName(std::size_t index) {
        ASSERT_EQ(addresses[at].DeleteName(static_cast<unsigned int>(index)), IO::NoError);
        ends[at] = model.DeleteName(ends[at], index);
    }

    void SetName(std::size_t index) {
        Text const name = AnyName();
        ASSERT_EQ(addresses[at].SetName(static_cast<unsigned int>(index), IO::Name(name)),
                  IO::NoError);
        ends[at] = model.SetName(ends[at], index, name);
    }

    void SetAttachment(std::size_t index) {
        Text const attachment = Number(u"tag", random() % 3).substr(0, random() % 2 * 4);
        Text name = WithoutAttachments(ends[at])[index];
        if (!attachment.empty())
            name = u"::<" + attachment + u">" + name;
        ASSERT_EQ(
            addresses[at].SetNameAttachment(static_cast<unsigned int>(index), IO::Name(attachment)),
            IO::NoError);
        ends[at] = model.SetName(ends[at], index, name);
    }

    void Drop() {
        std::size_t const which = random() % addresses.size();
        std::swap(addresses[which], addresses.back());
        std::swap(ends[which], ends.back());
        addresses.pop_back();
        model.Release(ends.back());
        ends.pop_back();
    }

    std::mt19937 random;
    unsigned int crowd; // how many names most are drawn from: with many, lists get an index
    std::size_t at = 0;
    ModelTree model;
    std::vector<IO::Address> addresses;
    std::vector<End> ends;
};

} // namespace

// Whatever the order of operations, nodes renamed in place and lists with an index included, the
// tree is the one that plain lists and plain walks make.
TEST(AddressTree, IsATreeOfPlainLists) {
    for (unsigned int seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE(seed);
        {
            TreeAndModel both(seed);
            for (int step = 0; step < 1200; ++step) {
                both.Step();
                if (step % 100 == 99) {
                    ASSERT_NO_FATAL_FAILURE(both.Check());
                }
            }
        }
        ASSERT_TRUE(IsTreeGone());
    }
}

// One list, long enough for an index, in which names are renamed in place again and again: the
// index must find the very places at which a walk over the disordered list would stop.
TEST(AddressTree, FindsTheTwinsThatAWalkWouldFind) {
    for (unsigned int seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        ModelTree model;
        std::vector<IO::Address> addresses;
        std::vector<ModelTree::Node *> ends;
        for (unsigned int step = 0; step < 600; ++step) {
            Text const name = Number(step % 7 == 0 ? u"nam" : u"name", random() % 400);
            if (addresses.size() < 200 || random() % 4 == 0) {
                addresses.push_back(MakeAddress({name}));
                ends.push_back(model.Append(model.HoldRoot(), name));
            } else if (random() % 2 == 0) {
                std::size_t const at = random() % addresses.size();
                ASSERT_EQ(addresses[at].SetLastName(IO::Name(name)), IO::NoError);
                ends[at] = model.SetName(ends[at], 0, name);
            } else {
                std::size_t const at = random() % addresses.size();
                addresses.erase(addresses.begin() + static_cast<long>(at));
                model.Release(ends[at]);
                ends.erase(ends.begin() + static_cast<long>(at));
            }
            if (step % 20 == 0) {
                ASSERT_EQ(PrintTree(), model.Print());
            }
        }
        CheckTree();
    }
}

// 100,000 names cost hardly more comparisons each than 100 do, in whatever order they come and go.
TEST(AddressTree, FindsItsWayAmong100000Children) {
    unsigned int const count = 100000;
    std::vector<unsigned int> order(count);
    for (unsigned int i = 0; i < count; ++i)
        order[i] = i;
    for (int round = 0; round < 3; ++round) {
        std::mt19937 random(static_cast<unsigned int>(round));
        if (round < 2) // the last round counts down
            std::shuffle(order.begin(), order.end(), random);
        else
            std::sort(order.rbegin(), order.rend());
        unsigned long long const before = IO::AddressTree::Turn()->GetComparisonCount();
        {
            std::vector<IO::Address> addresses(count, MakeAddress({u"parent"}));
            for (unsigned int const i : order)
                ASSERT_EQ(addresses[i].Append(IO::Name(Number(u"child", i))), IO::NoError);
            std::shuffle(order.begin(), order.end(), random);
            for (unsigned int const i : order)
                addresses[i].Clear();
            EXPECT_EQ(PrintTree(), "Root (100000)\n");
        }
        unsigned long long const spent = IO::AddressTree::Turn()->GetComparisonCount() - before;
        EXPECT_LT(spent / count, 100u) << "comparisons for each name";
    }
}

TEST(AddressTree, TakesOneChunkForThirtyUnits) {
    for (auto const & [length, chunks] : std::vector<std::pair<unsigned int, unsigned int>>{
             {0, 1}, {29, 1}, {30, 1}, {31, 2}, {60, 2}, {61, 3}, {10000, 334}}) {
        SCOPED_TRACE(length);
        IO::Address const address = MakeAddress({Text(length, u'x')});
        EXPECT_EQ(GetPath(address), Path{Text(length, u'x')});
        CheckTree();
        IO::AddressTree::Turn const tree;
        EXPECT_EQ(tree->GetNames().GetChunks().GetMark(), chunks + 1) << "one is the root's";
    }
}

// Names that begin alike over one, two and more chunks stand in the order of their units.
TEST(AddressTree, OrdersLongNames) {
    Path names;
    for (unsigned int const length : {0u, 1u, 29u, 30u, 31u, 59u, 60u, 61u, 90u})
        for (char16_t const end : {u'a', u'\xFFFF'})
            names.push_back(Text(length, u'm') + end);
    for (unsigned int const length : {30u, 60u})
        names.push_back(Text(length, u'm'));
    std::mt19937 random(7);
    std::shuffle(names.begin(), names.end(), random);
    std::vector<IO::Address> addresses;
    for (Text const & name : names)
        addresses.push_back(MakeAddress({name}));
    std::sort(names.begin(), names.end());

    IO::AddressTree::Turn const tree;
    Path found;
    for (unsigned int node = tree->GetNodes()[tree->GetRoot()].leftChild; node != IO::NoIndex;
         node = tree->GetNodes()[node].next) {
        Mu::UniString text;
        tree->ReadName(node, text);
        found.emplace_back(std::u16string_view(text));
    }
    EXPECT_EQ(found, names);
}

TEST(AddressTree, StartsFromScratchAfterTheLastAddress) {
    ASSERT_TRUE(IsTreeGone());
    for (int round = 0; round < 2; ++round) {
        IO::Address address = MakeAddress({u"a", u"b"});
        {
            IO::AddressTree::Turn const tree;
            EXPECT_EQ(tree->GetRoot(), 0u);
            EXPECT_EQ(tree->GetNodes().GetRecords().GetMark(), 3u);
            EXPECT_EQ(tree->GetNodes().GetCapacity(), 64u);
        }
        address = MakeAddress({});
        CheckTree();
    }
    EXPECT_TRUE(IsTreeGone());
}

TEST(AddressTree, SurvivesACleanUpUnderLivingAddresses) {
    {
        IO::Address const a = MakeAddress({u"a", u"b"});
        IO::Address const b = a;
        IO::Address::CleanUp();
        EXPECT_TRUE(IsTreeGone());
        EXPECT_EQ(PrintTree(), "");
        IO::Address::CleanUp(); // nothing to do
    }
    EXPECT_TRUE(IsTreeGone());
    EXPECT_EQ(GetPath(MakeAddress({u"c"})), Path{u"c"});
}

TEST(AddressTree, PrintsEachNodeWithItsCount) {
    IO::Address const first = MakeAddress({u"C:", u"usr", u"lib"});
    IO::Address const second = MakeAddress({u"C:", u"tmp"});
    IO::Address const third = first;
    EXPECT_EQ(PrintTree(), "Root (3)\n"
                           "|\n"
                           "+---C: (3)\n"
                           "|   |\n"
                           "|   +---tmp (1)\n"
                           "|   |\n"
                           "|   +---usr (2)\n"
                           "|   |   |\n"
                           "|   |   +---lib (2)\n");
}

namespace {

// What one of several threads does with a quarter of a million addresses.
void BuildAndDrop(unsigned int thread, unsigned int count) {
    std::vector<IO::Address> addresses;
    for (unsigned int i = 0; i < count; ++i) {
        unsigned int const number = i * 4 + thread;
        IO::Address address;
        for (Text const & name : {Text(u"C:"), Number(u"a", number % 7),
                                  Number(u"b", number % 1000), Number(u"name", number % 5000)})
            if (address.Append(IO::Name(name)) != IO::NoError)
                return ADD_FAILURE();
        addresses.push_back(address);
        if (i % 3 == 0)
            addresses[i / 2].SetLastName(IO::Name(Number(u"other", thread)));
    }
}

} // namespace

TEST(AddressTree, IsEmptyAgainAfterAMillionAddressesOfFourThreads) {
    BuildAndDrop(0, 1000); // once without threads
    ASSERT_TRUE(IsTreeGone());
    std::vector<std::thread> threads;
    for (unsigned int thread = 0; thread < 4; ++thread)
        threads.emplace_back(BuildAndDrop, thread, 250000u);
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_TRUE(IsTreeGone());
}

// Copies are dropped without the lock until none is left. Whichever thread comes last frees the
// node, and none frees it before.
TEST(AddressTree, KeepsANodeForTheLastOfManyCopies) {
    auto const copyAndDrop = [](IO::Address mine, unsigned int seed) {
        std::mt19937 random(seed);
        std::vector<IO::Address> copies;
        for (unsigned int step = 0; step < 20000; ++step)
            switch (random() % 4) {
            case 0: copies.push_back(mine); break;
            case 1: mine = copies.empty() ? mine : copies.back(); break;
            case 2:
                if (!copies.empty())
                    copies.pop_back();
                break;
            default:
                IO::Address changed = mine;
                EXPECT_EQ(changed.DeleteLastName(), IO::NoError);
                EXPECT_EQ(changed.Append(IO::Name("last")), IO::NoError);
                mine = changed;
            }
        EXPECT_EQ(GetPath(mine), (Path{u"only", u"last"}));
    };
    for (unsigned int round = 0; round < 5; ++round) {
        std::vector<std::thread> threads;
        {
            IO::Address const address = MakeAddress({u"only", u"last"});
            copyAndDrop(address, round);
            for (unsigned int thread = 0; thread < 4; ++thread)
                threads.emplace_back(copyAndDrop, address, round * 4 + thread);
        }
        for (std::thread & thread : threads)
            thread.join();
        ASSERT_TRUE(IsTreeGone());
    }
}

// A row of operations over long lists and long names. What fails leaves an invalid address and a
// tree that fits together; the addresses that did not take part are as they were.
TEST(AddressTree, MeetsEveryFailedAllocation) {
    Path const wanted = {u"C:", Text(200, u'x'), u"end"};
    SweepAllocations([&](bool failed) {
        IO::Address const bystander = MakeAddress({});
        std::vector<IO::Address> crowd(70);
        for (unsigned int i = 0; i < crowd.size(); ++i)
            if (crowd[i].Append(IO::Name(Number(u"n", i))) != IO::NoError) {
                EXPECT_TRUE(failed);
                EXPECT_EQ(crowd[i].GetStatus(), IO::ErrMemoryFull);
                EXPECT_EQ(crowd[i].Append(IO::Name(u"more")), IO::ErrMemoryFull);
                EXPECT_EQ(crowd[i].GenerateHashValue(), 0u);
            }
        IO::Address address;
        MuErrCode status = IO::NoError;
        for (Text const & name : wanted)
            status = address.Append(IO::Name(name));
        EXPECT_EQ(status, address.GetStatus());
        if (status == IO::NoError) {
            EXPECT_EQ(address.GetLength(), 3u);
        }
        IO::Address copy = address;
        if (copy.SetName(0, IO::Name(Text(300, u'y'))) == IO::NoError) {
            EXPECT_EQ(copy.GetLength(), 3u);
        }
        if (copy.SetLastName(IO::Name(Text(400, u'z'))) == IO::NoError) {
            EXPECT_EQ(copy.GetLength(), 3u);
        }
        (void)copy.SetNameAttachment(1, IO::Name(u"tag"));
        (void)(copy == address);
        (void)(copy < address);
        (void)copy.DeleteName(1);
        CheckTree();
        EXPECT_TRUE(failed || copy.GetStatus() == IO::NoError);
        EXPECT_TRUE(failed || GetPath(address) == wanted);
        address = bystander;
        EXPECT_EQ(address.GetStatus(), bystander.GetStatus());
    });
    EXPECT_TRUE(IsTreeGone());
}
