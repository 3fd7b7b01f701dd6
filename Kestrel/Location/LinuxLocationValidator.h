#pragma once

#include <Kestrel/Location/LocationValidator.h>

namespace IO {

/// The sign of the rules of Linux in the table of validators. Persisted data never contains it.
inline constexpr Mu::PlatformSign LinuxSign{0x4C4C};

/// The rules of Linux for the portable form: names up to 255 bytes and a path up to 4,095 in the
/// native form, whatever the folder of the drive or share, and no reserved words. Separators and
/// the characters that Windows reserves are not allowed in names here either: in native names they
/// are represented by other units, as Kestrel/FileSystem/NativePath.h describes.
///
/// It is the running platform's validator on Linux, and is only in the table there.
class KESTREL_API LinuxLocationValidator : public LocationValidator {
public:
    explicit LinuxLocationValidator(Mu::PlatformSign sign) : LocationValidator(sign) {}

    using LocationValidator::IsLegal;
    bool IsLegalContent(Location const & location) const override;
    bool IsLegal(Name const & name) const override;
    bool IsLegalCharacter(Mu::UniChar unit) const override;
};

} // namespace IO
