#pragma once

#include <Kestrel/Location/LocationValidator.h>

namespace IO {

/// The rules of the Mac: 1 to 255 units and no ":".
class KESTREL_API MacLocationValidator : public LocationValidator {
public:
    explicit MacLocationValidator(Mu::PlatformSign sign) : LocationValidator(sign) {}

    using LocationValidator::IsLegal;
    bool IsLegalContent(Location const & location) const override;
    bool IsLegal(Name const & name) const override;
    bool IsLegalCharacter(Mu::UniChar unit) const override;
};

} // namespace IO
