#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Log/Logger.h>
#include <Kestrel/Root/Text/UniString.h>

#include <string>
#include <vector>

namespace Tool {

/// The one way out for text. What a command shows goes here, and never to a standard stream by
/// itself; only the bytes of files that a user asked for do that.
///
/// A `char const *` is the tool's own words. A std::string may come from outside, as names and
/// arguments do, and could steer a terminal: on one it is quoted if it holds control characters, line
/// breaks, marks that turn the direction of writing, or bytes that are no UTF-8. Into a pipe or a file
/// it goes byte for byte.
class Output {
public:
    Output & operator<<(char const * ownWords);
    Output & operator<<(std::string const & text);
    Output & operator<<(unsigned long long number);

    bool IsTerminal() const { return isTerminal; }
    void SetTerminal(bool is) { isTerminal = is; }
    /// False: something could not be written.
    bool Flush();

private:
    bool isTerminal = false;
};

/// Standard output.
Output & Out();

/// As it stands on a terminal: quoted where it could steer one, or looks quoted.
std::string Disarm(std::string const & text);
/// In quotation marks, with escapes for all that could steer a terminal and for \ and ".
std::string Quote(std::string const & text);
/// With spaces up to `width`: behind the text, or before it.
std::string PadRight(std::string text, std::size_t width);
/// Prints rows in columns as wide as their widest cell. A row is one line whatever is in a cell.
void ShowTable(std::vector<std::vector<std::string>> rows);
std::string PadLeft(std::string text, std::size_t width);

/// What the tool says on standard error. Each line stays one, and steers no terminal, whatever names
/// and arguments are in it.
///
/// A failure is one line: the command, the path as it was typed, and one cause, in the system's words
/// where it has some. Verbose shows the lines of the library's log as well.
class Console : public Mu::LogObserver {
public:
    /// Verbose shows every line of the library. Otherwise the warnings and errors of a command that
    /// works on files wait for its Finish, and those of others are shown.
    explicit Console(bool verbose, std::string const & command = {}, bool worksOnFiles = false);
    ~Console() override;

    void LineAppended(Mu::LogSeverity severity, char const * domain, char const * text) override;

    /// 0 for NoError, after the warnings that wait. Otherwise 1, after a line about `subject`; of
    /// commands that do not work on files, only when the library wrote none since the last call.
    int Finish(MuErrCode status, std::string const & subject);
    /// The same where there is no status: 1 when the library wrote a line since the last call.
    int FinishReported();
    /// Says it, and returns 1.
    static int Fail(std::string const & message);
    /// The same behind the name of the command.
    int Refuse(std::string const & message) const { return Fail(GetPrefix() + message); }
    /// False, after a line, for a location whose entry is spelt otherwise there.
    bool IsSpeltSo(IO::Location const & location, std::string const & subject);

    /// Names an entry that was left out, with the cause, and returns 1.
    int NameFailed(std::string const & subject, MuErrCode status) const;
    /// The same for a folder of a walk, when the library wrote last that it could not be read; 0
    /// otherwise.
    int NameUnread(std::string const & folder);

    /// 0; what waits is not shown: a look had another result, or each entry was named already.
    int Drop();
    /// "cp: ", for lines of one's own about a file.
    std::string GetPrefix() const { return command + ": "; }

private:
    bool reported = false;
    bool verbose;
    bool waits;
    std::string command;
    std::string last;                 // line of the library
    std::vector<std::string> waiting; // all of them since the last Finish
};

/// Whether standard output, or standard error, is a terminal.
bool IsTerminal(bool error);

/// How many letters a line of the terminal has; 80 where nobody knows.
unsigned int GetTerminalWidth();
/// Has standard output take bytes as they are.
void SetBinaryOutput();

/// UTF-8, for output.
using Mu::ToUtf8;
Mu::UniString FromUtf8(std::string const & text);

} // namespace Tool
