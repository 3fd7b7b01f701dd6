#pragma once

#include <Kestrel/Reflection/Platform/MemoryRegions.h>
#include <Kestrel/Reflection/Reflectable.h>
#include <Kestrel/Root/Containers/HashSet.h>
#include <Kestrel/Root/Containers/HashTable.h>
#include <Kestrel/Root/Threads/Lock.h>

#include <memory>

namespace Mu {

/// The root as a tree: class records, counted blocks, and the address space with the blocks in it.
/// Registered as "MuRoot" for its lifetime.
///
/// Names of the class, allocation and region allocation levels hold pointers, which inspectors send
/// back. Each is looked up among the existing ones: an unknown one shows nothing.
///
/// A region that was listed and no longer exists is an empty folder: a host allocates while its
/// address space is walked or copied, which would otherwise hardly ever end.
///
/// Memory:  the regions that were listed last, the names of some thousands before, and the tree of
///          the one that was visited last.
/// Threads: any. One lock guards those.
class Reflection : public IO::Reflectable {
public:
    Reflection();
    ~Reflection() override;

    bool GetChildren(IO::RelativeLocation const & location, Array<IO::Name> * folders,
                     Array<IO::Name> * files) const override;
    bool GetAttributes(IO::RelativeLocation const & location,
                       Array<Attribute> * attributes) const override;
    bool GetEntries(CustomEntryGroup const * group, Array<Entry const *> const & entries,
                    Array<IO::Name> const & names, Array<IO::Name> * folders,
                    Array<IO::Name> * files) const override;
    bool GetEntryAttributeValues(CustomEntryGroup const * group, IO::Name const & name,
                                 Array<Entry const *> const & entries,
                                 Array<IO::Name> const & names,
                                 Array<AttributeValue> * values) const override;

    class RegionTree;

private:
    using Regions = Array<IO::MemoryRegion>;

    bool LiesInGoneRegion(IO::RelativeLocation const & location) const;
    void KeepGone(HashTable<UniString, Regions> const & listed) const;
    void ListRegions(Array<IO::Name> * folders) const;
    Regions FindRegions(IO::Name const & name) const;
    void GetRegionValues(IO::Name const & name, Array<AttributeValue> * values) const;
    void ListRegionAllocations(Array<IO::Name> const & names, Array<IO::Name> * folders,
                               Array<IO::Name> * files) const;
    void GetRegionAllocationValues(IO::Name const & name, Array<AttributeValue> * values) const;

    CustomEntryGroup * classGroup;
    CustomEntryGroup * regionGroup;
    CustomEntryGroup * allocationGroup;
    CustomEntryGroup * regionAllocationGroup;
    mutable ReentrantLock lock;                    // guards the following
    mutable HashTable<UniString, Regions> regions; // as listed last, by their names
    mutable HashSet<UniString> gone;               // listed before
    mutable HashSet<UniString> longGone;           // and before those
    mutable std::unique_ptr<RegionTree> regionTree;
    mutable UniString regionName; // of the tree
    mutable bool hasCustomAttributes = false;
};

} // namespace Mu
