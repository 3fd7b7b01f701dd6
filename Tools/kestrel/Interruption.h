#pragma once

#include <Kestrel/Location/Location.h>

#include <string>

namespace Tool {

// Ctrl-C, and the other ways to end a program from outside. An incomplete result of a command is
// deleted, and steps that must not be left incomplete are finished first.
//
// On Linux a separate thread waits for the signals, deletes the incomplete result and ends the
// process by the signal. On Windows, where only the command itself can delete a file that it has
// open, the command ends itself: it checks IsInterrupted between two pieces.

/// Starts for the rest of the process; to be called before there is a second thread.
void WatchInterruptions();

/// Whether the command is to end as if its work had failed.
bool IsInterrupted();

/// For its lifetime, the location is that of a command's result, which is deleted if the command is
/// interrupted. Does nothing if an entry existed there before.
class HalfMade {
public:
    explicit HalfMade(IO::Location const & location);
    ~HalfMade();
    HalfMade(HalfMade const &) = delete;
    HalfMade & operator=(HalfMade const &) = delete;
};

/// Delays interruptions for its lifetime.
class Uninterrupted {
public:
    Uninterrupted();
    ~Uninterrupted();
    Uninterrupted(Uninterrupted const &) = delete;
    Uninterrupted & operator=(Uninterrupted const &) = delete;
};

} // namespace Tool
