#pragma once

#include <Kestrel/Reflection/Reflectable.h>

namespace FTM {

/// The catalogue of file types, by the numbers of groups and types. Registered as "Kestrel",
/// "FileTypeManager".
///
/// Threads: any. Each query of the catalogue takes its lock separately, so that a walk may find
///          changes made meanwhile, and ends there.
class Reflection : public IO::Reflectable {
public:
    Reflection();
    ~Reflection() override;

    bool GetChildren(IO::RelativeLocation const & location, Mu::Array<IO::Name> * folders,
                     Mu::Array<IO::Name> * files) const override;
    bool GetAttributes(IO::RelativeLocation const & location,
                       Mu::Array<Attribute> * attributes) const override;
    bool GetAttributeValues(IO::RelativeLocation const & location,
                            Mu::Array<AttributeValue> * values) const override;
};

} // namespace FTM
