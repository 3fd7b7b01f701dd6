#pragma once

namespace Mu {

/// How serious what a log line reports is.
enum class LogSeverity : unsigned char { Trace, Info, Warning, Error };

} // namespace Mu
