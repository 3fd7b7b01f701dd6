// Threads that log, flush, watch, and put one log in another's place, all at
// once.

#include <Kestrel/Log/FileLogOutput.h>
#include <Kestrel/Root/Logger.h>

#include "Tests/Support/LogCapture.h"
#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <thread>

namespace {

constexpr unsigned int WriterCount = 3;
constexpr unsigned int LineCount = 4000;

std::string GetText(unsigned int writer, unsigned int number) {
    return "w" + std::to_string(writer) + " n" + std::to_string(number) + " " +
           std::string(number % 97, '.') + " end";
}

void Log(unsigned int writer) {
    static Mu::InfoLogLine info("%", "many", nullptr);
    static Mu::ErrorLogLine error("%", "many", nullptr);
    for (unsigned int number = 0; number < LineCount; ++number) {
        Mu::LogComposer composer;
        composer.Append(GetText(writer, number).c_str());
        Mu::logger.Append(number % 1000 == 999 ? static_cast<Mu::EventLogLine &>(error) : info,
                          &composer);
    }
}

// The texts of all files, each of which must end with a line.
std::multiset<std::string> GetTexts(std::filesystem::path const & folder) {
    std::multiset<std::string> texts;
    for (auto const & entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        for (std::string line; std::getline(file, line);) {
            EXPECT_FALSE(file.eof()) << "a line that is cut: " << line;
            if (std::size_t const domain = line.find(" many "); domain != std::string::npos)
                texts.insert(line.substr(line.find(" w", domain) + 1));
        }
    }
    return texts;
}

} // namespace

TEST(FileLogOutput, HoldsEachLineOnceWhateverHappensToTheLogger) {
    Tests::TempFolder const disk;
    unsigned long long const lost = Mu::logger.GetLostCount();
    {
        IO::Location const folder(disk.GetPortable("logs").c_str());
        IO::FileLogOutput first(folder, 1000, 0, 1000);
        IO::FileLogOutput second(folder, 1000, 1000, 1000);
        Mu::logger.SetOutput(&first, &first);
        Log(0); // without threads first
        std::vector<std::thread> threads;
        for (unsigned int writer = 1; writer <= WriterCount; ++writer)
            threads.emplace_back(Log, writer);
        threads.emplace_back([] {
            for (unsigned int round = 0; round < 30; ++round)
                Mu::logger.Flush();
        });
        threads.emplace_back([] {
            for (unsigned int round = 0; round < 30; ++round)
                Tests::LogCapture const capture;
        });
        threads.emplace_back([&] {
            for (unsigned int round = 0; round < 30; ++round) {
                IO::FileLogOutput & next = round % 2 == 0 ? second : first;
                Mu::logger.SetOutput(&next, &next);
            }
        });
        for (std::thread & thread : threads)
            thread.join();
    }
    EXPECT_EQ(Mu::logger.GetLostCount(), lost);
    std::multiset<std::string> const texts = GetTexts(disk / "logs");
    EXPECT_EQ(texts.size(), (WriterCount + 1) * LineCount);
    for (unsigned int writer = 0; writer <= WriterCount; ++writer)
        for (unsigned int number = 0; number < LineCount; ++number)
            ASSERT_EQ(texts.count(GetText(writer, number)), 1u) << GetText(writer, number);
}
