#pragma once

#include <Kestrel/Location/LocationValidator.h>

namespace IO {

/// The sign under which the rules of Linux stand in the table of validators. No persisted data has
/// it.
inline constexpr Mu::PlatformSign LinuxSign{0x4C4C};

/// The rules of Linux for the portable form: names up to 255 bytes and a path up to 4,095 in the
/// native form, whatever folder the drive or share is, and no reserved words. The characters that
/// separate and that Windows reserves are not for names here either: those of native names are
/// other units, as Kestrel/FileSystem/NativePath.h describes.
///
/// The running platform's on Linux, and in the table there alone.
class KESTREL_API LinuxLocationValidator : public LocationValidator {
public:
    explicit LinuxLocationValidator(Mu::PlatformSign sign) : LocationValidator(sign) {}

    using LocationValidator::IsLegal;
    bool IsLegalContent(Location const & location) const override;
    bool IsLegal(Name const & name) const override;
    bool IsLegalCharacter(Mu::UniChar unit) const override;
};

} // namespace IO
