#include <Kestrel/Root/Containers/Array.h>

#include "Tests/Support/FaultSweep.h"

#include <Kestrel/Root/Containers/PagedArray.h>
#include <Kestrel/Root/Containers/Queue.h>

#include <gtest/gtest.h>

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

template <typename Sequence>
class SequenceModel : public ::testing::Test {};
using Sequences =
    ::testing::Types<Mu::Array<int>, Mu::ArrayFB<int, 5>, Mu::Array<std::string>,
                     Mu::ArrayFB<std::string, 3>, Mu::Array<Tracked>, Mu::ArrayFB<Tracked, 2>,
                     Mu::Array<Mu::Array<int>>, Mu::ArrayFB<Mu::Array<int>, 2>,
                     Mu::PagedArray<Mu::Array<int>>, Mu::PagedArray<Tracked>,
                     Mu::Queue<Mu::Array<int>>, Mu::Queue<Tracked>>;
TYPED_TEST_SUITE(SequenceModel, Sequences);

// A default value for 0; arrays take memory, so that copying an element may fail.
template <typename T>
T MakeValue(int n) {
    if constexpr (std::is_same_v<T, std::string>) {
        return std::string(static_cast<std::size_t>(n % 40), static_cast<char>('a' + n % 26));
    } else if constexpr (std::is_same_v<T, Mu::Array<int>>) {
        T array;
        for (int i = 0; i < n % 4; ++i)
            array.Push(n);
        return array;
    } else {
        return T(n);
    }
}

// Does what the kind of sequence can, and the same to the numbers of its elements.
template <typename T, typename Sequence>
void Change(Sequence & sequence, std::vector<int> & model, std::mt19937 & random) {
    constexpr bool isArray = requires {
        sequence.GetCapacity();
    };
    constexpr bool isQueue = requires {
        sequence.GetFirst();
    };
    int const number = static_cast<int>(random() % 60);
    T const value = MakeValue<T>(number);
    auto const index = static_cast<unsigned int>(random() % (model.size() + 1));
    switch (random() % 10) {
    case 0:
    case 1:
    case 2:
        sequence.Push(value);
        model.push_back(number);
        break;
    case 3:
        if constexpr (isArray) {
            sequence.Insert(index, value);
            model.insert(model.begin() + index, number);
        }
        break;
    case 4:
        if constexpr (isArray) {
            if (index < model.size()) {
                sequence.Delete(index);
                model.erase(model.begin() + index);
            }
            std::vector<T> const more(model.size() / 2, value);
            sequence.Append(more.data(), static_cast<unsigned int>(more.size()));
            model.insert(model.end(), more.size(), number);
        }
        break;
    case 5: // an element of its own, while it may have to grow
        if (index < model.size()) {
            sequence.Push(sequence[index]);
            model.push_back(model[index]);
        }
        break;
    case 6:
        if (random() % 8 == 0) {
            if constexpr (isArray)
                sequence.Clear(random() % 2 == 0);
            else
                sequence.Clear();
            model.clear();
        }
        break;
    case 7:
        if constexpr (isArray) {
            auto const size = static_cast<unsigned int>(random() % 12);
            sequence.SetCapacity(size);
            EXPECT_GE(sequence.GetCapacity(), size);
            sequence.SetSize(size);
            model.resize(size);
        }
        break;
    case 8:
        if (model.empty())
            break;
        if constexpr (isQueue) {
            EXPECT_EQ(&sequence.GetFirst(), &sequence[0]);
            sequence.Pop();
            model.erase(model.begin());
        } else {
            EXPECT_EQ(&sequence.GetLast(), &sequence[sequence.GetSize() - 1]);
            if constexpr (isArray)
                if (random() % 2 == 0)
                    sequence.Push(sequence.Pop());
            sequence.DeleteLast();
            model.pop_back();
        }
        break;
    default: {
        Sequence copy(sequence);
        Sequence moved(std::move(copy));
        EXPECT_TRUE(copy.IsEmpty());
        copy = moved;
        sequence = std::move(copy);
        EXPECT_TRUE(copy.IsEmpty());
        copy.Push(value);
        break;
    }
    }
}

template <typename T, typename Sequence>
void ExpectSame(Sequence & sequence, std::vector<int> const & model, T const & sought) {
    ASSERT_EQ(sequence.GetSize(), model.size());
    ASSERT_EQ(sequence.IsEmpty(), model.empty());
    unsigned int found = Mu::NotFound;
    for (unsigned int i = 0; i < model.size(); ++i) {
        ASSERT_TRUE(sequence[i] == MakeValue<T>(model[i]));
        if (found == Mu::NotFound && sequence[i] == sought)
            found = i;
    }
    if constexpr (requires { sequence.begin(); }) {
        unsigned int i = 0;
        for (auto at = std::as_const(sequence).begin(); at != std::as_const(sequence).end();)
            ASSERT_EQ(&*at++, &sequence[i++]);
        ASSERT_EQ(i, model.size());
        i = 0;
        for (T & value : sequence)
            ASSERT_EQ(&value, &sequence[i++]);
    }
    if constexpr (requires { sequence.FindFirst(sought); }) {
        ASSERT_EQ(sequence.Contains(sought), found != Mu::NotFound);
        ASSERT_EQ(sequence.FindFirst(sought), found);
        ASSERT_GE(sequence.GetCapacity(), sequence.GetSize());
    }
}

TYPED_TEST(SequenceModel, IsAStandardContainer) {
    using T = std::remove_reference_t<decltype(std::declval<TypeParam &>()[0])>;
    int const before = Tracked::living;
    long long const blocks = Tests::CountLiveBlocks();
    for (unsigned int seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        TypeParam sequence;
        std::vector<int> model;
        for (int step = 0; step < 200; ++step) {
            try {
                Tests::Shortage const shortage(random() % 8 == 0 ? 1 + random() % 8 : 0);
                Change<T>(sequence, model, random);
            } catch (Mu::OutOfMemoryException const &) { // all is as it was
            }
            ExpectSame<T>(sequence, model, MakeValue<T>(static_cast<int>(random() % 60)));
            if (this->HasFatalFailure())
                return;
        }
    }
    EXPECT_EQ(Tracked::living, before);
    EXPECT_EQ(Tests::CountLiveBlocks(), blocks);
}

TEST(PagedArray, NeverMovesWhatItHolds) {
    Mu::PagedArray<int> pages;
    int * const first = &pages.Push(0);
    for (int i = 1; i < 1000; ++i)
        pages.Push(i);
    EXPECT_EQ(&pages[0], first);
    pages.Swap(0, 999);
    EXPECT_EQ(*first + pages[999], 999);
}

TEST(Array, RefusesWhatCannotBeCounted) {
    Mu::Array<unsigned long long> array{1, 2, 3};
    EXPECT_THROW(array.SetCapacity(0xFFFFFFFFu), Mu::OutOfMemoryException);
    EXPECT_THROW(array.SetSize(0x80000000u), Mu::OutOfMemoryException);
    EXPECT_EQ(array.GetSize(), 3u);
    EXPECT_EQ(Mu::GrowCapacity(0x60000000u, 0x60000001u, 8), 0x7FFFFFFFu);
    EXPECT_EQ(Mu::GrowCapacity(0, 1, 8), 4u);
    EXPECT_EQ(Mu::GrowCapacity(5, 6, 8), 10u);
    EXPECT_EQ(Mu::GrowCapacity(5, 16, 8), 16u);
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

} // namespace
