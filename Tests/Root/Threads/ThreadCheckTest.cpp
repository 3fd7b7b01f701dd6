#include <Kestrel/Root/Threads/ThreadCheck.h>

#include <gtest/gtest.h>

#include <thread>

static_assert(sizeof(Mu::ThreadCheck) == sizeof(void *)); // in every build

TEST(ThreadCheck, LetsOneThreadGoOn) {
    Mu::ThreadCheck bound, used;
    bound.Enter();
    bound.Enter();
    bound.Release();
    std::thread([&] { bound.Enter(); }).join();
    {
        Mu::ThreadCheck::Use outer(used);
        Mu::ThreadCheck::Use inner(used);
    }
    std::thread([&] { Mu::ThreadCheck::Use use(used); }).join();
}

#if !defined(NDEBUG) && !defined(_WIN32) && !defined(__SANITIZE_THREAD__)
TEST(ThreadCheckDeathTest, StopsTheProcessAtASecondThread) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Mu::ThreadCheck check;
    check.Enter();
    EXPECT_DEATH(std::thread([&] { check.Enter(); }).join(), "used by two");
    check.Release();
    EXPECT_DEATH(
        {
            Mu::ThreadCheck::Use use(check);
            std::thread([&] { Mu::ThreadCheck::Use second(check); }).join();
        },
        "used by two");
}
#endif
