#include <Kestrel/Root/Threads/Condition.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Threads/Thread.h>

#include "Tests/Support/HandClock.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

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
