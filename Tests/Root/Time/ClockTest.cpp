#include <Kestrel/Root/Time/Clock.h>

#include <Kestrel/Root/Internal/Parker.h>
#include <Kestrel/Root/Time/Timeout.h>
#include <Kestrel/Root/Time/Timer.h>

#include "Tests/Support/HandClock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>

TEST(Clock, AgreesWithTheSystem) {
    auto const getSystem = [] {
        return static_cast<unsigned long long>(
            std::chrono::duration_cast<std::chrono::milliseconds>(
                std::chrono::system_clock::now().time_since_epoch())
                .count());
    };
    unsigned long long const before = getSystem();
    unsigned long long const now = Mu::GetClock().GetWallMilliseconds();
    EXPECT_GE(now + 20, before); // Windows' clock may tick in steps
    EXPECT_LE(now, getSystem() + 20);
    unsigned long long const first = Mu::GetClock().GetMonotonicMicroseconds();
    Mu::clockManager.Sleep(0.001);
    EXPECT_GE(Mu::GetClock().GetMonotonicMicroseconds(), first + 1000);
    Mu::Parker parker;
    EXPECT_FALSE(Mu::GetClock().WaitFor(parker, 0));
    parker.Wake();
    EXPECT_TRUE(Mu::GetClock().WaitFor(parker, 0));
}

TEST(Clock, SleepsForNothingButARealTime) {
    Tests::HandClock clock;
    Mu::clockManager.Sleep(0.05);
    Mu::clockManager.Sleep(0);
    Mu::clockManager.Sleep(-1);
    Mu::clockManager.Sleep(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(clock.GetSleeps(), std::vector<unsigned long long>{50});
    Mu::clockManager.Sleep(std::numeric_limits<double>::infinity());
    EXPECT_EQ(clock.GetSleeps().at(1), 1000000000000u) << "as long as no process lives";
}

TEST(Timer, MeasuresByTheClock) {
    Tests::HandClock clock;
    Mu::Timer timer;
    Mu::timerManager.Start(timer);
    EXPECT_EQ(Mu::timerManager.GetElapsedSeconds(timer), 0.0);
    clock.Advance(1500);
    EXPECT_EQ(Mu::timerManager.GetElapsedSeconds(timer), 1.5);
    clock.SetWallMilliseconds(0); // somebody sets the clock
    EXPECT_EQ(Mu::timerManager.GetElapsedSeconds(timer), 1.5);
}

TEST(Timeout, IsOneLimitForARowOfWaits) {
    Tests::HandClock clock;
    Mu::Timeout const timeout(100);
    Mu::clockManager.Sleep(0.07);
    EXPECT_EQ(timeout.GetRemaining(), 30000u);
    EXPECT_FALSE(timeout.IsOver());
    clock.Advance(30);
    EXPECT_TRUE(timeout.IsOver());
    clock.Advance(30);
    EXPECT_EQ(timeout.GetRemaining(), 0u);
    EXPECT_FALSE(Mu::Timeout().IsOver());
    EXPECT_TRUE(Mu::Timeout(0).IsOver());
}
