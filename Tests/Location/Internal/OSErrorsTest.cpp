#include <Kestrel/Location/Internal/OSErrors.h>

#include <Kestrel/Root/Log/LogLine.h>

#include "Tests/Support/FaultSweep.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

// The text is the process's: each test begins and ends with none.
class OSErrors : public ::testing::Test {
protected:
    OSErrors() { IO::ClearOSErrors(); }
    ~OSErrors() override { IO::ClearOSErrors(); }
};

} // namespace

TEST_F(OSErrors, StandBehindEachOther) {
    EXPECT_STREQ(IO::GetOSErrors(), "");
    IO::AddOSError("one");
    EXPECT_STREQ(IO::GetOSErrors(), "one");
    IO::AddOSError("two");
    IO::AddOSError("");
    EXPECT_STREQ(IO::GetOSErrors(), "one, two, ");
    IO::OSErrorMark const mark = IO::MarkOSErrors();
    IO::AddOSError("three");
    IO::ForgetOSErrors(mark);
    EXPECT_STREQ(IO::GetOSErrors(), "one, two, ");
    IO::ClearOSErrors();
    EXPECT_STREQ(IO::GetOSErrors(), "");
    IO::AddOSError("longer than what was marked");
    IO::ForgetOSErrors(mark);
    EXPECT_STREQ(IO::GetOSErrors(), "longer than what was marked") << "the text has begun anew";
}

TEST_F(OSErrors, TakeABlockOnlyPast255Bytes) {
    unsigned long long const before = Tests::CountAllocations();
    long long const blocks = Tests::CountLiveBlocks();
    std::string const most(255, 'e');
    IO::AddOSError(most.c_str());
    EXPECT_EQ(IO::GetOSErrors(), most);
    EXPECT_EQ(Tests::CountAllocations(), before);
    std::string expected = most;
    for (int i = 0; i < 1000; ++i) {
        IO::AddOSError("entry");
        expected += ", entry";
    }
    EXPECT_EQ(IO::GetOSErrors(), expected);
    EXPECT_LT(Tests::CountAllocations() - before, 10u) << "growing is linear";
    IO::ClearOSErrors();
    EXPECT_EQ(Tests::CountLiveBlocks(), blocks);
}

// A probe that fails in silence adds an entry, and a program may do nothing but probe.
TEST_F(OSErrors, ForgetTheOldestOfTooMany) {
    unsigned long long const before = Tests::CountAllocations();
    std::string const entry(100, 'e');
    std::string last;
    for (int i = 0; i < 100000; ++i) {
        last = entry + std::to_string(i);
        IO::AddOSError(last.c_str());
    }
    std::string const text = IO::GetOSErrors();
    EXPECT_LT(text.size(), 16384u);
    EXPECT_TRUE(text.ends_with(last));
    EXPECT_TRUE(text.starts_with(entry)) << "it begins with a whole entry";
    EXPECT_LT(Tests::CountAllocations() - before, 10u);
}

TEST_F(OSErrors, AreNoTextAfterAShortageUntilCleared) {
    std::string const entry(200, 'e');
    SweepAllocations([&](bool failed) {
        IO::ClearOSErrors();
        for (int i = 0; i < 3; ++i)
            IO::AddOSError(entry.c_str());
        char const * const text = IO::GetOSErrors();
        EXPECT_TRUE(failed || text != nullptr);
        if (text != nullptr) {
            EXPECT_EQ(text, entry + ", " + entry + ", " + entry);
        }
        Mu::LogComposer composer;
        IO::AppendOSErrors(composer);
        EXPECT_EQ(composer.GetCount(), 1u);
        IO::ClearOSErrors();
        EXPECT_STREQ(IO::GetOSErrors(), "");
    });
}

TEST_F(OSErrors, MayBeMetAndReportedByManyThreads) {
    auto const work = [] {
        for (int i = 0; i < 300; ++i) {
            for (int j = 0; j < 50; ++j)
                IO::AddOSError("an entry of some length");
            Mu::LogComposer composer;
            IO::AppendOSErrors(composer);
            EXPECT_EQ(composer.GetCount(), 1u);
            IO::ClearOSErrors();
        }
    };
    work();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(work);
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_STREQ(IO::GetOSErrors(), "");
}
