#pragma once

#include <Kestrel/Root/Export.h>

namespace Mu {
class String;
}

/// Where the memory is: a tree of the live blocks that came from the root's functions, sorted by
/// size. Below the root stand "small blocks", "medium blocks" and "large blocks", and below those a
/// leaf for each power of two.
///
/// It counts between Start and Stop and shows zeros otherwise; while it does not count, it costs
/// nothing at all.
///
/// Memory:  while counting, some words for each live block, from the calls it stands in front of.
///          A block for which there are none is not counted.
/// Threads: any, but for Start and Stop.
/// Failure: none.
class KESTREL_API AllocationTree {
public:
    /// What a tree viewer may look at directly: the parent stands third. The others are private to
    /// the tree.
    struct Node {
        char const * text;
        void * statistics;
        Node * parent; ///< null for the root
    };

    /// The result of both: whether to continue.
    class KESTREL_API Enumerator {
    public:
        virtual bool Leaf(void * node) = 0;
        virtual bool SubNode(void * node) = 0;

    protected:
        ~Enumerator() = default;
    };

    /// Gets the blocks of one size, one by one.
    class KESTREL_API UserBlockEnumerator {
    public:
        virtual bool Block(unsigned int size, void * node) = 0;

    protected:
        ~UserBlockEnumerator() = default;
    };

    /// Puts the counting in front of the present memory calls. Not while another thread uses the
    /// library. Blocks of earlier are not counted, and may be freed later. False: it counts
    /// already.
    static bool Start();
    /// Takes the counting away again, if the memory calls are still those that Start has set;
    /// otherwise somebody stands in front, and nothing happens, which returns false.
    static bool Stop();

    /// The children of a node; of the root for null. A pointer that is no node has none.
    static void EnumerateNode(void * node, Enumerator & enumerator);
    /// The counted blocks that begin in the span and lived at the call, in no order. Without memory
    /// for a copy of the list there are none.
    static void EnumerateUserBlocks(void * begin, unsigned int size,
                                    UserBlockEnumerator & enumerator);
    /// What a node stands for, the bytes in its blocks, and their number. Both numbers stop at
    /// their largest value.
    static void GetLeafNodeInfo(void const * node, Mu::String & text, unsigned int & size,
                                unsigned int & count);
};
