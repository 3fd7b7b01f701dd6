#pragma once

namespace Mu {

/// The severity of a log line.
enum class LogSeverity : unsigned char { Trace, Info, Warning, Error };

} // namespace Mu
