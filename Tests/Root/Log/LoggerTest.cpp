#include <Kestrel/Root/Log/Logger.h>

#include <Kestrel/Root/Internal/LogBlock.h>
#include <Kestrel/Root/Internal/Utf8.h>
#include <Kestrel/Root/Threads/Thread.h>
#include <Kestrel/Root/Time/Time.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Gate.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/Hex.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/OwnProcess.h"
#include "Tests/Support/Root/ByteChannels.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

// A log's channel and its owner in one, which writes down what is asked of it, in order.
class Output final : public Tests::ByteOChannel, public Mu::FastLogger::Control {
public:
    ~Output() override { Mu::logger.RemoveOutput(this); }

    MuErrCode WriteBin(char const * source, unsigned int count, unsigned int * written) override {
        if (onWrite)
            onWrite();
        unsigned int const taken = std::min(count, room);
        bytes.append(source, taken);
        *written = taken;
        calls += 'w';
        return taken == count ? Mu::NoError : Mu::EOO;
    }
    MuErrCode Flush() override {
        calls += 'f';
        return flushStatus;
    }
    bool StartNewBlock() override {
        calls += 'n';
        return false;
    }
    void SeriousErrorEncountered() override { calls += 's'; }
    void ApplicationTerminated() override { calls += 't'; }

    std::vector<std::string> GetLines() const {
        std::vector<std::string> lines;
        std::istringstream stream(bytes);
        for (std::string line; std::getline(stream, line);)
            lines.push_back(line);
        return lines;
    }

    std::string bytes;
    std::string calls;
    unsigned int room = ~0u;
    MuErrCode flushStatus = Mu::NoError;
    std::function<void()> onWrite;
};

void Log(Mu::EventLogLine & line, std::initializer_list<std::string_view> values = {}) {
    Mu::LogComposer composer;
    for (std::string_view value : values)
        composer.Append(value.data(), static_cast<unsigned int>(value.size()));
    Mu::logger.Append(line, &composer);
}

// The text of the one line that the values give.
std::string Compose(char const * format, std::initializer_list<std::string_view> values) {
    Tests::LogCapture capture;
    Mu::InfoLogLine line(format, "test", nullptr);
    Log(line, values);
    EXPECT_EQ(capture.GetLines().size(), 1u);
    return capture.GetLines().at(0).text;
}

// Control characters, line breaks of other kinds, marks of direction, and what is invisible.
bool IsEscaped(unsigned int point) {
    static std::pair<unsigned int, unsigned int> const ranges[] = {
        {0, 0x1F},        {0x7F, 0x9F},     {0x61C, 0x61C},    {0x180E, 0x180E},
        {0x200B, 0x200B}, {0x200E, 0x200F}, {0x2028, 0x202E},  {0x2060, 0x206F},
        {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xE0000, 0xE0FFF}};
    return std::any_of(std::begin(ranges), std::end(ranges), [&](auto const & range) {
        return point >= range.first && point <= range.second;
    });
}

using Milliseconds = std::vector<unsigned long long>;

std::string Escape(std::string const & text) {
    char own[8];
    Mu::LogBlock block(own, sizeof own);
    EXPECT_TRUE(block.AddEscaped(text.data(), text.size()));
    std::string const escaped(block.GetBytes(), block.GetSize());
    block.Release();
    return escaped;
}

// Byte by byte what is not to be seen.
std::string EscapeSlowly(std::string const & text) {
    std::string escaped;
    for (char const *at = text.data(), *end = at + text.size(); at != end;) {
        auto const next = Mu::Internal::DecodeUtf8Character(at, end);
        if (next.isValid && !IsEscaped(next.codePoint)) {
            escaped.append(at, next.size);
            at += next.size;
        } else {
            escaped += *at == '\n' ? "\\n" : "\\x" + Tests::ToHex({*at});
            ++at;
        }
    }
    return escaped;
}

} // namespace

