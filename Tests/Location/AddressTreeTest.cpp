#include <Kestrel/Location/Internal/AddressTree.h>

#include <Kestrel/Location/Address.h>
#include <Kestrel/Location/Location.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Location/AddressTrees.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace Tests;

namespace {

Text Number(char16_t const * start, unsigned int number) {
    std::string const digits = std::to_string(number);
    return start + Text(digits.begin(), digits.end());
}

/// Addresses and, beside each, where the model says that it ends.
class TreeAndModel {
public:
    explicit TreeAndModel(unsigned int seed) : random(seed), kind(seed % 3) {}

    ~TreeAndModel() {
        while (!addresses.empty())
            Drop(random() % addresses.size());
    }

    void Step() {
        failFrom = random() % 10 == 0 ? 1 + random() % 4 : 0;
        if (addresses.empty() || random() % 100 < (addresses.size() < few[kind] ? 30 : 4))
            return Add(IO::Address(), model.HoldRoot());
        at = random() % addresses.size();
        std::size_t const length = addresses[at].GetLength();
        unsigned int const choice = random() % 100;
        if (choice < 25)
            Copy();
        else if (choice < 55 && length < most[kind])
            Append();
        else if (choice < 62 && length > 0)
            DeleteName(random() % length);
        else if (choice < 76 && length > 0)
            SetName(random() % 2 == 0 ? length - 1 : random() % length);
        else if (choice < 80 && length > 0)
            SetAttachment(random() % length);
        else if (choice < 82 && length < 3)
            AppendOther();
        else if (choice < 90)
            LookUpPath();
        else
            Drop(at);
    }

    void Check() {
        ASSERT_EQ(PrintTree(), model.Print());
        CheckTree();
        for (std::size_t i = 0; i < addresses.size(); ++i) {
            Path const path = WithoutAttachments(ends[i]);
            ASSERT_EQ(GetPath(addresses[i]), path);
            std::size_t const j = random() % addresses.size();
            if (i % 8 == 0) {
                ASSERT_EQ(addresses[i].GenerateHashValue(), GetHash(path));
            }
            ASSERT_NO_FATAL_FAILURE(
                CheckPair(addresses[i], path, addresses[j], WithoutAttachments(ends[j])));
        }
    }

private:
    using End = ModelTree::Node *;

    // Paths of few names, of many, so that lists get an index, and one list only, in which names
    // are renamed in place again and again.
    static constexpr unsigned int crowd[] = {12, 300, 400}, most[] = {5, 5, 1}, few[] = {0, 0, 200};

    // Few long names that differ late, many that share their beginning, and the empty one.
    Text AnyName() {
        switch (random() % 12) {
        case 0:
            return Text(random() % 3 * 30 + 29 + random() % 4, u'l') + Number(u"", random() % 3);
        case 1: return Text(random() % 3, random() % 2 == 0 ? u'a' : u'A');
        case 2: return Number(u"File/", random() % 50);
        case 3: return Number(u"file/0", random() % 50) + (kind == 1 ? u"\u4E2D" : u"\u00E9");
        default: return Number(u"file/0", random() % crowd[kind]);
        }
    }

    static Path WithoutAttachments(End end) {
        Path path = ModelTree::GetStoredPath(end);
        for (Text & name : path)
            if (name.starts_with(u"::<") && name.find(u'>') != Text::npos)
                name = name.substr(name.find(u'>') + 1);
        return path;
    }

    static unsigned int GetHash(Path const & path) {
        unsigned int hash = 0;
        for (Text const & name : path)
            hash = 65599u * hash + IO::Name(name).GenerateHashValue();
        return hash;
    }

    static Text ToLower(Text text) {
        for (char16_t & unit : text)
            unit = unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
        return text;
    }

    // Case counts for the order of names that differ without it.
    static void CheckPair(IO::Address const & first, Path const & firstPath,
                          IO::Address const & second, Path const & secondPath) {
        std::size_t const common = std::min(firstPath.size(), secondPath.size());
        std::size_t i = 0;
        while (i < common && ToLower(firstPath[i]) == ToLower(secondPath[i]))
            ++i;
        bool const isSame = i == firstPath.size() && i == secondPath.size();
        bool const isLess =
            i < common ? firstPath[i] < secondPath[i] : firstPath.size() < secondPath.size();
        ASSERT_EQ(first == second, isSame);
        ASSERT_EQ(first < second, isLess);
    }

    void Add(IO::Address const & address, End end) {
        addresses.push_back(address);
        ends.push_back(end);
    }

    // What fails for memory leaves an invalid address, which holds nothing, or one as it was.
    template <typename Change>
    bool Took(Change const & change) {
        MuErrCode status;
        {
            Shortage const shortage(failFrom);
            status = change(addresses[at]);
        }
        EXPECT_TRUE(status == IO::NoError || (failFrom != 0 && status == IO::ErrMemoryFull));
        bool const isHealthy = addresses[at].GetStatus() == IO::NoError;
        EXPECT_TRUE(isHealthy || status != IO::NoError);
        if (!isHealthy)
            Drop(at);
        return status == IO::NoError;
    }

