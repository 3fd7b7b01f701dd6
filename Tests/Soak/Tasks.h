#pragma once

#include <Kestrel/Location/Location.h>

#include <random>
#include <string>

namespace Soak {

/// What one thread of a soak works with: a seed of its own, and a folder that no other one uses.
struct Context {
    Context(unsigned int seed, unsigned int number, IO::Location const & folder)
        : random(seed), number(number), folder(folder) {}

    unsigned int Draw(unsigned int limit) { return static_cast<unsigned int>(random() % limit); }
    std::string DrawText(std::size_t most);

    std::mt19937 random;
    unsigned int number;
    IO::Location folder;
};

/// Tells a result that must not be, and counts it.
void Expect(bool holds, char const * what, int line);
unsigned int CountFailures();

/// One of the tasks, drawn: locations, files, folders, mounts, channels, zip, cipher, log lines, and a
/// look into this very process, whose service runs meanwhile.
/// It leaves nothing in memory, and nothing in the folder.
void DoOne(Context & context);

} // namespace Soak

#define SOAK_EXPECT(condition) ::Soak::Expect((condition), #condition, __LINE__)
