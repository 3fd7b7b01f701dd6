#pragma once

#include <Kestrel/Location/Location.h>

#include <memory>

namespace IO {

/// What only URLs and platforms of a special kind give a location. Copying throws
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
