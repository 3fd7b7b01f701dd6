#pragma once

#include <Kestrel/Location/Location.h>

#include <string>

namespace Tool {

// Ctrl-C, and the ways to end a program that are like it. What a command was making vanishes, and
// what it must not leave half done is finished first.
//
// On Linux a thread of its own waits for the signals, takes back what is half made and ends the
// process by the signal. On Windows, where nobody else can delete a file that is open, the command is
// asked to end: it checks IsInterrupted between two pieces.

/// From now on, for the rest of the process; before there is a second thread.
void WatchInterruptions();

/// Whether the command shall end as if its work had failed.
bool IsInterrupted();

/// While it lives, the location is what a command makes, and goes if the command is interrupted.
/// Nothing if something stood there before.
class HalfMade {
public:
    explicit HalfMade(IO::Location const & location);
    ~HalfMade();
    HalfMade(HalfMade const &) = delete;
    HalfMade & operator=(HalfMade const &) = delete;
};

/// While it lives, an interruption waits.
class Uninterrupted {
public:
    Uninterrupted();
    ~Uninterrupted();
    Uninterrupted(Uninterrupted const &) = delete;
    Uninterrupted & operator=(Uninterrupted const &) = delete;
};

} // namespace Tool
