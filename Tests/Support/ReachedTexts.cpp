#include "Tests/Support/ReachedTexts.h"

#include <cstdlib>
#include <fstream>

namespace Tests {

ReachedTexts::ReachedTexts() {
    Mu::logger.Attach(*this, Mu::LogSeverity::Trace);
}

ReachedTexts::~ReachedTexts() {
    Mu::logger.Detach(*this);
}

void ReachedTexts::LineAppended(Mu::LogSeverity severity, char const *, char const * text) {
    std::string line = std::to_string(static_cast<unsigned int>(severity)) + '\t' + text;
    std::lock_guard guard(mutex);
    lines.try_emplace(std::move(line), test);
}

void ReachedTexts::OnTestStart(::testing::TestInfo const & info) {
    std::lock_guard guard(mutex);
    test = std::string(info.test_suite_name()) + "." + info.name();
}

void ReachedTexts::OnTestProgramEnd(::testing::UnitTest const &) {
    std::lock_guard guard(mutex);
    std::ofstream file(std::getenv(Variable), std::ios::binary | std::ios::app);
    for (auto const & line : lines)
        file << line.second << '\t' << line.first << '\n';
}

void ReachedTexts::ListenIfAsked() {
    if (std::getenv(Variable) != nullptr)
        ::testing::UnitTest::GetInstance()->listeners().Append(new ReachedTexts);
}

} // namespace Tests
