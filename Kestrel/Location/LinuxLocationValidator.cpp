#include <Kestrel/Location/LinuxLocationValidator.h>

#include <Kestrel/Location/Internal/LegalNames.h>
#include <Kestrel/Location/Platform/NativeText.h>

namespace IO {

namespace {

constexpr unsigned int LongestPath = 4095;

// 0 for an illegal name.
unsigned int MeasureLegal(PathText name) {
    unsigned int bits = 0;
    for (char16_t const unit : name) {
        if (!IsPortableUnit(unit))
            return 0;
        bits |= unit;
    }
    unsigned int const bytes =
        bits < 0x80 ? static_cast<unsigned int>(name.size()) : MeasureNativeName(name);
    return bytes <= MaxNameBytes ? bytes : 0;
}

} // namespace

bool LinuxLocationValidator::IsLegalCharacter(Mu::UniChar unit) const {
    return IsPortableUnit(unit.GetUnit());
}

bool LinuxLocationValidator::IsLegal(Name const & name) const {
    return MeasureLegal(name.ToString()) != 0;
}

bool LinuxLocationValidator::IsLegalContent(Location const & location) const {
    bool const hasNetwork = location.GetNetworkLength() != 0;
    unsigned int length = 0; // of the native path
    return AllNetworkNames(location, [&](Name const & name) { return IsLegal(name); }) &&
           AllLocalNames(location, [&](unsigned int index, Name const & name) {
               if (index == 0)
                   return hasNetwork ? IsLegal(name) : IsDriveName(name);
               unsigned int const bytes = MeasureLegal(name.ToString());
               length += 1 + bytes;
               return bytes != 0 && length <= LongestPath;
           });
}

} // namespace IO
