#pragma once

#include <Kestrel/Location/Location.h>

#include <string>

namespace Tool {

/// The target of a link, and whether it exists.
struct LinkTarget {
    std::string text; // empty when it could not be read
    bool isBroken = true;

    /// Shown after the text.
    char const * GetRemark() const {
        return text.empty() ? "(broken)" : isBroken ? " (broken)" : "";
    }
};

/// Logs nothing, since a broken link is no failure.
LinkTarget GetLinkTarget(IO::Location const & link);

} // namespace Tool
