#include <Kestrel/Location/WinLocationValidator.h>

#include <Kestrel/Location/Internal/LegalNames.h>

#include <algorithm>

namespace IO {

namespace {

constexpr unsigned int LongestName = 260;
constexpr unsigned int LongestPath = 260;

constexpr char const * DeviceNames[] = {"aux", "con", "prn", "nul"};

// Most names differ from a device by their first unit, whose comparison needs no text.
bool IsDevice(Name const & name) {
    return std::any_of(std::begin(DeviceNames), std::end(DeviceNames), [&](char const * device) {
        return (name[0] | 0x20) == device[0] && name == device;
    });
}

// Kept: only the lower case spelling of a numbered port is rejected, and "com0" is none.
bool IsPort(Name const & name) {
    std::u16string_view const text = name.ToString();
    return (text.starts_with(u"com") || text.starts_with(u"lpt")) && text[3] >= '1' &&
           text[3] <= '9';
}

} // namespace

bool WinLocationValidator::IsLegalCharacter(Mu::UniChar unit) const {
    return IsPortableUnit(unit.GetUnit());
}

bool WinLocationValidator::IsLegal(Name const & name) const {
    unsigned int const length = name.GetLength();
    if (length == 0 || length > LongestName)
        return false;
    if ((length == 3 && IsDevice(name)) || (length == 4 && IsPort(name)))
        return false;
    return std::all_of(name.ToString().begin(), name.ToString().end(), IsPortableUnit);
}

bool WinLocationValidator::IsDrive(Name const & name) const {
    return IsDriveName(name);
}

bool WinLocationValidator::IsLegalContent(Location const & location) const {
    bool const hasNetwork = location.GetNetworkLength() != 0;
    unsigned int length = hasNetwork ? 2 : 0; // of the path, each name with its separator
    auto const fits = [&](Name const & name) {
        length += name.GetLength() + 1;
        return length <= LongestPath;
    };
    return AllNetworkNames(location,
                           [&](Name const & name) { return IsLegal(name) && fits(name); }) &&
           AllLocalNames(location, [&](unsigned int index, Name const & name) {
               bool const isDrive = index == 0 && !hasNetwork;
               return (isDrive ? IsDrive(name) : IsLegal(name)) && fits(name);
           });
}

} // namespace IO
