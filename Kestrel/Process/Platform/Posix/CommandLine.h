#pragma once

#include <Kestrel/Location/Platform/NativeTypes.h>

namespace IO::Process {

/// The words that a program is started with.
///
/// Memory: two blocks of the root, as long as the text needs.
class CommandLine {
public:
    CommandLine() = default;
    ~CommandLine();
    CommandLine(CommandLine const &) = delete;
    CommandLine & operator=(CommandLine const &) = delete;

    /// The program, and behind it the text cut at its blanks; none of the words is empty. Once.
    /// NotEnoughMemory, or InvalidName: a unit of the text fits no native text.
    unsigned int Set(char const * program, PathText parameters);

    /// Ended by null. Valid after Set, as long as this and the program's path.
    char * const * GetArguments() const { return arguments; }

private:
    unsigned int Convert(PathText parameters);

    char * bytes = nullptr; // owned; the words, each with a terminator
    unsigned long long size = 0;
    char ** arguments = nullptr; // owned
};

} // namespace IO::Process
