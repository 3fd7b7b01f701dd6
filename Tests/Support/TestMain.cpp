#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/ReachedTexts.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

// A test gives back what it took: handles and threads are counted round each. The first test of a
// kind may leave what the system itself keeps open from then on, so only growth at a second run of
// the whole program would prove a leak there; the few handles a platform keeps are allowed once.
class LeftoverCheck : public ::testing::EmptyTestEventListener {
    void OnTestStart(::testing::TestInfo const &) override {
        handles = Tests::CountHandles();
        threads = Tests::CountThreads();
    }

    void OnTestEnd(::testing::TestInfo const & info) override {
        if (info.result()->Skipped())
            return;
        // The system lists a thread for a moment after it was joined.
        long long left = Tests::CountThreads();
        for (int looks = 0; left > threads + SystemSlack && looks < 200; ++looks) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            left = Tests::CountThreads();
        }
        EXPECT_LE(left, threads + SystemSlack) << "the test left a thread";
        EXPECT_LE(Tests::CountHandles(), handles + SystemSlack) << "the test left a handle open";
    }

#if defined(_WIN32)
    static constexpr long long SystemSlack = 8; // COM and the thread pool start behind our back
#else
    static constexpr long long SystemSlack = 0;
#endif
    long long handles = 0;
    long long threads = 0;
};

} // namespace

int main(int argc, char ** argv) {
    Tests::WatchMemory();
    ::testing::InitGoogleTest(&argc, argv);
    std::thread([] {}).join(); // a sanitizer starts a thread of its own with the first one
    ::testing::UnitTest::GetInstance()->listeners().Append(new LeftoverCheck);
    Tests::ReachedTexts::ListenIfAsked();
    return RUN_ALL_TESTS();
}
