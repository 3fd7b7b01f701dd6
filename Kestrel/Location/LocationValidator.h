#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Text/PlatformConversion.h>
#include <Kestrel/Root/Text/UniChar.h>

namespace IO {

class RelativeLocation;

/// Which names and locations are legal on a platform: one object for each platform sign.
///
/// Those of Windows and the Mac exist on every platform, so that a host can check names for other
/// machines; LinuxLocationValidator exists on Linux. They only check text and never access a disk.
///
/// Memory:  none, apart from the table of all validators.
/// Threads: queries from any. Validators are created while the library or the host starts, before
///          there is a second thread, and are never destroyed or removed from the table.
class KESTREL_API LocationValidator {
public:
    /// Whether the names of the location are legal. This one calls IsLegal for each.
    virtual bool IsLegalContent(Location const & location) const;
    virtual ~LocationValidator();
    /// Whether each name is legal. Throws Mu::OutOfMemoryException if a name cannot be read.
    virtual bool IsLegal(RelativeLocation const & location) const;
    /// Whether model, scheme and user are consistent, and IsLegalContent.
    virtual bool IsLegal(Location const & location) const;
    virtual bool IsLegal(Name const & name) const = 0;
    virtual bool IsLegalCharacter(Mu::UniChar unit) const = 0;

    /// The validator of a platform, owned by the library; null for a sign that has none.
    static LocationValidator const * Find(Mu::PlatformSign sign);

    LocationValidator(LocationValidator const &) = delete;
    LocationValidator & operator=(LocationValidator const &) = delete;

protected:
    /// Adds itself to the table. Throws Mu::OutOfMemoryException if the table cannot grow.
    explicit LocationValidator(Mu::PlatformSign sign);
};

} // namespace IO
