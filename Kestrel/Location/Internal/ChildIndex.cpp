#include <Kestrel/Location/Internal/ChildIndex.h>

#include <algorithm>

namespace IO {

// A key lies within the first chunk of a name.
static constexpr unsigned int KeyUnits = 4;
static constexpr unsigned int MaxPrefix = NameTable::ChunkSize - KeyUnits;

static unsigned long long PackKey(Mu::ConstSubstring const & text, unsigned int prefix) {
    unsigned long long key = 0;
    for (unsigned int i = prefix; i < prefix + KeyUnits; ++i)
        key = key << 16 | (i < text.GetLength() ? text[i] : 0u);
    return key;
}

static unsigned int CountCommon(Mu::ConstSubstring const & a, Mu::ConstSubstring const & b) {
    unsigned int const end = std::min({a.GetLength(), b.GetLength(), MaxPrefix});
    unsigned int common = 0;
    while (common < end && a[common] == b[common])
        ++common;
    return common;
}

// What makes the tree balanced: of two nodes the one with the greater rank stands higher. Drawn
// from the index by mixing its bits, so that it needs no room.
static unsigned int GetRank(unsigned int node) {
    node = (node ^ node >> 16) * 0x85EBCA6Bu;
    node = (node ^ node >> 13) * 0xC2B2AE35u;
    return node ^ node >> 16;
}

void ChildIndex::Build(unsigned int parent) {
    unsigned int const first = nodes[parent].leftChild;
    if (first == NoIndex || !links.Fit(nodes.GetCapacity()))
        return;
    unsigned int prefix = MaxPrefix;
    for (unsigned int node = first; node != NoIndex; node = nodes[node].next) {
        if (nodes[node].name == NoIndex)
            return; // it lost its name to a shortage and is about to go; another time, then
        prefix = std::min(prefix, CountCommon(names.GetStart(nodes[first].name),
                                              names.GetStart(nodes[node].name)));
    }
    links[parent].prefix = prefix;

    unsigned int previous = NoIndex;
    for (unsigned int node = first; node != NoIndex; node = nodes[node].next) {
        Attach(node, previous, NoIndex);
        SetFall(node, IsBehindGreater(node));
        previous = node;
    }
}

unsigned int ChildIndex::Find(unsigned int parent, Mu::ConstSubstring const & text) {
    unsigned int const top = nodes.GetNote(parent).top;
    FitPrefix(parent, top, text);
    return FindBelow(top, Key{PackKey(text, links[parent].prefix), text});
}

// Only where names stand out of order does this call itself, and as deep as the tree is.
unsigned int ChildIndex::FindBelow(unsigned int node, Key const & key) {
    unsigned int found = NoIndex;
    while (node != NoIndex) {
        if (links[node].falls != 0) {
            unsigned int const left = FindBelow(links[node].left, key);
            if (left != NoIndex)
                return left;
            if (!IsSmaller(node, key))
                return node;
            node = links[node].right;
        } else if (IsSmaller(node, key)) {
            node = links[node].right;
        } else {
            found = node;
            node = links[node].left;
        }
    }
    return found;
}

bool ChildIndex::IsSmaller(unsigned int node, Key const & key) {
    ++comparisons;
    unsigned long long const own = links[node].key;
    if (own != key.start)
        return own < key.start;
    if ((own & 0xFFFF) == 0)
        return false; // both names end within the key
    return names.Compare(nodes[node].name, key.text) < 0;
}

unsigned int ChildIndex::GetLast(unsigned int parent) const {
    unsigned int node = nodes.GetNote(parent).top;
    while (links[node].right != NoIndex)
        node = links[node].right;
    return node;
}

void ChildIndex::Link(unsigned int node, unsigned int previous) {
    if (!links.Fit(nodes.GetCapacity())) {
        nodes.GetNote(nodes[node].parent).top = NoIndex;
        return;
    }
    // At that place the node is greater than the one before and not greater than the one behind, so
    // neither it nor the next one stands behind a greater name.
    Attach(node, previous, nodes[node].next);
}

void ChildIndex::Unlink(unsigned int node) {
    unsigned int const next = nodes[node].next;
    unsigned int const previous = links[node].previous;
    bool const mayFall = links[node].isFall || (next != NoIndex && links[next].isFall);
    SetFall(node, false);
    for (unsigned int child; (child = GetUpperChild(node)) != NoIndex;)
        RotateUp(child);
    SlotOf(node) = NoIndex;
    if (next == NoIndex)
        return;
    links[next].previous = previous;
    SetFall(next, mayFall && IsBehindGreater(next));
}

void ChildIndex::Rename(unsigned int node) {
    unsigned int const parent = nodes[node].parent;
    unsigned int const top = nodes.GetNote(parent).top;
    unsigned int const other = top != node ? top : GetUpperChild(top);
    if (other != NoIndex)
        FitPrefix(parent, other, names.GetStart(nodes[node].name));
    SetKey(node, links[parent].prefix);
    SetFall(node, IsBehindGreater(node));
    unsigned int const next = nodes[node].next;
    if (next != NoIndex)
        SetFall(next, IsBehindGreater(next));
}

// Shortens the shared beginning until the text has it, too. That happens at most 26 times to an
// index, so that the keys are not renewed more often than that.
void ChildIndex::FitPrefix(unsigned int parent, unsigned int child,
                           Mu::ConstSubstring const & text) {
    unsigned int const common = CountCommon(names.GetStart(nodes[child].name), text);
    if (common >= links[parent].prefix)
        return;
    links[parent].prefix = common;
    for (unsigned int node = nodes[parent].leftChild; node != NoIndex; node = nodes[node].next)
        SetKey(node, common);
}

void ChildIndex::SetKey(unsigned int node, unsigned int prefix) {
    links[node].key = PackKey(names.GetStart(nodes[node].name), prefix);
}

// Hangs the node in as a leaf between its two neighbours, one of which has room on that side, and
// lifts it to its rank.
void ChildIndex::Attach(unsigned int node, unsigned int previous, unsigned int next) {
    Links & own = links[node];
    own.left = own.right = own.up = NoIndex;
    own.previous = previous;
    own.falls = 0;
    own.isFall = 0;
    unsigned int const parent = nodes[node].parent;
    SetKey(node, links[parent].prefix);
    if (next != NoIndex)
        links[next].previous = node;
    if (previous != NoIndex && links[previous].right == NoIndex) {
        own.up = previous;
        links[previous].right = node;
    } else if (next != NoIndex) {
        own.up = next;
        links[next].left = node;
    } else {
        nodes.GetNote(parent).top = node;
    }
    while (own.up != NoIndex && GetRank(own.up) < GetRank(node))
        RotateUp(node);
}

// The field that leads to the node from above.
unsigned int & ChildIndex::SlotOf(unsigned int node) {
    unsigned int const up = links[node].up;
    if (up == NoIndex)
        return nodes.GetNote(nodes[node].parent).top;
    return links[up].left == node ? links[up].left : links[up].right;
}

void ChildIndex::RotateUp(unsigned int node) {
    unsigned int const below = links[node].up;
    SlotOf(below) = node;
    links[node].up = links[below].up;
    links[below].up = node;
    bool const wasLeft = links[below].left == node;
    unsigned int & inner = wasLeft ? links[node].right : links[node].left;
    (wasLeft ? links[below].left : links[below].right) = inner;
    if (inner != NoIndex)
        links[inner].up = below;
    inner = below;
    if (links[below].falls != 0) {
        links[node].falls = links[below].falls;
        links[below].falls = CountFalls(below);
    }
}

void ChildIndex::SetFall(unsigned int node, bool isFall) {
    if (links[node].isFall == static_cast<unsigned int>(isFall))
        return;
    links[node].isFall = isFall;
    for (; node != NoIndex; node = links[node].up)
        links[node].falls += isFall ? 1 : -1;
}

bool ChildIndex::IsBehindGreater(unsigned int node) const {
    unsigned int const previous = links[node].previous;
    return previous != NoIndex && names.CompareNames(nodes[previous].name, nodes[node].name) > 0;
}

unsigned int ChildIndex::CountFalls(unsigned int node) const {
    Links const & own = links[node];
    unsigned int falls = own.isFall;
    if (own.left != NoIndex)
        falls += links[own.left].falls;
    if (own.right != NoIndex)
        falls += links[own.right].falls;
    return falls;
}

unsigned int ChildIndex::GetUpperChild(unsigned int node) const {
    unsigned int const left = links[node].left;
    unsigned int const right = links[node].right;
    if (left == NoIndex || right == NoIndex)
        return left == NoIndex ? right : left;
    return GetRank(left) > GetRank(right) ? left : right;
}

} // namespace IO
