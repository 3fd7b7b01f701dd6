#pragma once

#include <Kestrel/Root/Export.h>

namespace Mu {
class String;
}

/// Memory statistics: a tree of the live blocks that were allocated through the root's functions,
/// sorted by size. Below the root are "small blocks", "medium blocks" and "large blocks", and below
/// those a leaf for each power of two.
///
/// It counts between Start and Stop and shows zeros otherwise; while it does not count, it costs
/// nothing.
///
/// Memory:  while counting, some words for each live block, from the underlying memory calls. A
///          block for which there are none is not counted.
/// Threads: any, except for Start and Stop.
/// Failure: none.
class KESTREL_API AllocationTree {
public:
    /// What a tree viewer may access directly: the parent is the third field. The others are
    /// private to the tree.
    struct Node {
        char const * text;
        void * statistics;
        Node * parent; ///< null for the root
    };

    /// The result of both callbacks: whether to continue.
    class KESTREL_API Enumerator {
    public:
        virtual bool Leaf(void * node) = 0;
        virtual bool SubNode(void * node) = 0;

    protected:
        ~Enumerator() = default;
    };

    /// Receives the blocks of one size, one by one.
    class KESTREL_API UserBlockEnumerator {
    public:
        virtual bool Block(unsigned int size, void * node) = 0;

    protected:
        ~UserBlockEnumerator() = default;
    };

    /// Installs the counting in front of the current memory calls. Not while another thread uses
    /// the library. Earlier blocks are not counted, and may be freed later. False: it is already
    /// counting.
    static bool Start();
    /// Removes the counting if the memory calls are still those that Start has installed; otherwise
    /// does nothing and returns false.
    static bool Stop();

    /// The children of a node; of the root for null. An invalid pointer has none.
    static void EnumerateNode(void * node, Enumerator & enumerator);
    /// The counted blocks that start in the range and were live at the call, in no order. Empty if
    /// there is no memory for a copy of the list.
    static void EnumerateUserBlocks(void * begin, unsigned int size,
                                    UserBlockEnumerator & enumerator);
    /// The meaning of a node, the bytes in its blocks, and their number. Both numbers saturate.
    static void GetLeafNodeInfo(void const * node, Mu::String & text, unsigned int & size,
                                unsigned int & count);
};
