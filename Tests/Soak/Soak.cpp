// A host that does everything for long. Between its rounds all is at rest: then the memory, the
// handles and the threads of the process must be what they were after the first ones.

#include "Tests/Soak/Tasks.h"
#include "Tests/Support/FaultSweep.h"

#include <Kestrel/Kestrel.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#if defined(_WIN32)
#include <windows.h>

#include <psapi.h>
#endif

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr unsigned int ThreadCount = 4;
constexpr unsigned int TasksOfARound = 25;

// Of the whole process, in KiB.
long long GetMemory() {
#if defined(_WIN32)
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return static_cast<long long>(counters.PagefileUsage / 1024);
#else
    long long pages = 0;
    long long resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * 4;
#endif
}

struct Reading {
    long long memory;
    long long blocks;
    long long handles;
    long long threads;
};

Reading Read() {
    return {GetMemory(), Tests::CountLiveBlocks(), Tests::CountHandles(), Tests::CountThreads()};
}

void Print(double minutes, unsigned long long rounds, Reading const & now) {
    std::printf("%7.1f min %8llu rounds %9lld KiB %6lld blocks %4lld handles %3lld threads\n",
                minutes, rounds, now.memory, now.blocks, now.handles, now.threads);
    std::fflush(stdout);
}

// The memory of a process moves a little by itself: its heap is never packed the same way twice.
// The library's blocks are those of its caches, which are full after the first minute or nearly so.
bool IsFlat(Reading const & first, Reading const & now) {
    constexpr long long BlockSlack = 64;
#if defined(_WIN32)
    constexpr long long SystemSlack = 8; // handles and threads that the system starts of its own
#else
    constexpr long long SystemSlack = 0;
#endif
    return now.memory <= first.memory + first.memory / 5 + 4096 &&
           now.blocks <= first.blocks + BlockSlack && now.handles <= first.handles + SystemSlack &&
           now.threads <= first.threads + SystemSlack;
}

class Worker final : public Mu::Runnable {
public:
    Worker(unsigned int seed, unsigned int number, IO::Location const & folder)
        : context(seed, number, folder) {}
    void Run() override {
        for (unsigned int i = 0; i < TasksOfARound; ++i)
            Soak::DoOne(context);
    }

private:
    Soak::Context context;
};

// The workers and their log come and go with each round.
void DoRound(IO::Location const & place, unsigned int seed) {
    std::mt19937 random(seed);
    IO::FileLogOutput log(IO::Location(place, "logs"), 8, 1, 4);
    SOAK_EXPECT(log.HasFile());
    Mu::logger.SetOutput(&log, &log);
    IO::ReflectionService::SetLoopbackOnly(true);
    SOAK_EXPECT(IO::ReflectionService::Initialize("soak"));
    std::vector<std::unique_ptr<Mu::Thread>> threads;
    for (unsigned int number = 0; number < ThreadCount; ++number) {
        std::string const name = "worker" + std::to_string(number);
        IO::Location const folder(place, IO::Name(name.c_str()));
        static_cast<void>(IO::fileSystem.CreateFolder(folder));
        unsigned int const own = static_cast<unsigned int>(random());
        threads.push_back(std::make_unique<Mu::Thread>(
            Mu::RunnableTask(new Worker(own, number, folder)), "soak"));
        SOAK_EXPECT(threads.back()->Start());
    }
    for (auto const & thread : threads)
        thread->Join(false);
    IO::ReflectionService::Terminate();
    SOAK_EXPECT(Mu::logger.GetLostCount() == 0);
}

// A failure tells the seed of its round, with which the round can be done alone.
bool Soaks(IO::Location const & place, double minutes, unsigned int seed) {
    Clock::time_point const start = Clock::now();
    auto const elapsed = [start] {
        return std::chrono::duration<double, std::ratio<60>>(Clock::now() - start).count();
    };
    std::unique_ptr<Reading> first;
    bool isFlat = true;
    unsigned int const failures = Soak::CountFailures();
    double const step = std::min(1.0, minutes / 4);
    double next = step;
    for (unsigned long long rounds = 1; elapsed() < minutes && isFlat; ++rounds, ++seed) {
        DoRound(place, seed);
        if (Soak::CountFailures() != failures) {
            std::printf("the round of seed %u failed\n", seed);
            return false;
        }
        if (elapsed() < next)
            continue;
        next += step;
        Reading const now = Read();
        Print(elapsed(), rounds, now);
        if (first == nullptr)
            first = std::make_unique<Reading>(now);
        isFlat = IsFlat(*first, now);
    }
    if (!isFlat)
        std::printf("that is more than after the first minute\n");
    return isFlat;
}

} // namespace

int main(int argc, char ** argv) {
    double const minutes = argc > 1 ? std::atof(argv[1]) : 60;
    unsigned int const seed =
        argc > 2 ? static_cast<unsigned int>(std::strtoul(argv[2], nullptr, 10))
                 : static_cast<unsigned int>(Clock::now().time_since_epoch().count() % 1000000);
    std::printf("%g minutes from seed %u on\n", minutes, seed);
    Tests::WatchMemory();
    if (IO::Init(false, "soak") != IO::NoError)
        return 1;
    fs::path const folder = fs::temp_directory_path() / ("kestrel-soak-" + std::to_string(seed));
    fs::create_directories(folder);
    bool const passed = Soaks(IO::Location(IO::FromNativePath(folder)), minutes, seed);
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    IO::End();
    std::printf(passed ? "flat\n" : "failed\n");
    return passed ? 0 : 1;
}
