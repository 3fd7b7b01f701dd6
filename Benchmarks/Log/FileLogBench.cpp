// A line with a time stamp, one text and one number, into a file: the logger into a FileLogOutput
// against fprintf, once formatting the date for each line and once keeping the formatted second,
// and against spdlog's plain file sink where that is installed. One thread and four.

#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/Log/FileLogOutput.h>
#include <Kestrel/Root/Log/Logger.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>

#if defined(KESTREL_HAS_SPDLOG)
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

namespace {

constexpr char const * Text = "C:\\Users\\somebody\\Documents\\a file.txt";

std::filesystem::path GetFolder() {
    return std::filesystem::temp_directory_path() / "kestrel-log-bench";
}

std::string GetFile() {
    return (GetFolder() / "twin.txt").string();
}

void MakeFolder() {
    std::filesystem::remove_all(GetFolder());
    std::filesystem::create_directory(GetFolder());
}

void RemoveFolder() {
    std::filesystem::remove_all(GetFolder());
}

std::unique_ptr<IO::FileLogOutput> output;

void OpenLog(benchmark::State const &) {
    MakeFolder();
    output = std::make_unique<IO::FileLogOutput>(IO::Location(IO::FromNativePath(GetFolder())),
                                                 4000, 4000, 100);
    Mu::logger.SetOutput(output.get(), output.get());
}

void CloseLog(benchmark::State const &) {
    output.reset();
    RemoveFolder();
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

std::FILE * file = nullptr;

void OpenFile(benchmark::State const &) {
    MakeFolder();
    file = std::fopen(GetFile().c_str(), "wb");
}

void CloseFile(benchmark::State const &) {
    std::fclose(file);
    RemoveFolder();
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

#if defined(KESTREL_HAS_SPDLOG)

std::shared_ptr<spdlog::logger> sink;

void OpenSink(benchmark::State const &) {
    MakeFolder();
    sink = spdlog::basic_logger_mt("bench", GetFile(), true);
    sink->set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %l %n %t %v");
}

void CloseSink(benchmark::State const &) {
    spdlog::drop_all();
    sink.reset();
    RemoveFolder();
}

void SpdlogLine(benchmark::State & state) {
    unsigned int number = 0;
    for (auto _ : state)
        sink->info("Opening file \"{}\" for the {} time", Text, ++number);
    state.SetItemsProcessed(state.iterations());
}

#endif

} // namespace

#define LINES(function, open, close)                                                               \
    BENCHMARK(function)->Setup(open)->Teardown(close)->Iterations(1000000)->UseRealTime();         \
    BENCHMARK(function)->Setup(open)->Teardown(close)->Iterations(250000)->Threads(4)->UseRealTime()

LINES(FprintfLine<false>, OpenFile, CloseFile);
LINES(FprintfLine<true>, OpenFile, CloseFile);
#if defined(KESTREL_HAS_SPDLOG)
LINES(SpdlogLine, OpenSink, CloseSink);
#endif
LINES(LoggerLine, OpenLog, CloseLog);
BENCHMARK(UnwantedLine)->Setup(OpenLog)->Teardown(CloseLog);

BENCHMARK_MAIN();
