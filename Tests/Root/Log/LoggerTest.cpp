#include <Kestrel/Root/Log/Logger.h>

#include <Kestrel/Root/Threads/Thread.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Gate.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/Root/ByteChannels.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <regex>
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

// What stands in the log behind domain and thread.
std::string Write(std::string_view value) {
    Output output;
    Mu::logger.SetOutput(&output, nullptr);
    Mu::InfoLogLine line("<%>", "test", nullptr);
    Log(line, {value});
    Mu::logger.Flush();
    std::string const text = output.bytes;
    std::size_t const begin = text.find('<') + 1;
    return text.substr(begin, text.rfind('>') - begin);
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
    for (std::size_t length : {100u, 379u, 380u, 381u, 1000u, 1023u, 1024u, 300000u}) {
        std::string const value(length, 'v');
        EXPECT_EQ(Compose("%%%", {value}), "%" + value);
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
    composer.Append(0u);
    Mu::logger.Append(line, &composer);
    Mu::logger.Append(line);
    auto const lines = capture.GetLines();
    ASSERT_EQ(lines.size(), 3u);
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
    std::string const day = "\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:", zone = "[+-]\\d\\d:\\d\\d ";
    std::string const expected[] = {
        day + "00\\.123" + zone + "INFO IO [1-9]\\d* Opening \"a b\"",
        day + "01\\.123" + zone + "ERROR IPC/Client [1-9]\\d* It failed",
        day + "01\\.127" + zone + "WARNING - [1-9]\\d* No domain",
    };
    std::vector<std::string> const lines = output.GetLines();
    ASSERT_EQ(lines.size(), std::size(expected)) << output.bytes;
    for (std::size_t i = 0; i < lines.size(); ++i)
        EXPECT_TRUE(std::regex_match(lines[i], std::regex(expected[i]))) << lines[i];
    EXPECT_LT(lines[0], lines[1]) << "sorting goes by time";
}

TEST(Logger, KeepsAnEventOnItsLine) {
    struct {
        std::string_view value;
        char const * written;
    } const rows[] = {
        {"a\nb\r\n", "a\\nb\\x0D\\n"},
        {{"\0\x01\x1F\x7F", 4}, "\\x00\\x01\\x1F\\x7F"},
        {"12345678\t12345678", "12345678\\x0912345678"},
        {"C:\\new\\x41", "C:\\new\\x41"},
        {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80 umlaut",
         "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80 umlaut"},
        {"\xC2\x85\xC2\xA0", "\\xC2\\x85\xC2\xA0"}, // a control character, and a blank
        {"\xE2\x80\xA8\xE2\x80\xA9\xE2\x80\xA7",
         "\\xE2\\x80\\xA8\\xE2\\x80\\xA9\xE2\x80\xA7"}, // line and paragraph separator
        {"\xE2\x80\xAEx\xE2\x80\x8F", "\\xE2\\x80\\xAEx\\xE2\\x80\\x8F"}, // marks of direction
        {"\xF3\xA0\x81\xA1\xE2\x80\x8D\xEF\xBB\xBF",
         "\\xF3\\xA0\\x81\\xA1\xE2\x80\x8D\\xEF\\xBB\\xBF"}, // invisible ones, and a joiner
        {"\xC3(", "\\xC3("},
        {"\x80\xBF\xFE\xFF", "\\x80\\xBF\\xFE\\xFF"},
        {"\xC0\xAF\xE0\x80\xAF", "\\xC0\\xAF\\xE0\\x80\\xAF"},                        // overlong
        {"\xED\xA0\x80", "\\xED\\xA0\\x80"},                                          // a surrogate
        {"\xF4\x8F\xBF\xBF\xF4\x90\x80\x80", "\xF4\x8F\xBF\xBF\\xF4\\x90\\x80\\x80"}, // the end
        {"\xF0\x9F\x98", "\\xF0\\x9F\\x98"},
    };
    for (auto const & row : rows)
        EXPECT_EQ(Write(row.value), row.written);
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
    Mu::logger.Terminate();
    EXPECT_EQ(output.calls, "nwfst");
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
}

// The channel waits for a lock whose holder logs an error, or is never left while the process ends:
// both must get on.
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
    EXPECT_EQ(clock.GetSleeps().size(), 1u);
    Mu::logger.Terminate();
    EXPECT_EQ(output.calls, "n") << "nobody may be told that it is over";
    free.Open();
    other.join();
    EXPECT_EQ(output.GetLines().size(), 2u) << "whoever wrote took the second along";
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
    Log(line);
    EXPECT_EQ(first.told, 1);
    EXPECT_EQ(second.told, 0);
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