TEST(LogComposer, FillsThePlaceholdersInOrder) {
    EXPECT_EQ(Compose("Renaming \"%\" to \"%\"", {"a", "b"}), "Renaming \"a\" to \"b\"");
    EXPECT_EQ(Compose("100%% of %%%", {"x"}), "100% of %x");
    EXPECT_EQ(Compose("%%", {"x"}), "%") << "no placeholder";
    EXPECT_EQ(Compose("% and %", {"x"}), "x and %") << "one value too few";
    EXPECT_EQ(Compose("%", {"x", "y"}), "x") << "one too many";
    EXPECT_EQ(Compose("%", {"%s%%"}), "%s%%") << "a value is no format";
    EXPECT_EQ(Compose("[%]", {""}), "[]");
    for (std::size_t length : {100u, 374u, 375u, 376u, 1000u, 1018u, 1019u, 300000u}) {
        std::string const value(length, 'v');
        EXPECT_EQ(Compose("%%%|%", {"a", value}), "%a|" + value);
    }
}

TEST(LogComposer, TakesTextsAndNumbers) {
    Tests::LogCapture capture;
    static Mu::InfoLogLine line("%|%|%|%|%", "test", nullptr);
    Mu::LogComposer composer;
    composer.Append("text").Append("prefix", 3).Append(4294967295u).Append(U("\xC3\xA4"));
    composer.Append(static_cast<char const *>(nullptr));
    Mu::logger.Append(line, &composer);
    composer.Clear();
    EXPECT_EQ(composer.GetCount(), 0u);
    composer.Append(0u);
    Mu::logger.Append(line, &composer);
    Mu::logger.Append(line);
    auto const lines = capture.GetLines();
    ASSERT_EQ(lines.size(), 3u);
    {
        Tests::Shortage const shortage;
        composer.Append(std::string(1000, 'x').c_str()).Append("no room");
    }
    unsigned int offset = 0, length = 0;
    char const * value = nullptr;
    EXPECT_TRUE(composer.GetNext(&offset, &value, &length) && length == 1);
    EXPECT_TRUE(composer.GetNext(&offset, &value, &length) && length == 384 - 5 - 4) << "cut";
    EXPECT_FALSE(composer.GetNext(&offset, &value, &length));
    EXPECT_EQ(composer.GetCount(), 2u);
    EXPECT_EQ(lines[0].text, "text|pre|4294967295|\xC3\xA4|");
    EXPECT_EQ(lines[1].text, "0|%|%|%|%");
    EXPECT_EQ(lines[2].text, "%|%|%|%|%");
}

TEST(Logger, WritesALineAnEvent) {
    Tests::HandClock clock(1772355600123ull); // 2026-03-01, 9 o'clock UTC
    Output output;
    Mu::logger.SetOutput(&output, &output);
    Mu::InfoLogLine info("Opening \"%\"", "IO", nullptr);
    Mu::ErrorLogLine error("It failed", "IPC", "Client");
    Mu::TraceLogLine trace("unseen", "IO", nullptr);
    Mu::WarningLogLine warning("No domain", nullptr, nullptr);
    Log(info, {"a b"});
    Log(trace);
    clock.Advance(1000);
    Log(error);
    clock.Advance(4); // within the second
    Log(warning);
    Mu::logger.Flush();
    std::string const number = ' ' + std::to_string(Mu::Thread::GetCurrent().GetNumber()) + ' ';
    std::string const expected[] = {" INFO IO" + number + "Opening \"a b\"",
                                    " ERROR IPC/Client" + number + "It failed",
                                    " WARNING -" + number + "No domain"};
    std::vector<std::string> const lines = output.GetLines();
    ASSERT_EQ(lines.size(), std::size(expected)) << output.bytes;
    for (std::size_t i = 0; i < lines.size(); ++i)
        EXPECT_EQ(lines[i].substr(Mu::LogStamp::Length), expected[i]);
    EXPECT_LT(lines[0], lines[1]) << "sorting goes by time";
}

TEST(LogBlock, KeepsAnEventOnItsLine) {
    for (unsigned int point = 0; point < 0x110000; ++point) {
        char bytes[4];
        std::string const text(bytes, Mu::Internal::EncodeUtf8Character(point, bytes));
        ASSERT_EQ(Escape(text), EscapeSlowly(text)) << point;
    }
    std::mt19937 random(1);
    for (int round = 0; round < 50000; ++round) {
        std::string text(random() % 30, ' ');
        for (char & c : text)
            c = "az \n\x7F\x80\xA0\xBF\xC2\xE0\xE2\xED\xF0\xF4\xF5\x1F"[random() % 16];
        ASSERT_EQ(Escape(text), EscapeSlowly(text));
    }
}

