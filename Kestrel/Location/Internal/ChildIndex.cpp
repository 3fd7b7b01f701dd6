#include <Kestrel/Location/Internal/ChildIndex.h>

#include <algorithm>

namespace IO {

static constexpr unsigned int LineSize = 64; // of the processor's cache

// A key lies within the first chunk of a name.
static constexpr unsigned int NarrowUnits = 8;
static constexpr unsigned int WideUnits = 4;
static constexpr unsigned int MaxPrefix = NameTable::ChunkSize - NarrowUnits;

// The first unit in the highest bits, zeros behind the end.
static unsigned long long PackKey(Mu::ConstSubstring const & text, unsigned int prefix,
                                  bool isWide) {
    unsigned int const count = isWide ? WideUnits : NarrowUnits;
    unsigned long long key = 0;
    for (unsigned int i = prefix; i < prefix + count; ++i)
        key = key << (64 / count) | (i < text.GetLength() ? text[i] : 0u);
    return key;
}

// Whether a name ends within its key, so that names with the same key are equal. Tests the last
// unit of a wide key, and the last two of a narrow one.
static bool EndsWithin(unsigned long long key) {
    return (key & 0xFFFF) == 0;
}

static bool IsNarrow(Mu::ConstSubstring const & text, unsigned int prefix) {
    unsigned int const end = std::min(text.GetLength(), prefix + NarrowUnits);
    for (unsigned int i = prefix; i < end; ++i)
        if (text[i] > 0xFF)
            return false;
    return true;
}

static unsigned int CountCommon(Mu::ConstSubstring const & a, Mu::ConstSubstring const & b) {
    unsigned int const end = std::min({a.GetLength(), b.GetLength(), MaxPrefix});
    return NameTable::CountEqual(a.GetUnits(), b.GetUnits(), end);
}

void ChildIndex::Destroy() {
    blocks.Destroy();
}

void ChildIndex::Build(unsigned int parent) {
    unsigned int const first = nodes[parent].leftChild;
    unsigned int prefix = MaxPrefix;
    for (unsigned int node = first; node != NoIndex; node = nodes[node].next) {
        if (nodes[node].name == NoIndex)
            return; // the node lost its name for lack of memory and will be removed; retried later
        prefix = std::min(prefix, CountCommon(names.GetStart(nodes[first].name),
                                              names.GetStart(nodes[node].name)));
    }
    unsigned int const top = blocks.Take();
    if (top == NoIndex)
        return;
    StartBlock(top, NoIndex, true);
    SetTop(parent, top);
    SetShape(parent, prefix, false);
    for (unsigned int node = first; node != NoIndex; node = nodes[node].next)
        if (!Append(parent, node))
            return Drop(parent);
}

// Appends a node behind all others, whatever its name.
bool ChildIndex::Append(unsigned int parent, unsigned int node) {
    unsigned int leaf = GetTop(parent);
    while (!blocks[leaf].isLeaf)
        leaf = blocks[leaf].GetBelow()[blocks[leaf].count - 1];
    Entry const entry = {MakeKey(parent, node), node, NoIndex};
    unsigned int const changed = Insert(leaf, blocks[leaf].count, entry);
    if (changed == NoIndex)
        return false;
    Refresh(changed);
    return true;
}

bool ChildIndex::Find(unsigned int parent, Mu::ConstSubstring const & text, SiblingPlace & place) {
    FitShape(parent, nodes[parent].leftChild, text);
    Key const key = MakeKey(parent, text);
    unsigned int block = GetTop(parent);
    int order = 0;
    unsigned int at = FindIn(blocks[block], key, order);
    if (at == blocks[block].count) {
        place = {GetLast(block), NoIndex};
        return false;
    }
    while (!blocks[block].isLeaf) {
        block = blocks[block].GetBelow()[at];
        PrefetchBlock(block);
        at = FindIn(blocks[block], key, order);
    }
    place = {GetBefore(block, at), blocks[block].nodes[at]};
    return order == 0;
}

// Prefetches all its lines at once, so that there is one wait and not one for each.
void ChildIndex::PrefetchBlock(unsigned int block) const {
    char const * const begin = reinterpret_cast<char const *>(&blocks[block]);
    for (unsigned int at = 0; at < sizeof(Block); at += LineSize)
        Prefetch(begin + at);
}

void ChildIndex::PrefetchPlace(unsigned int node) const {
    PrefetchBlock(GetLeaf(node));
}

// The first entry that is not smaller, and how it compares.
unsigned int ChildIndex::FindIn(Block const & block, Key const & key, int & order) {
    unsigned int at = 0;
    while (at < block.count && (order = Compare(block, at, key)) < 0)
        ++at;
    comparisons += at + 1;
    return at;
}

int ChildIndex::Compare(Block const & block, unsigned int at, Key const & key) const {
    unsigned long long const own = block.keys[at];
    if (own != key.start)
        return own < key.start ? -1 : 1;
    if (EndsWithin(own))
        return 0;
    return names.Compare(nodes[block.nodes[at]].name, key.text);
}

// The last node before that entry.
unsigned int ChildIndex::GetBefore(unsigned int block, unsigned int at) const {
    for (; at == 0; block = blocks[block].up) {
        if (blocks[block].up == NoIndex)
            return NoIndex;
        at = GetPlace(block);
    }
    return blocks[block].isLeaf ? blocks[block].nodes[at - 1]
                                : GetLast(blocks[block].GetBelow()[at - 1]);
}

unsigned int ChildIndex::GetLast(unsigned int block) const {
    while (!blocks[block].isLeaf)
        block = blocks[block].GetBelow()[blocks[block].count - 1];
    return blocks[block].nodes[blocks[block].count - 1];
}

unsigned int ChildIndex::IndexOf(unsigned int const * list, unsigned int wanted) {
    unsigned int at = 0;
    while (list[at] != wanted)
        ++at;
    return at;
}

// The position of the block in the one above it.
unsigned int ChildIndex::GetPlace(unsigned int block) const {
    return IndexOf(blocks[blocks[block].up].GetBelow(), block);
}

void ChildIndex::Link(unsigned int node) {
    unsigned int const parent = nodes[node].parent;
    unsigned int const next = nodes[node].next;
    bool isIn = false;
    if (next == NoIndex) {
        isIn = Append(parent, node);
    } else {
        // It is not greater than the next one, so that no greatest name changes.
        unsigned int const leaf = GetLeaf(next);
        isIn = Insert(leaf, IndexOf(blocks[leaf].nodes, next),
                      {MakeKey(parent, node), node, NoIndex}) != NoIndex;
    }
    if (!isIn)
        Drop(parent);
}

unsigned int ChildIndex::Unlink(unsigned int node) {
    unsigned int block = GetLeaf(node);
    unsigned int at = IndexOf(blocks[block].nodes, node);
    unsigned int const previous = GetBefore(block, at);
    nodes.PrefetchRecord(previous); // the caller is about to change it
    unsigned int const parent = nodes[node].parent;
    EraseEntry(block, at);
    while (blocks[block].count == 0) {
        unsigned int const up = blocks[block].up;
        at = up == NoIndex ? 0 : GetPlace(block);
        if (up == NoIndex)
            RemoveTop(parent);
        blocks.Put(block, block);
        if (up == NoIndex)
            return previous;
        EraseEntry(up, at);
        block = up;
    }
    unsigned int const up = blocks[block].up;
    if (up != NoIndex && blocks[up].nodes[GetPlace(block)] == node)
        Refresh(block);
    LowerTop(parent);
    return previous;
}

void ChildIndex::Rename(unsigned int node) {
    unsigned int const parent = nodes[node].parent;
    unsigned int const first = nodes[parent].leftChild;
    unsigned int const other = first != node ? first : nodes[first].next;
    if (other != NoIndex)
        FitShape(parent, other, names.GetStart(nodes[node].name));
    unsigned int const leaf = GetLeaf(node);
    blocks[leaf].keys[IndexOf(blocks[leaf].nodes, node)] = MakeKey(parent, node);
    Refresh(leaf);
}

// Inserts the entry, splitting full blocks from there up. Returns the highest block that received
// an entry, whose greatest name may have changed; NoIndex: out of memory, and nothing changed.
unsigned int ChildIndex::Insert(unsigned int block, unsigned int at, Entry entry) {
    unsigned int spares[MaxDepth];
    unsigned int const * spare = spares;
    if (!TakeSpares(block, spares))
        return NoIndex;
    while (blocks[block].count == blocks[block].GetMost()) {
        // What is appended leaves full blocks behind.
        unsigned int const most = blocks[block].GetMost();
        unsigned int const kept = at == most ? most : most / 2;
        unsigned int const right = *spare++;
        Split(block, kept, right);
        bool const isLeft = at <= kept && at != most;
        PutEntry(isLeft ? block : right, isLeft ? at : at - kept, entry);
        if (blocks[block].up == NoIndex)
            PutTop(*spare++, block);
        unsigned int const up = blocks[block].up;
        at = GetPlace(block);
        EraseEntry(up, at);
        PutEntry(up, at++, GetSummary(block));
        entry = GetSummary(right);
        block = up;
    }
    PutEntry(block, at, entry);
    return block;
}

// Takes a block for each that is full, from this one up, and one more if that reaches the top.
bool ChildIndex::TakeSpares(unsigned int block, unsigned int * spares) {
    unsigned int needed = 0;
    for (; block != NoIndex && blocks[block].count == blocks[block].GetMost();
         block = blocks[block].up)
        ++needed;
    if (needed != 0 && block == NoIndex)
        ++needed;
    for (unsigned int taken = 0; taken < needed; ++taken) {
        spares[taken] = blocks.Take();
        if (spares[taken] == NoIndex) {
            for (; taken != 0; --taken)
                blocks.Put(spares[taken - 1], spares[taken - 1]);
            return false;
        }
    }
    return true;
}

void ChildIndex::StartBlock(unsigned int block, unsigned int up, bool isLeaf) {
    blocks[block].up = up;
    blocks[block].isLeaf = isLeaf;
    blocks[block].count = 0;
}

// Puts a block above the previous top.
void ChildIndex::PutTop(unsigned int block, unsigned int below) {
    StartBlock(block, NoIndex, false);
    CopyShape(below, block);
    Entry const entry = GetSummary(below);
    PutEntry(block, 0, entry);
    SetTop(nodes[entry.node].parent, block);
}

void ChildIndex::SetTop(unsigned int parent, unsigned int top) {
    blocks[top].leaf = GetLeaf(parent);
    nodes.GetNote(parent).index = top | TopMark;
}

void ChildIndex::RemoveTop(unsigned int parent) {
    nodes.GetNote(parent).index = GetLeaf(parent);
}

unsigned int ChildIndex::GetLeaf(unsigned int node) const {
    return Covers(node) ? blocks[GetTop(node)].leaf : nodes.GetNote(node).index;
}

void ChildIndex::SetLeaf(unsigned int node, unsigned int leaf) {
    (Covers(node) ? blocks[GetTop(node)].leaf : nodes.GetNote(node).index) = leaf;
}

void ChildIndex::CopyShape(unsigned int from, unsigned int to) {
    blocks[to].isWide = blocks[from].isWide;
    blocks[to].prefix = blocks[from].prefix;
}

void ChildIndex::Split(unsigned int block, unsigned int kept, unsigned int right) {
    StartBlock(right, blocks[block].up, blocks[block].isLeaf);
    Block & own = blocks[block];
    for (unsigned int at = kept; at < own.count; ++at)
        PutEntry(right, at - kept,
                 {own.keys[at], own.nodes[at], own.isLeaf ? NoIndex : own.GetBelow()[at]});
    own.count = kept;
}

void ChildIndex::PutEntry(unsigned int block, unsigned int at, Entry const & entry) {
    Block & own = blocks[block];
    std::copy_backward(own.keys + at, own.keys + own.count, own.keys + own.count + 1);
    std::copy_backward(own.nodes + at, own.nodes + own.count, own.nodes + own.count + 1);
    own.keys[at] = entry.key;
    own.nodes[at] = entry.node;
    if (own.isLeaf) {
        SetLeaf(entry.node, block);
    } else {
        unsigned int * const below = own.GetBelow();
        std::copy_backward(below + at, below + own.count, below + own.count + 1);
        below[at] = entry.below;
        blocks[entry.below].up = block;
    }
    ++own.count;
}

void ChildIndex::EraseEntry(unsigned int block, unsigned int at) {
    Block & own = blocks[block];
    std::copy(own.keys + at + 1, own.keys + own.count, own.keys + at);
    std::copy(own.nodes + at + 1, own.nodes + own.count, own.nodes + at);
    if (!own.isLeaf)
        std::copy(own.GetBelow() + at + 1, own.GetBelow() + own.count, own.GetBelow() + at);
    --own.count;
}

// The entry for the block in the one above it: its greatest name.
ChildIndex::Entry ChildIndex::GetSummary(unsigned int block) const {
    Block const & own = blocks[block];
    unsigned int greatest = own.count - 1;
    for (unsigned int at = own.count - 1; at-- != 0;)
        if (CompareEntries(own, at, greatest) > 0)
            greatest = at;
    return {own.keys[greatest], own.nodes[greatest], block};
}

int ChildIndex::CompareEntries(Block const & block, unsigned int a, unsigned int b) const {
    if (block.keys[a] != block.keys[b])
        return block.keys[a] < block.keys[b] ? -1 : 1;
    if (EndsWithin(block.keys[a]))
        return 0;
    return names.CompareNames(nodes[block.nodes[a]].name, nodes[block.nodes[b]].name);
}

// Updates the entries above the block.
void ChildIndex::Refresh(unsigned int block) {
    for (unsigned int up; (up = blocks[block].up) != NoIndex; block = up) {
        Entry const summary = GetSummary(block);
        unsigned int const at = GetPlace(block);
        if (blocks[up].nodes[at] == summary.node && blocks[up].keys[at] == summary.key)
            return;
        blocks[up].nodes[at] = summary.node;
        blocks[up].keys[at] = summary.key;
    }
}

// Removes tops with a single block below.
void ChildIndex::LowerTop(unsigned int parent) {
    for (unsigned int top = GetTop(parent); !blocks[top].isLeaf && blocks[top].count == 1;) {
        unsigned int const below = blocks[top].GetBelow()[0];
        CopyShape(top, below);
        SetTop(parent, below);
        blocks.Put(top, top);
        blocks[below].up = NoIndex;
        top = below;
    }
}

void ChildIndex::Drop(unsigned int parent) {
    unsigned int const top = GetTop(parent);
    RemoveTop(parent);
    FreeBelow(top);
}

void ChildIndex::FreeBelow(unsigned int block) {
    if (!blocks[block].isLeaf)
        for (unsigned int at = 0; at < blocks[block].count; ++at)
            FreeBelow(blocks[block].GetBelow()[at]);
    blocks.Put(block, block);
}

ChildIndex::Key ChildIndex::MakeKey(unsigned int parent, Mu::ConstSubstring const & text) const {
    Block const & top = blocks[GetTop(parent)];
    return {PackKey(text, top.prefix, top.isWide), text};
}

unsigned long long ChildIndex::MakeKey(unsigned int parent, unsigned int node) const {
    return MakeKey(parent, names.GetStart(nodes[node].name)).start;
}

// Adapts the shape of the keys to the text, too, by comparing it with one child. The common prefix
// can become shorter 22 times and the units wider once, so the keys are not renewed more often.
void ChildIndex::FitShape(unsigned int parent, unsigned int child,
                          Mu::ConstSubstring const & text) {
    Block const & top = blocks[GetTop(parent)];
    unsigned int const common = CountCommon(names.GetStart(nodes[child].name), text);
    unsigned int const prefix = std::min<unsigned int>(top.prefix, common);
    bool const isWide = top.isWide || !IsNarrow(text, prefix);
    if (prefix != top.prefix || isWide != top.isWide)
        SetShape(parent, prefix, isWide);
}

void ChildIndex::SetShape(unsigned int parent, unsigned int prefix, bool isWide) {
    for (unsigned int node = nodes[parent].leftChild; node != NoIndex; node = nodes[node].next)
        isWide = isWide || !IsNarrow(names.GetStart(nodes[node].name), prefix);
    unsigned int const top = GetTop(parent);
    blocks[top].prefix = static_cast<unsigned char>(prefix);
    blocks[top].isWide = isWide;
    RenewKeys(parent, top);
}

void ChildIndex::RenewKeys(unsigned int parent, unsigned int block) {
    Block & own = blocks[block];
    for (unsigned int at = 0; at < own.count; ++at) {
        own.keys[at] = MakeKey(parent, own.nodes[at]);
        if (!own.isLeaf)
            RenewKeys(parent, own.GetBelow()[at]);
    }
}

} // namespace IO
