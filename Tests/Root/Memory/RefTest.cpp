#include <Kestrel/Root/Memory/Ref.h>

#include "Tests/Support/FaultSweep.h"

#include <Kestrel/Root/Errors/Exceptions.h>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

struct Base {
    virtual ~Base() = default;
};

struct Watched : Base {
    explicit Watched(int & ends) : ends(ends) {}
    ~Watched() override { ++ends; }
    int & ends;
    int number = 7;
};

struct Counted : Mu::SharedObject {
    explicit Counted(int & ends) : ends(ends) {}
    ~Counted() override { ++ends; }
    int & ends;
};

TEST(Ref, EndsTheObjectWithTheLastOne) {
    int ends = 0;
    {
        Mu::Ref<Watched> first(new Watched(ends));
        Mu::Ref<Base> second(first);
        Mu::Ref<Watched> third(std::move(first));
        EXPECT_TRUE(first.IsNull());
        EXPECT_EQ(third.GetCount(), 2);
        EXPECT_EQ(third->number, 7);
        third = Mu::Ref<Watched>();
        EXPECT_EQ(ends, 0);
        Mu::Ref<Base> const & itself = second;
        second = itself;
        second.Clear();
        EXPECT_EQ(ends, 1);
    }
    EXPECT_EQ(ends, 1);
}

TEST(Ref, CountsRightAcrossThreads) {
    int ends = 0;
    {
        Mu::Ref<Watched, Mu::AtomicCounter> const shared(new Watched(ends));
        Mu::SharedPtr<Counted> const counted(new Counted(ends));
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] {
                for (int k = 0; k < 5000; ++k) {
                    Mu::Ref<Watched> const copy(shared);
                    Mu::SharedPtr<Counted> const other(counted);
                }
            });
        for (std::thread & thread : threads)
            thread.join();
        EXPECT_EQ(shared.GetCount(), 1);
        EXPECT_EQ(counted->GetReferenceCount(), 1);
    }
    EXPECT_EQ(ends, 2);
}

TEST(Ref, ThrowsWhenAnEmptyOneIsDereferenced) {
    auto const expectRefusal = [](auto const & pointer) {
        try {
            static_cast<void>(*pointer);
            FAIL();
        } catch (Mu::NullReferenceException const & e) {
            EXPECT_STREQ(e.GetMessage(), "Null reference.");
        }
    };
    expectRefusal(Mu::Ref<int>());
    expectRefusal(Mu::Ref<int>(static_cast<int *>(nullptr)));
    expectRefusal(Mu::SharedPtr<Counted>());
}

TEST(Ref, DeletesTheObjectWhenItsCountCannotBeHad) {
    int ends = 0;
    int rounds = 0;
    SweepAllocations([&](bool) {
        ++rounds;
        Mu::Ref<Watched> ref(new Watched(ends));
    });
    EXPECT_EQ(ends, rounds);
}

TEST(SharedPtr, SharesTheCountOfTheObject) {
    int ends = 0;
    auto * const object = new Counted(ends);
    {
        Mu::SharedPtr<Counted> first(object);
        Mu::SharedPtr<Mu::SharedObject> second(object);
        EXPECT_EQ(object->GetReferenceCount(), 2);
        first = nullptr;
        EXPECT_TRUE(first == nullptr);
        EXPECT_EQ(ends, 0);
        Mu::SharedPtr<Counted> copy(new Counted(*object));
        EXPECT_EQ(copy->GetReferenceCount(), 1) << "a copy is counted anew";
    }
    EXPECT_EQ(ends, 2);
}

} // namespace
