#pragma once

#include <Kestrel/Location/Internal/AddressTree.h>

namespace IO {

/// The nodes of a path in the order of its names.
///
/// Memory:  none for paths of usual length, else one block; without it, each access walks to the
///          node.
class PathNodes {
public:
    PathNodes(AddressTree const & tree, unsigned int node);
    ~PathNodes();
    PathNodes(PathNodes const &) = delete;
    PathNodes & operator=(PathNodes const &) = delete;

    unsigned int GetLength() const { return length; }
    unsigned int operator[](unsigned int index) const {
        return list != nullptr ? list[index] : tree.GetAncestor(last, length - 1 - index);
    }

private:
    static constexpr unsigned int InlineSize = 64;

    AddressTree const & tree;
    unsigned int last;
    unsigned int length;
    unsigned int * list; // `inlineList`, in `block`, or null
    char * block = nullptr;
    unsigned int inlineList[InlineSize];
};

} // namespace IO
