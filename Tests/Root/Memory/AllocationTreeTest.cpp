#include <Kestrel/Root/Memory/AllocationTree.h>

#include <Kestrel/Root/Internal/BlockTable.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Text/String.h>

#include "Tests/Support/FaultSweep.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

// Counts while it lives.
class Counting {
public:
    Counting() { EXPECT_TRUE(AllocationTree::Start()); }
    ~Counting() { EXPECT_TRUE(AllocationTree::Stop()); }
};

struct Info {
    std::string text;
    unsigned int size = 0;
    unsigned int count = 0;
};

Info GetInfo(void const * node) {
    Mu::String text;
    Info info;
    AllocationTree::GetLeafNodeInfo(node, text, info.size, info.count);
    info.text = text.ToCStr();
    return info;
}

struct Children final : AllocationTree::Enumerator {
    std::vector<void *> leaves, subNodes;
    bool Leaf(void * node) override {
        leaves.push_back(node);
        return true;
    }
    bool SubNode(void * node) override {
        subNodes.push_back(node);
        return true;
    }
    explicit Children(void * node) { AllocationTree::EnumerateNode(node, *this); }
};

// The leaf of a text, found as a viewer would: from the root down.
void * FindLeaf(std::string const & text) {
    for (void * group : Children(nullptr).subNodes)
        for (void * leaf : Children(group).leaves)
            if (GetInfo(leaf).text == text)
                return leaf;
    ADD_FAILURE() << "there is no leaf " << text;
    return nullptr;
}

struct Blocks final : AllocationTree::UserBlockEnumerator {
    std::multimap<unsigned int, void *> nodes; // by size
    bool Block(unsigned int size, void * node) override {
        Mu_free(Mu_malloc(100)); // it may use memory
        nodes.emplace(size, node);
        return true;
    }
};

} // namespace

TEST(AllocationTree, ShowsLiveBlocksBySize) {
    void * const early = Mu_malloc(100);
    Counting counting;
    EXPECT_FALSE(AllocationTree::Start()) << "it counts already";
    void * const leaf = FindLeaf("up to 64 bytes");
    EXPECT_EQ(GetInfo(leaf).count, 0u);
    void * const a = Mu_malloc(33);
    void * b = Mu_malloc(64);
    EXPECT_EQ(GetInfo(leaf).count, 2u);
    EXPECT_EQ(GetInfo(leaf).size, 97u);
    Blocks at, beside;
    AllocationTree::EnumerateUserBlocks(a, 1, at);
    EXPECT_EQ(at.nodes, (std::multimap<unsigned int, void *>{{33, leaf}}));
    AllocationTree::EnumerateUserBlocks(static_cast<char *>(a) + 1, 1, beside);
    EXPECT_TRUE(beside.nodes.empty());
    b = Mu::ReallocateOperator(b, 1000);
    EXPECT_EQ(GetInfo(leaf).count, 1u);
    EXPECT_EQ(GetInfo(FindLeaf("up to 1 KiB")).size, 1000u);
    Mu_free(early); // was never counted
    Mu_free(a);
    EXPECT_EQ(GetInfo(leaf).size, 0u);
    EXPECT_EQ(GetInfo(nullptr).count, 1u) << "all blocks: the one of 1000 bytes";
    Mu_free(b);
}

// Under the tree lies memory whose large blocks are none.
TEST(AllocationTree, HasALeafForEachPowerOfTwo) {
    Mu::MemoryCalls const calls = Mu::GetMemoryCalls();
    Mu::SetMemoryCalls(
        {[](std::size_t size) { return std::malloc(size & 0xFFFFF); }, std::realloc, std::free});
    std::vector<std::size_t> leafCounts;
    unsigned int bits = 4;
    {
        Counting counting;
        for (void * group : Children(nullptr).subNodes) {
            void * const root = static_cast<void **>(group)[2]; // where viewers find the parent
            EXPECT_TRUE(static_cast<void **>(root)[2] == nullptr &&
                        GetInfo(root).text == "all blocks");
            std::vector<void *> const leaves = Children(group).leaves;
            leafCounts.push_back(leaves.size());
            for (void * leaf : leaves) {
                std::size_t const most = std::size_t{1} << bits;
                char const * const units[] = {" bytes", " KiB", " MiB", " GiB"};
                std::string const text = std::to_string(most >> bits / 10 * 10) + units[bits / 10];
                EXPECT_EQ(GetInfo(leaf).text, bits == 31 ? "above 1 GiB" : "up to " + text);
                void * const blocks[] = {Mu_malloc(most), Mu_malloc(most / 2 + 1),
                                         Mu_malloc(most + 1)};
                EXPECT_EQ(GetInfo(leaf).count, bits == 31 ? 3u : 2u);
                EXPECT_EQ(GetInfo(leaf).size, bits == 31 ? ~0u : most + most / 2 + 1);
                EXPECT_EQ(GetInfo(nullptr).count, 3u);
                EXPECT_EQ(static_cast<void **>(leaf)[2], group);
                for (void * block : blocks)
                    Mu_free(block);
                ++bits;
            }
        }
    }
    EXPECT_EQ(leafCounts, (std::vector<std::size_t>{5, 8, 15}));
    EXPECT_TRUE(GetInfo(&bits).text.empty() && Children(&bits).leaves.empty()) << "no node";
    Mu::SetMemoryCalls(calls);
}

TEST(AllocationTree, MeetsEveryFailedAllocation) {
    SweepAllocations([](bool failed) {
        Counting counting;
        void * const block = Mu_malloc(20);
        EXPECT_TRUE(block != nullptr || failed);
        Mu_free(block); // counted or not
        EXPECT_EQ(GetInfo(FindLeaf("up to 32 bytes")).count, 0u);
    });
}

// Whatever the order of operations, the table is a map.
TEST(BlockTable, IsAMap) {
    Mu::MemoryCalls const calls = {std::malloc, std::realloc, std::free};
    Mu::BlockTable table;
    std::map<void *, std::size_t> model;
    std::mt19937 random(3);
    for (int step = 0; step < 20000; ++step) {
        void * const block = reinterpret_cast<void *>((random() % 1500 + 1) * std::uintptr_t{16});
        std::size_t size = 0;
        if (random() % 5 < 3) {
            ASSERT_TRUE(table.Insert(block, random() % 1000, calls));
            table.Enumerate([&](void * each, std::size_t eachSize) {
                if (each == block)
                    size = eachSize;
                return each != block;
            });
            model[block] = size;
        } else {
            ASSERT_EQ(table.Remove(block, &size), model.count(block) == 1);
            if (model.count(block) == 1) {
                ASSERT_EQ(size, model[block]);
            }
            model.erase(block);
        }
    }
    std::map<void *, std::size_t> found;
    table.Enumerate(
        [&](void * block, std::size_t size) { return found.emplace(block, size).second; });
    EXPECT_EQ(found, model);
    table.Clear(calls);
}
