#pragma once

#include <Kestrel/Location/LocationResolver.h>

namespace IO {

/// Reads and writes locations as portable text, `C:\a\b` or `\\host\share\x`, on both platforms.
///
/// Text that begins with neither a drive nor a share is taken as it is, without a current folder in
/// front. On Linux a native absolute path is accepted as well.
class WinLocationResolver final : public LocationResolver {
public:
    WinLocationResolver();
    ~WinLocationResolver() override;

    bool PathToRelativeLocation(Mu::UniString const & text, RelativeLocation * relative) override;
    bool PathToLocation(Mu::UniString const & text, Location * location) override;
    bool LocationToPath(Location const & location, Mu::UniString * path) override;
    bool LocationToDisplayText(Location const & location, Mu::UniString * text) override;
    bool LocationToLogText(Location const & location, Mu::UniString * text) override;
};

} // namespace IO
