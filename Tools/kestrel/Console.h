#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Log/Logger.h>
#include <Kestrel/Root/Text/UniString.h>

#include <string>
#include <vector>

namespace Tool {

/// The only output for text. Commands write here and never to a standard stream directly, except
/// for the bytes of files that a user asked for.
///
/// A `char const *` is the tool's own text. A std::string may come from outside, as names and
/// arguments do, and could inject terminal sequences: on a terminal it is quoted if it holds
/// control characters, line breaks, marks that change the direction of writing, or bytes that are
/// not UTF-8. Pipes and files get the bytes unchanged.
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

/// As it is shown on a terminal: quoted if it could inject terminal sequences, or already looks
/// quoted.
std::string Disarm(std::string const & text);
/// In quotation marks, with escapes for control characters, `\` and `"`.
std::string Quote(std::string const & text);
/// Pads with spaces up to `width`, after the text or before it.
std::string PadRight(std::string text, std::size_t width);
/// Prints rows in columns as wide as their widest cell. A row is one line, whatever its cells
/// contain.
void ShowTable(std::vector<std::vector<std::string>> rows);
std::string PadLeft(std::string text, std::size_t width);

/// Messages of the tool on standard error. Each message remains one line without terminal
/// sequences, whatever names and arguments it contains.
///
/// A failure is one line: the command, the path as it was typed, and one cause, in the system's
/// words if there are any. Verbose also shows the lines of the library's log.
class Console : public Mu::LogObserver {
public:
    /// Verbose shows every line of the library's log. Otherwise warnings and errors are shown at
    /// once, or, for a command that works on files, kept until its Finish.
    explicit Console(bool verbose, std::string const & command = {}, bool worksOnFiles = false);
    ~Console() override;

    void LineAppended(Mu::LogSeverity severity, char const * domain, char const * text) override;

    /// NoError: shows the kept warnings and returns 0. Otherwise writes a line about `subject` and
    /// returns 1; commands that do not work on files write it only if the library logged nothing
    /// since the last call.
    int Finish(MuErrCode status, std::string const & subject);
    /// The same without a status: a failure if the library logged one since the last call.
    int FinishReported(std::string const & subject);
    /// Writes the message, and returns 1.
    static int Fail(std::string const & message);
    /// The same after the name of the command.
    int Refuse(std::string const & message) {
        hasFailed = true;
        return Fail(GetPrefix() + message);
    }
    /// False, after a message, if the entry at the location has another spelling on disk.
    bool IsSpeltSo(IO::Location const & location, std::string const & subject);

    /// Reports an entry that was left out, with the cause, and returns 1.
    int NameFailed(std::string const & subject, MuErrCode status) const;
    /// The same for a folder of a walk if the library's last line was that it could not be read; 0
    /// otherwise, and if it has vanished since it was listed.
    int NameUnread(std::string const & folder);

    /// Drops the kept lines and returns 0, for when a failure was expected or each entry was
    /// reported already.
    int Drop();
    /// "cp: ", for messages of a command's own about a file.
    std::string GetPrefix() const { return command + ": "; }

private:
    /// As GetCause; where that leaves the cause open, what can be seen from the path.
    std::string FindCause(std::string const & subject, MuErrCode status);

    bool reported = false;
    bool hasFailed = false;
    bool verbose;
    bool waits;
    std::string command;
    std::string last;                 // last line of the library
    std::vector<std::string> waiting; // kept since the last Finish
};

/// Whether standard output, or standard error, is a terminal.
bool IsTerminal(bool error);

/// The columns of the terminal; 80 where they are unknown.
unsigned int GetTerminalWidth();
/// Switches standard output to binary mode.
void SetBinaryOutput();

/// UTF-8, for output.
using Mu::ToUtf8;
Mu::UniString FromUtf8(std::string const & text);

} // namespace Tool
