#include <Kestrel/Root/Containers/Array.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Root/ByteChannels.h"

#include <Kestrel/Root/Containers/HashTable.h>
#include <Kestrel/Root/Containers/PagedArray.h>
#include <Kestrel/Root/Containers/Queue.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

// Counts its living instances, and can be moved but not by its bytes: it knows its own address.
class Tracked {
public:
    explicit Tracked(int value = 0) : value(value), self(this) { ++living; }
    Tracked(Tracked const & other) : Tracked(other.value) { EXPECT_EQ(other.self, &other); }
    Tracked(Tracked && other) noexcept : Tracked(other.value) { other.value = -1; }
    Tracked & operator=(Tracked const & other) = default;
    ~Tracked() {
        EXPECT_EQ(self, this);
        --living;
    }
    friend bool operator==(Tracked const & a, Tracked const & b) { return a.value == b.value; }

    int value;
    static inline int living = 0;

private:
    struct Self {
        Tracked const * at;
        Self(Tracked const * at) : at(at) {}
        Self & operator=(Self const &) { return *this; }
        friend bool operator==(Self const & a, Tracked const * b) { return a.at == b; }
    } self;
};

template <typename Array>
class ArrayModel : public ::testing::Test {};
using Arrays =
    ::testing::Types<Mu::Array<int>, Mu::ArrayFB<int, 5>, Mu::Array<std::string>,
                     Mu::ArrayFB<std::string, 3>, Mu::Array<Tracked>, Mu::ArrayFB<Tracked, 2>>;
TYPED_TEST_SUITE(ArrayModel, Arrays);

template <typename T>
T MakeValue(int n) {
    if constexpr (std::is_same_v<T, std::string>)
        return std::string(static_cast<std::size_t>(n % 40), static_cast<char>('a' + n % 26));
    else
        return T(n);
}

template <typename Array, typename T>
void Change(Array & array, std::vector<T> & model, std::mt19937 & random) {
    T const value = MakeValue<T>(static_cast<int>(random() % 1000));
    auto const index = static_cast<unsigned int>(random() % (model.size() + 1));
    switch (random() % 10) {
    case 0:
    case 1:
    case 2:
        array.Push(value);
        model.push_back(value);
        break;
    case 3:
        array.Insert(index, value);
        model.insert(model.begin() + index, value);
        break;
    case 4:
        if (index < model.size()) {
            array.Delete(index);
            model.erase(model.begin() + index);
        }
        break;
    case 5: // an element of its own, while it may have to grow
        if (index < model.size()) {
            array.Push(array[index]);
            model.push_back(T(model[index]));
        }
        break;
    case 6:
        if (random() % 8 == 0) {
            bool const keep = random() % 2 == 0;
            array.Clear(keep);
            model.clear();
        }
        break;
    case 7: {
        auto const size = static_cast<unsigned int>(random() % 12);
        array.SetSize(size);
        model.resize(size);
        break;
    }
    case 8:
        if (!model.empty()) {
            if (random() % 2 == 0)
                array.DeleteLast();
            else
                EXPECT_EQ(array.Pop(), model.back());
            model.pop_back();
        }
        break;
    default: {
        Array copy(array);
        Array moved(std::move(copy));
        EXPECT_TRUE(copy.IsEmpty());
        copy = moved;
        array = std::move(copy);
        EXPECT_TRUE(copy.IsEmpty());
        copy.Push(value);
        break;
    }
    }
}

TYPED_TEST(ArrayModel, IsAStdVector) {
    using T = typename TypeParam::value_type;
    int const before = Tracked::living;
    long long const blocks = Tests::CountLiveBlocks();
    for (unsigned int seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        TypeParam array;
        std::vector<T> model;
        for (int step = 0; step < 200; ++step) {
            try {
                Tests::Shortage const shortage(random() % 10 == 0 ? 1 : 0);
                Change(array, model, random);
            } catch (Mu::OutOfMemoryException const &) { // all is as it was
            }
            ASSERT_EQ(array.GetSize(), model.size());
            ASSERT_TRUE(std::equal(array.begin(), array.end(), model.begin(), model.end()));
            ASSERT_GE(array.GetCapacity(), array.GetSize());
        }
    }
    EXPECT_EQ(Tracked::living, before);
    EXPECT_EQ(Tests::CountLiveBlocks(), blocks);
}