TEST(LogStamp, IsTheLocalTimeAndItsDistance) {
    std::mt19937 random(1);
    Mu::LogStamp stamp;
    for (char const * zone : {"NPT-5:45", "NST3:30NDT,M3.2.0,M11.1.0", "UTC0"}) {
        Tests::SetZone(zone);
        for (int round = 0; round < 100; ++round) {
            int const time = static_cast<int>(random() % 0x7FFF0000);
            unsigned int const rest = random() % 1000;
            MuTimeRecord local;
            int shifted = 0;
            ASSERT_EQ(TIGetTimeRecord(time, &local, TILocalTime), Mu::NoError);
            ASSERT_EQ(TIGetMuTime(&local, &shifted), Mu::NoError);
            int const distance = std::abs(shifted - time) / 60;
            std::string const expected = ToUtf8(Mu::UniString::Printf(
                "%04d-%02d-%02dT%02d:%02d:%02d.%03u%c%02d:%02d", local.year, local.month, local.day,
                local.hour, local.minute, local.second, rest, shifted < time ? '-' : '+',
                distance / 60, distance % 60));
            ASSERT_EQ(std::string(stamp.Get(time * 1000ull + rest), Mu::LogStamp::Length),
                      expected);
        }
    }
}

TEST(Logger, ComposesNothingThatNobodyWants) {
    EXPECT_FALSE(Mu::logger.IsWanted(Mu::LogSeverity::Error));
    Output output;
    Mu::logger.SetOutput(&output, &output);
    EXPECT_FALSE(Mu::logger.IsWanted(Mu::LogSeverity::Trace));
    EXPECT_TRUE(Mu::logger.IsWanted(Mu::LogSeverity::Info));
    Mu::logger.SetOutputLevel(Mu::LogSeverity::Error);
    EXPECT_FALSE(Mu::logger.IsWanted(Mu::LogSeverity::Warning));
    Tests::LogCapture capture;
    EXPECT_TRUE(Mu::logger.IsWanted(Mu::LogSeverity::Trace));
    Mu::WarningLogLine line("for the observer only", "test", nullptr);
    Log(line);
    EXPECT_TRUE(capture.Contains("for the observer"));
    Mu::logger.SetOutputLevel(Mu::LogSeverity::Info);
    Mu::logger.SetOutput(nullptr, nullptr);
    EXPECT_EQ(output.bytes, "");
}

TEST(Logger, CallsTheControlBetweenBlocks) {
    Output output;
    Mu::logger.SetOutput(&output, &output);
    Mu::InfoLogLine info("%", "test", nullptr);
    Mu::ErrorLogLine error("error", "test", nullptr);
    Log(info, {"small"});
    EXPECT_EQ(output.calls, "") << "a line costs a copy";
    Log(error);
    EXPECT_EQ(output.calls, "nwfs") << "an error is safe when the call returns";
    EXPECT_EQ(output.GetLines().size(), 2u);
    output.calls.clear();
    Log(info, {std::string(200000, 'x')});
    EXPECT_EQ(output.calls, "nw");
    output.calls.clear();
    for (int i = 0; i < 300; ++i)
        Log(info, {std::string(500, 'y')});
    EXPECT_EQ(output.calls, "nwnw") << "blocks of 64 KiB";
    EXPECT_EQ(output.bytes.back(), '\n');
    output.calls.clear();
    Mu::logger.Flush();
    EXPECT_EQ(output.calls, "nwfs");
    Mu::logger.Flush();
    EXPECT_EQ(output.calls, "nwfs") << "nothing has come since";
    output.calls.clear();
    Log(info, {"the end"});
    Tests::LogCapture const capture;
    Mu::logger.Terminate();
    EXPECT_EQ(output.calls, "nwfst");
    Log(info, {"for the observer only"});
    EXPECT_TRUE(capture.Contains("for the observer only"));
    EXPECT_EQ(output.GetLines().size(), 304u);
    Mu::logger.Terminate();
    EXPECT_EQ(output.calls, "nwfst");
}

TEST(Logger, WritesOutWhatTheEarlierOutputIsOwed) {
    Output first, second;
    long long const blocks = Tests::CountLiveBlocks();
    Mu::InfoLogLine line("%", "test", nullptr);
    Mu::logger.SetOutput(&first, nullptr);
    Log(line, {"one"});
    Mu::logger.SetOutput(&second, nullptr);
    Log(line, {"two"});
    Mu::logger.RemoveOutput(&first); // is it no longer
    Mu::logger.RemoveOutput(&second);
    Log(line, {"three"});
    EXPECT_EQ(first.GetLines().size(), 1u);
    EXPECT_EQ(second.GetLines().size(), 1u);
    EXPECT_EQ(Tests::CountLiveBlocks(), blocks) << "without an output there are no blocks";
}

