#pragma once

#include <Kestrel/FileSystem/FileSystem.h>

namespace IO {

/// Whether a denial that outlasts its retries is an error, rather than a result that the caller
/// expects.
inline bool IsDenialAnError(Location const & location, AccessDeniedTreatment treatment) {
    return treatment == AccessDeniedTreatment::RetryAlways ||
           (treatment == AccessDeniedTreatment::RetryPrivate &&
            fileSystem.IsPrivateLocation(location));
}

} // namespace IO
