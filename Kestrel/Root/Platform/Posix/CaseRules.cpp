#include <Kestrel/Root/Platform/CaseRules.h>

#include <utf8proc.h>

namespace Mu::Platform {

namespace {

constexpr unsigned short SharpS = 0x00DF;

unsigned short KeepToOneUnit(unsigned short unit, utf8proc_int32_t mapped) noexcept {
    return mapped <= 0xFFFF ? static_cast<unsigned short>(mapped) : unit;
}

} // namespace

// utf8proc gives the sharp s a capital that is not a simple mapping of the standard and that
// Windows does not have.
unsigned short QueryUpperCase(unsigned short unit) noexcept {
    return unit == SharpS ? unit : KeepToOneUnit(unit, utf8proc_toupper(unit));
}

unsigned short QueryLowerCase(unsigned short unit) noexcept {
    return KeepToOneUnit(unit, utf8proc_tolower(unit));
}

} // namespace Mu::Platform
