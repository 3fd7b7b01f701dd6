#pragma once

#include <Kestrel/Root/Log/Logger.h>

#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <string>

namespace Tests {

/// Keeps each different line that is logged while tests run, with the first test that met it, and
/// appends them at the end to the file that the environment names: test, severity and text with tabs
/// between. scripts/reached-texts looks there for what no test has met.
///
/// Its listening changes nothing but what a line costs, which tests that count allocations see.
class ReachedTexts final : public ::testing::EmptyTestEventListener, private Mu::LogObserver {
public:
    static constexpr char const * Variable = "KESTREL_REACHED_TEXTS";

    /// Does nothing where the variable is not set.
    static void ListenIfAsked();

private:
    ReachedTexts();
    ~ReachedTexts() override;

    void LineAppended(Mu::LogSeverity severity, char const * domain, char const * text) override;
    void OnTestStart(::testing::TestInfo const & info) override;
    void OnTestProgramEnd(::testing::UnitTest const & program) override;

    std::mutex mutex;
    std::string test;                         // under mutex
    std::map<std::string, std::string> lines; // under mutex; to the test
};

} // namespace Tests
