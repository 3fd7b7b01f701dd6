// The queries of a Reflectable in a class that keeps a tree of entries.

#include <Kestrel/Reflection/Reflectable.h>

#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Internal/ReflectableUse.h>
#include <Kestrel/Reflection/Internal/ValuesBelow.h>
#include <Kestrel/Root/Streams/OChannel.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace IO {

namespace {

using Entry = Reflectable::Entry;
using Group = Reflectable::CustomEntryGroup;
using Collector = Reflectable::CollectorEntry;

// Large enough for usual trees, so that queries allocate no working memory.
using EntryStack = Mu::ArrayFB<Entry const *, 32>;
using NameStack = Mu::ArrayFB<Name, 32>;
using NameList = Mu::ArrayFB<Name, 256>;

Entry const * FindChild(Entry const & entry, Name const & name) {
    Collector const * const collector = dynamic_cast<Collector const *>(&entry);
    return collector != nullptr ? collector->GetTarget() : entry.FindChild(name);
}

// The child that is listed by a hook: a group lists its names only if it is the only child.
Group const * GetOnlyGroup(Entry const & entry) {
    return entry.GetChildCount() == 1 ? dynamic_cast<Group const *>(entry.GetChild(0)) : nullptr;
}

// The names at the target, collected from all branches below the entry where the search starts.
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
        // Kept: it is never removed again, so that the hooks see every entry visited so far.
        entries.Insert(0, from);
        if (Group const * const group = GetOnlyGroup(*from))
            depth <= RoomyLevels ? VisitRoomy(group) : VisitDeep(group);
        else
            for (unsigned int i = 0; i < from->GetChildCount(); ++i)
                Visit(from->GetChild(i));
        --depth;
    }

private:
    // Limits entries that lead back to themselves, which would exhaust the stack of the thread.
    static constexpr unsigned int DeepestTree = 1000;
    // Down to this level the lists are on the stack, some KiB each.
    static constexpr unsigned int RoomyLevels = 32;

    void TakeHit(Entry const & hit) {
        if (!names.IsEmpty())
            (hit.GetChildCount() > 0 ? folders : files)->Push(names[0]);
    }

    // Not inlined, or every level would need the stack space of this one.
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

// The path of a location through a tree. The stacks are as passed to the hooks, the deepest first.
class Walk {
public:
    Walk(Reflectable const & reflectable, Entry const * root) : reflectable(reflectable) {
        entries.Push(root);
    }

    // Follows the whole location. False: it leads nowhere. With `looksUp`, a name of a dynamic
    // level must be listed there now; a group by itself accepts any name.
    bool Follow(RelativeLocation const & location, bool looksUp) {
        Name name;
        for (unsigned int i = 0; i < location.GetLength(); ++i)
            if (location.GetName(i, &name) != NoError || !Step(name, looksUp))
                return false;
        return location.GetStatus() == NoError;
    }

    Entry const & GetEntry() const { return *entries[0]; }

    // Lists the names below the current entry.
    void List(Mu::Array<Name> * folders, Mu::Array<Name> * files) const {
        Entry const & entry = GetEntry();
        if (Collector const * const collector = dynamic_cast<Collector const *>(&entry)) {
            EntryStack visited(entries);
            NameStack names(groupNames);
            Gathering(reflectable, collector->GetTarget(), visited, names, folders, files)
                .Visit(collector->GetRoot());
        } else if (Group const * const group = GetOnlyGroup(entry))
            reflectable.GetEntries(group, entries, groupNames, folders, files);
        else
            for (unsigned int i = 0; i < entry.GetChildCount(); ++i)
                folders->Push(entry.GetChild(i)->GetName());
    }

    // The values of the current thing; only things in a group have any.
    void GetValues(Mu::Array<Reflectable::AttributeValue> * values) {
        Group const * const group = dynamic_cast<Group const *>(&GetEntry());
        if (group == nullptr)
            return;
        Name const name = std::move(groupNames[0]);
        groupNames.Delete(0);
        reflectable.GetEntryAttributeValues(group, name, entries, groupNames, values);
    }

    // The values of a thing one step further, to which the walk does not move. False: there is
    // none.
    bool GetValuesBelow(Name const & name, Mu::Array<Reflectable::AttributeValue> * values) {
        if (belowEntries.IsEmpty()) {
            collector = dynamic_cast<Collector const *>(&GetEntry());
            belowEntries = entries;
            belowEntries.Insert(0, nullptr);
        }
        Entry const * const child =
            collector != nullptr ? collector->GetTarget() : GetEntry().FindChild(name);
        if (child == nullptr)
            return false;
        if (child != belowEntries[0]) {
            belowEntries[0] = child;
            belowGroup = dynamic_cast<Group const *>(child);
        }
        if (belowGroup != nullptr)
            reflectable.GetEntryAttributeValues(belowGroup, name, belowEntries, groupNames, values);
        return true;
    }

private:
    bool Step(Name const & name, bool looksUp) {
        Entry const * const child = FindChild(GetEntry(), name);
        if (child == nullptr)
            return false;
        bool const isGroup = dynamic_cast<Group const *>(child) != nullptr;
        if (isGroup && looksUp && !IsListed(name))
            return false;
        entries.Insert(0, child);
        if (isGroup)
            groupNames.Insert(0, name);
        return true;
    }

    bool IsListed(Name const & name) const {
        NameList folders;
        NameList files;
        List(&folders, &files);
        return folders.Contains(name) || files.Contains(name);
    }

    Reflectable const & reflectable;
    EntryStack entries;
    NameStack groupNames; // of the groups on the path; fixed entries need none
    // One step further, for things whose values are read without moving there.
    Collector const * collector = nullptr; // the current entry, if it is one
    EntryStack belowEntries;
    Group const * belowGroup = nullptr; // the first of them, if it is one
};

// Writes a line of content: the column's name, padded to the common width, and the value.
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
    walk.GetValues(values);
    return true;
}

class ValuesBelow::Folder : public Mu::Allocated {
public:
    Folder(Reflectable const & reflectable, Entry const * root, RelativeLocation const & location)
        : walk(reflectable, root), isThere(walk.Follow(location, false)) {}

    bool GetValues(Name const & name, Mu::Array<Reflectable::AttributeValue> * values) {
        return isThere && walk.GetValuesBelow(name, values);
    }

private:
    Walk walk;
    bool const isThere;
};

ValuesBelow::ValuesBelow(ReflectableUse const & use) : use(use) {
    if (use.Get() != nullptr && use.WalksTree() && use.Get()->root != nullptr)
        folder.reset(new Folder(*use.Get(), use.Get()->root, use.GetRest()));
}

ValuesBelow::~ValuesBelow() = default;

// Whether a location keeps the whole name, and not only a part of it.
static bool IsKeptWhole(Mu::UniString const & text) {
    std::u16string_view const units = text;
    return !units.empty() && units[0] != u':' && units.find(u'\0') == units.npos;
}

bool ValuesBelow::Get(Name const & name, Mu::Array<Reflectable::AttributeValue> * values) {
    values->Clear(true);
    if (folder != nullptr && IsKeptWhole(name))
        return folder->GetValues(name, values);
    RelativeLocation const thing(use.GetRest(), name);
    return use.Get() != nullptr && !thing.IsEmpty() && use.Get()->GetAttributeValues(thing, values);
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
