#pragma once

#include <Kestrel/Location/Internal/NameTable.h>
#include <Kestrel/Location/Internal/NodeTable.h>
#include <Kestrel/Location/Internal/RecentFolders.h>
#include <Kestrel/Location/Internal/SiblingLists.h>
#include <Kestrel/Root/Text/UniString.h>
#include <Kestrel/Root/Threads/Lock.h>

#include <utility>

namespace IO {

/// The names of all addresses of the process: each node is a name below another one, and an address
/// is a node.
///
/// A node's counter is the number of addresses whose path goes through it; a holder of a node has
/// one count on it and on each of its ancestors up to the root. So a longer path takes over the
/// counts of the shorter one that it grew from.
///
/// Addresses are copied and dropped far more often than anything else happens to them, so a copy is
/// not counted at once: it is noted at its node alone, without the lock, and most copies are
/// dropped the same way. Claim counts the hold of an address that is about to change, and
/// SynchronizeCounters all of them. A node with holders always has a counted hold among them: a
/// thread that finds no copy to drop has seen as many counted holds as holders, so the last of
/// these keeps the node alive.
///
/// Of the two addresses of a location, one is usually the root. Both are then noted at the other
/// one's node, so that a copy is one atomic operation and threads do not contend for the root's
/// note. Where one of two such holds is dropped or claimed alone, the root's is counted. So the
/// root's counter may lack holds that are noted elsewhere; before the tree is destroyed, all are
/// counted.
///
/// The folders of the paths looked up last have counted holds that belong to the tree itself. They
/// are never visible: they are released before counters are shown, before a node is tested for
/// having one holder, when memory runs out, and with the last address.
///
/// Operations that return a node return NoIndex when memory runs out. Keys hold no zero unit.
///
/// Memory:  the node table and the name table, each one relocatable block that grows, and the
///          tables that speed them up. All of it is freed with the last count of the root, and
///          allocated again with the next.
/// Threads: any, each inside a Turn, except for the static operations, which need none. The lock is
///          the innermost of the library: only name enumerators and the name comparer are called
///          while it is held.
/// Failure: NoIndex or false, never an exception; except by Turn, when the lock fails.
class AddressTree {
public:
    /// Holds the lock of the tree, and is the way to the only one. Throws
    /// Mu::SynchronizationException.
    class Turn {
    public:
        Turn() : tree(GetInstance()) { tree.lock.Enter(); }
        ~Turn() { tree.lock.Leave(); }
        Turn(Turn const &) = delete;
        Turn & operator=(Turn const &) = delete;
        AddressTree * operator->() const { return &tree; }
        AddressTree & operator*() const { return tree; }

    private:
        AddressTree & tree;
    };

    // For holders of the node; without the lock.

    /// One more hold on the node.
    static void Copy(unsigned int node) { NoteCopy(node, NodeTable::Copy); }
    /// One more hold on the node and one on the root.
    static void CopyWithRoot(unsigned int node) { NoteCopy(node, NodeTable::CopyWithRoot); }
    /// For a caller that holds this node or another one.
    static bool IsRoot(unsigned int node) { return node == made->root; }
    /// Prefetches what a drop reads first, during the wait for the lock. Does nothing for NoIndex.
    static void PrefetchNote(unsigned int node) {
        if (node != NoIndex)
            Prefetch(made->nodes.FindNote(node));
    }
    /// Releases the hold, if that only takes forgetting a copy, or if the tree no longer exists.
    static bool DropCopy(unsigned int node);
    /// The same for a hold on the node and one on the root. The node may be one of an earlier tree.
    static bool DropCopyWithRoot(unsigned int node) {
        NodeTable::Note * const note = made->nodes.FindNote(node);
        return note == nullptr || note->TakeBack(NodeTable::FindWithRoot) != 0;
    }
    static unsigned int GetLength(unsigned int node) { return made->nodes.GetNote(node).depth; }
    static unsigned int GetHash(unsigned int node) { return made->nodes.GetNote(node).hash; }
    /// 0 for NoIndex.
    static unsigned int HashOf(unsigned int node) { return node == NoIndex ? 0 : GetHash(node); }
    /// Whether lengths or hashes show that the paths cannot be the same.
    static bool AreSurelyDifferent(unsigned int a, unsigned int b);

    // Holds.

