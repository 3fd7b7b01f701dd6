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
    b = Mu::ReallocateOperator(b, 1000);
    EXPECT_EQ(GetInfo(leaf).count, 1u);
    EXPECT_EQ(GetInfo(FindLeaf("up to 1 KiB")).size, 1000u);
    Mu_free(early); // was never counted
    Mu_free(a);
    EXPECT_EQ(GetInfo(leaf).size, 0u);
    EXPECT_EQ(GetInfo(nullptr).count, 1u) << "all blocks: the one of 1000 bytes";
    Mu_free(b);
}

TEST(AllocationTree, HasTheParentInTheThirdPlaceOfANode) {
    auto const getParent = [](void * node) { return static_cast<void **>(node)[2]; };
    std::vector<void *> const groups = Children(nullptr).subNodes;
    ASSERT_EQ(groups.size(), 3u);
    void * const root = getParent(groups[0]);
    EXPECT_EQ(getParent(root), nullptr);
    EXPECT_EQ(Children(root).subNodes, groups);
    for (void * group : groups)
        for (void * leaf : Children(group).leaves)
            EXPECT_TRUE(getParent(group) == root && getParent(leaf) == group);
    int noNode = 0;
    EXPECT_EQ(GetInfo(&noNode).text, "");
    EXPECT_TRUE(Children(&noNode).leaves.empty());
}

TEST(AllocationTree, ListsTheBlocksOfARegion) {
    Counting counting;
    char * const block = static_cast<char *>(Mu_malloc(5000));
    char * const other = static_cast<char *>(Mu_malloc(70));
    Blocks atBlock, beside;
    AllocationTree::EnumerateUserBlocks(block, 1, atBlock);
    ASSERT_EQ(atBlock.nodes.size(), 1u);
    EXPECT_EQ(atBlock.nodes.begin()->first, 5000u);
    EXPECT_EQ(atBlock.nodes.begin()->second, FindLeaf("up to 8 KiB"));
    AllocationTree::EnumerateUserBlocks(block + 1, 1, beside);
    EXPECT_TRUE(beside.nodes.empty());
    Mu_free(other);
    Mu_free(block);
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
