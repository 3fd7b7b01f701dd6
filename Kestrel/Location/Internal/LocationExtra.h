#pragma once

#include <Kestrel/Location/Location.h>

#include <memory>

namespace IO {

/// Parts of a location that only URLs and special platforms have. Copying throws
/// Mu::OutOfMemoryException.
struct Location::Extra : Mu::Allocated {
    Extra() = default;
    Extra(Extra const & other);

    Mu::UniString scheme;
    Mu::UniString userName;
    Mu::UniString password;
    std::unique_ptr<PDI> pdi;
};

} // namespace IO
