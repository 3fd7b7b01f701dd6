#pragma once

#include <Kestrel/Reflection/Reflectable.h>

namespace IO {

/// The nodes of the address tree, by their indices. Registered as "Kestrel", "AddressTree".
///
/// Threads: any. Each query takes the lock of the tree separately.
class AddressTreeReflection : public Reflectable {
public:
    AddressTreeReflection();
    ~AddressTreeReflection() override;

    // Kept: the lists are not cleared first.
    bool GetChildren(RelativeLocation const & location, Mu::Array<Name> * folders,
                     Mu::Array<Name> * files) const override;
    bool GetAttributes(RelativeLocation const & location,
                       Mu::Array<Attribute> * attributes) const override;
    bool GetAttributeValues(RelativeLocation const & location,
                            Mu::Array<AttributeValue> * values) const override;
};

/// The mounted file systems, by their paths, and their contents. Registered as "Kestrel", "Virtual
/// file systems".
///
/// Threads: any. The mounts are read under the lock of IO::fileSystem.
class MountReflection : public Reflectable {
public:
    MountReflection();
    ~MountReflection() override;

    bool GetChildren(RelativeLocation const & location, Mu::Array<Name> * folders,
                     Mu::Array<Name> * files) const override;
};

} // namespace IO
