#pragma once

#include <Kestrel/Location/Location.h>

#include <string>

namespace Tool {

// Ctrl-C, and the other ways to end a program from outside. What a command has half made is
// deleted, and steps that must not stay half done are finished first.
//
// On Linux a thread of its own waits for the signals, deletes what is half made and ends the
// process by the signal. On Windows, where only the command itself can delete a file that it has
// open, the command is asked to end: it checks IsInterrupted between two pieces.

/// Starts for the rest of the process; to be called before there is a second thread.
void WatchInterruptions();

/// Whether the command is to end as if its work had failed.
bool IsInterrupted();

/// As long as it lives, the location is what a command makes, and is deleted if the command is
/// interrupted. Does nothing if an entry existed there before.
class HalfMade {
public:
    explicit HalfMade(IO::Location const & location);
    ~HalfMade();
    HalfMade(HalfMade const &) = delete;
    HalfMade & operator=(HalfMade const &) = delete;
};

/// Delays interruptions as long as it lives.
class Uninterrupted {
public:
    Uninterrupted();
    ~Uninterrupted();
    Uninterrupted(Uninterrupted const &) = delete;
    Uninterrupted & operator=(Uninterrupted const &) = delete;
};

} // namespace Tool
