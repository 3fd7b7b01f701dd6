#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Tool {

/// Reads lines of a user. On a terminal, and if a line editor is built in, with completion by the
/// tab key and a history that is kept between sessions in a file of the user's state folder, if
/// possible.
class LineReader {
public:
    /// The whole words that a partly typed word can be completed to.
    using Complete = std::function<std::vector<std::string>(std::string const & word)>;

    explicit LineReader(Complete complete);
    ~LineReader();
    LineReader(LineReader const &) = delete;
    LineReader & operator=(LineReader const &) = delete;

    /// False at the end of the input. The prompt must not contain terminal sequences.
    bool Read(std::string const & prompt, std::string * line);

    /// Whether standard input is a terminal.
    static bool IsTerminal();
    /// Waits for input. True: there is some; false: timeout.
    static bool WaitForInput(double seconds);

private:
    struct Editor;
    std::unique_ptr<Editor> editor; // null: lines without editing
};

/// The longest common prefix.
std::string GetCommonStart(std::vector<std::string> const & texts);

} // namespace Tool
