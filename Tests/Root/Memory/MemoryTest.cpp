#include <Kestrel/Root/Memory/Memory.h>

#include "Tests/Support/FaultSweep.h"

#include <Kestrel/Root/Errors/Exceptions.h>

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(Memory, AnswersNullOnShortage) {
    SweepAllocations([](bool failed) {
        char * block = BMAllocatePtr(100, 0, 0);
        BMHandle handle = BMAllocateHandle(10, 3, 0);
        EXPECT_TRUE(failed || (block != nullptr && handle != nullptr));
        if (handle != nullptr) {
            std::memcpy(*handle, "0123456789", 10);
            bool const grown = BMReallocHandle(handle, 1000) == handle;
            EXPECT_TRUE(failed || grown);
            EXPECT_EQ(BMGetHandleSize(handle), grown ? 1000u : 10u);
            EXPECT_EQ(std::memcmp(*handle, "0123456789", 10), 0);
            EXPECT_EQ(BMModifyHandleState(handle, 4), 3u);
            EXPECT_EQ(BMModifyHandleState(handle, 0), 4u);
        }
        BMKillHandle(&handle);
        EXPECT_EQ(handle, nullptr);
        if (BMHandle made = BMPtrToHandle(block, 100)) {
            EXPECT_EQ(*made, block);
            BMKillHandle(&made);
        } else {
            BMKillPtr(&block);
            EXPECT_EQ(block, nullptr);
        }
    });
}

TEST(Memory, BearsNullEverywhere) {
    BMKillPtr(nullptr);
    BMKillHandle(nullptr);
    Mu_free(nullptr);
    EXPECT_EQ(BMReallocHandle(nullptr, 1), nullptr);
    EXPECT_EQ(BMGetHandleSize(nullptr), 0u);
    EXPECT_EQ(BMPtrToHandle(nullptr, 5), nullptr);
    BNCopyMemory(nullptr, nullptr, 0);
    BNMoveMemory(nullptr, nullptr, 0);
    BNFillMemory(nullptr, 0, 1);
}

TEST(Memory, CopiesMovesAndFills) {
    char text[] = "abcdef";
    BNMoveMemory(text, text + 1, 3);
    EXPECT_STREQ(text, "aabcef");
    BNCopyMemory(text, text + 3, 2);
    EXPECT_STREQ(text, "aabaaf");
    BNFillMemory(text + 1, 2, 'x');
    EXPECT_STREQ(text, "axxaaf");
}

TEST(Memory, GivesABlockForNoBytes) {
    void * const block = Mu::NewOperator(0);
    EXPECT_NE(block, nullptr);
    Mu::DeleteOperator(block);
    EXPECT_THROW(Mu::StdAllocator<long long>().allocate(~std::size_t(0) / 4),
                 Mu::OutOfMemoryException);
}

TEST(Memory, KnowsWhatMayBeReadAndWritten) {
    static char const constant[] = "a constant";
    char local[3 * 4096] = {};
    EXPECT_TRUE(BNValidReadPtr(local, sizeof(local)));
    EXPECT_TRUE(BNValidWritePtr(local, sizeof(local)));
    EXPECT_TRUE(BNValidReadPtr(constant, sizeof(constant)));
    EXPECT_FALSE(BNValidWritePtr(const_cast<char *>(constant), sizeof(constant)));
    EXPECT_FALSE(BNValidReadPtr(nullptr, 0));
    EXPECT_FALSE(BNValidReadPtr(reinterpret_cast<void *>(16), 4));
    EXPECT_FALSE(BNValidReadPtr(local, ~std::size_t(0)));
    EXPECT_FALSE(BNValidReadPtr(local, ~std::size_t(0) / 4));
}

TEST(CachedAllocator, KeepsSoManyBlocksForTheNextTaker) {
    long long const before = Tests::CountLiveBlocks();
    {
        Mu::CachedAllocator allocator(2, 64);
        unsigned int size = 0;
        void * const a = allocator.Allocate(1, &size);
        EXPECT_EQ(size, 64u);
        void * const b = allocator.Allocate(64, nullptr);
        void * const c = allocator.Allocate(64, nullptr);
        void * const large = allocator.Allocate(65, &size);
        EXPECT_EQ(size, 65u);
        allocator.Free(a, 1);
        allocator.Free(b, 64);
        allocator.Free(c, 64);
        allocator.Free(large, 65);
        allocator.Free(nullptr, 1);
        EXPECT_EQ(Tests::CountLiveBlocks() - before, 3) << "itself and two blocks";
        unsigned long long const taken = Tests::CountAllocations();
        allocator.Free(allocator.Allocate(10, nullptr), 10);
        EXPECT_EQ(Tests::CountAllocations(), taken);
    }
    EXPECT_EQ(Tests::CountLiveBlocks(), before);
}

} // namespace
