// What the questions of a Reflectable do in a class that keeps a tree of entries.

#include <Kestrel/Reflection/Reflectable.h>

#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Root/OChannel.h>

#include <algorithm>

namespace IO {

namespace {

using Entry = Reflectable::Entry;
using Group = Reflectable::CustomEntryGroup;
using Collector = Reflectable::CollectorEntry;

// As many as usual trees need, so that questions take no memory for what they work with.
using EntryStack = Mu::ArrayFB<Entry const *, 32>;
using NameStack = Mu::ArrayFB<Name, 32>;
using NameList = Mu::ArrayFB<Name, 256>;

Entry const * FindChild(Entry const & entry, Name const & name) {
    Collector const * const collector = dynamic_cast<Collector const *>(&entry);
    return collector != nullptr ? collector->GetTarget() : entry.FindChild(name);
}

// The child that is listed by a hook: a group listens only where it is alone.
Group const * GetOnlyGroup(Entry const & entry) {
    return entry.GetChildCount() == 1 ? dynamic_cast<Group const *>(entry.GetChild(0)) : nullptr;
}

template <typename Stack>
Stack Reverse(Stack const & stack) {
    Stack reversed;
    for (unsigned int i = stack.GetSize(); i > 0; --i)
        reversed.Push(stack[i - 1]);
    return reversed;
}

// The names at the target, gathered from all branches below the entry where the search begins.
class Gathering {
public:
    Gathering(Reflectable const & reflectable, Entry const * target, EntryStack & entries,
              NameStack & names, Mu::Array<Name> * folders, Mu::Array<Name> * files)
        : reflectable(reflectable), target(target), entries(entries), names(names),
          folders(folders), files(files) {}

    void Visit(Entry const * from) {
        if (from == target) {
            TakeHit(*from);
            return;
        }
        if (depth == DeepestTree)
            return;
        ++depth;
        // Kept: it is never taken out again, so that the hooks see every entry visited so far.
        entries.Insert(0, from);
        if (Group const * const group = GetOnlyGroup(*from))
            depth <= RoomyLevels ? VisitRoomy(group) : VisitDeep(group);
        else
            for (unsigned int i = 0; i < from->GetChildCount(); ++i)
                Visit(from->GetChild(i));
        --depth;
    }

private:
    // Entries that lead back to themselves end here; the stack of the thread would be next.
    static constexpr unsigned int DeepestTree = 1000;
    // So far down the lists lie on the stack, some KiB each.
    static constexpr unsigned int RoomyLevels = 32;

    void TakeHit(Entry const & hit) {
        if (!names.IsEmpty())
            (hit.GetChildCount() > 0 ? folders : files)->Push(names[0]);
    }

    // Not in line, or every level would have the room of this one.
    [[gnu::noinline]] void VisitRoomy(Group const * group) {
        NameList groupFolders;
        NameList groupFiles;
        VisitNames(group, groupFolders, groupFiles);
    }
    [[gnu::noinline]] void VisitDeep(Group const * group) {
        Mu::Array<Name> groupFolders;
        Mu::Array<Name> groupFiles;
        VisitNames(group, groupFolders, groupFiles);
    }

    void VisitNames(Group const * group, Mu::Array<Name> & groupFolders,
                    Mu::Array<Name> & groupFiles) {
        reflectable.GetEntries(group, entries, names, &groupFolders, &groupFiles);
        for (Mu::Array<Name> const * list : {&groupFolders, &groupFiles})
            for (Name const & name : *list) {
                names.Insert(0, name);
                Visit(group);
                names.Delete(0);
            }
    }

    Reflectable const & reflectable;
    Entry const * target;
    EntryStack & entries; // the deepest first, as the hooks get them
    NameStack & names;
    Mu::Array<Name> * folders;
    Mu::Array<Name> * files;
    unsigned int depth = 0;
};

// A location's way through a tree.
class Walk {
public:
    Walk(Reflectable const & reflectable, Entry const * root) : reflectable(reflectable) {
        entries.Push(root);
    }

    // Goes all the way. False: it leads nowhere. With `looksUp`, a name of a dynamic level must be
    // one that is listed there now; a group takes any name by itself.
    bool Follow(RelativeLocation const & location, bool looksUp) {
        Name name;
        for (unsigned int i = 0; i < location.GetLength(); ++i)
            if (location.GetName(i, &name) != NoError || !Step(name, looksUp))
                return false;
        return location.GetStatus() == NoError;
    }

    Entry const & GetEntry() const { return *entries.GetLast(); }

    // What lies below the entry where the walk is.
    void List(Mu::Array<Name> * folders, Mu::Array<Name> * files) const {
        Entry const & entry = GetEntry();
        EntryStack deepestFirst = Reverse(entries);
        NameStack names = Reverse(groupNames);
        if (Collector const * const collector = dynamic_cast<Collector const *>(&entry))
            Gathering(reflectable, collector->GetTarget(), deepestFirst, names, folders, files)
                .Visit(collector->GetRoot());
        else if (Group const * const group = GetOnlyGroup(entry))
            reflectable.GetEntries(group, deepestFirst, names, folders, files);
        else
            for (unsigned int i = 0; i < entry.GetChildCount(); ++i)
                folders->Push(entry.GetChild(i)->GetName());
    }

