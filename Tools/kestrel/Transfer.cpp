#include "Transfer.h"

#include "Arguments.h"
#include "Interruption.h"
#include "Streams.h"

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/Root/Errors/ErrorCategory.h>
#include <Kestrel/Root/Time/Clock.h>

#include <cstdio>
#include <iostream>

namespace Tool {

Watch::Watch(char const * givenVerb, Console & givenConsole)
    : verb(givenVerb), console(givenConsole), isShown(IsTerminal(true)),
      began(Mu::GetClock().GetMonotonicMicroseconds()), scope(*this) {}

Watch::~Watch() {
    Progress::Hide();
}

void Watch::SetRoot(IO::Location const & location, std::string const & typed) {
    if (location.ToPath(&root) != IO::NoError)
        root.Clear();
    path = typed;
    hasFailures = false;
}

void Watch::AddTotal(IO::Location const & location) {
    unsigned long long size = 0;
    if (IO::fileSystem.CountSize(location, &size) == IO::NoError)
        total += size;
    counted = scope.GetProgress().bytes; // the scope has counted these as well
    began = Mu::GetClock().GetMonotonicMicroseconds();
}

int Watch::Finish() {
    Progress::Hide();
    if (failures > 1)
        Console::Fail(std::to_string(failures) + " entries failed");
    return failures != 0 || scope.IsEnded() ? 1 : 0;
}

bool Watch::Advanced(IO::TransferProgress const & now) {
    if (isShown) {
        unsigned long long const bytes = now.bytes - counted;
        double const seconds =
            static_cast<double>(Mu::GetClock().GetMonotonicMicroseconds() - began) / 1e6;
        double const rate = seconds > 0 ? static_cast<double>(bytes) / seconds : 0;
        std::string line = verb + " " + std::to_string(now.entries) + " entries";
        if (bytes != 0)
            line += ", " + ToSizeText(bytes) + ", " +
                    ToSizeText(static_cast<unsigned long long>(rate)) + "/s";
        if (total > bytes && rate > 0) {
            auto const left = static_cast<unsigned int>(static_cast<double>(total - bytes) / rate);
            char text[32];
            std::snprintf(text, sizeof text, ", %u:%02u left", left / 60, left % 60);
            line += text;
        }
        Progress::Show(line);
    }
    return !IsInterrupted();
}

bool Watch::Failed(Mu::UniString const & place, MuErrCode status, char const * causes) {
    std::string const whole = ToUtf8(place);
    std::string const above = ToUtf8(root);
    std::string named = whole;
    if (!above.empty() && whole.rfind(above, 0) == 0) {
        named = path + whole.substr(above.size());
#if !defined(_WIN32)
        for (std::size_t i = path.size(); i < named.size(); ++i)
            if (named[i] == '\\')
                named[i] = '/';
#endif
    }
    Console::Fail(console.GetPrefix() + named + ": " + GetCause(status, causes));
    hasFailures = true;
    ++failures;
    return true;
}

std::string ToSizeText(unsigned long long size) {
    static constexpr char const * units[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    if (size < 1024)
        return std::to_string(size) + " B";
    double value = static_cast<double>(size) / 1024;
    unsigned int unit = 0;
    for (; value >= 1023.95; ++unit)
        value /= 1024;
    char text[32];
    std::snprintf(text, sizeof text, "%.1f %s", value, units[unit]);
    return text;
}

std::string GetCause(MuErrCode status, std::string const & line) {
    // `... (OS errors: CreateFile: 2 = "No such file or directory")`
    if (std::size_t const begin = line.rfind(" = \""); begin != line.npos) {
        std::string const text = line.substr(begin + 4);
        std::string cause = text.substr(0, text.find('"'));
        cause.erase(cause.find_last_not_of(". ") + 1); // some systems write sentences
        if (!cause.empty() && cause != "???")
            return cause;
    }
    std::error_condition const known = IO::MakeErrorCode(status).default_error_condition();
    if (known.category() == std::generic_category())
        return known.message();
    // The last part of the line before the system's.
    if (std::size_t const end = line.find(" (OS errors"); end != line.npos) {
        std::size_t const begin = line.rfind(": ", end);
        std::string const phrase =
            begin == line.npos ? std::string() : line.substr(begin + 2, end - begin - 2);
        if (phrase == IO::MakeErrorCode(IO::ErrFSNotAFolder).message())
            return std::make_error_condition(std::errc::not_a_directory).message();
        if (!phrase.empty() && phrase != "unknown error")
            return phrase;
    }
    return IO::MakeErrorCode(status).message();
}

bool Confirm(std::string const & question) {
    Progress::Hide();
    std::cout.flush();
    std::cerr << "kestrel: " << Disarm(question) << ' ' << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    return !answer.empty() && (answer[0] == 'y' || answer[0] == 'Y');
}

} // namespace Tool
