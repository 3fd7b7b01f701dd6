#pragma once

#include <Kestrel/Location/Address.h>

#include <memory>
#include <string>
#include <vector>

namespace Tests {

using Text = std::u16string;
using Path = std::vector<Text>;

IO::Address MakeAddress(Path const & path);
/// The names without attachments.
Path GetPath(IO::Address const & address);
/// What PrintAddressTree prints.
std::string PrintTree();
bool IsTreeGone();

/// Expects each record of both tables, that of the nodes and that of their names, to be either in
/// the tree, once, or in its free list. A tree that is gone must have left nothing.
void CheckTree();

/// The address tree as simply as it can be written: what the real one must look like after the same
/// operations. A node stands for an address that ends there; whoever has it holds it.
class ModelTree {
public:
    struct Node {
        Text name;
        Node * parent = nullptr;
        unsigned int count = 0;
        std::vector<std::unique_ptr<Node>> children;
    };

    Node * HoldRoot();
    void AddRef(Node * node);
    void Release(Node * node);
    Node * Append(Node * node, Text const & name);
    Node * AppendPath(Node * node, Path const & names);
    Node * SetName(Node * node, std::size_t index, Text const & name);
    Node * DeleteName(Node * node, std::size_t index);

    /// The names as they are stored.
    static Path GetStoredPath(Node const * node);
    std::string Print() const;

private:
    static Node * GetAt(Node * node, std::size_t index);
    Node * Rebuild(Node * node, std::size_t index, Path const & replacement);
    void Remove(Node * node);

    std::unique_ptr<Node> root;
};

} // namespace Tests
