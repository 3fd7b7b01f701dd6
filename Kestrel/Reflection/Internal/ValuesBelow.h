#pragma once

#include <Kestrel/Reflection/Reflectable.h>

#include <memory>

namespace IO {

class ReflectableUse;

/// The values of things of one folder, one after another, each as GetAttributeValues of the object
/// returns them.
///
/// Where Reflectable's own GetAttributeValues is used, the tree is walked once, to the folder, and
/// no location is built for a thing.
///
/// Memory:  one block for the walk.
/// Threads: one, that of the use.
/// Failure: false as GetAttributeValues, and where there is no object; exceptions.
class ValuesBelow {
public:
    /// The use remains the caller's, and must outlive this.
    explicit ValuesBelow(ReflectableUse const & use);
    ~ValuesBelow();

    bool Get(Name const & name, Mu::Array<Reflectable::AttributeValue> * values);

private:
    class Folder;

    ReflectableUse const & use;
    std::unique_ptr<Folder> folder; // null where each thing needs a location
};

} // namespace IO
