// A line with a time, one text and one number into a file, beside what other hosts write it with. In a
// folder of the working folder.

#include "Rounds.h"

#include <Kestrel/Comfort/Log.h>
#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/Log/FileLogOutput.h>

#if defined(KESTREL_HAS_SPDLOG)
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>

using namespace Peers;

namespace {

constexpr char const * text = "C:\\Users\\somebody\\Documents\\a file.txt";

struct Place {
    Place() : path(std::filesystem::absolute("kestrel log peers")) {
        std::filesystem::create_directory(path);
        output = std::make_unique<IO::FileLogOutput>(IO::Location(IO::FromNativePath(path)), 4000,
                                                     4000, 100);
        Mu::logger.SetOutput(output.get(), output.get());
        file = std::fopen((path / "twin").c_str(), "wb");
        if (file == nullptr)
            std::abort();
#if defined(KESTREL_HAS_SPDLOG)
        spdlogger = spdlog::basic_logger_mt("peer", (path / "spdlog").string());
#endif
    }
    ~Place() {
        Mu::logger.SetOutput(nullptr, nullptr);
        output.reset();
        std::fclose(file);
        std::filesystem::remove_all(path);
    }

    std::filesystem::path const path;
    std::unique_ptr<IO::FileLogOutput> output;
    std::FILE * file;
#if defined(KESTREL_HAS_SPDLOG)
    std::shared_ptr<spdlog::logger> spdlogger;
#endif
};

void WriteOneCall(Place &, unsigned int number) {
    Mu::Log(Mu::LogSeverity::Info, "bench", "Opening file \"%\" for the % time", text, number);
}

void WriteLine(Place &, unsigned int number) {
    static Mu::InfoLogLine line("Opening file \"%\" for the % time", "bench", nullptr);
    Mu::LogComposer composer;
    composer.Append(text).Append(number);
    Mu::logger.Append(line, &composer);
}

// The second is formatted once, as a program does that has looked at what it spends.
void WriteFprintf(Place & place, unsigned int number) {
    thread_local std::time_t formatted = -1;
    thread_local char date[32], zone[8];
    timespec now;
    ::clock_gettime(CLOCK_REALTIME, &now);
    if (now.tv_sec != formatted) {
        std::tm local{};
        ::localtime_r(&now.tv_sec, &local);
        std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
        std::strftime(zone, sizeof zone, "%z", &local);
        formatted = now.tv_sec;
    }
    std::fprintf(place.file, "%s.%03d%s INFO bench %u Opening file \"%s\" for the %u time\n", date,
                 static_cast<int>(now.tv_nsec / 1000000), zone, 1u, text, number);
}

#if defined(KESTREL_HAS_SPDLOG)
void WriteSpdlog(Place & place, unsigned int number) {
    place.spdlogger->info("Opening file \"{}\" for the {} time", text, number);
}
#define SPDLOG_NAME , "spdlog"
#define SPDLOG_CALL(...) , (__VA_ARGS__)
#else
#define SPDLOG_NAME
#define SPDLOG_CALL(...)
#endif

/// So many lines by so many threads, which share them.
auto By(unsigned int threadCount, Place & place, void (*write)(Place &, unsigned int)) {
    return [=, &place](unsigned int times) {
        std::vector<std::thread> threads;
        for (unsigned int i = 0; i < threadCount; ++i)
            threads.emplace_back([=, &place] {
                for (unsigned int number = 0; number < times / threadCount; ++number)
                    write(place, number);
            });
        for (std::thread & thread : threads)
            thread.join();
    };
}

} // namespace

int main() {
    Place place;
    for (unsigned int const count : {1u, 4u})
        Compare<40000, ProcessSeconds>(
            Row(count == 1 ? "a line of the log" : "the same, by four threads", "ns", 2),
            {"ours", "ours in one call", "fprintf with a time" SPDLOG_NAME},
            By(count, place, WriteLine), By(count, place, WriteOneCall),
            By(count, place, WriteFprintf) SPDLOG_CALL(By(count, place, WriteSpdlog)));
}
