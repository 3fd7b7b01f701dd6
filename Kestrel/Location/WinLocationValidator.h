#pragma once

#include <Kestrel/Location/LocationValidator.h>

namespace IO {

/// The rules of Windows: reserved characters and device names, a drive or a share at the start, and
/// fewer than 261 units in total.
class KESTREL_API WinLocationValidator : public LocationValidator {
public:
    explicit WinLocationValidator(Mu::PlatformSign sign) : LocationValidator(sign) {}

    using LocationValidator::IsLegal;
    bool IsLegalContent(Location const & location) const override;
    bool IsLegal(Name const & name) const override;
    bool IsLegalCharacter(Mu::UniChar unit) const override;

private:
    bool IsDrive(Name const & name) const;
};

} // namespace IO
