#include "Tests/Support/Location/AddressTrees.h"

#include <Kestrel/Location/Internal/AddressTree.h>

#include "Tests/Support/Root/ByteChannels.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

namespace Tests {

using IO::NoIndex;

IO::Address MakeAddress(Path const & path) {
    IO::Address address;
    for (Text const & name : path)
        EXPECT_EQ(address.Append(IO::Name(name)), IO::NoError);
    return address;
}

Path GetPath(IO::Address const & address) {
    Path path;
    IO::Name name;
    for (unsigned int i = 0; address.GetName(i, &name) == IO::NoError; ++i)
        path.emplace_back(std::u16string_view(name.ToString()));
    return path;
}

std::string PrintTree() {
    ByteOChannel channel;
    IO::Address::PrintAddressTree(channel);
    return channel.GetBytes();
}

bool IsTreeGone() {
    IO::AddressTree::Turn const tree;
    return tree->GetRoot() == NoIndex && tree->GetNodes().GetCapacity() == 0 &&
           tree->GetNames().GetChunks().GetCapacity() == 0 && tree->GetNames().GetCount() == 0;
}

void CheckTree() {
    IO::AddressTree::Turn const tree;
    tree->SynchronizeCounters();
    IO::NodeTable const & nodes = tree->GetNodes();
    auto const & chunks = tree->GetNames().GetChunks();
    unsigned int nodeCount = 0, chunkCount = 0;
    std::vector<unsigned int> open;
    if (tree->GetRoot() != NoIndex)
        open.push_back(tree->GetRoot());
    while (!open.empty()) {
        unsigned int const node = open.back();
        open.pop_back();
        ASSERT_LT(nodeCount++, nodes.GetRecords().GetMark()) << "two ways lead to one";
        for (unsigned int i = nodes[node].name; i != NoIndex; i = chunks[i].next)
            ++chunkCount;
        for (unsigned int i = nodes[node].leftChild; i != NoIndex; i = nodes[i].next)
            open.push_back(i);
    }
    EXPECT_EQ(tree->GetNames().GetCount(), nodeCount);
    for (unsigned int i = nodes.GetRecords().GetFreeHead(); i != NoIndex; i = nodes[i].next) {
        ASSERT_LT(nodeCount++, nodes.GetRecords().GetMark());
        ASSERT_EQ(nodes[i].parent, 0xF4F3F2F1u);
    }
    for (unsigned int i = chunks.GetFreeHead(); i != NoIndex; i = chunks[i].next)
        ASSERT_LT(chunkCount++, chunks.GetMark());
    EXPECT_EQ(nodeCount, nodes.GetRecords().GetMark());
    EXPECT_EQ(chunkCount, chunks.GetMark());
}

ModelTree::Node * ModelTree::HoldRoot() {
    if (root == nullptr) {
        root = std::make_unique<Node>();
        root->name = u"Root";
    }
    ++root->count;
    return root.get();
}

void ModelTree::AddRef(Node * node) {
    for (; node != nullptr; node = node->parent)
        ++node->count;
}

void ModelTree::Release(Node * node) {
    while (node != nullptr) {
        Node * const parent = node->parent;
        if (--node->count == 0)
            Remove(node);
        node = parent;
    }
}

void ModelTree::Remove(Node * node) {
    if (node->parent == nullptr)
        root.reset();
    else
        std::erase_if(node->parent->children, [&](auto & each) { return each.get() == node; });
}

ModelTree::Node * ModelTree::Append(Node * node, Text const & name) {
    auto at = node->children.begin();
    while (at != node->children.end() && (*at)->name < name)
        ++at;
    if (at == node->children.end() || (*at)->name != name) {
        at = node->children.insert(at, std::make_unique<Node>());
        (*at)->name = name;
        (*at)->parent = node;
    }
    ++(*at)->count;
    return at->get();
}

ModelTree::Node * ModelTree::AppendPath(Node * node, Path const & names) {
    for (Text const & name : names)
        node = Append(node, name);
    return node;
}

ModelTree::Node * ModelTree::SetName(Node * node, std::size_t index, Text const & name) {
    if (index + 1 == GetStoredPath(node).size() && node->count == 1) {
        node->name = name;
        return node;
    }
    return Rebuild(node, index, {name});
}

ModelTree::Node * ModelTree::DeleteName(Node * node, std::size_t index) {
    if (index + 1 < GetStoredPath(node).size())
        return Rebuild(node, index, {});
    Node * const parent = node->parent;
    if (--node->count == 0)
        Remove(node);
    return parent;
}

ModelTree::Node * ModelTree::Rebuild(Node * node, std::size_t index, Path const & replacement) {
    Path const path = GetStoredPath(node);
    Node * changed = GetAt(node, index)->parent;
    AddRef(changed);
    changed = AppendPath(changed, replacement);
    changed = AppendPath(changed, Path(path.begin() + static_cast<long>(index) + 1, path.end()));
    Release(node);
    return changed;
}

ModelTree::Node * ModelTree::GetAt(Node * node, std::size_t index) {
    for (std::size_t length = GetStoredPath(node).size(); length > index + 1; --length)
        node = node->parent;
    return node;
}

Path ModelTree::GetStoredPath(Node const * node) {
    Path path;
    for (; node->parent != nullptr; node = node->parent)
        path.insert(path.begin(), node->name);
    return path;
}

static void PrintBelow(ModelTree::Node const & node, int depth, std::string & out) {
    std::string bars;
    for (int i = 1; i < depth; ++i)
        bars += "|   ";
    if (depth > 0)
        out += bars + "|\n" + bars + "+---";
    out += ToUtf8(Mu::UniString(std::u16string_view(node.name))) + " (" +
           std::to_string(node.count) + ")\n";
    for (auto const & child : node.children)
        PrintBelow(*child, depth + 1, out);
}

std::string ModelTree::Print() const {
    std::string out;
    if (root != nullptr)
        PrintBelow(*root, 0, out);
    return out;
}

} // namespace Tests
