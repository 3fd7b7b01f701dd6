#include <Kestrel/Root/Time.h>

#include "Tests/Support/HandClock.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <ctime>
#include <random>

namespace {

TEST(Time, ComesFromTheClock) {
    Tests::HandClock clock(1234567890999ull);
    EXPECT_EQ(TIGetTime(), 1234567890);
}

TEST(Time, IsBrokenDownAsTheCalendarSays) {
    MuTimeRecord record;
    ASSERT_EQ(TIGetTimeRecord(1709210096, &record), Mu::NoError); // Thursday, a leap day
    EXPECT_EQ(record.year, 2024);
    EXPECT_EQ(record.month, 2);
    EXPECT_EQ(record.day, 29);
    EXPECT_EQ(record.hour, 12);
    EXPECT_EQ(record.minute, 34);
    EXPECT_EQ(record.second, 56);
    EXPECT_EQ(record.dayOfWeek, 4);
    EXPECT_EQ(record.dayOfYear, 60);
    ASSERT_EQ(TIGetTimeRecord(INT_MIN, &record), Mu::NoError);
    EXPECT_EQ(record.year, 1901);
    EXPECT_EQ(record.month, 12);
    EXPECT_EQ(record.day, 13);
    EXPECT_EQ(record.dayOfWeek, 5);
    EXPECT_EQ(record.second, 52);
    ASSERT_EQ(TIGetTimeRecord(INT_MAX, &record), Mu::NoError);
    EXPECT_EQ(record.year, 2038);
    EXPECT_EQ(record.dayOfYear, 19);
}

TEST(Time, ComesBackFromItsRecord) {
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round) {
        int const time = static_cast<int>(random());
        MuTimeRecord record;
        int back = 0;
        ASSERT_EQ(TIGetTimeRecord(time, &record), Mu::NoError);
        ASSERT_EQ(TIGetMuTime(&record, &back), Mu::NoError);
        ASSERT_EQ(back, time);
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

// In summer and in winter, whatever the zone of the machine is.
TEST(Time, KnowsTheZoneOfTheUser) {
    for (int time : {1705320000, 1721044800}) {
        std::time_t const asked = time;
        std::tm const expected = *std::localtime(&asked);
        MuTimeRecord record;
        int back = 0;
        ASSERT_EQ(TIGetTimeRecord(time, &record, TILocalTime), Mu::NoError);
        EXPECT_EQ(record.hour, expected.tm_hour);
        EXPECT_EQ(record.minute, expected.tm_min);
        EXPECT_EQ(record.day, expected.tm_mday);
        EXPECT_EQ(TIGetMuTime(&record, &back, TILocalTime), Mu::NoError);
        EXPECT_EQ(back, time);
    }
}

} // namespace
