#include "Tests/Support/Location/AddressTrees.h"

#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Location/Internal/AddressTree.h>

#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

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
    IO::MemoryOChannel channel;
    IO::Address::PrintAddressTree(channel);
    return std::string(channel.GetDestination(), channel.GetDataSize());
}

bool IsTreeGone() {
    IO::AddressTree::Turn const tree;
    return tree->GetRoot() == NoIndex && tree->GetNodes().GetCapacity() == 0 &&
           tree->GetNames().GetChunks().GetCapacity() == 0 && tree->GetNames().GetCount() == 0;
}

namespace {

class TreeWalk {
public:
    explicit TreeWalk(IO::AddressTree const & tree)
        : tree(tree), nodes(tree.GetNodes()), chunks(tree.GetNames().GetChunks()) {}

    void Check() {
        if (tree.GetRoot() != NoIndex) {
            ASSERT_EQ(nodes[tree.GetRoot()].parent, NoIndex);
            ASSERT_EQ(nodes[tree.GetRoot()].next, NoIndex);
            CheckBelow(tree.GetRoot());
        }
        EXPECT_EQ(tree.GetNames().GetCount(), seen.size());
        CheckFreeNodes();
        CheckFreeChunks();
    }

private:
    void CheckBelow(unsigned int root) {
        std::vector<unsigned int> open = {root};
        while (!open.empty()) {
            unsigned int const node = open.back();
            open.pop_back();
            ASSERT_LT(node, nodes.GetRecords().GetMark());
            ASSERT_TRUE(seen.insert(node).second) << "two ways lead to " << node;
            CheckName(nodes[node].name);
            unsigned long long below = 0;
            for (unsigned int child = nodes[node].leftChild; child != NoIndex;
                 child = nodes[child].next) {
                ASSERT_EQ(nodes[child].parent, node);
                ASSERT_EQ(tree.GetLength(child), tree.GetLength(node) + 1);
                below += nodes[child].referenceCounter;
                open.push_back(child);
            }
            ASSERT_GE(nodes[node].referenceCounter, below);
            ASSERT_GE(nodes[node].referenceCounter, 1u);
            if (node != root)
                CheckHash(node);
        }
    }

    void CheckName(unsigned int chunk) {
        for (; chunk != NoIndex; chunk = chunks[chunk].next) {
            ASSERT_LT(chunk, chunks.GetMark());
            ASSERT_TRUE(usedChunks.insert(chunk).second) << "two names share chunk " << chunk;
        }
    }

    void CheckHash(unsigned int node) {
        Mu::UniString text;
        tree.ReadName(node, text);
        ASSERT_EQ(tree.GetHash(node),
                  65599u * tree.GetHash(nodes[node].parent) + IO::Name(text).GenerateHashValue());
    }

    void CheckFreeNodes() {
        unsigned int count = 0;
        for (unsigned int node = nodes.GetRecords().GetFreeHead(); node != NoIndex;
             node = nodes[node].next, ++count) {
            ASSERT_LT(count, nodes.GetRecords().GetMark());
            ASSERT_EQ(nodes[node].parent, 0xF4F3F2F1u);
            ASSERT_EQ(nodes[node].leftChild, 0xF4F3F2F1u);
            ASSERT_EQ(nodes[node].referenceCounter, 0u);
            ASSERT_EQ(seen.count(node), 0u);
        }
        EXPECT_EQ(count + seen.size(), nodes.GetRecords().GetMark());
    }

    void CheckFreeChunks() {
        unsigned int count = 0;
        for (unsigned int chunk = chunks.GetFreeHead(); chunk != NoIndex;
             chunk = chunks[chunk].next, ++count) {
            ASSERT_LT(count, chunks.GetMark());
            ASSERT_EQ(usedChunks.count(chunk), 0u);
        }
        EXPECT_EQ(count + usedChunks.size(), chunks.GetMark());
    }

    IO::AddressTree const & tree;
    IO::NodeTable const & nodes;
    IO::GrowingTable<IO::NameTable::Record> const & chunks;
    std::set<unsigned int> seen;
    std::set<unsigned int> usedChunks;
};

} // namespace

void CheckTree() {
    IO::AddressTree::Turn const tree;
    tree->Settle();
    TreeWalk(*tree).Check();
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
