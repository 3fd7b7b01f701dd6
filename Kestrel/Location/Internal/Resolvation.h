#pragma once

namespace Mu {
class EventLogLine;
class UniString;
} // namespace Mu

namespace IO {

/// Logs that a text could not be converted to a location, with the errors of the system, which are
/// then cleared. Each caller that reports has a line of its own, with this format.
void LogRefusedText(Mu::EventLogLine & line, Mu::UniString const & text) noexcept;

inline constexpr char const * RefusedTextFormat =
    "Resolvation of the target path \"%\" has failed (OS errors: %)";

} // namespace IO
