#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Tests {

/// Sets a variable of the environment, of this process and of those that it starts.
void SetVariable(char const * name, std::string const & value);

/// Sets the time zone as the variable TZ does. On Windows it stays that of the machine.
void SetZone(char const * zone);

/// Ends this process at once: no destructor runs, no buffer is written, no thread goes on.
[[noreturn]] void EndProcess(int exitCode);

/// Runs a program with these arguments, to its end. Its exit code, or -1 when it could not be started
/// or was ended from outside. No argument may hold a quotation mark.
int RunProgram(std::string const & path, std::vector<std::string> const & arguments);

/// The same with this program.
int RunAgain(std::vector<std::string> const & arguments);

/// A region of this process's memory that goes when it is given back, which the heap does not
/// promise for its blocks.
class Region {
public:
    explicit Region(std::size_t size);
    ~Region();
    Region(Region const &) = delete;
    Region & operator=(Region const &) = delete;

private:
    void * const start;
    std::size_t const size;
};

} // namespace Tests
