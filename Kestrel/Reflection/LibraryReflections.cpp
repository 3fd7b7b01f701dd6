#include <Kestrel/Reflection/Internal/LibraryReflections.h>

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/Location/Internal/AddressTree.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/ReflectionManager.h>

namespace IO {

namespace {

void Register(Reflectable * reflectable, char const * name) {
    ReflectionManager::Register(RelativeLocation(RelativeLocation(Name("Kestrel")), Name(name)),
                                reflectable, false);
}

// Only the last name of a location is used. False: there is no such node.
bool FindNode(AddressTree const & tree, RelativeLocation const & location, unsigned int * node) {
    *node = Reflectable::ToULong(Reflectable::GetLastName(location));
    return tree.GetRoot() != NoIndex && tree.GetNodes().IsLive(*node);
}

void ListNode(NodeTable const & nodes, unsigned int node, Mu::Array<Name> * folders,
              Mu::Array<Name> * files) {
    (nodes[node].leftChild != NoIndex ? folders : files)->Push(Reflectable::ToName(node));
}

} // namespace

AddressTreeReflection::AddressTreeReflection() {
    Register(this, "AddressTree");
}

AddressTreeReflection::~AddressTreeReflection() {
    ReflectionManager::Unregister(this);
}

bool AddressTreeReflection::GetChildren(RelativeLocation const & location,
                                        Mu::Array<Name> * folders, Mu::Array<Name> * files) const {
    constexpr unsigned int LongestLocation = 50;
    if (Mu::IsNull(location) || folders == nullptr || files == nullptr ||
        location.GetLength() > LongestLocation)
        return false;
    AddressTree::Turn const tree;
    NodeTable const & nodes = tree->GetNodes();
    if (tree->GetRoot() == NoIndex)
        return false;
    if (location.IsEmpty()) {
        ListNode(nodes, tree->GetRoot(), folders, files);
        return true;
    }
    unsigned int node;
    if (!FindNode(*tree, location, &node))
        return false;
    for (unsigned int child = nodes[node].leftChild; child != NoIndex; child = nodes[child].next)
        ListNode(nodes, child, folders, files);
    return true;
}

bool AddressTreeReflection::GetAttributes(RelativeLocation const & location,
                                          Mu::Array<Attribute> * attributes) const {
    if (Mu::IsNull(location) || attributes == nullptr || AddressTree::Turn()->GetRoot() == NoIndex)
        return false;
    for (char const * name : {"name", "parent", "next", "left child", "reference counter"})
        attributes->Emplace(name, Attribute::String);
    return true;
}

// The counter is the stored one plus the copies at the node that it does not include yet: updating
// all counters would cost a walk through the whole tree for each node. The root is only one node,
// and copies at any other may be copies of it as well.
bool AddressTreeReflection::GetAttributeValues(RelativeLocation const & location,
                                               Mu::Array<AttributeValue> * values) const {
    if (Mu::IsNull(location) || values == nullptr)
        return false;
    AddressTree::Turn const tree;
    unsigned int node;
    if (!FindNode(*tree, location, &node))
        return false;
    if (node == tree->GetRoot())
        tree->SynchronizeCounters();
    NodeTable::Record const & record = tree->GetNodes()[node];
    NodeTable::Copies const copies = tree->GetNodes().GetNote(node).copies.load();
    Mu::UniString text;
    if (record.name != NoIndex)
        tree->ReadStoredName(node, text);
    values->Emplace(text);
    values->Emplace(record.parent);
    values->Emplace(record.next);
    values->Emplace(record.leftChild);
    values->Emplace(record.referenceCounter + NodeTable::CountAlone(copies) +
                    NodeTable::CountWithRoot(copies));
    return true;
}

MountReflection::MountReflection() {
    Register(this, "Virtual file systems");
}

MountReflection::~MountReflection() {
    ReflectionManager::Unregister(this);
}

namespace {

struct MountPaths {
    Mu::Array<Location> places;

    static bool Found(Location const & place, void * paths) {
        static_cast<MountPaths *>(paths)->places.Push(place);
        return true;
    }
};

struct FolderContent {
    Mu::Array<Name> folders;
    Mu::Array<Name> files;

    static bool Found(Folder const &, Name const & name, bool isFolder, void * content) {
        FolderContent & lists = *static_cast<FolderContent *>(content);
        (isFolder ? lists.folders : lists.files).Push(name);
        return true;
    }
};

} // namespace

bool MountReflection::GetChildren(RelativeLocation const & location, Mu::Array<Name> * folders,
                                  Mu::Array<Name> * files) const {
    if (Mu::IsNull(location) || folders == nullptr || files == nullptr)
        return false;
    folders->Clear(true);
    files->Clear(true);
    if (location.IsEmpty()) {
        MountPaths paths;
        fileSystem.EnumerateVirtualMountPoints(MountPaths::Found, &paths);
        Mu::UniString path;
        for (Location const & place : paths.places)
            if (place.ToPath(&path) == NoError)
                folders->Emplace(path);
        return true;
    }
    Location place(GetName(location, 0).ToString());
    RelativeLocation rest(location);
    if (rest.DeleteName(0) != NoError)
        return false;
    if (!rest.IsEmpty() && place.AppendToLocal(rest) != NoError)
        return false;
    Folder const folder(place);
    FolderContent content;
    if (folder.Enumerate(FolderContent::Found, &content) != NoError)
        return false;
    folders->Append(content.folders.GetData(), content.folders.GetSize());
    files->Append(content.files.GetData(), content.files.GetSize());
    return true;
}

} // namespace IO
