#include <Kestrel/Location/Internal/AddressTree.h>

#include <Kestrel/Location/Internal/NameText.h>
#include <Kestrel/Location/Internal/PathNodes.h>
#include <Kestrel/Location/NameComparer.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Streams/OChannel.h>
#include <Kestrel/Root/Text/CaseMapping.h>

#include <algorithm>
#include <new>

namespace IO {

// The factor by which the hash of an address weighs its names.
static constexpr unsigned int HashFactor = 65599;

static constexpr unsigned short RootName[] = {'R', 'o', 'o', 't'};

// Created on first use and never destroyed: addresses that are static objects of a host may outlive
// any static object of this file.
AddressTree & AddressTree::GetInstance() {
    alignas(AddressTree) static unsigned char place[sizeof(AddressTree)];
    static AddressTree * const tree = made = new (place) AddressTree;
    return *tree;
}

bool AddressTree::DropCopy(unsigned int node) {
    NodeTable::Note * const note = made->nodes.FindNote(node);
    return note == nullptr || note->TakeBack(NodeTable::FindAlone) != 0;
}

// As DropCopy, but for either kind; the root's hold that is left then is counted.
bool AddressTree::ForgetCopy(unsigned int node) {
    NodeTable::Note * const note = nodes.FindNote(node);
    if (note == nullptr)
        return true;
    NodeTable::Copies const taken = note->TakeBack([](NodeTable::Copies copies) {
        NodeTable::Copies const alone = NodeTable::FindAlone(copies);
        return alone != 0 ? alone : NodeTable::FindWithRoot(copies);
    });
    if (taken == NodeTable::CopyWithRoot)
        ++nodes[root].referenceCounter;
    return taken != 0;
}

// Without a comparer, names are compared in upper case, from which their hashes are computed, too.
static bool AreHashesDecisive() {
    NameComparer const * const comparer = GetNameComparer();
    return comparer == nullptr || comparer->IsToldApartByHash();
}

bool AddressTree::AreSurelyDifferent(unsigned int a, unsigned int b) {
    NodeTable::Note const & first = made->nodes.GetNote(a);
    NodeTable::Note const & second = made->nodes.GetNote(b);
    return first.depth != second.depth || (first.hash != second.hash && AreHashesDecisive());
}

unsigned int AddressTree::HoldRoot() {
    if (root == NoIndex && !MakeRoot())
        return NoIndex;
    ++nodes[root].referenceCounter;
    return root;
}

unsigned int AddressTree::HoldPath(unsigned short const * list) {
    Mu::ConstSubstring const last = recent.Match(list);
    return last.IsEmpty() ? HoldNewPath(list) : Append(AddRefToRecent(), last);
}

unsigned int AddressTree::AddRefToRecent() {
    if (!recent.TakeHold())
        AddRef(recent.GetCurrentNode());
    return recent.GetCurrentNode();
}

// The folder of all names but the last is kept from now on.
unsigned int AddressTree::HoldNewPath(unsigned short const * list) {
    unsigned int node = HoldRoot();
    unsigned short const * last = list;
    unsigned int length = Mu::CountUnits(list);
    while (length != 0 && node != NoIndex) {
        unsigned short const * const next = last + length + 1;
        unsigned int const nextLength = Mu::CountUnits(next);
        if (nextLength == 0 && last != list)
            KeepRecent(list, static_cast<unsigned int>(last - list), node);
        node = Append(node, {last, length});
        last = next;
        length = nextLength;
    }
    return node;
}

// The replaced one is released last, so that nodes of both are kept.
void AddressTree::KeepRecent(unsigned short const * list, unsigned int size, unsigned int node) {
    if (!RecentFolders::Fits(size))
        return;
    AddRef(node);
    RecentFolders::Holds const left = recent.Keep(list, size, node);
    Release(left.node, left.count);
}

void AddressTree::LeaveRecent() {
    for (RecentFolders::Holds left; (left = recent.Leave()).count != 0;)
        Release(left.node, left.count);
}

// The number of holds on the node that belong to the tree itself.
unsigned int AddressTree::CountRecentBelow(unsigned int node) const {
    return recent.CountHolds([this, node](unsigned int at) {
        while (at != NoIndex && at != node)
            at = nodes[at].parent;
        return at != NoIndex;
    });
}

bool AddressTree::MakeRoot() {
    root = MakeNode(NoIndex, Mu::ConstSubstring(RootName, std::size(RootName)));
    if (root == NoIndex)
        return false;
    nodes[root].referenceCounter = 0;
    NodeTable::Note & note = nodes.GetNote(root);
    note.hash = 0;
    note.depth = 0;
    return true;
}

// A node with a count of one that is in no list yet.
unsigned int AddressTree::MakeNode(unsigned int parent, Mu::ConstSubstring const & key) {
    unsigned int const name = names.Store(key);
    if (name == NoIndex)
        return NoIndex;
    unsigned int const node = nodes.Take();
    if (node == NoIndex) {
        names.Release(name);
        return NoIndex;
    }
    nodes[node] = {.parent = parent, .name = name, .referenceCounter = 1};
    nodes.GetNote(node).index = NoIndex;
    return node;
}

void AddressTree::FillNote(unsigned int node, Mu::ConstSubstring const & key) {
    NodeTable::Note const & above = nodes.GetNote(nodes[node].parent);
    NodeTable::Note & note = nodes.GetNote(node);
    Mu::ConstSubstring const name = WithoutAttachment(key);
    note.hash =
        HashFactor * above.hash + Mu::HashUnitsUpperCased(name.GetUnits(), name.GetLength());
    note.depth = above.depth + 1;
}

void AddressTree::Claim(unsigned int node) {
    if (ForgetCopy(node))
        AddRef(node);
}

void AddressTree::SynchronizeCounters() {
    LeaveRecent();
    CountAllCopies();
}

void AddressTree::CountAllCopies() {
    for (unsigned int node = 0; node < nodes.GetRecords().GetMark(); ++node)
        CountCopies(node);
}

void AddressTree::CountCopies(unsigned int node) {
    NodeTable::Copies const copies =
        nodes.GetNote(node).copies.exchange(0, std::memory_order_acq_rel);
    if (copies == 0)
        return;
    AddRef(node, NodeTable::CountAlone(copies) + NodeTable::CountWithRoot(copies));
    nodes[root].referenceCounter += NodeTable::CountWithRoot(copies);
}

// The caller holds the node.
void AddressTree::MakeRoomForCopies(unsigned int node) noexcept {
    try {
        Turn()->CountCopies(node);
    } catch (Mu::SynchronizationException const &) {
    }
}

void AddressTree::AddRef(unsigned int node, unsigned int count) {
    for (; node != NoIndex; node = nodes[node].parent)
        nodes[node].referenceCounter += count;
}

void AddressTree::Drop(unsigned int node) {
    if (node == NoIndex)
        return;
    nodes.PrefetchNode(node);
    if (!ForgetCopy(node))
        Release(node);
}

// The root's counter need not include this very hold: before the tree is destroyed, all are
// counted.
void AddressTree::DropWithRoot(unsigned int node) {
    --nodes[root].referenceCounter;
    Drop(node);
}

void AddressTree::Release(unsigned int node, unsigned int count) {
    if (!nodes.IsLive(node))
        return;
    while (node != NoIndex && !recent.GiveHold(node, count)) {
        unsigned int const parent = nodes[node].parent;
        if ((nodes[node].referenceCounter -= count) == 0 && node != root)
            Remove(node);
        node = parent;
    }
    if (nodes[root].referenceCounter == recent.CountHolds())
        LeaveWithLast();
}

// No counted hold of an address on the root is left; there may be others.
void AddressTree::LeaveWithLast() {
    CountAllCopies();
    if (nodes[root].referenceCounter != recent.CountHolds())
        return;
    if (recent.CountHolds() != 0)
        return LeaveRecent();
    names.Release(nodes[root].name);
    DestroyNodes();
}

void AddressTree::Remove(unsigned int node) {
    recent.Forget(node);
    names.PrefetchName(nodes[node].name);
    siblings.PrefetchPlace(node);
    siblings.Unlink(node);
    if (nodes[node].name != NoIndex)
        names.Release(nodes[node].name);
    nodes[node].name = NoIndex;
    nodes.Put(node);
}

void AddressTree::DestroyNodes() {
    nodes.Destroy();
    siblings.Destroy();
    recent.Clear();
    root = NoIndex;
}

void AddressTree::CleanUp() {
    if (nodes.GetCapacity() != 0 || names.GetChunks().GetCapacity() != 0) {
        DestroyNodes();
        names.Destroy();
    }
}

// Adds a count to the child, but none to its ancestors.
unsigned int AddressTree::FindOrCreate(unsigned int parent, Mu::ConstSubstring const & key) {
    SiblingPlace place;
    if (siblings.Find(parent, key, place)) {
        ++nodes[place.at].referenceCounter;
        return place.at;
    }
    nodes.PrefetchRecord(place.previous);
    PrefetchNote(place.at);
    unsigned int const node = MakeNode(parent, key);
    if (node == NoIndex)
        return NoIndex;
    FillNote(node, key);
    siblings.Link(node, place);
    return node;
}

unsigned int AddressTree::Append(unsigned int node, Mu::ConstSubstring const & key) {
    unsigned int child = FindOrCreate(node, key);
    if (child == NoIndex && recent.CountHolds() != 0) {
        LeaveRecent(); // which may free what is missing
        child = FindOrCreate(node, key);
    }
    if (child == NoIndex)
        Release(node);
    return child;
}

unsigned int AddressTree::AppendPath(unsigned int node, unsigned int other, unsigned int index,
                                     bool withAttachments) {
    PathNodes const path(*this, other);
    for (; index < path.GetLength() && node != NoIndex; ++index) {
        StoredText const text(names, nodes[path[index]].name);
        if (text.IsValid()) {
            node = Append(node, withAttachments ? text.Get() : WithoutAttachment(text.Get()));
        } else {
            Release(node);
            node = NoIndex;
        }
    }
    return node;
}

unsigned int AddressTree::SetName(unsigned int node, unsigned int index,
                                  Mu::ConstSubstring const & key) {
    unsigned int const behind = GetLength(node) - 1 - index;
    if (behind == 0 && IsOnlyHolder(node)) {
        if (Rename(node, key))
            return node;
        Release(node);
        return NoIndex;
    }
    unsigned int const parent = nodes[GetAncestor(node, behind)].parent;
    AddRef(parent);
    unsigned int changed = Append(parent, key);
    if (changed != NoIndex)
        changed = AppendPath(changed, node, index + 1, true);
    Release(node);
    return changed;
}

bool AddressTree::IsOnlyHolder(unsigned int node) {
    unsigned int const others = nodes[node].referenceCounter - 1;
    if (others != 0 && others <= recent.CountHolds() && others == CountRecentBelow(node))
        LeaveRecent();
    return nodes[node].referenceCounter == 1 &&
           nodes.GetNote(node).copies.load(std::memory_order_acquire) == 0;
}

// The node keeps its position in its list, so that the list may be out of order from now on.
bool AddressTree::Rename(unsigned int node, Mu::ConstSubstring const & key) {
    names.Release(nodes[node].name);
    nodes[node].name = names.Store(key);
    if (nodes[node].name == NoIndex)
        return false;
    FillNote(node, key);
    siblings.Rename(node);
    return true;
}

unsigned int AddressTree::DeleteName(unsigned int node, unsigned int index) {
    unsigned int const behind = GetLength(node) - 1 - index;
    if (behind == 0)
        return DeleteLast(node);
    unsigned int const parent = nodes[GetAncestor(node, behind)].parent;
    AddRef(parent);
    unsigned int const changed = AppendPath(parent, node, index + 1, true);
    Release(node);
    return changed;
}

unsigned int AddressTree::DeleteLast(unsigned int node) {
    unsigned int const parent = nodes[node].parent;
    if (--nodes[node].referenceCounter == 0)
        Remove(node);
    return parent;
}

unsigned int AddressTree::GetAncestor(unsigned int node, unsigned int steps) const {
    for (; steps != 0; --steps)
        node = nodes[node].parent;
    return node;
}

void AddressTree::ReadStoredName(unsigned int node, Mu::UniString & text) const {
    unsigned int const name = nodes[node].name;
    Mu::ConstSubstring const start = names.GetStart(name);
    if (start.GetLength() < NameTable::ChunkSize) { // usually all of it
        text = start;
        return;
    }
    text.SetLength(names.GetLength(name));
    names.Copy(name, text.begin());
}

void AddressTree::ReadName(unsigned int node, Mu::UniString & text) const {
    ReadStoredName(node, text);
    unsigned int const plain = WithoutAttachment(text).GetLength();
    if (plain != text.GetLength())
        text.SetSubstring(0, text.GetLength() - plain, Mu::ConstSubstring());
}

bool AddressTree::IsSamePath(unsigned int a, unsigned int b) const {
    if (a == b)
        return true;
    if (AreSurelyDifferent(a, b))
        return false;
    for (; a != b; a = nodes[a].parent, b = nodes[b].parent)
        if (!IsSameName(a, b))
            return false;
    return true;
}

bool AddressTree::IsPathLess(unsigned int a, unsigned int b) const {
    PathNodes const first(*this, a);
    PathNodes const second(*this, b);
    unsigned int const shorter = std::min(first.GetLength(), second.GetLength());
    for (unsigned int i = 0; i < shorter; ++i)
        if (!IsSameName(first[i], second[i]))
            return IsNameLess(NameReader(names, nodes[first[i]].name),
                              NameReader(names, nodes[second[i]].name));
    return first.GetLength() < second.GetLength();
}

unsigned int AddressTree::GetNameHash(unsigned int node) const {
    return GetHash(node) - HashFactor * GetHash(nodes[node].parent);
}

bool AddressTree::IsSameName(unsigned int a, unsigned int b) const {
    if (a == b)
        return true;
    if (AreHashesDecisive() && GetNameHash(a) != GetNameHash(b))
        return false;
    NameReader const first(names, nodes[a].name);
    NameReader const second(names, nodes[b].name);
    if (HaveSameUnits(first, second, Mu::RespectCase))
        return true;
    if (GetNameComparer() == nullptr)
        return HaveSameUnits(first, second, Mu::IgnoreCase);
    try {
        return IsSameForComparer(a, b);
    } catch (Mu::OutOfMemoryException const &) {
        return HaveSameUnits(first, second, Mu::IgnoreCase); // closest that needs no memory
    }
}

bool AddressTree::IsSameForComparer(unsigned int a, unsigned int b) const {
    Mu::UniString first;
    Mu::UniString second;
    ReadName(a, first);
    ReadName(b, second);
    return GetNameComparer()->IsSameName(first, second);
}

static void PrintBars(Mu::OChannel & channel, unsigned int count) {
    for (; count != 0; --count)
        channel << "|   ";
}

void AddressTree::Print(Mu::OChannel & channel) {
    SynchronizeCounters();
    if (root == NoIndex)
        return;
    PrintNode(channel, root);
    for (unsigned int node = root; (node = GetNextToPrint(node)) != NoIndex;) {
        unsigned int const bars = GetLength(node) - 1;
        PrintBars(channel, bars);
        channel << "|\n";
        PrintBars(channel, bars);
        channel << "+---";
        PrintNode(channel, node);
    }
}

void AddressTree::PrintNode(Mu::OChannel & channel, unsigned int node) const {
    Mu::UniString text;
    ReadStoredName(node, text);
    channel << text.ToCStr(0, Mu::UniString::All, MuLogCharCode).GetText() << " ("
            << nodes[node].referenceCounter << ")\n";
}

// The first child, else the next sibling of the nearest ancestor that has one. A walk without a
// stack, since paths may be of any depth.
unsigned int AddressTree::GetNextToPrint(unsigned int node) const {
    if (nodes[node].leftChild != NoIndex)
        return nodes[node].leftChild;
    while (node != NoIndex && nodes[node].next == NoIndex)
        node = nodes[node].parent;
    return node == NoIndex ? NoIndex : nodes[node].next;
}

} // namespace IO