TEST(Logger, CountsWhatTheChannelRefuses) {
    Output output;
    Mu::logger.SetOutput(&output, &output);
    Mu::InfoLogLine info("info", "test", nullptr);
    Mu::ErrorLogLine error("error", "test", nullptr);
    unsigned long long const before = Mu::logger.GetLostCount();
    output.room = 10;
    Log(info);
    Log(error);
    EXPECT_EQ(Mu::logger.GetLostCount(), before + 2);
    output.onWrite = [] { throw std::runtime_error("a channel of a host"); };
    Log(error);
    EXPECT_EQ(Mu::logger.GetLostCount(), before + 3);
    output.onWrite = nullptr;
    output.room = ~0u;
    output.flushStatus = Mu::EOO;
    Log(info);
    Log(error);
    EXPECT_EQ(Mu::logger.GetLostCount(), before + 5) << "taken, but not passed on";
    output.flushStatus = Mu::NoError;
    output.bytes.clear();
    Log(error);
    EXPECT_EQ(output.GetLines().size(), 1u) << "it goes on";
}

TEST(Logger, LetsItsChannelLog) {
    Output output;
    Mu::logger.SetOutput(&output, &output);
    Mu::ErrorLogLine error("error", "test", nullptr);
    Mu::ErrorLogLine nested("from inside", "test", nullptr);
    output.onWrite = [&] { Log(nested); };
    Log(error);
    EXPECT_EQ(output.GetLines().size(), 1u);
    EXPECT_EQ(output.calls, "nwfs") << "it did not come back to itself";
    output.onWrite = nullptr;
    Mu::logger.Flush();
    EXPECT_NE(output.bytes.find("from inside"), std::string::npos);
    Mu::InfoLogLine info("info", "test", nullptr);
    Log(info);
    output.onWrite = [&] { Log(nested); };
    output.calls.clear();
    Mu::logger.SetOutput(nullptr, nullptr);
    EXPECT_EQ(output.calls, "nwfswfs") << "its very last lines get no new block";
}

// The channel waits for a lock whose holder logs an error, or is never left while the process ends:
// both must get on. What gathers meanwhile is bounded by waiting, and goes out in blocks of whole lines.
TEST(Logger, DoesNotWaitForEverForAStuckChannel) {
    Tests::HandClock clock;
    Output output;
    Tests::Gate stuck, free;
    output.onWrite = [&] {
        stuck.Open();
        free.Wait();
    };
    Mu::logger.SetOutput(&output, &output);
    Mu::ErrorLogLine error("%", "test", nullptr);
    std::thread other([&] { Log(error, {"the first"}); });
    stuck.Wait();
    Log(error, {"the second"}); // gives up waiting after a while
    EXPECT_EQ(clock.GetSleeps(), (Milliseconds{2000}));
    Mu::InfoLogLine info("%", "test", nullptr);
    for (unsigned int size : {200000, 200000, 200000, 200000, 200000, 40000, 10000, 90000, 50000})
        Log(info, {std::string(size, 'x')});
    EXPECT_EQ(clock.GetSleeps(), (Milliseconds{2000, 100, 100, 100}));
    Mu::logger.Terminate();
    EXPECT_EQ(output.calls, "n") << "nobody may be told that it is over";
    free.Open();
    other.join();
    EXPECT_EQ(output.GetLines().size(), 11u) << "whoever wrote took the others along";
    EXPECT_EQ(output.calls, "nwfsnwnwnwnwnwnwnwnwnwfs");
    Mu::logger.Terminate();
    EXPECT_TRUE(output.calls.ends_with("st"));
}

