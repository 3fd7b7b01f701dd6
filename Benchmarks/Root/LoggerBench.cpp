// Lines with a time stamp, one text and one number, into a file: the logger against fprintf, which
// formats the date anew for each line, and against an fprintf that keeps the formatted second as
// the logger does. One thread and four.

#include <Kestrel/Root/Logger.h>
#include <Kestrel/Root/OChannel.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>

namespace {

std::string GetPath() {
    return (std::filesystem::temp_directory_path() / "kestrel-log-bench.txt").string();
}

/// A file behind the logger, as bare as can be.
class FileChannel final : public Mu::OChannel {
public:
    FileChannel() : OChannel(Mu::textOProtocol), file(std::fopen(GetPath().c_str(), "wb")) {
        std::setvbuf(file, nullptr, _IONBF, 0);
    }
    ~FileChannel() override { std::fclose(file); }
    MuErrCode WriteBin(char const * source, unsigned int count, unsigned int * written) override {
        *written = static_cast<unsigned int>(std::fwrite(source, 1, count, file));
        return *written == count ? Mu::NoError : Mu::EOO;
    }
    MuErrCode Flush() override { return Mu::NoError; }
    MuErrCode DirectOutputAccess(unsigned int, char **, unsigned int *) override {
        return Mu::Error;
    }
    MuErrCode GetOutputPosition(unsigned long long *) const override { return Mu::Error; }
    void SetDefaultOutputProtocol() override {}
    MuErrCode PushMark() override { return Mu::Error; }
    MuErrCode PopMark() override { return Mu::Error; }
    unsigned int GetOffset() const override { return 0; }
    void ResetOffset() override {}
    MuErrCode GetOutputStatus() const override { return Mu::NoError; }
    void ResetOutputStatus() override {}

private:
    std::FILE * file;
};

constexpr char const * Text = "C:\\Users\\somebody\\Documents\\a file.txt";

FileChannel * channel = nullptr;
std::FILE * file = nullptr;

void OpenLog(benchmark::State const &) {
    channel = new FileChannel;
    Mu::logger.SetOutput(channel, nullptr);
}

void CloseLog(benchmark::State const &) {
    Mu::logger.SetOutput(nullptr, nullptr);
    delete channel;
    std::filesystem::remove(GetPath());
}

void OpenFile(benchmark::State const &) {
    file = std::fopen(GetPath().c_str(), "wb");
}

void CloseFile(benchmark::State const &) {
    std::fclose(file);
    std::filesystem::remove(GetPath());
}

void LoggerLine(benchmark::State & state) {
    static Mu::InfoLogLine line("Opening file \"%\" for the % time", "bench", nullptr);
    unsigned int number = 0;
    for (auto _ : state) {
        Mu::LogComposer composer;
        composer.Append(Text).Append(++number);
        Mu::logger.Append(line, &composer);
    }
    state.SetItemsProcessed(state.iterations());
}

void UnwantedLine(benchmark::State & state) {
    static Mu::TraceLogLine line("Opening file", "bench", nullptr);
    for (auto _ : state)
        Mu::logger.Append(line);
    state.SetItemsProcessed(state.iterations());
}

struct Second {
    std::time_t time = -1;
    char date[32] = {};
    char zone[8] = {};
};

void Format(Second & second, std::time_t time) {
    std::tm local{};
#if defined(_WIN32)
    localtime_s(&local, &time);
#else
    localtime_r(&time, &local);
#endif
    std::strftime(second.date, sizeof second.date, "%Y-%m-%dT%H:%M:%S", &local);
    std::strftime(second.zone, sizeof second.zone, "%z", &local);
    second.time = time;
}

template <bool keep>
void FprintfLine(benchmark::State & state) {
    unsigned int number = 0;
    Second second;
    for (auto _ : state) {
        auto const now = std::chrono::system_clock::now().time_since_epoch();
        long long const milliseconds =
            std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
        std::time_t const time = static_cast<std::time_t>(milliseconds / 1000);
        if (!keep || time != second.time)
            Format(second, time);
        std::fprintf(file, "%s.%03d%s INFO bench %u Opening file \"%s\" for the %u time\n",
                     second.date, static_cast<int>(milliseconds % 1000), second.zone, 1u, Text,
                     ++number);
    }
    state.SetItemsProcessed(state.iterations());
}

} // namespace

#define LINES(function, open, close)                                                               \
    BENCHMARK(function)->Setup(open)->Teardown(close)->Iterations(1000000)->UseRealTime();         \
    BENCHMARK(function)->Setup(open)->Teardown(close)->Iterations(250000)->Threads(4)->UseRealTime()

LINES(FprintfLine<false>, OpenFile, CloseFile);
LINES(FprintfLine<true>, OpenFile, CloseFile);
LINES(LoggerLine, OpenLog, CloseLog);
BENCHMARK(UnwantedLine);

BENCHMARK_MAIN();
