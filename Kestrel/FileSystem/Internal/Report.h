#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/Name.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Log/LogLine.h>
#include <Kestrel/Root/Text/UniString.h>

#include <cstddef>
#include <initializer_list>

namespace IO {

/// The log line of one reporting place: a level and a text with a `%` for each argument. Stands as
/// a function-level static, alone or in a table.
class ReportLine : public Mu::EventLogLine {
public:
    using Level = Mu::LogSeverity;

    constexpr ReportLine(Level level, char const * format)
        : EventLogLine(level, format, "IO", nullptr) {}
    ReportLine(ReportLine const &) = delete;
    ReportLine & operator=(ReportLine const &) = delete;

    /// Whether the text ends with the place for the errors of the OS.
    bool WantsOSErrors() const;
};

/// The last local name of a location, and the location of the folder that it lies in: the two
/// arguments with which most lines begin. The name is empty when there is none.
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
    void const * object; // what `kind` says; of EntryOf its location
};

/// Writes the line with the arguments in their order, then, where its text asks for them, the
/// errors of the OS; forgets those errors in any case. Composes nothing for a line that nobody
/// wants. A shortage of memory cuts the line short and goes no further.
void Report(ReportLine & line, std::initializer_list<ReportArgument> arguments) noexcept;

/// What a status of an entry becomes: a code for the caller, and the line that is written.
struct Outcome {
    MuErrCode code;
    ReportLine line;
};

/// Reports the row of `status` and returns its code. A status that the table does not know takes
/// the last row, that of the internal error.
template <typename Status, std::size_t count>
MuErrCode ReportOutcome(Outcome (&table)[count], Status status,
                        std::initializer_list<ReportArgument> arguments) {
    std::size_t const row = static_cast<std::size_t>(status);
    Outcome & outcome = table[row < count ? row : count - 1];
    Report(outcome.line, arguments);
    return outcome.code;
}

/// As ReportOutcome, for a table whose rows begin with the status behind Done, which is NoError and
/// no line.
template <typename Status, std::size_t count>
MuErrCode ReportFailure(Outcome (&table)[count], Status status,
                        std::initializer_list<ReportArgument> arguments) {
    if (status == Status{})
        return NoError;
    return ReportOutcome(table, static_cast<std::size_t>(status) - 1, arguments);
}

} // namespace IO
