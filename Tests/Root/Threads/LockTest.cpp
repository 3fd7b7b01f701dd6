#include <Kestrel/Root/Threads/Lock.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Platform/SystemCalls.h>

#include "Tests/Support/Gate.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

// Puts the system's calls back at the end of a test that made them fail.
class SystemCallsGuard {
public:
    ~SystemCallsGuard() { Mu::Platform::systemCalls = saved; }

private:
    Mu::Platform::SystemCalls saved = Mu::Platform::systemCalls;
};

bool RefuseLock(Mu::Platform::WaitPlace &) {
    return false;
}
bool RefuseWait(Mu::Platform::WaitPlace &, std::atomic<unsigned int> &, unsigned int,
                unsigned long long) {
    return false;
}

template <typename Operation>
std::string GetMessageOf(Operation const & operation) {
    try {
        operation();
    } catch (Mu::SynchronizationException const & exception) {
        return exception.GetMessage();
    }
    return "nothing was thrown";
}

// Holds a lock on another thread while it lives.
template <typename AnyLock>
class HeldElsewhere {
public:
    explicit HeldElsewhere(AnyLock & lock)
        : thread([this, &lock] {
              Mu::LockGuard guard(lock);
              held.Open();
              release.Wait();
          }) {
        held.Wait();
    }
    ~HeldElsewhere() {
        release.Open();
        thread.join();
    }

private:
    Tests::Gate held;
    Tests::Gate release;
    std::thread thread;
};

template <typename AnyLock>
void CountInTurns(AnyLock & lock) {
    constexpr unsigned int Rounds = 20000, Threads = 4;
    unsigned int count = 0; // wrong at the end if two were inside at once
    auto const work = [&] {
        for (unsigned int round = 0; round < Rounds; ++round) {
            Mu::LockGuard guard(lock);
            ++count;
        }
    };
    std::vector<std::thread> threads;
    for (unsigned int i = 0; i < Threads; ++i)
        threads.emplace_back(work);
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_EQ(count, Rounds * Threads);
}

} // namespace

template <typename AnyLock>
class EveryLock : public ::testing::Test {
public:
    AnyLock lock;
};
using AllLocks = ::testing::Types<Mu::FastLock, Mu::ReentrantLock, Mu::Lock, Mu::SpinLock>;
TYPED_TEST_SUITE(EveryLock, AllLocks);

TYPED_TEST(EveryLock, LetsOneThreadInAtATime) {
    CountInTurns(this->lock);
}

TYPED_TEST(EveryLock, IsNotHadWhileAnotherThreadHoldsIt) {
    {
        HeldElsewhere held(this->lock);
        EXPECT_FALSE(this->lock.TryEnter());
    }
    ASSERT_TRUE(this->lock.TryEnter());
    this->lock.Leave();
}

template <typename AnyLock>
class EveryReentrantLock : public EveryLock<AnyLock> {};
using ReentrantLocks = ::testing::Types<Mu::FastLock, Mu::ReentrantLock>;
TYPED_TEST_SUITE(EveryReentrantLock, ReentrantLocks);

TYPED_TEST(EveryReentrantLock, IsFreeWhenItWasLeftAsOftenAsItWasEntered) {
    this->lock.Enter();
    this->lock.Enter();
    EXPECT_TRUE(this->lock.TryEnter());
    for (int left = 0; left < 3; ++left) {
        std::thread([&] { EXPECT_FALSE(this->lock.TryEnter()); }).join();
        this->lock.Leave();
    }
    std::thread([&] {
        EXPECT_TRUE(this->lock.TryEnter());
        this->lock.Leave();
    }).join();
}

TEST(Lock, RefusesItsHolderInsteadOfWaitingForEver) {
    Mu::Lock lock;
    lock.Enter();
    EXPECT_FALSE(lock.TryEnter());
    EXPECT_THROW(lock.Enter(), Mu::SynchronizationException);
    lock.Leave();
    lock.Enter();
    lock.Leave();
}

TEST(FastLock, TellsWhatFailed) {
    SystemCallsGuard calls;
    Mu::Platform::systemCalls.createLock = RefuseLock;
    EXPECT_EQ(GetMessageOf([] { Mu::FastLock lock; }),
              "Failed to create fast lock: failed to create critical section.");
    EXPECT_NE(GetMessageOf([] { Mu::ReentrantLock lock; }), "nothing was thrown");
    EXPECT_NE(GetMessageOf([] { Mu::Lock lock; }), "nothing was thrown");
}

TEST(FastLock, TellsThatItCouldNotBeAcquired) {
    SystemCallsGuard calls;
    Mu::FastLock lock;
    {
        HeldElsewhere held(lock);
        Mu::Platform::systemCalls.wait = RefuseWait;
        EXPECT_EQ(GetMessageOf([&] { lock.Enter(); }),
                  "Failed to acquire fast lock: failed to enter critical section.");
    }
    lock.Enter(); // a refused wait leaves nothing behind
    lock.Leave();
}
