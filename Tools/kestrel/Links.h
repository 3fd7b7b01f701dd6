#pragma once

#include <Kestrel/Location/Location.h>

#include <string>

namespace Tool {

/// Where a link leads, and whether there is anything.
struct LinkTarget {
    std::string text; // empty when not even that is known
    bool isBroken = true;

    /// What is said behind the text.
    char const * GetRemark() const {
        return text.empty() ? "(broken)" : isBroken ? " (broken)" : "";
    }
};

/// Looks without a line in the log: a link may lead anywhere.
LinkTarget GetLinkTarget(IO::Location const & link);

} // namespace Tool
