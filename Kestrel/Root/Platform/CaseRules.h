#pragma once

namespace Mu::Platform {

/// The system's upper or lower case of one unit of the Basic Multilingual Plane; the unit itself
/// where it has none that is one unit.
unsigned short QueryUpperCase(unsigned short unit) noexcept;
unsigned short QueryLowerCase(unsigned short unit) noexcept;

} // namespace Mu::Platform
