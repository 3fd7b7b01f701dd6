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
/// A node's counter is the number of addresses whose path goes through it; whoever holds a node has
/// one count on it and on each of its ancestors up to the root. So a longer path takes over the
/// counts of the shorter one that it grew from.
///
/// Addresses are copied and dropped far more often than anything else happens to them, so a copy is
/// not counted at once: it is noted at its node alone, without the lock, and most copies are
/// dropped the same way. Claim counts the hold of an address that is about to change, and Settle
/// all of them. A node with holders always has a counted hold among them: who finds no copy to drop
/// has seen as many counted holds as holders, so the last of these keeps the node alive.
///
/// Of the two addresses of a location one is mostly the root. Then both are noted at the other one's
/// node, so that a copy is one atomic operation and the root's note is no meeting place of all
/// threads. Where one of such two holds is dropped or claimed alone, the root's is counted. So the
/// root's counter may lack holds that are noted elsewhere; before the tree goes all are counted.
///
/// The folders of the paths looked up last have counted holds that are the tree's own. Nobody sees
/// them: they go before counters are shown, before a node is tested for having one holder, when
/// memory runs out, and with the last address.
///
/// Operations that return a node return NoIndex when memory runs out. Keys hold no zero unit.
///
/// Memory:  the node table and the name table, each one relocatable block that doubles, and what
///          speeds them up beside them. All of it goes with the last count of the root, and comes
///          again with the next.
/// Threads: any, each inside a Turn, but for the static operations, which need none. The lock is
///          the innermost of the library: only name enumerators and the name comparer are called
///          with it held.
/// Failure: NoIndex or false, never an exception; except by Turn, when the lock fails.
class AddressTree {
public:
    /// Holds the lock of the tree; the way to the one tree there is. Throws
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
    /// For one who holds the node, or another one.
    static bool IsRoot(unsigned int node) { return node == made->root; }
    /// Prefetches what a drop reads first, while the lock is waited for. Nothing for NoIndex.
    static void PrefetchNote(unsigned int node) {
        if (node != NoIndex)
            Prefetch(made->nodes.FindNote(node));
    }
    /// Gives the hold back, if that needs no more than to forget a copy, or if the tree is gone.
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

    /// One more hold on the root, which is made if there is no tree.
    unsigned int HoldRoot();
    /// A hold on the node of a list of names, as Address::Set takes it. Nodes are made as needed.
    unsigned int HoldPath(unsigned short const * list);
    /// Makes sure that the counters know of the caller's hold.
    void Claim(unsigned int node);
    /// Makes all counters know of all holds of addresses, and of no others.
    void SynchronizeCounters();
    /// One hold less; nodes that nobody holds any more go. Nothing for NoIndex, and for a node of a
    /// tree that was cleaned up.
    void Drop(unsigned int node);
    /// The same on the node and on the root.
    void DropWithRoot(unsigned int node);

    // Changes. Each takes over the caller's counted hold on `node` and gives one on the node it
    // returns; on NoIndex the caller holds nothing any more.

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

    // Questions about nodes that are held.

    /// The node of the path that has that many names behind it.
    unsigned int GetAncestor(unsigned int node, unsigned int steps) const;
    /// The text as it is stored, or without its attachment. Throws Mu::OutOfMemoryException, with
    /// `text` as it was.
    void ReadStoredName(unsigned int node, Mu::UniString & text) const;
    void ReadName(unsigned int node, Mu::UniString & text) const;
    /// Whether the paths have the same names, by what Name::operator== says.
    bool IsSamePath(unsigned int a, unsigned int b) const;
    bool IsPathLess(unsigned int a, unsigned int b) const;

    /// Settles, and prints.
    void Print(Mu::OChannel & channel);
    /// Destroys all tables, whatever the counters say.
    void CleanUp();

    // For diagnostic views and tests. Counters are right after Settle.

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

    // The one tree; set before the first address. Exported, so that debuggers find it in a library
    // without debug information; Tools/debug/kestrel_gdb.py knows how the tables lie.
    KESTREL_API static inline AddressTree * made = nullptr;

    NodeTable nodes;
    NameTable names;
    SiblingLists siblings;
    RecentFolders recent;
    unsigned int root = NoIndex;
    Mu::FastLock lock;
};

} // namespace IO
