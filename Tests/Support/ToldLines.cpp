#include "Tests/Support/ToldLines.h"

#include <cstdlib>
#include <fstream>

namespace Tests {

ToldLines::ToldLines() {
    Mu::logger.Attach(*this, Mu::LogSeverity::Trace);
}

ToldLines::~ToldLines() {
    Mu::logger.Detach(*this);
}

void ToldLines::LineAppended(Mu::LogSeverity severity, char const *, char const * text) {
    std::string line = std::to_string(static_cast<unsigned int>(severity)) + '\t' + text;
    std::lock_guard guard(mutex);
    lines.try_emplace(std::move(line), test);
}

void ToldLines::OnTestStart(::testing::TestInfo const & info) {
    std::lock_guard guard(mutex);
    test = std::string(info.test_suite_name()) + "." + info.name();
}

void ToldLines::OnTestProgramEnd(::testing::UnitTest const &) {
    std::lock_guard guard(mutex);
    std::ofstream file(std::getenv(Variable), std::ios::binary | std::ios::app);
    for (auto const & line : lines)
        file << line.second << '\t' << line.first << '\n';
}

void ToldLines::ListenIfAsked() {
    if (std::getenv(Variable) != nullptr)
        ::testing::UnitTest::GetInstance()->listeners().Append(new ToldLines);
}

} // namespace Tests
