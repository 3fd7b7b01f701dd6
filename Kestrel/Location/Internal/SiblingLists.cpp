#include <Kestrel/Location/Internal/SiblingLists.h>

namespace IO {

SiblingLists::Place SiblingLists::Find(unsigned int parent, Mu::ConstSubstring const & key) {
    if (!index.Covers(parent))
        return Walk(parent, key);
    unsigned int const at = index.Find(parent, key);
    return {at == NoIndex ? index.GetLast(parent) : index.GetPrevious(at), at};
}

SiblingLists::Place SiblingLists::Walk(unsigned int parent, Mu::ConstSubstring const & key) {
    Place place{NoIndex, nodes[parent].leftChild};
    unsigned int steps = 0;
    while (place.at != NoIndex && names.Compare(nodes[place.at].name, key) < 0) {
        place.previous = place.at;
        place.at = nodes[place.at].next;
        ++steps;
    }
    comparisons += steps + (place.at != NoIndex);
    if (steps > LongWalk)
        index.Build(parent);
    return place;
}

void SiblingLists::Link(unsigned int node, Place const & place) {
    unsigned int const parent = nodes[node].parent;
    nodes[node].next = place.at;
    (place.previous == NoIndex ? nodes[parent].leftChild : nodes[place.previous].next) = node;
    if (index.Covers(parent))
        index.Link(node, place.previous);
}

void SiblingLists::Unlink(unsigned int node) {
    unsigned int const parent = nodes[node].parent;
    unsigned int const previous = GetPrevious(node);
    if (index.Covers(parent))
        index.Unlink(node);
    (previous == NoIndex ? nodes[parent].leftChild : nodes[previous].next) = nodes[node].next;
}

unsigned int SiblingLists::GetPrevious(unsigned int node) {
    unsigned int const parent = nodes[node].parent;
    if (index.Covers(parent))
        return index.GetPrevious(node);
    unsigned int previous = NoIndex;
    unsigned int steps = 0;
    for (unsigned int at = nodes[parent].leftChild; at != node; at = nodes[at].next) {
        previous = at;
        ++steps;
    }
    if (steps > LongWalk)
        index.Build(parent);
    return previous;
}

void SiblingLists::Rename(unsigned int node) {
    if (index.Covers(nodes[node].parent))
        index.Rename(node);
}

} // namespace IO
