#pragma once

#include <Kestrel/Root/Log/EscapedText.h>
#include <Kestrel/Root/Log/Logger.h>

#include <concepts>
#include <cstdio>
#include <string>
#include <string_view>
#include <type_traits>

namespace Mu {

/// Adds a value to a log line: numbers and texts. Types with an `Append(LogComposer &, T const &)`
/// of their own, such as IO::Location, use that.
template <typename T>
void AppendValue(LogComposer & composer, T const & value) {
    if constexpr (std::same_as<T, bool>)
        composer.Append(value ? "true" : "false");
    else if constexpr (std::is_arithmetic_v<T>)
        composer.Append(std::to_string(value).c_str());
    else if constexpr (std::convertible_to<T const &, char const *>)
        composer.Append(static_cast<char const *>(value));
    else if constexpr (std::convertible_to<T const &, std::string_view>) {
        std::string_view const text = std::string_view(value).substr(0, 0x10000);
        composer.Append(text.data(), static_cast<unsigned int>(text.size()));
    } else if constexpr (std::convertible_to<T const &, UniString const &>)
        composer.Append(static_cast<UniString const &>(value));
    else
        Append(composer, value);
}

/// Appends a line to the log, in one call:
///
///     Mu::Log(Mu::LogSeverity::Warning, "MyHost", "% of % files are old", old, count);
///
/// Each "%" of the format takes a value; "%%" is a percent sign. Costs a test of a flag if there is
/// no listener for the line. Memory and threads: as for FastLogger. Throws std::bad_alloc if
/// converting a value runs out of memory.
template <typename... Values>
void Log(LogSeverity severity, char const * domain, char const * format, Values const &... values) {
    if (!logger.IsWanted(severity))
        return;
    EventLogLine line(severity, format, domain, nullptr);
    LogComposer composer;
    (AppendValue(composer, values), ...);
    logger.Append(line, &composer);
}

/// For its lifetime, lines of a severity and above are written to standard error, too, one each,
/// with terminal sequences escaped.
class StandardErrorLog final : private LogObserver {
public:
    explicit StandardErrorLog(LogSeverity severity) { SetLeast(severity); }
    ~StandardErrorLog() override { logger.Detach(*this); }
    StandardErrorLog(StandardErrorLog const &) = delete;
    StandardErrorLog & operator=(StandardErrorLog const &) = delete;

    void SetLeast(LogSeverity severity) { logger.Attach(*this, severity); }

private:
    void LineAppended(LogSeverity severity, char const * domain, char const * text) override {
        static constexpr char const * words[] = {"trace", "info", "warning", "error"};
        std::fprintf(stderr, "%s: %s: %s\n", domain, words[static_cast<unsigned int>(severity)],
                     EscapeText(text).ToCStr());
    }
};

/// The same to the end of the process; another call changes the severity.
inline void LogToStandardError(LogSeverity least = LogSeverity::Warning) {
    static StandardErrorLog log(least);
    log.SetLeast(least);
}

} // namespace Mu