    void Copy() {
        model.AddRef(ends[at]);
        Add(addresses[at], ends[at]);
    }

    void Append() {
        Text const name = AnyName();
        if (IO::Name const given(name); Took([&](auto & taken) { return taken.Append(given); }))
            ends[at] = model.Append(ends[at], name);
    }

    // Perhaps itself.
    void AppendOther() {
        std::size_t const other = random() % addresses.size();
        Path const names = WithoutAttachments(ends[other]);
        if (Took([&](auto & taken) { return taken.Append(addresses[other]); }))
            ends[at] = model.AppendPath(ends[at], names);
    }

    void DeleteName(std::size_t index) {
        unsigned int const number = static_cast<unsigned int>(index);
        if (Took([&](auto & taken) { return taken.DeleteName(number); }))
            ends[at] = model.DeleteName(ends[at], index);
    }

    void SetName(std::size_t index) {
        unsigned int const number = static_cast<unsigned int>(index);
        Text const name = AnyName();
        IO::Name const given(name);
        if (Took([&](auto & taken) { return taken.SetName(number, given); }))
            ends[at] = model.SetName(ends[at], index, name);
    }

    void SetAttachment(std::size_t index) {
        unsigned int const number = static_cast<unsigned int>(index);
        Text const attachment = Number(u"tag", random() % 3).substr(0, random() % 2 * 4);
        Text name = WithoutAttachments(ends[at])[index];
        if (!attachment.empty())
            name = u"::<" + attachment + u">" + name;
        IO::Name const given(attachment);
        if (Took([&](auto & taken) { return taken.SetNameAttachment(number, given); }))
            ends[at] = model.SetName(ends[at], index, name);
    }

    // By a whole list of names, of which the tree remembers the folder for the next one.
    void LookUpPath() {
        Path path(random() % (most[kind] + 1));
        Text list;
        for (Text & name : path) {
            name = random() % 3 == 0 ? Text(1, u'a' + random() % 2) : AnyName() + u'.';
            list += name + u'\0';
        }
        list += u'\0';
        if (Took([&](auto & taken) { return taken.Set(list.c_str()); })) {
            model.Release(ends[at]);
            ends[at] = model.AppendPath(model.HoldRoot(), path);
        }
    }

    void Drop(std::size_t which) {
        std::swap(addresses[which], addresses.back());
        std::swap(ends[which], ends.back());
        addresses.pop_back();
        model.Release(ends.back());
        ends.pop_back();
    }

    std::mt19937 random;
    unsigned int const kind;
    unsigned int failFrom = 0; // no memory from this request on; 0: there is enough
    std::size_t at = 0;
    ModelTree model;
    std::vector<IO::Address> addresses;
    std::vector<End> ends;
};

} // namespace

// Whatever the order of operations, nodes renamed in place, remembered folders, lists with an index
// and failures of memory included, the tree is the one that plain lists and plain walks make.
TEST(AddressTree, IsATreeOfPlainListsInEveryOrderOfOperations) {
    for (unsigned int seed = 1; seed <= 24; ++seed) {
        SCOPED_TRACE(seed);
        {
            TreeAndModel both(seed);
            for (int step = 0; step < 1200; ++step) {
                both.Step();
                if (step % 60 == 59) {
                    ASSERT_NO_FATAL_FAILURE(both.Check());
                }
                ASSERT_FALSE(HasFailure());
            }
        }
        ASSERT_TRUE(IsTreeGone());
    }
}

