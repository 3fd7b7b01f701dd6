// What the tool makes of log files.

#include "Tests/Host/RunTool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>

namespace fs = std::filesystem;

namespace {

struct Line {
    int second; // since noon in UTC
    std::string text;
    std::string file;
};

std::string Stamp(int second, int offset) {
    int const local = 12 * 3600 + second + offset * 60;
    char text[64];
    std::snprintf(text, sizeof text, "2026-02-28T%02d:%02d:%02d.000%c%02d:%02d", local / 3600,
                  local % 3600 / 60, local % 60, offset < 0 ? '-' : '+', std::abs(offset) / 60,
                  std::abs(offset) % 60);
    return text;
}

} // namespace

TEST(LogTool, MergesSeriesInTheOrderOfTime) {
    for (unsigned int seed = 0; seed < 12; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        fs::remove_all("host-logs");
        fs::create_directory("host-logs");
        std::vector<Line> expected;
        for (unsigned int series = 0; series <= seed % 5; ++series) {
            int second = 0;
            int const offset = static_cast<int>(random() % 5) * 30 - 60;
            unsigned int number = 8; // and so 9 and 10, which are not in the order of letters
            for (unsigned int i = random() % 400; i-- > 0;) {
                std::string const file =
                    "Log-" + std::to_string(series) + "-" + std::to_string(number) + ".log";
                std::ofstream out(fs::path("host-logs") / file, std::ios::binary | std::ios::app);
                bool const isStamped = random() % 8 != 0;
                second += isStamped ? static_cast<int>(random() % 3) : 0;
                Line line{second, "of " + std::to_string(i), file};
                if (isStamped)
                    line.text = Stamp(second, offset) + " INFO IO 1 " + line.text;
                if (seed == 7)
                    line.text += std::string(random() % 100000, 'x');
                bool const isCut = i == 0 || random() % 50 == 0; // the last of its file
                out << line.text << (isCut ? "" : "\n");
                number += isCut ? 1 : 0;
                expected.push_back(line);
            }
        }
        std::stable_sort(expected.begin(), expected.end(),
                         [](Line const & a, Line const & b) { return a.second < b.second; });
        Tests::ToolRun const run = Tests::RunTool({"log", "merge", "-f", "host-logs"});
        EXPECT_EQ(run.exitCode, 0) << run.error;
        // Lines of one moment stand in any order of their series, but in order within each.
        std::map<std::pair<int, char>, std::string> wanted, got;
        std::istringstream lines(run.out);
        for (Line const & line : expected) {
            std::string shown;
            ASSERT_TRUE(std::getline(lines, shown));
            shown.erase(shown.find_last_not_of('\r') + 1);
            wanted[{line.second, line.file[4]}] += line.file + ": " + line.text + "\n";
            got[{line.second, shown[4]}] += shown + "\n";
        }
        EXPECT_EQ(lines.get(), std::istringstream::traits_type::eof());
        EXPECT_TRUE(wanted == got);
    }
    std::ofstream("host-logs/Log-0-8.log", std::ios::binary)
        << "2026-02-28T12:00:00.000+01:00 WARNING IO/File 3  it \"is\"\n";
    EXPECT_EQ(Tests::RunTool({"log", "merge", "--json", "host-logs"})
                  .out.rfind("{\"time\":\"2026-02-28T12:00:00.000+01:00\",\"severity\":\"WARNING\","
                             "\"domain\":\"IO/File\",\"thread\":3,\"text\":\" it \\\"is\\\"\","
                             "\"file\":\"Log-0-8.log\"}",
                             0),
              0u);
    EXPECT_EQ(Tests::RunTool({"log", "merge", "host-none"}).exitCode, 1);
    fs::remove_all("host-logs");
}

#if defined(__linux__)

TEST(LogTool, FollowsWhatGrows) {
    fs::remove_all("host-logs");
    fs::create_directory("host-logs");
    std::ofstream("host-logs/Log-1-1.log") << "old\nbegun";
    // Waits for each line before the next one is written: what is read at once is sorted.
    EXPECT_EQ(std::system("./" KESTREL_TOOL " log follow host-logs >host-out.log & tool=$!;"
                          "await() { until grep -q $1 host-out.log; do sleep 0.05; done; };"
                          "await old; echo ' line' >>host-logs/Log-1-1.log; await begun;"
                          "echo new >host-logs/Log-2-1.log; await new;"
                          "echo next >host-logs/Log-1-2.log; await next;"
                          "rm host-logs/Log-1-1.log; echo last >>host-logs/Log-1-2.log; await last;"
                          "kill -TERM $tool; wait $tool") >>
                  8,
              143);
    EXPECT_EQ(Tests::ReadAll("host-out.log"), "old\nbegun line\nnew\nnext\nlast\n");
    fs::remove_all("host-logs");
}

#endif