TEST(Array, RefusesWhatCannotBeCounted) {
    Mu::Array<unsigned long long> array{1, 2, 3};
    EXPECT_THROW(array.SetCapacity(0xFFFFFFFFu), Mu::OutOfMemoryException);
    EXPECT_THROW(array.SetSize(0x80000000u), Mu::OutOfMemoryException);
    EXPECT_EQ(array.GetSize(), 3u);
    EXPECT_EQ(Mu::GrowCapacity(0x60000000u, 0x60000001u, 8), 0x7FFFFFFFu);
}

TEST(Array, LeavesNothingWhenElementsCannotBeCopied) {
    SweepAllocations([](bool) {
        Mu::Array<Mu::Array<int>> nested{{1}, {2}, {3}};
        Mu::ArrayFB<Mu::Array<int>, 2> const first(nested);
        Mu::Array<Mu::Array<int>> second;
        second = nested;
        nested.Append(first.GetData(), first.GetSize());
        EXPECT_EQ(nested.GetSize(), 6u);
        EXPECT_TRUE(second == first);
        Mu::PagedArray<Mu::Array<int>> pages;
        Mu::Queue<Mu::Array<int>> queue;
        for (unsigned int i = 0; i < 40; ++i) {
            try {
                pages.Push(nested[i % 6]);
                queue.Push(nested[i % 6]);
            } catch (Mu::OutOfMemoryException const &) {
                EXPECT_LE(i, pages.GetSize());
                EXPECT_EQ(queue.GetSize(), i);
                for (unsigned int k = 0; k < i; ++k)
                    EXPECT_TRUE(pages[k] == nested[k % 6] && queue[k] == nested[k % 6]);
                throw;
            }
        }
        Mu::PagedArray<Mu::Array<int>> const morePages(pages);
        Mu::Queue<Mu::Array<int>> const longer(queue);
        Mu::HashTable<int, Mu::Array<int>> table{{1, {1}}, {2, {2}}};
        Mu::HashTable<int, Mu::Array<int>> other;
        other = table;
        EXPECT_EQ(other.GetSize(), 2u);
        struct Holder {
            Mu::Array<int> array{1};
            Mu::PagedArray<int> pages;
            Mu::Queue<int> queue;
            Mu::HashTable<int, int> table{{1, 1}};
        } a, b;
        a.pages.Push(1);
        a.queue.Push(1);
        b = a; // by the operators that the compiler makes
    });
}

// Who gets an array with room inside as an array may do all that can be done with one.
TEST(Array, LetsItsElementsOutOfTheRoomInside) {
    Mu::ArrayFB<Tracked, 3> roomy;
    roomy.Push(Tracked(1));
    roomy.Push(Tracked(2));
    Mu::Array<Tracked> & array = roomy;
    Mu::Array<Tracked> other{Tracked(3)};
    std::swap(array, other);
    EXPECT_TRUE(other == (Mu::Array<Tracked>{Tracked(1), Tracked(2)}));
    EXPECT_TRUE(roomy == (Mu::Array<Tracked>{Tracked(3)}));
    roomy.Clear();
    EXPECT_EQ(roomy.GetCapacity(), 3u);
    array = other;
    EXPECT_TRUE(roomy == other);
}

TEST(Array, TakesNoMemoryForAHostileCount) {
    Tests::ByteOChannel written;
    {
        Mu::OutputFrame frame(written, Mu::ArrayPrivate::classInfo);
        written.Write(0xFFFFFFFFu);
        written.Write(1u);
    }
    unsigned long long const before = Tests::CountAllocations();
    Tests::ByteIChannel channel(written.GetBytes());
    Mu::Array<unsigned int> read;
    EXPECT_EQ(read.Read(channel), Mu::Error);
    EXPECT_LE(Tests::CountAllocations(), before + 1) << "the channel's own";
}

} // namespace
