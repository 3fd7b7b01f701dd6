#include <Kestrel/Location/MacLocationValidator.h>

#include <Kestrel/Location/Internal/LegalNames.h>

namespace IO {

namespace {

bool HasLegalLength(Name const & name) {
    return !name.IsEmpty() && name.GetLength() <= 255;
}

} // namespace

bool MacLocationValidator::IsLegalCharacter(Mu::UniChar unit) const {
    return unit != ':';
}

bool MacLocationValidator::IsLegal(Name const & name) const {
    return HasLegalLength(name) && !name.ToString().Contains(Mu::UniChar(':'));
}

bool MacLocationValidator::IsLegalContent(Location const & location) const {
    return AllNetworkNames(location, HasLegalLength) &&
           AllLocalNames(location,
                         [this](unsigned int, Name const & name) { return IsLegal(name); });
}

} // namespace IO
