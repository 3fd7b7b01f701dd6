#include <Kestrel/Root/Threads/Thread.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Platform/SystemCalls.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Gate.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

namespace {

class Task final : public Mu::Runnable {
public:
    explicit Task(std::function<void()> work, std::atomic<int> * deleted = nullptr)
        : work(std::move(work)), deleted(deleted) {}
    ~Task() override {
        if (deleted != nullptr)
            ++*deleted;
    }
    void Run() override { work(); }

private:
    std::function<void()> work;
    std::atomic<int> * deleted;
};

Mu::RunnableTask Do(std::function<void()> work) {
    return Mu::RunnableTask(new Task(std::move(work)));
}

// Something that a thread blocks on, and that shows whether it was woken.
class Gate final : public Mu::Interruptible, public Tests::Gate {
public:
    void Interrupt() override { Open(); }
};

bool RefuseThread(void *, std::uintptr_t *) {
    return false;
}

} // namespace

TEST(Thread, RunsItsTaskOnAThreadOfItsOwn) {
    std::thread::id here = std::this_thread::get_id(), there;
    Mu::Thread thread(Do([&] { there = std::this_thread::get_id(); }), U("worker"));
    EXPECT_FALSE(thread.IsRunning());
    ASSERT_TRUE(thread.Start());
    EXPECT_FALSE(thread.Start()) << "once";
    thread.Join(false);
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_NE(there, here);
    EXPECT_NE(there, std::thread::id());
    thread.Join(true); // again
}

TEST(Thread, KnowsItselfByNameAndNumber) {
    char const * const name = "a name that is longer than the system takes";
    unsigned int number = 0;
    Mu::Thread thread(Do([&] {
                          EXPECT_EQ(ToUtf8(Mu::Thread::GetCurrent().GetName()), name);
                          number = Mu::Thread::GetCurrent().GetNumber();
                      }),
                      U(name));
    thread.Start();
    thread.Join(false);
    EXPECT_EQ(number, thread.GetNumber());
    EXPECT_NE(number, Mu::Thread::GetCurrent().GetNumber());
    EXPECT_EQ(ToUtf8(Mu::Thread::GetCurrent().GetName()), "");
    EXPECT_THROW(Mu::Thread::GetCurrent().Join(false), Mu::ThreadingException) << "for itself";
}

TEST(Thread, ReleasesItsTask) {
    std::atomic<int> deleted = 0;
    {
        Mu::RunnableTask task(new Task([] {}, &deleted));
        Mu::RunnableTask copy(new Task([] {}, &deleted));
        copy = task;
        EXPECT_EQ(deleted, 1);
        deleted = 0;
        Mu::RunnableTask const & itself = copy;
        copy = itself;
        Mu::Thread unstarted(task, Mu::UniString());
        unstarted.Join(false); // there is nothing to wait for
        Mu::Thread started(copy, Mu::UniString());
        started.Start();
        started.Join(false);
        EXPECT_EQ(deleted, 0);
    }
    EXPECT_EQ(deleted, 1);
}

TEST(Thread, OutlivesAnExceptionInItsTask) {
    Mu::Thread thread(Do([] { throw 42; }), Mu::UniString());
    thread.Start();
    thread.Join(false);
    EXPECT_FALSE(thread.IsRunning());
}

