#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/Name.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Log/LogLine.h>
#include <Kestrel/Root/Text/UniString.h>

#include <cstddef>
#include <initializer_list>

namespace IO {

/// The format of one log line: a level and a text with a `%` for each argument. A function-level
/// static, alone or in a table.
class ReportLine : public Mu::EventLogLine {
public:
    using Level = Mu::LogSeverity;

    constexpr ReportLine(Level level, char const * format)
        : EventLogLine(level, format, "IO", nullptr) {}
    ReportLine(ReportLine const &) = delete;
    ReportLine & operator=(ReportLine const &) = delete;

    /// Whether the text ends with a placeholder for the errors of the OS.
    bool WantsOSErrors() const;
};

/// The last local name of a location, and the location of its folder: the first two arguments of
/// most lines. The name is empty when there is none.
struct EntryOf {
    Location const & location;
};

/// One argument of a line; all kinds convert to it.
class ReportArgument {
public:
    ReportArgument(EntryOf entry) : kind(Kind::Entry), object(&entry.location) {}
    ReportArgument(Location const & location) : kind(Kind::Location), object(&location) {}
    ReportArgument(Name const & name) : kind(Kind::Text), object(&name.ToString()) {}
    ReportArgument(Mu::UniString const & text) : kind(Kind::Text), object(&text) {}
    ReportArgument(char const * text) : kind(Kind::Narrow), object(text) {}

    void AppendTo(Mu::LogComposer & composer) const;

private:
    enum class Kind : unsigned char { Entry, Location, Text, Narrow };

    Kind kind;
    void const * object; // of the type that `kind` gives; for EntryOf its location
};

/// Writes the line with the arguments in their order, then, where its text has a placeholder for
/// them, the errors of the OS; clears those errors in any case. Does no formatting for a line
/// without a listener. Running out of memory truncates the line and is not reported.
void Report(ReportLine & line, std::initializer_list<ReportArgument> arguments) noexcept;

/// What a status of an entry is mapped to: a code for the caller, and a log line.
struct Outcome {
    MuErrCode code;
    ReportLine line;
};

/// Reports the row of `status` and returns its code. A status that the table does not have is
/// mapped to the last row, that of the internal error.
template <typename Status, std::size_t count>
MuErrCode ReportOutcome(Outcome (&table)[count], Status status,
                        std::initializer_list<ReportArgument> arguments) {
    std::size_t const row = static_cast<std::size_t>(status);
    Outcome & outcome = table[row < count ? row : count - 1];
    Report(outcome.line, arguments);
    return outcome.code;
}

/// As ReportOutcome, for a table whose first row is the status after Done; Done is NoError without
/// a line.
template <typename Status, std::size_t count>
MuErrCode ReportFailure(Outcome (&table)[count], Status status,
                        std::initializer_list<ReportArgument> arguments) {
    if (status == Status{})
        return NoError;
    return ReportOutcome(table, static_cast<std::size_t>(status) - 1, arguments);
}

} // namespace IO
