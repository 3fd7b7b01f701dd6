#include <Kestrel/Location/Internal/SiblingLists.h>

namespace IO {

bool SiblingLists::Find(unsigned int parent, Mu::ConstSubstring const & key, SiblingPlace & place) {
    return index.Covers(parent) ? index.Find(parent, key, place) : Walk(parent, key, place);
}

bool SiblingLists::Walk(unsigned int parent, Mu::ConstSubstring const & key, SiblingPlace & place) {
    unsigned int steps = 0;
    int order = -1;
    place = {NoIndex, nodes[parent].leftChild};
    while (place.at != NoIndex) {
        ++steps;
        order = names.Compare(nodes[place.at].name, key);
        if (order >= 0)
            break;
        place = {place.at, nodes[place.at].next};
    }
    comparisons += steps;
    if (steps > LongWalk)
        index.Build(parent);
    return order == 0;
}

void SiblingLists::Link(unsigned int node, SiblingPlace const & place) {
    unsigned int const parent = nodes[node].parent;
    nodes[node].next = place.at;
    (place.previous == NoIndex ? nodes[parent].leftChild : nodes[place.previous].next) = node;
    if (index.Covers(parent))
        index.Link(node);
}

void SiblingLists::Unlink(unsigned int node) {
    unsigned int const parent = nodes[node].parent;
    unsigned int const previous = index.Covers(parent) ? index.Unlink(node) : WalkTo(node);
    (previous == NoIndex ? nodes[parent].leftChild : nodes[previous].next) = nodes[node].next;
}

// The node before that one in their list. The first long walk is the last one: it builds the index.
unsigned int SiblingLists::WalkTo(unsigned int node) {
    unsigned int const parent = nodes[node].parent;
    unsigned int previous = NoIndex;
    unsigned int steps = 0;
    for (unsigned int at = nodes[parent].leftChild; at != node; at = nodes[at].next) {
        previous = at;
        ++steps;
    }
    if (steps > LongWalk) {
        index.Build(parent);
        if (index.Covers(parent))
            index.Unlink(node);
    }
    return previous;
}

void SiblingLists::Rename(unsigned int node) {
    if (index.Covers(nodes[node].parent))
        index.Rename(node);
}

} // namespace IO