TEST(Thread, MayBeDeletedWhileItRuns) {
    long long const blocks = Tests::CountLiveBlocks();
    std::atomic<int> deleted = 0;
    Gate gate;
    auto const work = [&] {
        gate.Wait();
        Mu::Thread::GetCurrent().GetName();
    };
    for (int i = 0; i < 3; ++i) {
        Mu::Thread thread(Mu::RunnableTask(new Task(work, &deleted)), U("left behind"));
        thread.Start();
    }
    EXPECT_EQ(deleted, 0);
    gate.Open();
    // Those that have ended are gathered, so that nothing of them is left.
    for (int tries = 0; tries < 10000 && (deleted < 3 || Tests::CountLiveBlocks() > blocks);
         ++tries) {
        Mu::Threading::Initialize();
        Mu::Threading::Terminate();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(deleted, 3);
    EXPECT_EQ(Tests::CountLiveBlocks(), blocks);
}

TEST(Thread, WaitsNoLongerThanAsked) {
    Tests::HandClock clock;
    Gate gate;
    Mu::Thread thread(Do([&] { gate.Wait(); }), Mu::UniString());
    thread.Start();
    unsigned int remaining = 99;
    EXPECT_FALSE(thread.Wait(250, true, &remaining));
    EXPECT_EQ(remaining, 0u);
    EXPECT_FALSE(thread.Wait(Mu::Timeout(50), false, nullptr));
    EXPECT_EQ(clock.GetSleeps(), (std::vector<unsigned long long>{250, 50}));
    gate.Open();
    EXPECT_TRUE(thread.Wait(Mu::Timeout(), false, &remaining));
    EXPECT_EQ(remaining, 0xFFFFFFFFu);
    EXPECT_TRUE(thread.Wait(1000, false, &remaining));
    EXPECT_EQ(remaining, 1000u);
}

TEST(Thread, IsInterruptedOnce) {
    Tests::HandClock clock;
    Mu::Thread & here = Mu::Thread::GetCurrent();
    here.Interrupt();
    Mu::Thread::Sleep(1, false); // not asked to be interruptible
    EXPECT_THROW(Mu::Thread::Sleep(1, true), Mu::InterruptedIOException);
    Mu::Thread::Sleep(1, true);
    EXPECT_EQ(clock.GetSleeps(), (std::vector<unsigned long long>{1, 1}));
    clock.inSleep = [&] { here.Interrupt(); };
    EXPECT_THROW(Mu::Thread::Sleep(1, true), Mu::InterruptedIOException);
    Gate met, left;
    here.BlockOn(&met);
    here.Interrupt();
    EXPECT_TRUE(met.IsOpen());
    here.BlockOn(&left);
    here.BlockOn(nullptr);
    here.Interrupt();
    EXPECT_FALSE(left.IsOpen()) << "nobody blocks on it any more";
    EXPECT_TRUE(Mu::Thread::Interrupted());
    EXPECT_FALSE(Mu::Thread::Interrupted());
    EXPECT_FALSE(here.IsCanceled());
}

TEST(Thread, IsWokenByCancelWhereverItBlocks) {
    constexpr unsigned int Forever = 1000000000;
    Gate gate;
    std::atomic<int> woken = 0;
    Mu::Thread other(Do([&] { gate.Wait(); }), Mu::UniString());
    other.Start();
    auto const count = [&](auto const & block) {
        return Do([&woken, block] {
            for (int times = 0; times < 2; ++times) { // a canceled one does not block again
                try {
                    block();
                } catch (Mu::InterruptedIOException const &) {
                    ++woken;
                }
            }
        });
    };
    Mu::Thread sleeper(count([] { Mu::Thread::Sleep(Forever, true); }), Mu::UniString());
    Mu::Thread waiter(count([&] { other.Wait(Forever, true, nullptr); }), Mu::UniString());
    Mu::Thread endless(count([&] { other.Wait(true); }), Mu::UniString());
    for (Mu::Thread * thread : {&sleeper, &waiter, &endless}) {
        thread->Start();
        thread->Cancel();
        EXPECT_TRUE(thread->IsCanceled());
        thread->Join(false);
    }
    EXPECT_EQ(woken, 6);
    gate.Open();
    other.Join(false);
}

TEST(Thread, AnswersThatThereIsNoThreadToBeHad) {
    Mu::Platform::SystemCalls const saved = Mu::Platform::systemCalls;
    Mu::Platform::systemCalls.startThread = RefuseThread;
    Mu::Thread thread(Do([] {}), Mu::UniString());
    EXPECT_FALSE(thread.Start());
    EXPECT_FALSE(thread.IsRunning());
    Mu::Platform::systemCalls = saved;
    EXPECT_TRUE(thread.Start()) << "the next attempt may go better";
    thread.Join(false);
}

TEST(Thread, MeetsEveryFailedAllocation) {
    SweepAllocations([](bool) {
        std::atomic<bool> ran = false;
        Mu::Thread thread(Do([&] { ran = true; }), U("a name with more units than fit in place"));
        if (thread.Start())
            thread.Join(false);
        EXPECT_TRUE(ran);
    });
}
