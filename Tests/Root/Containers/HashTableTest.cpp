#include <Kestrel/Root/Containers/HashSet.h>
#include <Kestrel/Root/Containers/HashTable.h>

#include "Tests/Support/FaultSweep.h"

#include <Kestrel/Root/Text/String.h>

#include <gtest/gtest.h>

#include <bit>
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

void ExpectSame(Mu::HashTable<Key, Mu::String> const & table, Model const & model) {
    ASSERT_EQ(table.GetSize(), model.size());
    auto expected = model.begin();
    for (auto const & [key, value] : table) {
        ASSERT_NE(expected, model.end());
        ASSERT_EQ(key.number, expected->first);
        ASSERT_EQ(std::string_view(value), expected->second);
        ++expected;
    }
}

/// How many buckets a table has whose keys are all in one.
struct BucketCount {
    BucketCount(float seek, float fill)
        : seek(seek > 0 ? seek : 2), fill(fill > 0 ? fill : 0.75f) {}

    void Follow(std::size_t before, std::size_t now) {
        float const size = static_cast<float>(now);
        if (now > before) {
            count = std::max(count, 8u);
            if (size * (size + 1) / 2 > seek * size && size >= fill * static_cast<float>(count))
                count *= 2;
        } else if (now < before && count > 8 && size < fill * static_cast<float>(count) / 4) {
            count /= 2;
        }
    }

    float const seek, fill;
    unsigned int count = 0;
};

class HashTableModel : public ::testing::TestWithParam<unsigned int> {};

TEST_P(HashTableModel, IsAMapThatKeepsTheOrder) {
    for (unsigned int seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        float const seek = static_cast<float>(random() % 40), fill = random() % 3 / 2.0f;
        Mu::HashTable<Key, Mu::String> table(seek, fill);
        Model model;
        BucketCount buckets(seek, fill);
        for (int step = 0; step < 600; ++step) {
            bool isShort = random() % 8 == 0;
            std::size_t const before = model.size();
            Key const key{static_cast<unsigned int>(random() % 90), GetParam()};
            auto const at = FindIn(model, key.number);
            std::string const value(random() % 30, 'v');
            try {
                Tests::Shortage const shortage(isShort ? 1 + random() % 3 : 0);
                switch (random() % 6) {
                case 0:
                case 1:
                    table.Set(key, value.c_str());
                    at == model.end() ? void(model.emplace_back(key.number, value))
                                      : void(at->second = value);
                    break;
                case 2:
                    ASSERT_EQ(table.Insert(key, value.c_str()), at == model.end());
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
                    Mu::HashTable<Key, Mu::String> copy(table);
                    table = std::move(copy);
                    isShort = true; // it has the buckets of a copy
                }
            } catch (Mu::OutOfMemoryException const &) { // all is as it was
            }
            buckets.Follow(before, model.size());
            if (isShort)
                buckets.count = table.GetCapacity();
            ASSERT_TRUE(GetParam() != 1 || table.GetCapacity() == buckets.count);
            auto const now = FindIn(model, key.number);
            Mu::String const * const found = table.Find(key);
            ASSERT_EQ(found != nullptr, now != model.end());
            if (found != nullptr) {
                ASSERT_EQ(std::string_view(*found), now->second);
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
    unsigned long long const before = Tests::CountAllocations();
    for (unsigned int i = 8; i < 10000; ++i) {
        table.Delete(i - 8);
        table[i] = i;
    }
    EXPECT_EQ(Tests::CountAllocations(), before);
    EXPECT_EQ(table.begin()->key, 9992u);
}

TEST(HashTable, HasBucketsByPowersOfTwo) {
    for (unsigned int entries = 0; entries < 300; ++entries) {
        Mu::HashTable<unsigned int, int> table;
        table.SetCapacity(entries);
        table.SetCapacity(1);
        unsigned int const buckets = std::max(8u, std::bit_ceil(entries));
        EXPECT_EQ(table.GetCapacity(), buckets) << "room is made, never taken away";
        table.Clear(true);
        EXPECT_EQ(table.GetCapacity(), buckets);
        EXPECT_EQ(Mu::GetNextHashCapacity(entries), std::bit_ceil(std::max(entries + 1, 8u)));
        EXPECT_EQ(Mu::GetPreviousHashCapacity(entries + 1),
                  std::max(8u, std::bit_ceil(entries + 1) / 2));
    }
    EXPECT_EQ(Mu::GetNextHashCapacity(0x80000001u), 0x80000000u);
}

TEST(HashSet, HoldsEachValueOnceInOrder) {
    Mu::HashSet<std::string> set{"b", "a", "b", "c"};
    EXPECT_FALSE(set.Insert("a"));
    EXPECT_TRUE(set.Delete("b"));
    EXPECT_FALSE(set.Delete("b"));
    EXPECT_TRUE(set.Insert("b"));
    std::string walk;
    for (auto at = set.begin(); at != set.end();)
        walk += *at++;
    EXPECT_EQ(walk, "acb");
    EXPECT_TRUE(set.Contains("a") && !set.Contains("d"));
    EXPECT_EQ(*set.Find("c"), "c");
    EXPECT_EQ(set.Find("d"), nullptr);
}

} // namespace