// Of a location's two addresses the root is mostly noted at the other one's node: what is shown is
// right all the same, whichever of the two goes first, and however many copies there are.
TEST(AddressTree, CountsBothAddressesOfALocation) {
    std::mt19937 random(1);
    for (unsigned int round = 0; round < 40; ++round) {
        ModelTree model;
        std::vector<IO::Location> locations;
        std::vector<std::array<ModelTree::Node *, 2>> ends; // of the machine, and of the path
        auto const add = [&](IO::Location const & location, ModelTree::Node * machine,
                             ModelTree::Node * path) {
            locations.push_back(location);
            ends.push_back({machine, path});
        };
        for (unsigned int step = 0; step < 300; ++step) {
            if (locations.empty())
                add(IO::Location(), model.HoldRoot(), model.HoldRoot());
            std::size_t const at = random() % locations.size();
            std::size_t const other = random() % locations.size();
            Text const name = Number(u"n", random() % 3);
            switch (random() % 8) {
            case 0:
                (void)locations[at].AppendToNetwork(IO::Name(name));
                ends[at][0] = model.Append(ends[at][0], name);
                break;
            case 1:
                locations[at].ClearNetwork();
                model.Release(std::exchange(ends[at][0], model.HoldRoot()));
                break;
            case 2:
                if (locations[at].DeleteLastLocalName() == IO::NoError)
                    ends[at][1] = model.DeleteName(
                        ends[at][1], ModelTree::GetStoredPath(ends[at][1]).size() - 1);
                break;
            case 3:
                locations[at] = locations[other];
                for (unsigned int i = 0; i < 2; ++i) {
                    model.AddRef(ends[other][i]);
                    model.Release(std::exchange(ends[at][i], ends[other][i]));
                }
                break;
            case 4:
                for (ModelTree::Node * const end : ends[at])
                    model.Release(end);
                std::swap(locations[at], locations.back());
                std::swap(ends[at], ends.back());
                locations.pop_back();
                ends.pop_back();
                break;
            case 5:
                (void)locations[at].AppendToLocal(IO::Name(name));
                ends[at][1] = model.Append(ends[at][1], name);
                break;
            default:
                model.AddRef(ends[at][0]);
                model.AddRef(ends[at][1]);
                add(IO::Location(locations[at]), ends[at][0], ends[at][1]);
            }
            if (step % 30 == 0) {
                ASSERT_EQ(PrintTree(), model.Print());
            }
        }
        CheckTree();
        std::shuffle(locations.begin(), locations.end(), random);
        locations.clear();
        ASSERT_TRUE(IsTreeGone());
    }
    std::vector<IO::Location> const many(100000, IO::Location());
    EXPECT_EQ(PrintTree(), "Root (200000)\n");
}

// Many names cost hardly more comparisons each than few do, in whatever order they come and go.
TEST(AddressTree, ComparesFewNamesAmongManyChildren) {
    unsigned int const count = 30000;
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
            EXPECT_EQ(PrintTree(), "Root (30000)\n");
        }
        unsigned long long const spent = IO::AddressTree::Turn()->GetComparisonCount() - before;
        EXPECT_LT(spent / count, 100u) << "comparisons for each name";
    }
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

    // Locations of the old tree that go while there is a smaller one.
    std::vector<IO::Location> old(1000);
    for (unsigned int i = 0; i < old.size(); ++i)
        EXPECT_EQ(old[i].AppendToLocal(IO::Name(std::to_string(i).c_str())), IO::NoError);
    IO::Location const & last = old.back();
    EXPECT_EQ(IO::Location(last), last);
    IO::Address::CleanUp();
    IO::Address const other = MakeAddress({u"c"});
    old.erase(old.begin() + 900, old.end());
    EXPECT_EQ(GetPath(other), Path{u"c"});
    IO::Address::CleanUp();
}

namespace {

// What one of several threads does: paths of few folders, some of which live for a while, and copies
// of one that all threads have.
void BuildAndDrop(IO::Address const & shared, unsigned int seed) {
    std::mt19937 random(seed);
    Path const sharedPath = {u"C:", u"all"};
    std::vector<std::pair<IO::Address, Path>> held(6, {shared, sharedPath});
    for (int step = 0; step < 15000; ++step) {
        auto & [address, path] = held[random() % held.size()];
        Text const name = Number(u"n", random() % 5);
        MuErrCode status = IO::NoError;
        switch (random() % 7) {
        case 0:
            path = {u"C:", Text(1 + random() % 3, u'x'), name};
            status = address.Set((path[0] + u'\0' + path[1] + u'\0' + name + u'\0').c_str());
            break;
        case 1:
            address = shared;
            path = sharedPath;
            break;
        case 2: {
            auto const & other = held[random() % held.size()];
            path = other.second;
            address = other.first;
            break;
        }
        case 3:
            path.back() = name;
            status = address.SetLastName(IO::Name(name));
            break;
        case 4:
            if (path.size() > 1) {
                path.pop_back();
                status = address.DeleteLastName();
            }
            break;
        default:
            if (path.size() < 6) {
                path.push_back(name);
                status = address.Append(IO::Name(name));
            }
        }
        if (status != IO::NoError || GetPath(address) != path)
            ADD_FAILURE() << status;
    }
}

} // namespace

// Whichever thread drops a node last frees it, and none does before.
TEST(AddressTree, ServesManyThreadsAtOnce) {
    BuildAndDrop(MakeAddress({u"C:", u"all"}), 0); // once without threads
    ASSERT_TRUE(IsTreeGone());
    for (unsigned int round = 1; round <= 3; ++round) {
        std::vector<std::thread> threads;
        for (unsigned int thread = 0; thread < 4; ++thread)
            threads.emplace_back([round, thread, shared = MakeAddress({u"C:", u"all"})]() mutable {
                BuildAndDrop(shared, round * 4 + thread);
                shared.Clear();
            });
        for (std::thread & thread : threads)
            thread.join();
        threads.clear();
        CheckTree();
        ASSERT_TRUE(IsTreeGone());
    }
}
