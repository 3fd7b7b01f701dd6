#pragma once

#include <Kestrel/Location/LocationResolver.h>
#include <Kestrel/Location/RelativeLocation.h>

namespace Tests {

/// Reads and writes locations as backslash paths, in memory only: the resolver while it lives.
///
/// "X" is refused, so that a test has a text which cannot be understood.
class TestResolver : public IO::LocationResolver {
public:
    bool PathToRelativeLocation(Mu::UniString const & text,
                                IO::RelativeLocation * relative) override;
    bool PathToLocation(Mu::UniString const & text, IO::Location * location) override;
    bool LocationToPath(IO::Location const & location, Mu::UniString * path) override;
    bool LocationToDisplayText(IO::Location const & location, Mu::UniString * text) override;

    // What only a resolver may do.
    using LocationResolver::GetPDI;
    using LocationResolver::SetContent;
    using LocationResolver::SetPDI;
};

} // namespace Tests
