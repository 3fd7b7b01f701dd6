#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Log/LogSeverity.h>

namespace Mu {

class UniString;

/// One place in the code that reports something: a format with placeholders, and whose it is. Make
/// one object for each place, as a function-level static; the event's values come separately, in
/// a LogComposer.
///
/// The texts are UTF-8, not copied, and must stay. In the format "%" stands for a value and "%%"
/// for a percent sign.
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

/// Something failed that should not.
class ErrorLogLine : public EventLogLine {
public:
    constexpr ErrorLogLine(char const * givenFormat, char const * givenDomain,
                           char const * givenSubdomain)
        : EventLogLine(LogSeverity::Error, givenFormat, givenDomain, givenSubdomain) {}
};

/// Something is odd, but was dealt with.
class WarningLogLine : public EventLogLine {
public:
    constexpr WarningLogLine(char const * givenFormat, char const * givenDomain,
                             char const * givenSubdomain)
        : EventLogLine(LogSeverity::Warning, givenFormat, givenDomain, givenSubdomain) {}
};

/// Something was done.
class InfoLogLine : public EventLogLine {
public:
    constexpr InfoLogLine(char const * givenFormat, char const * givenDomain,
                          char const * givenSubdomain)
        : EventLogLine(LogSeverity::Info, givenFormat, givenDomain, givenSubdomain) {}
};

/// How it was done; of interest to the maker only.
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
/// Memory:  some hundred bytes of its own, a block when they do not suffice. Without memory the
///          value is cut to what there is room for.
/// Threads: one at a time.
/// Failure: none, and no exceptions.
class KESTREL_API LogComposer {
public:
    LogComposer() : data(own) {}
    ~LogComposer();
    LogComposer(LogComposer const &) = delete;
    LogComposer & operator=(LogComposer const &) = delete;

    /// UTF-8; null counts as the empty text.
    LogComposer & Append(char const * text) noexcept;
    LogComposer & Append(char const * text, unsigned int length) noexcept;
    LogComposer & Append(unsigned int value) noexcept;
    LogComposer & Append(UniString const & text) noexcept;

    /// Forgets the values, for another event.
    void Clear() noexcept;

    unsigned int GetCount() const { return count; }
    /// The value that begins at `*offset`, which is 0 for the first; moves the offset to the next
    /// one. False behind the last.
    bool GetNext(unsigned int * offset, char const ** text, unsigned int * length) const;

private:
    static constexpr unsigned int OwnSize = 384;

    bool Reserve(unsigned int more);
    unsigned int GetRoom() const;

    char * data; // each value behind its length; `own`, or a block
    unsigned int used = 0;
    unsigned int capacity = OwnSize;
    unsigned int count = 0;
    char own[OwnSize];
};

} // namespace Mu
