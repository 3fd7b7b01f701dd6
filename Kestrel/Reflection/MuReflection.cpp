#include <Kestrel/Reflection/Internal/MuReflection.h>

#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/ReflectionManager.h>
#include <Kestrel/Root/Memory/AllocationTree.h>
#include <Kestrel/Root/Memory/SharedPtr.h>
#include <Kestrel/Root/Objects/ClassInfo.h>
#include <Kestrel/Root/Text/Concatenation.h>
#include <Kestrel/Root/Text/String.h>
#include <Kestrel/Root/Values/Guid.h>

#include <algorithm>

namespace Mu {

namespace {

using IO::MemoryRegion;
using IO::Name;
using IO::Reflectable;
using Values = Array<Reflectable::AttributeValue>;

// Names with pointers in them.

Name ToNodeName(UniString text, void const * node) {
    text.ReplaceAll(':', '.');
    text.ReplaceAll('\\', '.');
    return UniString(text + " {" + Reflectable::ToName(node).ToString() + "}");
}

void * ToNode(Name const & name) {
    return const_cast<void *>(
        Reflectable::ToPointer(UniString(name.ToString().GetSubstring('{', '}'))));
}

UniString GetNodeText(void const * node) {
    String text;
    unsigned int size = 0;
    unsigned int count = 0;
    AllocationTree::GetLeafNodeInfo(node, text, size, count);
    return text.ToCStr();
}

// Regions. Their names keep 32 bits of the numbers.

Name ToRegionName(MemoryRegion const & region) {
    constexpr char const * letters[] = {"C", "R", "F"};
    return UniString::Printf("0x%x,%d,%s", static_cast<unsigned int>(region.base),
                             static_cast<int>(region.size),
                             letters[static_cast<unsigned int>(region.state)]);
}

template <typename Take>
void VisitRegions(Take take) {
    struct Visitor : IO::MemoryRegionVisitor {
        Take & take;
        explicit Visitor(Take & take) : take(take) {}
        bool Visit(MemoryRegion const & region) override {
            take(region);
            return true;
        }
    } visitor(take);
    IO::EnumerateMemoryRegions(visitor);
}

template <typename Visit>
void EnumerateBlocks(MemoryRegion const & region, Visit visit) {
    struct Blocks : AllocationTree::UserBlockEnumerator {
        Visit & visit;
        explicit Blocks(Visit & visit) : visit(visit) {}
        bool Block(unsigned int size, void * node) override {
            visit(size, node);
            return true;
        }
    } blocks(visit);
    AllocationTree::EnumerateUserBlocks(
        reinterpret_cast<void *>(static_cast<std::uintptr_t>(region.base)),
        static_cast<unsigned int>(std::min<unsigned long long>(region.size, 0xFFFFFFFFu)), blocks);
}

// Three parts between the commas of a region's name.
struct RegionParts {
    UniString parts[3];
    explicit RegionParts(Name const & name) {
        UniString const & text = name.ToString();
        unsigned int from = 0;
        for (UniString & part : parts) {
            unsigned int const comma = text.FindFirst(',', from);
            part = text.GetSubstring(from, comma == NotFound ? NotFound : comma - from);
            from = comma == NotFound ? text.GetLength() : comma + 1;
        }
    }
};

// Classes.

template <typename Visit>
void EnumerateClasses(Visit visit) {
    struct Classes : ClassInfoEnumerator {
        Visit & visit;
        explicit Classes(Visit & visit) : visit(visit) {}
        bool ClassInfoFound(ClassInfo const & info) override { return visit(info); }
    } classes(visit);
    classManager.EnumerateClassInfos(&classes);
}

template <typename Visit>
void EnumerateProperties(Visit visit) {
    struct Properties : CustomClassProperty::InstanceEnumerator {
        Visit & visit;
        explicit Properties(Visit & visit) : visit(visit) {}
        bool InstanceFound(CustomClassProperty const & property) override {
            visit(property);
            return true;
        }
    } properties(visit);
    CustomClassProperty::EnumerateInstances(&properties);
}

UniString GetBaseNames(ClassInfo const & info) {
    struct Bases : ClassInfo::BaseClassEnumerator {
        UniString names;
        bool ClassInfoFound(ClassInfo const & base) override {
            if (!names.IsEmpty())
                names.Append(", ");
            names.Append(base.GetName());
            return true;
        }
    } bases;
    info.EnumerateBaseClasses(&bases);
    return bases.names;
}

UniString ToText(ClassVersion version) {
    return UniString::Printf("%u.%u", static_cast<unsigned int>(version.GetMainVersion()),
                             static_cast<unsigned int>(version.GetSubVersion()));
}

void GetClassValues(ClassInfo const & info, Values * values) {
    char id[Guid::TextSize];
    info.GetId().ConvertToString(id);
    values->Push(info.GetName());
    values->Push(UniString::Printf("0x%08X%08X", info.GetType().first, info.GetType().second));
    values->Push(id);
    values->Push(ToText(info.GetVersion()));
    values->Push(ToText(info.GetOldVersion()));
    values->Push(GetBaseNames(info));
    values->Push(info.HasConstructor());
    // Kept: an unsigned value, though the column is called an integer.
    values->Push(static_cast<unsigned int>(info.GetObjectDefaults()));
    // Properties of other kinds have no value, so that the values after them move up.
    EnumerateProperties([&](CustomClassProperty const & property) {
        if (property.GetValueType() != 0)
            return;
        unsigned int const value = info.GetCustomPropertyValue(property).GetValueUInt32();
        char const * const text = property.GetValueName(value);
        values->Push(text != nullptr ? UniString(text) : UniString::Printf("%u", value));
    });
}

// Everything is read during the visit: the module of a class may be unloaded afterwards.
void GetClassValues(Name const & name, Values * values) {
    void const * const wanted = Reflectable::ToPointer(name);
    EnumerateClasses([&](ClassInfo const & info) {
        if (&info == wanted)
            GetClassValues(info, values);
        return &info != wanted;
    });
}

// Allocations.

void ListAllocations(Array<Name> const & names, Array<Name> * folders, Array<Name> * files) {
    struct Lister : AllocationTree::Enumerator {
        Array<Name> * folders;
        Array<Name> * files;
        bool Leaf(void * node) override {
            files->Push(ToNodeName(GetNodeText(node), node));
            return true;
        }
        bool SubNode(void * node) override {
            folders->Push(ToNodeName(GetNodeText(node), node));
            return true;
        }
    } lister;
    lister.folders = folders;
    lister.files = files;
    void * const node = names.IsEmpty() ? nullptr : ToNode(names[0]);
    // A null pointer is the root of the tree, but a name without a pointer denotes nothing.
    if (names.IsEmpty() || node != nullptr)
        AllocationTree::EnumerateNode(node, lister);
}

void GetAllocationValues(Name const & name, Values * values) {
    void const * const node = ToNode(name);
    String text;
    unsigned int size = 0;
    unsigned int count = 0;
    if (node != nullptr)
        AllocationTree::GetLeafNodeInfo(node, text, size, count);
    values->Push(UniString::Printf("%u", size));
    values->Push(UniString::Printf("%u", count));
}

} // namespace

// The blocks of one region, grouped like the tree of all blocks.
class Reflection::RegionTree : public Allocated {
public:
    struct Base : SharedObject {
        Base * parent = nullptr; // null at the root
        unsigned int num = 0;    // of the blocks here and below
        unsigned long long size = 0;
        void * id = nullptr; // the node of the tree of all blocks; null at the root
    };
    struct Leaf : Base {};
    struct Node : Base {
        HashTable<void *, SharedPtr<Node>> subNodes;
        HashTable<void *, SharedPtr<Leaf>> leaves;
    };

