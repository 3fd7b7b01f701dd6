#include <Kestrel/Location/Internal/Resolvation.h>

#include <Kestrel/Location/Internal/OSErrors.h>
#include <Kestrel/Root/Log/Logger.h>

namespace IO {

void LogRefusedText(Mu::EventLogLine & line, Mu::UniString const & text) noexcept {
    if (Mu::logger.IsWanted(line.GetSeverity())) {
        Mu::LogComposer composer;
        composer.Append(text);
        AppendOSErrors(composer);
        Mu::logger.Append(line, &composer);
    }
    ClearOSErrors();
}

} // namespace IO
