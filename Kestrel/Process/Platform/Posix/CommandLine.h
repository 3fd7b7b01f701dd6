#pragma once

#include <Kestrel/Location/Platform/NativeTypes.h>

namespace IO::Process {

/// The command line of a program, as separate words.
///
/// Memory: two blocks of the root for the lifetime, sized for the text.
class CommandLine {
public:
    CommandLine() = default;
    ~CommandLine();
    CommandLine(CommandLine const &) = delete;
    CommandLine & operator=(CommandLine const &) = delete;

    /// The program, followed by the text split at its blanks; none of the words is empty. Only
    /// once. NotEnoughMemory, or InvalidName: a unit of the text has no native form.
    unsigned int Set(char const * program, PathText parameters);

    /// Ended by null. Valid after Set, while this object and the program's path exist.
    char * const * GetArguments() const { return arguments; }

private:
    unsigned int Convert(PathText parameters);

    char * bytes = nullptr; // owned; the words, each with a terminator
    unsigned long long size = 0;
    char ** arguments = nullptr; // owned
};

} // namespace IO::Process
