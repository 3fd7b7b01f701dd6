#pragma once

#include "Tests/Crash/EndingFileCalls.h"
#include "Tests/Support/TempFolder.h"

#include <Kestrel/Location/Location.h>

#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace Tests {

/// What a process does until it is ended: this program once more. It works in two folders, which
/// are devices of their own, by a seed, and tells a witness what it is about to do and what it has
/// been promised. What is told to the witness survives whatever ends.
class Worker {
public:
    Worker(std::string const & folder, EndOf ending, unsigned int seed);

    IO::Location At(std::string const & name) const;
    unsigned int Draw(unsigned int limit) { return static_cast<unsigned int>(random() % limit); }

    /// One line.
    void Tell(std::string const & line);
    /// Ends the process as one that did not come to its end, when an operation failed that must
    /// not.
    void Need(MuErrCode status, char const * what);

private:
    std::string folder;
    std::mt19937 random;
    std::ofstream witness;
    EndingFileCalls calls;
};

/// Something that a worker does again and again, under its name.
using Work = void (*)(Worker & worker);
struct WorkEntry {
    WorkEntry(char const * name, Work work);
};

/// The worker's part of the program: its exit code.
int RunWorker(std::vector<std::string> const & arguments);

/// A worker that came to its end, and what it left.
class Ending {
public:
    /// The folders "one" and "two" with these files in them, by paths with a "/" in between.
    using Files = std::map<std::string, std::string>;

    /// Fails the test when the worker did not end where it was to.
    Ending(char const * work, EndOf ending, unsigned int seed, Files const & before = {});

    /// What the witness was told.
    std::vector<std::string> const & GetLines() const { return lines; }
    /// The number behind the word, in the last line that begins with it; 0 when there is none.
    unsigned long long GetLast(std::string const & word) const;
    /// What is there now.
    Files const & GetFiles() const { return files; }
    /// Null when there is no such file.
    std::string const * Find(std::string const & path) const;

private:
    TempFolder folder;
    std::vector<std::string> lines;
    Files files;
};

/// How many endings a test looks at: starting a program costs more on some platforms.
unsigned int CountRounds();

inline char const * NameEnding(EndOf ending) {
    return ending == EndOf::Process ? "Process" : "System";
}

} // namespace Tests