    /// One more hold on the root, which is created if there is no tree.
    unsigned int HoldRoot();
    /// A hold on the node of a list of names, as Address::Set takes it. Creates nodes as needed.
    unsigned int HoldPath(unsigned short const * list);
    /// Ensures that the counters include the caller's hold.
    void Claim(unsigned int node);
    /// Makes all counters include all holds of addresses, and no others.
    void SynchronizeCounters();
    /// Releases a hold; nodes without a holder are freed. Does nothing for NoIndex, nor for a node
    /// of a tree that was cleaned up.
    void Drop(unsigned int node);
    /// The same for the node and the root.
    void DropWithRoot(unsigned int node);

    // Changes. Each takes over the caller's counted hold on `node` and returns a node with one; on
    // NoIndex the caller has no hold left.

    /// The child of that name.
    unsigned int Append(unsigned int node, Mu::ConstSubstring const & key);
    /// All the names of another path from that index on, with their attachments or without.
    unsigned int AppendPath(unsigned int node, unsigned int other, unsigned int index,
                            bool withAttachments);
    /// The same path with another name at the index.
    unsigned int SetName(unsigned int node, unsigned int index, Mu::ConstSubstring const & key);
    /// The same path without the name at the index.
    unsigned int DeleteName(unsigned int node, unsigned int index);
    /// The parent. Not for the root.
    unsigned int DeleteLast(unsigned int node);

    // Queries of nodes that are held.

    /// The node of the path that has that many names behind it.
    unsigned int GetAncestor(unsigned int node, unsigned int steps) const;
    /// The text as it is stored, or without its attachment. Throws Mu::OutOfMemoryException, with
    /// `text` unchanged.
    void ReadStoredName(unsigned int node, Mu::UniString & text) const;
    void ReadName(unsigned int node, Mu::UniString & text) const;
    /// Whether the paths have the same names, by the rules of Name::operator==.
    bool IsSamePath(unsigned int a, unsigned int b) const;
    bool IsPathLess(unsigned int a, unsigned int b) const;

    /// Synchronises the counters, and prints.
    void Print(Mu::OChannel & channel);
    /// Destroys all tables, whatever the counters are.
    void CleanUp();

    // For diagnostic views and tests. Counters are exact after SynchronizeCounters.

    NodeTable const & GetNodes() const { return nodes; }
    NameTable const & GetNames() const { return names; }
    unsigned int GetRoot() const { return root; }
    unsigned long long GetComparisonCount() const { return siblings.GetComparisonCount(); }

private:
    AddressTree() : siblings(nodes, names) {}

    static AddressTree & GetInstance();

    static void NoteCopy(unsigned int node, NodeTable::Copies copy) {
        if (NodeTable::IsHalfFull(
                made->nodes.GetNote(node).copies.fetch_add(copy, std::memory_order_relaxed)))
            MakeRoomForCopies(node);
    }
    static void MakeRoomForCopies(unsigned int node) noexcept;
    bool ForgetCopy(unsigned int node);
    void CountCopies(unsigned int node);
    void CountAllCopies();
    void AddRef(unsigned int node, unsigned int count = 1);
    void Release(unsigned int node, unsigned int count = 1);
    bool IsOnlyHolder(unsigned int node);
    unsigned int AddRefToRecent();
    unsigned int HoldNewPath(unsigned short const * list);
    void KeepRecent(unsigned short const * list, unsigned int size, unsigned int node);
    void LeaveRecent();
    void LeaveWithLast();
    unsigned int CountRecentBelow(unsigned int node) const;
    bool MakeRoot();
    unsigned int MakeNode(unsigned int parent, Mu::ConstSubstring const & key);
    void FillNote(unsigned int node, Mu::ConstSubstring const & key);
    unsigned int FindOrCreate(unsigned int parent, Mu::ConstSubstring const & key);
    bool Rename(unsigned int node, Mu::ConstSubstring const & key);
    void Remove(unsigned int node);
    void DestroyNodes();

    unsigned int GetNameHash(unsigned int node) const;
    bool IsSameName(unsigned int a, unsigned int b) const;
    bool IsSameForComparer(unsigned int a, unsigned int b) const;
    void PrintNode(Mu::OChannel & channel, unsigned int node) const;
    unsigned int GetNextToPrint(unsigned int node) const;

    // The only tree; set before the first address. Exported, so that debuggers find it in a library
    // without debug information; Tools/debug/kestrel_gdb.py depends on the layout of the tables.
    KESTREL_API static inline AddressTree * made = nullptr;

    NodeTable nodes;
    NameTable names;
    SiblingLists siblings;
    RecentFolders recent;
    unsigned int root = NoIndex;
    Mu::FastLock lock;
};

} // namespace IO