    void GetValues(Group const & group, Mu::Array<Reflectable::AttributeValue> * values) {
        Name const name = groupNames.Pop();
        reflectable.GetEntryAttributeValues(&group, name, Reverse(entries), Reverse(groupNames),
                                            values);
    }

private:
    bool Step(Name const & name, bool looksUp) {
        Entry const * const child = FindChild(GetEntry(), name);
        if (child == nullptr)
            return false;
        bool const isGroup = dynamic_cast<Group const *>(child) != nullptr;
        if (isGroup && looksUp && !IsListed(name))
            return false;
        entries.Push(child);
        if (isGroup)
            groupNames.Push(name);
        return true;
    }

    bool IsListed(Name const & name) const {
        NameList folders;
        NameList files;
        List(&folders, &files);
        return folders.Contains(name) || files.Contains(name);
    }

    Reflectable const & reflectable;
    EntryStack entries;   // the root first
    NameStack groupNames; // of the groups on the way; fixed entries need none
};

// A column's name as a line of content begins, as wide as all of them.
void WriteLine(Mu::OChannel & channel, Mu::UniString const & name, unsigned int width,
               Reflectable::AttributeValue const & value) {
    Mu::UniString begin(name);
    begin.Append(":");
    begin.Pad(width, ' ');
    channel << begin.ToCStr().GetText() << value.ToString().ToCStr().GetText() << "\r\n";
}

} // namespace

bool Reflectable::GetChildren(RelativeLocation const & location, Mu::Array<Name> * folders,
                              Mu::Array<Name> * files) const {
    if (Mu::IsNull(location) || folders == nullptr || files == nullptr)
        return false;
    folders->Clear(true);
    files->Clear(true);
    if (root == nullptr)
        return true;
    Walk walk(*this, root);
    if (!walk.Follow(location, true))
        return false;
    walk.List(folders, files);
    return true;
}

bool Reflectable::GetAttributes(RelativeLocation const & location,
                                Mu::Array<Attribute> * attributes) const {
    if (Mu::IsNull(location) || attributes == nullptr)
        return false;
    attributes->Clear(true);
    if (root == nullptr)
        return true;
    Walk walk(*this, root);
    if (!walk.Follow(location, false))
        return false;
    Entry const * shown = nullptr;
    if (walk.GetEntry().GetChildCount() > 0)
        shown = walk.GetEntry().GetChild(0);
    else if (auto const * const collector = dynamic_cast<CollectorEntry const *>(&walk.GetEntry()))
        shown = collector->GetTarget();
    for (unsigned int i = 0; shown != nullptr && i < shown->GetAttributeCount(); ++i)
        attributes->Push(shown->GetAttribute(i));
    return true;
}

bool Reflectable::GetAttributeValues(RelativeLocation const & location,
                                     Mu::Array<AttributeValue> * values) const {
    if (Mu::IsNull(location) || values == nullptr)
        return false;
    values->Clear(true);
    if (root == nullptr)
        return true;
    Walk walk(*this, root);
    if (!walk.Follow(location, false))
        return false;
    if (auto const * const group = dynamic_cast<CustomEntryGroup const *>(&walk.GetEntry()))
        walk.GetValues(*group, values);
    return true;
}

bool Reflectable::GetContent(RelativeLocation const & location, Mu::OChannel & channel) const {
    if (Mu::IsNull(location) || Mu::IsNull(channel))
        return false;
    if (location.IsEmpty())
        return location.GetStatus() == NoError;
    RelativeLocation parent(location);
    if (parent.DeleteLastName() != NoError)
        return false;
    Mu::ArrayFB<Attribute, 32> attributes;
    if (!GetAttributes(parent, &attributes))
        return false;
    if (attributes.IsEmpty())
        return true;
    Mu::ArrayFB<AttributeValue, 32> values;
    if (!GetAttributeValues(location, &values))
        return false;
    unsigned int width = 0;
    for (Attribute const & attribute : attributes)
        width = std::max(width, attribute.name.GetLength());
    for (unsigned int i = 0; i < std::min(values.GetSize(), attributes.GetSize()); ++i)
        WriteLine(channel, attributes[i].name, width + 2, values[i]);
    return true;
}

bool Reflectable::GetEntries(CustomEntryGroup const *, Mu::Array<Entry const *> const &,
                             Mu::Array<Name> const &, Mu::Array<Name> * folders,
                             Mu::Array<Name> * files) const {
    if (folders != nullptr && files != nullptr) {
        folders->Clear(true);
        files->Clear(true);
    }
    return false;
}

bool Reflectable::GetEntryAttributeValues(CustomEntryGroup const *, Name const &,
                                          Mu::Array<Entry const *> const &, Mu::Array<Name> const &,
                                          Mu::Array<AttributeValue> * values) const {
    if (values != nullptr)
        values->Clear(true);
    return false;
}

} // namespace IO
