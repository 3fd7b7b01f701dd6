// Many threads in few branches of the address tree, each against a model of its
// own.

#include <Kestrel/Location/Location.h>

#include "Tests/Support/Location/AddressTrees.h"
#include "Tests/Support/Location/Locations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

using Tests::Names;

namespace {

constexpr unsigned int Steps = 4000;

struct Pair {
    IO::Location location;
    Names model;
};

IO::Name ToName(std::string const & text) {
    return IO::Name(U(text));
}

void Change(Pair & pair, std::mt19937 & random) {
    std::string const name(1, static_cast<char>('a' + random() % 4));
    unsigned int const length = static_cast<unsigned int>(pair.model.size());
    switch (random() % 5) {
    case 0:
    case 1:
        if (length == 8)
            return;
        EXPECT_EQ(pair.location.AppendToLocal(ToName(name)), IO::NoError);
        pair.model.push_back(name);
        return;
    case 2:
        if (length == 0)
            return;
        EXPECT_EQ(pair.location.DeleteLastLocalName(), IO::NoError);
        pair.model.pop_back();
        return;
    case 3: {
        if (length == 0)
            return;
        unsigned int const index = static_cast<unsigned int>(random() % length);
        EXPECT_EQ(pair.location.SetLocalName(index, ToName(name)), IO::NoError);
        pair.model[index] = name;
        return;
    }
    default: {
        if (length == 0)
            return;
        unsigned int const index = static_cast<unsigned int>(random() % length);
        EXPECT_EQ(pair.location.DeleteLocalName(index), IO::NoError);
        pair.model.erase(pair.model.begin() + index);
    }
    }
}

bool IsAncestor(Names const & a, Names const & b) {
    return a.size() < b.size() && std::equal(a.begin(), a.end(), b.begin());
}

// Copies from one to the other, changes, and questions about two of them.
void Work(IO::Location const & base, unsigned int seed) {
    std::mt19937 random(seed);
    Pair pairs[3] = {{base, {"base"}}, {base, {"base"}}, {base, {"base"}}};
    for (unsigned int step = 0; step < Steps; ++step) {
        Pair & a = pairs[random() % 3];
        Pair & b = pairs[random() % 3];
        if (random() % 8 == 0)
            a = b;
        Change(a, random);
        ASSERT_EQ(a.location == b.location, a.model == b.model);
        ASSERT_EQ(a.location.IsAncestorOf(b.location), IsAncestor(a.model, b.model));
        if (step % 16 == 0) {
            ASSERT_EQ(Tests::GetLocal(a.location), a.model);
        }
        if (step % 64 == 0) {
            IO::RelativeLocation way;
            ASSERT_EQ(a.location.GetDifference(b.location, &way), IO::NoError);
            IO::Location arrived(b.location);
            ASSERT_EQ(arrived.AppendToLocal(way), IO::NoError);
            ASSERT_EQ(Tests::GetLocal(arrived), a.model);
        }
    }
}

} // namespace

TEST(Location, IsItsThreadsOwnInATreeOfAll) {
    {
        IO::Location base;
        ASSERT_EQ(base.AppendToLocal(ToName("base")), IO::NoError);
        Work(base, 1); // without threads first
        std::vector<std::thread> threads;
        for (unsigned int seed = 2; seed <= 5; ++seed)
            threads.emplace_back([&base, seed] { Work(base, seed); });
        for (std::thread & thread : threads)
            thread.join();
    }
    Tests::CheckTree();
}