    explicit RegionTree(Array<MemoryRegion> const & regions) : root(new Node) {
        known.Insert(root.Get(), root.Get());
        for (MemoryRegion const & region : regions)
            EnumerateBlocks(region, [&](unsigned int size, void * node) { Add(size, node); });
    }

    Node const & GetRoot() const { return *root; }
    /// Null: there is no such node in this tree, or it is a leaf.
    Node const * FindNode(void const * handedBack) const {
        Node * const * const found = known.Find(handedBack);
        return found == nullptr ? nullptr : *found;
    }
    static Name GetName(Base const & base) {
        return ToNodeName(base.id == nullptr ? UniString("Root") : GetNodeText(base.id), &base);
    }

private:
    static constexpr unsigned int DeepestChain = 1027;

    void Add(unsigned int size, void * blockNode) {
        void * chain[DeepestChain];
        unsigned int length = 0;
        auto * node = static_cast<AllocationTree::Node *>(blockNode);
        for (; node != nullptr && length < DeepestChain; node = node->parent)
            chain[length++] = node;
        if (length == 0)
            return;
        Node * at = root.Get();
        for (unsigned int i = length - 1; i > 0; --i)
            at = Enter(at, chain[i]);
        SharedPtr<Leaf> & leaf = at->leaves[chain[0]];
        if (leaf.IsNull())
            leaf = Make<Leaf>(at, chain[0]);
        for (Base * base = leaf.Get(); base != nullptr; base = base->parent) {
            ++base->num;
            base->size += size;
        }
    }

