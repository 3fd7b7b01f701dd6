#include <Kestrel/Location/Internal/PathNodes.h>

#include <Kestrel/Root/Memory/Memory.h>

namespace IO {

PathNodes::PathNodes(AddressTree const & tree, unsigned int node)
    : tree(tree), last(node), length(tree.GetLength(node)), list(inlineList) {
    if (length > InlineSize) {
        block = BMAllocatePtr(std::size_t{length} * sizeof(unsigned int), 0, 0);
        list = reinterpret_cast<unsigned int *>(block);
    }
    if (list != nullptr)
        for (unsigned int i = length; i != 0; node = tree.GetNodes()[node].parent)
            list[--i] = node;
}

PathNodes::~PathNodes() {
    BMKillPtr(&block);
}

} // namespace IO
