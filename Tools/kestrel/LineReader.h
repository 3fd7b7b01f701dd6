#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Tool {

/// Lines that somebody types. On a terminal, where a line editor is built in, with completion by the tab
/// key and with history, which stands in a file among the user's state from one session to the next, if
/// there can be one; plainly otherwise.
class LineReader {
public:
    /// What a word that is being typed may become, each as a whole.
    using Complete = std::function<std::vector<std::string>(std::string const & word)>;

    explicit LineReader(Complete complete);
    ~LineReader();
    LineReader(LineReader const &) = delete;
    LineReader & operator=(LineReader const &) = delete;

    /// False at the end of the input. The prompt must steer no terminal.
    bool Read(std::string const & prompt, std::string * line);

    /// Whether standard input is a terminal.
    static bool IsTerminal();
    /// Waits until there is input, which returns true, or the time is over.
    static bool WaitForInput(double seconds);

private:
    struct Editor;
    std::unique_ptr<Editor> editor; // null: plain lines
};

/// The longest text that all of them begin with.
std::string GetCommonStart(std::vector<std::string> const & texts);

} // namespace Tool
