#include "Console.h"

#include "Arguments.h"
#include "Streams.h"
#include "Transfer.h"

#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/Root/Errors/ErrorCategory.h>
#include <Kestrel/Root/Log/EscapedText.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <new>
#include <string_view>
#include <utility>

#if defined(_WIN32)
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#else
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace Tool {

namespace {

std::string Escape(std::string_view text) {
    return std::string(std::string_view(Mu::EscapeText(text)));
}

} // namespace

std::string Quote(std::string const & text) {
    std::string quoted = "\"";
    std::string_view rest = text;
    while (!rest.empty()) {
        std::size_t const plain = std::min(rest.find_first_of("\"\\"), rest.size());
        if (plain > 0)
            quoted += Escape(rest.substr(0, plain));
        rest.remove_prefix(plain);
        if (!rest.empty())
            quoted += {'\\', rest.front()};
        rest.remove_prefix(rest.empty() ? 0 : 1);
    }
    return quoted + '"';
}

// Text that already looks quoted is quoted, too, or it could be taken for another.
std::string Disarm(std::string const & text) {
    bool const isPlain = text.empty() || (text.front() != '"' && Escape(text) == text);
    return isPlain ? text : Quote(text);
}

std::string PadRight(std::string text, std::size_t width) {
    text.resize(std::max(width, text.size()), ' ');
    return text;
}

void ShowTable(std::vector<std::vector<std::string>> rows) {
    // Of UTF-8, in characters.
    auto const getWidth = [](std::string const & text) {
        return static_cast<std::size_t>(std::count_if(
            text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
    };
    std::vector<std::size_t> widths;
    for (std::vector<std::string> & row : rows)
        for (std::size_t i = 0; i < row.size(); ++i) {
            row[i] = Disarm(row[i]);
            widths.resize(std::max(widths.size(), i + 1));
            widths[i] = std::max(widths[i], getWidth(row[i]));
        }
    for (std::vector<std::string> const & row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i)
            line += row[i] + std::string(widths[i] - getWidth(row[i]) + 2, ' ');
        line.erase(line.find_last_not_of(' ') + 1);
        Out() << line.c_str() << "\n"; // disarmed
    }
}

std::string PadLeft(std::string text, std::size_t width) {
    text.insert(0, width - std::min(width, text.size()), ' ');
    return text;
}

Output & Output::operator<<(char const * ownWords) {
    std::fputs(ownWords, stdout);
    return *this;
}

Output & Output::operator<<(std::string const & text) {
    std::string const disarmed = isTerminal ? Disarm(text) : std::string();
    std::string const & shown = isTerminal ? disarmed : text;
    std::fwrite(shown.data(), 1, shown.size(), stdout);
    return *this;
}

Output & Output::operator<<(unsigned long long number) {
    std::fputs(std::to_string(number).c_str(), stdout);
    return *this;
}

bool Output::Flush() {
    return std::cout.flush() && std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
}

Output & Out() {
    static Output output = [] {
        Output made;
        made.SetTerminal(IsTerminal(false));
        return made;
    }();
    return output;
}

Console::Console(bool isVerbose, std::string const & ofCommand, bool worksOnFiles)
    : verbose(isVerbose), waits(worksOnFiles), command(ofCommand) {
    Mu::logger.Attach(*this, verbose ? Mu::LogSeverity::Trace : Mu::LogSeverity::Warning);
}

Console::~Console() {
    if (!hasFailed) // else they are consequences
        for (std::string const & line : waiting)
            Fail(line);
    Mu::logger.Detach(*this);
}

void Console::LineAppended(Mu::LogSeverity severity, char const *, char const * text) {
    static constexpr char const * names[] = {"trace", "info", "warning", "error"};
    std::string const line = std::string(names[static_cast<unsigned int>(severity)]) + ": " + text;
    // That a creation has failed is the consequence of what the line before it reports.
    bool const isConsequence = !last.empty() && line.find(" has failed: creation of ") != line.npos;
    if (waits && severity >= Mu::LogSeverity::Warning && !isConsequence)
        last = line;
    if (waits && !verbose)
        waiting.push_back(line);
    else
        Fail(line);
    if (severity >= Mu::LogSeverity::Warning)
        reported = true;
}

int Console::Finish(MuErrCode status, std::string const & subject) {
    bool const wasReported = reported;
    reported = false;
    if (waits && status != IO::NoError) {
        Fail(GetPrefix() + subject + ": " + FindCause(subject, status));
        hasFailed = true;
        return Drop() | 1;
    }
    for (std::string const & line : waiting)
        Fail(line);
    Drop();
    if (status == IO::NoError)
        return 0;
    if (!wasReported)
        Fail(subject + ": " + IO::ErrorCategory().message(status));
    return 1;
}

std::string Console::FindCause(std::string const & subject, MuErrCode status) {
    std::string const cause = GetCause(status, last);
    bool const isOpen = cause == IO::ErrorCategory().message(IO::Error);
    bool const isOfSystem = last.find(" = \"") != last.npos;
    if (isOfSystem || subject.find("' -> '") != subject.npos) // which of both it was is not known
        return cause;
    IO::Location top = ToLocation(subject);
    if (!top.IsLegal())
        return "a name in it is too long, or not allowed";
    if (!isOpen)
        return cause;
    IO::Name name;
    IO::Location const whole = top;
    while (top.GetLocalLength() > (top.GetScheme().IsEmpty() ? 1 : 0) &&
           top.MoveLastLocalName(&name) == IO::NoError) {
    }
    MuErrCode const reached = IO::Folder(top).GetStatus();
    return reached != IO::NoError ? GetCause(reached, last)
           : top == whole         ? "not possible for a root"
                                  : cause;
}

int Console::NameFailed(std::string const & subject, MuErrCode status) const {
    return Fail(GetPrefix() + subject + ": " + GetCause(status, {}));
}

int Console::NameUnread(std::string const & folder) {
    if (last.rfind("error: Enumerating folder", 0) != 0 &&
        last.rfind("error: Connection to folder", 0) != 0)
        return 0;
    bool const isDenied = last.find(": access denied") != last.npos;
    bool const hasVanished = last.find(": folder is not found") != last.npos;
    if (!hasVanished)
        Fail(GetPrefix() + folder + ": " +
             GetCause(isDenied ? IO::ErrFolderAccessDenied : IO::Error, last));
    if (!waiting.empty())
        waiting.pop_back(); // it has the same content
    last.clear();
    return hasVanished ? 0 : 1;
}

int Console::Drop() {
    waiting.clear();
    last.clear();
    reported = false;
    return 0;
}

int Console::FinishReported(std::string const & subject) {
    return Finish(reported ? IO::Error : IO::NoError, subject);
}

int Console::Fail(std::string const & message) {
    Progress::Hide();
    std::cerr << "kestrel: " << Escape(message) << "\n";
    return 1;
}

bool Console::IsSpeltSo(IO::Location const & location, std::string const & subject) {
    bool otherwise = false;
    if (MuErrCode const status = IsSpeltOtherwise(location, &otherwise); status != IO::NoError)
        return Finish(status, subject) == 0;
    if (!otherwise)
        return true;
    Refuse(subject + " is there in another spelling only; say its name as it is spelt");
    return false;
}

#if defined(_WIN32)

// Unlike the run-time's isatty, which is true for any character device.
bool IsTerminal(bool error) {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(error ? STD_ERROR_HANDLE : STD_OUTPUT_HANDLE), &mode) != 0;
}

unsigned int GetTerminalWidth() {
    CONSOLE_SCREEN_BUFFER_INFO info;
    return GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) != 0
               ? static_cast<unsigned int>(info.srWindow.Right - info.srWindow.Left + 1)
               : 80;
}

void SetBinaryOutput() {
    _setmode(_fileno(stdout), _O_BINARY);
}

#else

bool IsTerminal(bool error) {
    return isatty(error ? STDERR_FILENO : STDOUT_FILENO) != 0;
}

unsigned int GetTerminalWidth() {
    winsize size = {};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : 80;
}

void SetBinaryOutput() {}

#endif

Mu::UniString FromUtf8(std::string const & text) {
    return Mu::UniString(text.data(), static_cast<unsigned int>(text.size()), MuLogCharCode);
}

} // namespace Tool
