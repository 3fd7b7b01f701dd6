#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Text/PlatformConversion.h>
#include <Kestrel/Root/Text/UniChar.h>

namespace IO {

class RelativeLocation;

/// What names and locations a platform takes: one object for each platform sign.
///
/// Those of Windows and the Mac are present on every platform, so that a host can ask whether a name
/// will also do where its files go; LinuxLocationValidator is on Linux. Pure questions of text; nothing is looked up on a disk.
///
/// Memory:  none, apart from the table of all validators.
/// Threads: questions from any. Validators are made while the library or the host starts, before
///          there is a second thread, and live for good: there is no way out of the table.
class KESTREL_API LocationValidator {
public:
    /// Whether the names of the location will do. This one asks IsLegal for each.
    virtual bool IsLegalContent(Location const & location) const;
    virtual ~LocationValidator();
    /// Whether each name is legal. Throws Mu::OutOfMemoryException where a name cannot be read.
    virtual bool IsLegal(RelativeLocation const & location) const;
    /// Whether model, scheme and user fit each other, and IsLegalContent.
    virtual bool IsLegal(Location const & location) const;
    virtual bool IsLegal(Name const & name) const = 0;
    virtual bool IsLegalCharacter(Mu::UniChar unit) const = 0;

    /// The validator of a platform, which the library keeps; null for a sign that has none.
    static LocationValidator const * Find(Mu::PlatformSign sign);

    LocationValidator(LocationValidator const &) = delete;
    LocationValidator & operator=(LocationValidator const &) = delete;

protected:
    /// Enters itself into the table. Throws Mu::OutOfMemoryException when the table cannot grow.
    explicit LocationValidator(Mu::PlatformSign sign);
};

} // namespace IO
