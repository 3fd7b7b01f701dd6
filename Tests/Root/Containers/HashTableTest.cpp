#include <Kestrel/Root/Containers/HashSet.h>
#include <Kestrel/Root/Containers/HashTable.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Root/ByteChannels.h"

#include <Kestrel/Root/Containers/Array.h>

#include <gtest/gtest.h>

#include <list>
#include <random>
#include <string>

namespace {

// A key whose hash is as bad as it is told to be.
struct Key {
    unsigned int number = 0;
    unsigned int spread = 1;
    unsigned int GenerateHashValue() const { return number % spread; }
    friend bool operator==(Key const & a, Key const & b) { return a.number == b.number; }
};

using Model = std::list<std::pair<unsigned int, std::string>>;

Model::iterator FindIn(Model & model, unsigned int number) {
    auto at = model.begin();
    while (at != model.end() && at->first != number)
        ++at;
    return at;
}

void ExpectSame(Mu::HashTable<Key, std::string> const & table, Model const & model) {
    ASSERT_EQ(table.GetSize(), model.size());
    auto expected = model.begin();
    for (auto const & [key, value] : table) {
        ASSERT_NE(expected, model.end());
        ASSERT_EQ(key.number, expected->first);
        ASSERT_EQ(value, expected->second);
        ++expected;
    }
}

class HashTableModel : public ::testing::TestWithParam<unsigned int> {};

TEST_P(HashTableModel, IsAMapThatKeepsTheOrder) {
    for (unsigned int seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        Mu::HashTable<Key, std::string> table;
        Model model;
        for (int step = 0; step < 600; ++step) {
            Key const key{static_cast<unsigned int>(random() % 90), GetParam()};
            auto const at = FindIn(model, key.number);
            std::string const value(random() % 30, 'v');
            try {
                Tests::Shortage const shortage(random() % 8 == 0 ? 1 + random() % 3 : 0);
                switch (random() % 6) {
                case 0:
                case 1:
                    table.Set(key, value);
                    at == model.end() ? void(model.emplace_back(key.number, value))
                                      : void(at->second = value);
                    break;
                case 2:
                    ASSERT_EQ(table.Insert(key, value), at == model.end());
                    if (at == model.end())
                        model.emplace_back(key.number, value);
                    break;
                case 3:
                case 4:
                    ASSERT_EQ(table.Delete(key), at != model.end());
                    if (at != model.end())
                        model.erase(at);
                    break;
                default:
                    if (random() % 50 == 0) {
                        table.Clear(random() % 2 == 0);
                        model.clear();
                    }
                    Mu::HashTable<Key, std::string> copy(table);
                    table = std::move(copy);
                }
            } catch (Mu::OutOfMemoryException const &) { // all is as it was
            }
            auto const now = FindIn(model, key.number);
            std::string const * const found = table.Find(key);
            ASSERT_EQ(found != nullptr, now != model.end());
            if (found != nullptr) {
                ASSERT_EQ(*found, now->second);
            }
        }
        ExpectSame(table, model);
    }
}

INSTANTIATE_TEST_SUITE_P(Hashes, HashTableModel, ::testing::Values(1u, 7u, 0xFFFFFFFFu));

TEST(HashTable, UsesDeletedPlacesAgain) {
    Mu::HashTable<unsigned int, unsigned int> table;
    for (unsigned int i = 0; i < 8; ++i)
        table[i] = i;
    unsigned int const * const last = &table[7];
    unsigned long long const before = Tests::CountAllocations();
    for (unsigned int i = 8; i < 10000; ++i) {
        EXPECT_TRUE(i > 15 || table.Find(7) == last) << "entries stay where they are";
        table.Delete(i - 8);
        table[i] = i;
    }
    EXPECT_EQ(Tests::CountAllocations(), before);
    EXPECT_EQ(table.begin()->key, 9992u);
}

TEST(HashTable, GrowsAndShrinksByItsTwoFactors) {
    Mu::HashTable<unsigned int, int> table;
    Mu::HashTable<unsigned int, int> wide(1.1f);
    Mu::HashTable<unsigned int, int> patient(1.1f, 4.0f);
    EXPECT_EQ(table.GetCapacity(), 0u);
    for (unsigned int i = 0; i < 1000; ++i) {
        table[i] = wide[i] = patient[i] = 0;
    }
    EXPECT_GE(table.GetCapacity(), 256u);
    EXPECT_LE(table.GetCapacity(), 1024u);
    EXPECT_GT(wide.GetCapacity(), table.GetCapacity());
    EXPECT_LE(patient.GetCapacity(), 512u) << "not before four entries a bucket";
    for (unsigned int i = 0; i < 995; ++i)
        table.Delete(i);
    EXPECT_LE(table.GetCapacity(), 32u);
    table.SetCapacity(1000);
    table.SetCapacity(1);
    EXPECT_EQ(table.GetCapacity(), 1024u) << "room is made, never taken away";
    unsigned int const capacity = wide.GetCapacity();
    wide.Clear(true);
    for (unsigned int i = 0; i < 1000; ++i)
        wide[i] = 0;
    EXPECT_EQ(wide.GetCapacity(), capacity) << "a cleared table counts anew";
}

TEST(HashSet, HoldsEachValueOnceInOrder) {
    Mu::HashSet<std::string> set{"b", "a", "b", "c"};
    EXPECT_FALSE(set.Insert("a"));
    EXPECT_TRUE(set.Delete("b"));
    EXPECT_FALSE(set.Delete("b"));
    EXPECT_TRUE(set.Insert("b"));
    std::string walk;
    for (std::string const & value : set)
        walk += value;
    EXPECT_EQ(walk, "acb");
    EXPECT_EQ(*set.Find("c"), "c");
    EXPECT_EQ(set.Find("d"), nullptr);
}

} // namespace
