#include <Kestrel/Root/Condition.h>

#include <Kestrel/Root/Exceptions.h>
#include <Kestrel/Root/Thread.h>

#include "Tests/Support/HandClock.h"

#include <gtest/gtest.h>

#include <deque>
#include <thread>
#include <vector>

namespace {

// A queue with a limit, as a producer and a consumer would build it from the parts under test.
class BoundedQueue {
public:
    void Put(int value) {
        Mu::LockGuard guard(lock);
        while (values.size() == 3)
            taken.Wait();
        values.push_back(value);
        filled.Notify();
    }

    int Take() {
        Mu::LockGuard guard(lock);
        while (values.empty())
            filled.Wait();
        int const value = values.front();
        values.pop_front();
        taken.Notify();
        return value;
    }

private:
    Mu::ReentrantLock lock;
    Mu::Condition filled{lock};
    Mu::Condition taken{lock};
    std::deque<int> values;
};

} // namespace

TEST(Condition, HandsOverBetweenProducersAndConsumers) {
    constexpr int Count = 3000;
    BoundedQueue queue;
    queue.Put(7);
    EXPECT_EQ(queue.Take(), 7); // without threads first

    std::vector<std::thread> threads;
    std::atomic<long long> sum = 0;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            for (int value = 1; value <= Count; ++value)
                queue.Put(value);
        });
        threads.emplace_back([&] {
            for (int taken = 0; taken < Count; ++taken)
                sum += queue.Take();
        });
    }
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_EQ(sum, static_cast<long long>(Count) * (Count + 1));
}

TEST(Condition, WakesAllThatWait) {
    Mu::Lock lock;
    Mu::Condition condition(lock);
    bool open = false;
    int waiting = 0, gone = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            Mu::LockGuard guard(lock);
            ++waiting;
            while (!open)
                condition.Wait();
            ++gone;
        });
    for (bool all = false; !all;) {
        std::this_thread::yield();
        Mu::LockGuard guard(lock);
        all = waiting == 4;
        if (all) {
            open = true;
            condition.NotifyAll();
        }
    }
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_EQ(gone, 4);
}

TEST(Condition, GivesUpWhenTheTimeIsOver) {
    Tests::HandClock clock;
    Mu::ReentrantLock lock;
    Mu::Condition condition(lock);
    Mu::LockGuard guard(lock);
    condition.Notify(); // nobody waits: it is gone
    EXPECT_FALSE(condition.Wait(Mu::Timeout(40)));
    EXPECT_EQ(clock.GetSleeps(), std::vector<unsigned long long>{40});
    std::thread([&] { EXPECT_FALSE(lock.TryEnter()) << "the waiter holds it again"; }).join();
}

TEST(Condition, EndsAWaitThatIsInterrupted) {
    Mu::ReentrantLock lock;
    Mu::Condition condition(lock);
    Mu::LockGuard guard(lock);
    Mu::Thread & here = Mu::Thread::GetCurrent();
    std::thread interrupter([&] {
        Mu::LockGuard inside(lock); // which the waiter has left by then
        here.Interrupt();
    });
    EXPECT_THROW(condition.WaitInterruptibly(), Mu::InterruptedIOException);
    interrupter.join();
    std::thread([&] { EXPECT_FALSE(lock.TryEnter()); }).join();
    EXPECT_FALSE(Mu::Thread::Interrupted());
}
