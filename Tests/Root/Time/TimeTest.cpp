#include <Kestrel/Root/Time/Time.h>

#include "Tests/Support/HandClock.h"
#include "Tests/Support/OwnProcess.h"

#include <gtest/gtest.h>

#include <climits>
#include <ctime>
#include <random>

namespace {

TEST(Time, ComesFromTheClock) {
    Tests::HandClock clock(1234567890999ull);
    EXPECT_EQ(TIGetTime(), 1234567890);
}

// As the C library breaks times down, which on Windows knows none before 1970.
TEST(Time, IsBrokenDownAsTheCalendarSaysAndComesBack) {
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round) {
        int const time = round < 2 ? (round == 0 ? INT_MAX : INT_MIN) : static_cast<int>(random());
        MuTimeRecord record;
        int back = 0;
        ASSERT_EQ(TIGetTimeRecord(time, &record), Mu::NoError);
        ASSERT_EQ(TIGetMuTime(&record, &back), Mu::NoError);
        ASSERT_EQ(back, time);
        std::time_t const asked = time;
        if (std::tm const * const expected = std::gmtime(&asked)) {
            ASSERT_EQ(record.year, expected->tm_year + 1900) << time;
            ASSERT_EQ(record.month, expected->tm_mon + 1) << time;
            ASSERT_EQ(record.day, expected->tm_mday) << time;
            ASSERT_EQ(record.hour, expected->tm_hour) << time;
            ASSERT_EQ(record.minute, expected->tm_min) << time;
            ASSERT_EQ(record.second, expected->tm_sec) << time;
            ASSERT_EQ(record.dayOfWeek, expected->tm_wday) << time;
            ASSERT_EQ(record.dayOfYear, expected->tm_yday + 1) << time;
        } else {
            ASSERT_LT(time, 0);
        }
    }
}

TEST(Time, CarriesOverWhatPassesItsRange) {
    MuTimeRecord record;
    int time = 5;
    record.hour = 24;
    EXPECT_EQ(TIGetMuTime(&record, &time), Mu::NoError);
    EXPECT_EQ(time, 86400);
    record.hour = 0;
    record.day = 32;
    record.second = -1;
    EXPECT_EQ(TIGetMuTime(&record, &time), Mu::NoError);
    EXPECT_EQ(time, 31 * 86400 - 1);
}

TEST(Time, RefusesWhatItCannotSay) {
    MuTimeRecord record;
    int time = 5;
    for (int month : {0, 13, INT_MIN}) {
        record.month = month;
        EXPECT_EQ(TIGetMuTime(&record, &time), Mu::Error);
    }
    record.month = 1;
    for (int year : {2039, 1901, INT_MAX, INT_MIN}) {
        record.year = year;
        EXPECT_EQ(TIGetMuTime(&record, &time), Mu::Error);
    }
    EXPECT_EQ(time, 5);
    EXPECT_EQ(TIGetMuTime(nullptr, &time), Mu::Error);
    EXPECT_EQ(TIGetMuTime(&record, nullptr), Mu::Error);
    EXPECT_EQ(TIGetTimeRecord(0, nullptr), Mu::Error);
    EXPECT_EQ(TIGetTimeRecord(0, &record, 2), Mu::Error);
}

// At every other hour of a year, which leaves out the one that comes twice.
TEST(Time, KnowsTheZoneOfTheUser) {
    for (int step = 0; step < 3 * 4380; ++step) {
        char const * const zones[] = {"NPT-5:45", "NST3:30NDT,M3.2.0,M11.1.0", "UTC0"};
        Tests::SetZone(zones[step / 4380]);
        int const time = 1705320000 + step % 4380 * 7200;
        std::time_t const asked = time;
        std::tm const expected = *std::localtime(&asked);
        MuTimeRecord record;
        int back = 0;
        ASSERT_EQ(TIGetTimeRecord(time, &record, TILocalTime), Mu::NoError);
        ASSERT_EQ(record.hour, expected.tm_hour);
        ASSERT_EQ(record.minute, expected.tm_min);
        ASSERT_EQ(record.day, expected.tm_mday);
        ASSERT_EQ(TIGetMuTime(&record, &back, TILocalTime), Mu::NoError);
        ASSERT_EQ(back, time);
    }
}

} // namespace
