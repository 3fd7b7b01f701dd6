#pragma once

#include <Kestrel/Reflection/Reflectable.h>

#include <memory>

namespace IO {

class ReflectableUse;

/// The values of one thing after another in the same folder, each as GetAttributeValues of the object
/// gives them.
///
/// Where that is the one of Reflectable, the tree is walked once, to the folder, and no thing gets a
/// location of its own.
///
/// Memory:  one block for the walk.
/// Threads: one, that of the use.
/// Failure: false as GetAttributeValues, and where there is no object; exceptions.
class ValuesBelow {
public:
    /// The use stays the caller's, for as long as this.
    explicit ValuesBelow(ReflectableUse const & use);
    ~ValuesBelow();

    bool Get(Name const & name, Mu::Array<Reflectable::AttributeValue> * values);

private:
    class Folder;

    ReflectableUse const & use;
    std::unique_ptr<Folder> folder; // null where each thing needs a location
};

} // namespace IO
