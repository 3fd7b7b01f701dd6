#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Log/LogSeverity.h>

namespace Mu {

class UniString;

/// A log message: a format with placeholders, its severity and its domain. Create one object for
/// each message, as a function-level static; the values are passed separately, in a LogComposer.
///
/// The texts are UTF-8; they are not copied and must remain valid. In the format "%" stands for a
/// value and "%%" for a percent sign.
class EventLogLine {
public:
    constexpr EventLogLine(LogSeverity givenSeverity, char const * givenFormat,
                           char const * givenDomain, char const * givenSubdomain)
        : severity(givenSeverity), format(givenFormat), domain(givenDomain),
          subdomain(givenSubdomain) {}

    LogSeverity GetSeverity() const { return severity; }
    char const * GetFormat() const { return format; }
    char const * GetDomain() const { return domain; }       ///< may be null
    char const * GetSubdomain() const { return subdomain; } ///< may be null

private:
    LogSeverity severity;
    char const * format;
    char const * domain;
    char const * subdomain;
};

/// A failure.
class ErrorLogLine : public EventLogLine {
public:
    constexpr ErrorLogLine(char const * givenFormat, char const * givenDomain,
                           char const * givenSubdomain)
        : EventLogLine(LogSeverity::Error, givenFormat, givenDomain, givenSubdomain) {}
};

/// Something unusual that was handled.
class WarningLogLine : public EventLogLine {
public:
    constexpr WarningLogLine(char const * givenFormat, char const * givenDomain,
                             char const * givenSubdomain)
        : EventLogLine(LogSeverity::Warning, givenFormat, givenDomain, givenSubdomain) {}
};

/// A completed action.
class InfoLogLine : public EventLogLine {
public:
    constexpr InfoLogLine(char const * givenFormat, char const * givenDomain,
                          char const * givenSubdomain)
        : EventLogLine(LogSeverity::Info, givenFormat, givenDomain, givenSubdomain) {}
};

/// Details for developers of the component.
class TraceLogLine : public EventLogLine {
public:
    constexpr TraceLogLine(char const * givenFormat, char const * givenDomain,
                           char const * givenSubdomain)
        : EventLogLine(LogSeverity::Trace, givenFormat, givenDomain, givenSubdomain) {}
};

/// The values for the placeholders of one event, in their order:
///
///     static Mu::ErrorLogLine line("Opening file \"%\" has failed", "IO", nullptr);
///     Mu::LogComposer composer;
///     composer.Append(name);
///     Mu::logger.Append(line, &composer);
///
/// Memory:  some hundred bytes inline, and a block if they do not suffice. Without memory the value
///          is truncated.
/// Threads: one at a time.
/// Failure: none, and no exceptions.
class KESTREL_API LogComposer {
public:
    LogComposer() : data(own) {}
    ~LogComposer();
    LogComposer(LogComposer const &) = delete;
    LogComposer & operator=(LogComposer const &) = delete;

    /// UTF-8; null counts as an empty text.
    LogComposer & Append(char const * text) noexcept;
    LogComposer & Append(char const * text, unsigned int length) noexcept;
    LogComposer & Append(unsigned int value) noexcept;
    LogComposer & Append(UniString const & text) noexcept;

    /// Removes the values, for another event.
    void Clear() noexcept;

    unsigned int GetCount() const { return count; }
    /// The value that starts at `*offset`, which is 0 for the first; advances the offset to the
    /// next one. False past the last one.
    bool GetNext(unsigned int * offset, char const ** text, unsigned int * length) const;

private:
    static constexpr unsigned int OwnSize = 384;

    bool Reserve(unsigned int more);
    unsigned int GetRoom() const;

    char * data; // each value follows its length; `own`, or a block
    unsigned int used = 0;
    unsigned int capacity = OwnSize;
    unsigned int count = 0;
    char own[OwnSize];
};

} // namespace Mu
