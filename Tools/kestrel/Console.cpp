#include "Console.h"

#include "Streams.h"

#include <Kestrel/Root/ErrorCategory.h>

#include <iostream>

namespace Tool {

Console::Console(bool verbose) {
    Mu::logger.Attach(*this, verbose ? Mu::LogSeverity::Trace : Mu::LogSeverity::Warning);
}

Console::~Console() {
    Mu::logger.Detach(*this);
}

void Console::LineAppended(Mu::LogSeverity severity, char const *, char const * text) {
    static constexpr char const * names[] = {"trace", "info", "warning", "error"};
    Progress::Hide();
    std::cerr << "kestrel: " << names[static_cast<unsigned int>(severity)] << ": " << text << "\n";
    if (severity >= Mu::LogSeverity::Warning)
        told = true;
}

int Console::Finish(MuErrCode status, std::string const & subject) {
    bool const wasTold = told;
    told = false;
    if (status == IO::NoError)
        return 0;
    if (!wasTold)
        std::cerr << "kestrel: " << subject << ": " << IO::ErrorCategory().message(status) << "\n";
    return 1;
}

int Console::Fail(std::string const & message) {
    std::cerr << "kestrel: " << message << "\n";
    return 1;
}

std::string ToUtf8(Mu::UniString const & text) {
    return static_cast<char const *>(text.ToCStr(0, Mu::UniString::All, MuLogCharCode));
}

Mu::UniString FromUtf8(std::string const & text) {
    return Mu::UniString(text.data(), static_cast<unsigned int>(text.size()), MuLogCharCode);
}

} // namespace Tool
