#include <Kestrel/Root/Memory/AllocationTree.h>

#include <Kestrel/Root/Internal/BlockTable.h>
#include <Kestrel/Root/Internal/CoreGuard.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Text/String.h>

#include <algorithm>
#include <bit>

namespace {

using Node = AllocationTree::Node;

struct Totals {
    unsigned long long size = 0;
    unsigned long long count = 0;
};

// The n-th leaf is for blocks of up to 2^(n + 4) bytes, and the last one for all larger ones.
constexpr char const * LeafTexts[] = {
    "up to 16 bytes",  "up to 32 bytes", "up to 64 bytes", "up to 128 bytes", "up to 256 bytes",
    "up to 512 bytes", "up to 1 KiB",    "up to 2 KiB",    "up to 4 KiB",     "up to 8 KiB",
    "up to 16 KiB",    "up to 32 KiB",   "up to 64 KiB",   "up to 128 KiB",   "up to 256 KiB",
    "up to 512 KiB",   "up to 1 MiB",    "up to 2 MiB",    "up to 4 MiB",     "up to 8 MiB",
    "up to 16 MiB",    "up to 32 MiB",   "up to 64 MiB",   "up to 128 MiB",   "up to 256 MiB",
    "up to 512 MiB",   "up to 1 GiB",    "above 1 GiB"};
constexpr unsigned int LeafCount = sizeof LeafTexts / sizeof *LeafTexts;

struct Group {
    char const * text;
    unsigned int endLeaf; // the first one of the next group
};
constexpr Group Groups[] = {
    {"small blocks", 5}, {"medium blocks", 13}, {"large blocks", LeafCount}};
constexpr unsigned int GroupCount = sizeof Groups / sizeof *Groups;

constinit Mu::LockCore treeLock;
constinit Totals totals[LeafCount];    // under treeLock
constinit Mu::BlockTable liveBlocks;   // under treeLock
constinit Mu::MemoryCalls behind = {}; // the calls that were in use at Start

struct Tree {
    Node root = {"all blocks", nullptr, nullptr};
    Node groups[GroupCount] = {};
    Node leaves[LeafCount] = {};

    constexpr Tree() {
        unsigned int leaf = 0;
        for (unsigned int group = 0; group < GroupCount; ++group) {
            groups[group] = {Groups[group].text, nullptr, &root};
            for (; leaf < Groups[group].endLeaf; ++leaf)
                leaves[leaf] = {LeafTexts[leaf], &totals[leaf], &groups[group]};
        }
    }
};

constinit Tree tree;

unsigned int GetLeaf(std::size_t size) {
    unsigned int const bits = size > 1 ? static_cast<unsigned int>(std::bit_width(size - 1)) : 0;
    return std::clamp(bits, 4u, LeafCount + 3) - 4;
}

// Under treeLock.
void Count(void * block, std::size_t size) {
    if (block == nullptr || !liveBlocks.Insert(block, size, behind))
        return;
    totals[GetLeaf(size)].size += size;
    ++totals[GetLeaf(size)].count;
}

// Under treeLock. False: the block was not counted.
bool Discount(void * block, std::size_t * size) {
    if (!liveBlocks.Remove(block, size))
        return false;
    totals[GetLeaf(*size)].size -= *size;
    --totals[GetLeaf(*size)].count;
    return true;
}

void * Allocate(std::size_t size) {
    void * const block = behind.allocate(size);
    Mu::CoreGuard guard(treeLock);
    Count(block, size);
    return block;
}

// The lock is not held while the block is freed: from then on another thread may get it.
void Free(void * block) {
    {
        Mu::CoreGuard guard(treeLock);
        std::size_t size;
        Discount(block, &size);
    }
    behind.free(block);
}

void * Reallocate(void * block, std::size_t size) {
    std::size_t oldSize = 0;
    bool counted;
    {
        Mu::CoreGuard guard(treeLock);
        counted = Discount(block, &oldSize);
    }
    void * const moved = behind.reallocate(block, size);
    Mu::CoreGuard guard(treeLock);
    if (moved != nullptr)
        Count(moved, size);
    else if (counted)
        Count(block, oldSize);
    return moved;
}

constexpr Mu::MemoryCalls countingCalls = {Allocate, Reallocate, Free};

bool IsCounting() {
    return Mu::GetMemoryCalls().allocate == Allocate;
}

bool IsBelow(Node const & leaf, void const * node) {
    return &leaf == node || leaf.parent == node || leaf.parent->parent == node;
}

unsigned int Bound(unsigned long long value) {
    return static_cast<unsigned int>(std::min<unsigned long long>(value, 0xFFFFFFFFu));
}

Node const * FindNode(void const * node) {
    if (node == nullptr || node == &tree.root)
        return &tree.root;
    for (Node const & group : tree.groups)
        if (&group == node)
            return &group;
    for (Node const & leaf : tree.leaves)
        if (&leaf == node)
            return &leaf;
    return nullptr;
}

} // namespace

bool AllocationTree::Start() {
    if (behind.allocate != nullptr)
        return false;
    behind = Mu::GetMemoryCalls();
    Mu::SetMemoryCalls(countingCalls);
    return true;
}

bool AllocationTree::Stop() {
    if (!IsCounting())
        return false;
    Mu::SetMemoryCalls(behind);
    liveBlocks.Clear(behind);
    std::fill_n(totals, LeafCount, Totals());
    behind = {};
    return true;
}

void AllocationTree::EnumerateNode(void * node, Enumerator & enumerator) {
    if (node == nullptr || node == &tree.root) {
        for (Node & group : tree.groups)
            if (!enumerator.SubNode(&group))
                return;
        return;
    }
    for (Node & leaf : tree.leaves)
        if (leaf.parent == node && !enumerator.Leaf(&leaf))
            return;
}

// On a copy, so that the enumerator may allocate memory.
void AllocationTree::EnumerateUserBlocks(void * begin, unsigned int size,
                                         UserBlockEnumerator & enumerator) {
    Mu::BlockTable copy;
    Mu::MemoryCalls const calls = IsCounting() ? behind : Mu::GetMemoryCalls();
    {
        Mu::CoreGuard guard(treeLock);
        if (!liveBlocks.CopyTo(copy, calls))
            return;
    }
    std::uintptr_t const first = reinterpret_cast<std::uintptr_t>(begin);
    copy.Enumerate([&](void * block, std::size_t blockSize) {
        if (reinterpret_cast<std::uintptr_t>(block) - first >= size)
            return true;
        return enumerator.Block(Bound(blockSize), &tree.leaves[GetLeaf(blockSize)]);
    });
    copy.Clear(calls);
}

void AllocationTree::GetLeafNodeInfo(void const * node, Mu::String & text, unsigned int & size,
                                     unsigned int & count) {
    Node const * const known = FindNode(node);
    Totals sum;
    if (known != nullptr) {
        Mu::CoreGuard guard(treeLock);
        for (unsigned int leaf = 0; leaf < LeafCount; ++leaf) {
            if (!IsBelow(tree.leaves[leaf], known))
                continue;
            sum.size += totals[leaf].size;
            sum.count += totals[leaf].count;
        }
    }
    size = Bound(sum.size);
    count = Bound(sum.count);
    text = known != nullptr ? known->text : "";
}
