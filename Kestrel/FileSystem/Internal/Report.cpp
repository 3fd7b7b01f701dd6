#include <Kestrel/FileSystem/Internal/Report.h>

#include <Kestrel/Location/Internal/OSErrors.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Log/Logger.h>

#include <string_view>

namespace IO {

namespace {

void AppendEntry(Mu::LogComposer & composer, Location const & location) {
    Name name;
    Location folder(location);
    // Without a last name, `name` remains empty.
    if (folder.GetLocalLength() != 0)
        (void)folder.MoveLastLocalName(&name);
    composer.Append(name.ToString());
    Append(composer, folder);
}

void Compose(Mu::LogComposer & composer, ReportLine const & line,
             std::initializer_list<ReportArgument> arguments) {
    for (ReportArgument const & argument : arguments)
        argument.AppendTo(composer);
    if (line.WantsOSErrors())
        AppendOSErrors(composer);
}

} // namespace

bool ReportLine::WantsOSErrors() const {
    return std::string_view(GetFormat()).ends_with("(OS errors: %)");
}

void ReportArgument::AppendTo(Mu::LogComposer & composer) const {
    switch (kind) {
    case Kind::Entry: AppendEntry(composer, *static_cast<IO::Location const *>(object)); break;
    case Kind::Location: Append(composer, *static_cast<IO::Location const *>(object)); break;
    case Kind::Text: composer.Append(*static_cast<Mu::UniString const *>(object)); break;
    case Kind::Narrow: composer.Append(static_cast<char const *>(object)); break;
    }
}

void Report(ReportLine & line, std::initializer_list<ReportArgument> arguments) noexcept {
    if (Mu::logger.IsWanted(line.GetSeverity())) {
        Mu::LogComposer composer;
        try {
            Compose(composer, line, arguments);
        } catch (Mu::OutOfMemoryException const &) {
            // The values so far are still worth a line.
        }
        Mu::logger.Append(line, &composer);
    }
    ClearOSErrors();
}

} // namespace IO
