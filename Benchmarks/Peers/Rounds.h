#pragma once

#include <time.h>

#include <algorithm>
#include <barrier>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

// Puts what the library does beside what others do, in one process and by turns: each round runs every
// contender once and begins with another one, and what counts is the median over the rounds of the
// processor time of one call. So a machine that others use disturbs all alike.

namespace Peers {

inline double ClockSeconds(clockid_t clock) {
    timespec now;
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}
inline double ThreadSeconds() {
    return ClockSeconds(CLOCK_THREAD_CPUTIME_ID);
}
inline double ProcessSeconds() {
    return ClockSeconds(CLOCK_PROCESS_CPUTIME_ID);
}

template <typename T>
void Keep(T const & value) {
    asm volatile("" : : "r"(&value) : "memory");
}

inline double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// One row of the table. The first contenders are ours; the others are peers.
class Row {
public:
    Row(char const * name, char const * unit, unsigned int ours)
        : name(name), unit(unit), ours(ours) {}

    void Add(char const * contender, std::vector<double> const & values) {
        names.push_back(contender);
        medians.push_back(Median(values));
    }

    /// Ours : best peer, where there is a peer; ours alone else.
    void Print() const {
        std::printf("| %s, %s |", name.c_str(), unit.c_str());
        for (std::size_t i = 0; i < names.size(); ++i)
            std::printf("%s %s %.4g",
                        i == 0      ? ""
                        : i == ours ? " ;"
                                    : ",",
                        names[i].c_str(), medians[i]);
        if (names.size() > ours)
            std::printf(" | %.2f", *std::min_element(medians.begin(), medians.begin() + ours) /
                                       *std::min_element(medians.begin() + ours, medians.end()));
        else
            std::printf(" |");
        std::printf(" |\n");
        std::fflush(stdout);
    }

private:
    std::string name;
    std::string unit;
    unsigned int ours;
    std::vector<std::string> names;
    std::vector<double> medians;
};

/// Runs the calls by turns and prints the row. Each call does its work so many times as it is told.
template <unsigned int Times = 100000, double (*Seconds)() = ThreadSeconds, typename... Calls>
void Compare(Row row, std::vector<char const *> const & names, Calls const &... calls) {
    constexpr unsigned int Rounds = 9;
    constexpr std::size_t Count = sizeof...(Calls);
    std::vector<double> values[Count];
    for (unsigned int round = 0; round < Rounds; ++round)
        for (std::size_t turn = 0; turn < Count; ++turn) {
            std::size_t const which = (turn + round) % Count;
            std::size_t at = 0;
            auto const run = [&](auto const & call) {
                if (at++ != which)
                    return;
                double const start = Seconds();
                call(Times);
                values[which].push_back((Seconds() - start) * 1e9 / Times);
            };
            (run(calls), ...);
        }
    for (std::size_t i = 0; i < Count; ++i)
        row.Add(names[i], values[i]);
    row.Print();
}

/// One thread against two, each with a thing of its own: nanoseconds of the processor for a call.
template <typename Call>
void CompareThreads(char const * name, Call const & call) {
    constexpr unsigned int Rounds = 7, Times = 200000;
    std::vector<double> alone, beside;
    for (unsigned int round = 0; round < Rounds; ++round)
        for (unsigned int count = 1; count <= 2; ++count) {
            std::barrier start(static_cast<long>(count));
            std::vector<std::thread> threads;
            std::vector<double> spent(count);
            for (unsigned int i = 0; i < count; ++i)
                threads.emplace_back([&, i] {
                    start.arrive_and_wait();
                    double const from = ThreadSeconds();
                    call(i, Times);
                    spent[i] = (ThreadSeconds() - from) * 1e9 / Times;
                });
            for (std::thread & thread : threads)
                thread.join();
            if (count == 1)
                alone.push_back(spent[0]);
            else
                beside.push_back((spent[0] + spent[1]) / 2);
        }
    Row row(name, "ns", 1);
    row.Add("two threads", beside);
    row.Add("one", alone);
    row.Print();
}

} // namespace Peers