TEST(Logger, TearsNoLine) {
    constexpr unsigned int Count = 3000;
    auto const work = [](unsigned int number) {
        static Mu::InfoLogLine line("begin % % end", "test", nullptr);
        static Mu::ErrorLogLine error("begin % % end", "test", nullptr);
        std::string const text(number * 40, static_cast<char>('a' + number));
        for (unsigned int i = 0; i < Count; ++i) {
            Mu::LogComposer composer;
            composer.Append(text.c_str()).Append(i);
            Mu::logger.Append(i % 500 == 0 ? static_cast<Mu::EventLogLine &>(error) : line,
                              &composer);
        }
    };
    Output output;
    Mu::logger.SetOutput(&output, &output);
    std::vector<std::thread> threads;
    for (unsigned int number = 1; number <= 4; ++number)
        threads.emplace_back(work, number);
    for (std::thread & thread : threads)
        thread.join();
    Mu::logger.SetOutput(nullptr, nullptr);
    std::vector<std::string> const lines = output.GetLines();
    ASSERT_EQ(lines.size(), 4 * Count);
    std::vector<unsigned int> next(5, 0);
    std::string stamp;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        std::size_t const begin = lines[i].find("begin ") + 6;
        ASSERT_NE(begin, std::string::npos + 6) << lines[i];
        unsigned int const number = static_cast<unsigned int>(lines[i][begin] - 'a');
        ASSERT_EQ(lines[i].substr(begin), std::string(number * 40, lines[i][begin]) + " " +
                                              std::to_string(next[number]++) + " end");
        ASSERT_LE(stamp, lines[i].substr(0, 19)) << "lines stand in the order of time";
        stamp = lines[i].substr(0, 19);
    }
    EXPECT_EQ(next, (std::vector<unsigned int>{0, Count, Count, Count, Count}));
}

TEST(LogObserver, MayLogAndDetach) {
    struct Observer final : Mu::LogObserver {
        void LineAppended(Mu::LogSeverity, char const *, char const *) override {
            ++told;
            Mu::ErrorLogLine nested("nested", "test", nullptr);
            Log(nested);
            Mu::logger.Detach(*toDetach);
            if (fail)
                throw 1;
        }
        Mu::LogObserver * toDetach = this;
        int told = 0;
        bool fail = false;
    } first, second;
    Mu::InfoLogLine line("line", "test", nullptr);
    Mu::logger.Attach(second);
    Mu::logger.Attach(first); // is told first, and detaches the other
    first.toDetach = &second;
    first.fail = true;
    unsigned long long const lost = Mu::logger.GetLostCount();
    Log(line);
    EXPECT_EQ(first.told, 1);
    EXPECT_EQ(second.told, 0);
    EXPECT_EQ(Mu::logger.GetLostCount(), lost + 1) << "what an observer throws";
    first.toDetach = &first;
    Log(line);
    Log(line);
    EXPECT_EQ(first.told, 2);
    EXPECT_FALSE(Mu::logger.IsWanted(Mu::LogSeverity::Error));
}

TEST(LogObserver, GetsWhatItAskedFor) {
    struct Observer final : Mu::LogObserver {
        void LineAppended(Mu::LogSeverity severity, char const *, char const *) override {
            severities.push_back(severity);
        }
        std::vector<Mu::LogSeverity> severities;
    } observer;
    Mu::logger.Attach(observer, Mu::LogSeverity::Error);
    Mu::logger.Attach(observer, Mu::LogSeverity::Warning);
    Mu::InfoLogLine info("", "test", nullptr);
    Mu::WarningLogLine warning("", "test", nullptr);
    Mu::ErrorLogLine error("", "test", nullptr);
    Log(info);
    Log(warning);
    Log(error);
    Mu::logger.Detach(observer);
    Mu::logger.Detach(observer);
    EXPECT_EQ(observer.severities,
              (std::vector<Mu::LogSeverity>{Mu::LogSeverity::Warning, Mu::LogSeverity::Error}));
}

TEST(Logger, MeetsEveryFailedAllocation) {
    SweepAllocations([](bool failed) {
        unsigned long long const before = Mu::logger.GetLostCount();
        Output output;
        Mu::logger.SetOutput(&output, &output);
        Mu::InfoLogLine line("%", "test", nullptr);
        Log(line, {std::string(600, 'a')});
        Log(line, {std::string(90000, 'b')});
        Mu::ErrorLogLine error("%", "test", nullptr);
        Log(error, {"c"});
        Mu::logger.SetOutput(nullptr, nullptr);
        unsigned long long const lost = Mu::logger.GetLostCount() - before;
        EXPECT_EQ(output.GetLines().size() + lost, 3u);
        EXPECT_TRUE(lost == 0 || failed);
    });
}