    Node * Enter(Node * parent, void * id) {
        SharedPtr<Node> & child = parent->subNodes[id];
        if (child.IsNull()) {
            child = Make<Node>(parent, id);
            known.Insert(child.Get(), child.Get());
        }
        return child.Get();
    }

    template <typename Kind>
    static SharedPtr<Kind> Make(Node * parent, void * id) {
        SharedPtr<Kind> made(new Kind);
        made->parent = parent;
        made->id = id;
        return made;
    }

    SharedPtr<Node> root;
    HashTable<void const *, Node *> known; // by their own addresses
};

Reflection::Reflection() {
    classGroup = CreateCustomEntryGroup();
    regionGroup = CreateCustomEntryGroup();
    allocationGroup = CreateCustomEntryGroup();
    regionAllocationGroup = CreateCustomEntryGroup();
    StaticEntry * const classes = CreateStaticEntry("ClassInfos");
    StaticEntry * const memory = CreateStaticEntry("Memory");
    StaticEntry * const allocations = CreateStaticEntry("AllocationTree (complete)");
    StaticEntry * const space = CreateStaticEntry("AddressSpace");

    for (char const * name : {"name", "type", "guid", "version", "oldVersion", "base classes"})
        AddAttribute(classGroup, name, Attribute::String);
    AddAttribute(classGroup, "has constructor", Attribute::Boolean);
    AddAttribute(classGroup, "object defaults", Attribute::Integer);
    for (char const * name :
         {"begin address", "address space size", "status", "used size", "percentage of usage"})
        AddAttribute(regionGroup, name, Attribute::String);
    for (char const * name : {"size", "num"})
        AddAttribute(allocationGroup, name, Attribute::String);
    CopyAttributes(regionAllocationGroup, allocationGroup);

    RootEntry * const root = CreateRootEntry();
    Connect(root, classes);
    Connect(classes, classGroup);
    Connect(root, memory);
    Connect(memory, allocations);
    Connect(allocations, allocationGroup);
    Connect(allocationGroup, allocationGroup);
    Connect(memory, space);
    Connect(space, regionGroup);
    Connect(regionGroup, regionAllocationGroup);
    Connect(regionAllocationGroup, regionAllocationGroup);
    IO::ReflectionManager::Register(IO::RelativeLocation(Name("MuRoot")), this, false);
}

Reflection::~Reflection() {
    IO::ReflectionManager::Unregister(this);
}

// An inspector over TCP gets the same for a place that does not exist.
bool Reflection::GetChildren(IO::RelativeLocation const & location, Array<Name> * folders,
                             Array<Name> * files) const {
    return Reflectable::GetChildren(location, folders, files) ||
           (folders != nullptr && files != nullptr && LiesInGoneRegion(location));
}

bool Reflection::LiesInGoneRegion(IO::RelativeLocation const & location) const {
    if (IsNull(location) || GetName(location, 0) != "Memory" ||
        GetName(location, 1) != "AddressSpace")
        return false;
    Name const region = GetName(location, 2);
    UniString const & name = region.ToString();
    LockGuard guard(lock);
    return !regions.Contains(name) && (gone.Contains(name) || longGone.Contains(name));
}

// The properties of hosts exist at the first query, but not yet in the constructor. All queries
// pass through the lock, so that none reads the columns while they grow.
bool Reflection::GetAttributes(IO::RelativeLocation const & location,
                               Array<Attribute> * attributes) const {
    {
        LockGuard guard(lock);
        if (!hasCustomAttributes) {
            hasCustomAttributes = true;
            EnumerateProperties([&](CustomClassProperty const & property) {
                AddAttribute(classGroup, property.GetName(), Attribute::String);
            });
        }
    }
    return Reflectable::GetAttributes(location, attributes);
}

bool Reflection::GetEntries(CustomEntryGroup const * group, Array<Entry const *> const &,
                            Array<Name> const & names, Array<Name> * folders,
                            Array<Name> * files) const {
    if (group == classGroup)
        EnumerateClasses([&](ClassInfo const & info) {
            files->Push(ToName(&info));
            return true;
        });
    else if (group == allocationGroup)
        ListAllocations(names, folders, files);
    else if (group == regionGroup)
        ListRegions(folders);
    else if (group == regionAllocationGroup)
        ListRegionAllocations(names, folders, files);
    else
        return false;
    return true;
}

// Some regions share a name, which is listed once: a folder contains no name twice.
void Reflection::ListRegions(Array<Name> * folders) const {
    HashTable<UniString, Regions> listed;
    VisitRegions([&](MemoryRegion const & region) {
        Name const name = ToRegionName(region);
        Regions & same = listed[name.ToString()];
        if (same.IsEmpty())
            folders->Push(name);
        same.Push(region);
    });
    LockGuard guard(lock);
    KeepGone(listed);
    regions = std::move(listed);
}

void Reflection::KeepGone(HashTable<UniString, Regions> const & listed) const {
    constexpr unsigned int Most = 4096;
    for (auto const & region : regions)
        if (!listed.Contains(region.key))
            gone.Insert(region.key);
    if (gone.GetSize() < Most)
        return;
    longGone = std::move(gone);
    gone.Clear();
}

// Their full numbers are those of the last list. A region that is not in it is searched for among
// all.
Reflection::Regions Reflection::FindRegions(Name const & name) const {
    {
        LockGuard guard(lock);
        if (Regions const * const found = regions.Find(name.ToString()))
            return *found;
    }
    Regions found;
    VisitRegions([&](MemoryRegion const & region) {
        if (ToRegionName(region).ToString() == name.ToString())
            found.Push(region);
    });
    return found;
}

void Reflection::GetRegionValues(Name const & name, Values * values) const {
    RegionParts const region(name);
    for (UniString const & part : region.parts)
        values->Push(part);
    if (region.parts[2] != "C") {
        values->Push("0");
        values->Push("0.0");
        return;
    }
    unsigned long long used = 0;
    unsigned long long all = 0;
    for (MemoryRegion const & found : FindRegions(name)) {
        all += found.size;
        EnumerateBlocks(found, [&](unsigned int size, void *) { used += size; });
    }
    values->Push(UniString::Printf("%d", static_cast<int>(used)));
    double const percentage =
        all == 0 ? 0 : static_cast<float>(used) * 100.0 / static_cast<float>(all);
    values->Push(Reflectable::ToName(percentage).ToString());
}

void Reflection::ListRegionAllocations(Array<Name> const & names, Array<Name> * folders,
                                       Array<Name> * files) const {
    if (names.IsEmpty())
        return;
    LockGuard guard(lock);
    if (names.GetSize() == 1) {
        if (regionTree == nullptr || regionName != names[0].ToString()) {
            regionTree.reset();
            regionTree = std::make_unique<RegionTree>(FindRegions(names[0]));
            regionName = names[0].ToString();
        }
        folders->Push(RegionTree::GetName(regionTree->GetRoot()));
        return;
    }
    RegionTree::Node const * const node =
        regionTree == nullptr ? nullptr : regionTree->FindNode(ToNode(names[0]));
    if (node == nullptr)
        return;
    for (auto const & leaf : node->leaves)
        if (leaf.value->num != 0 || leaf.value->size != 0)
            files->Push(RegionTree::GetName(*leaf.value));
    for (auto const & below : node->subNodes)
        if (below.value->num != 0 || below.value->size != 0)
            folders->Push(RegionTree::GetName(*below.value));
}

bool Reflection::GetEntryAttributeValues(CustomEntryGroup const * group, Name const & name,
                                         Array<Entry const *> const &, Array<Name> const &,
                                         Values * values) const {
    if (group == classGroup)
        GetClassValues(name, values);
    else if (group == allocationGroup)
        GetAllocationValues(name, values);
    else if (group == regionGroup)
        GetRegionValues(name, values);
    else if (group == regionAllocationGroup)
        GetRegionAllocationValues(name, values);
    else
        return false;
    return true;
}

// A leaf has no values here.
void Reflection::GetRegionAllocationValues(Name const & name, Values * values) const {
    LockGuard guard(lock);
    RegionTree::Node const * const node =
        regionTree == nullptr ? nullptr : regionTree->FindNode(ToNode(name));
    if (node == nullptr)
        return;
    values->Push(UniString::Printf("%u", static_cast<unsigned int>(node->size)));
    values->Push(UniString::Printf("%u", node->num));
}

} // namespace Mu
