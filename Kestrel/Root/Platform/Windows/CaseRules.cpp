#include <Kestrel/Root/Platform/CaseRules.h>

#include <Kestrel/Root/Platform/Windows/WideText.h>

#include <windows.h>

namespace Mu::Platform {

namespace {

// Without linguistic casing: the rules of the file systems.
unsigned short Map(unsigned short unit, DWORD how) noexcept {
    unsigned short mapped = unit;
    int const count = LCMapStringW(LOCALE_USER_DEFAULT, how, ToWide(&unit), 1, ToWide(&mapped), 1);
    return count == 1 ? mapped : unit;
}

} // namespace

unsigned short QueryUpperCase(unsigned short unit) noexcept {
    return Map(unit, LCMAP_UPPERCASE);
}

unsigned short QueryLowerCase(unsigned short unit) noexcept {
    return Map(unit, LCMAP_LOWERCASE);
}

} // namespace Mu::Platform
