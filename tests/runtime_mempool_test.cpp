// The installed memory pool (size classes, reuse, view and destroy reports,
// header checks) and the mutex wrapper whose record it allocates.
#include <gtest/gtest.h>

#include <errno.h>

#include <regex>
#include <string>
#include <thread>

#include "runtime/pavo_defmempool.h"
#include "runtime/pavo_mempool.h"
#include "runtime/pavo_mutex.h"

namespace {

pavo_mp_block* header_of(void* ptr) { return static_cast<pavo_mp_block*>(ptr) - 1; }

class MemPool : public ::testing::Test {
protected:
    void SetUp() override { pool_ = PAVO_MemPoolConstruct(); ASSERT_NE(pool_, nullptr); }
    void TearDown() override
    {
        if (pool_ != nullptr)
            MyMemePoolDestruct(pool_);
    }

    int free_blocks()
    {
        int count = -1;
        testing::internal::CaptureStdout();
        MyMemPoolView(pool_, &count, 4);
        testing::internal::GetCapturedStdout();
        return count;
    }

    HMYMEMPOOL pool_ = nullptr;
};

TEST(MemPoolClassTable, RoundsDownToEightThenAddsEightExceptAtTheTop)
{
    for (size_t n = 0; n < 128; n++)
        EXPECT_EQ(log_2_table[n], n / 8 * 8 + 8) << "size " << n;
    EXPECT_EQ(log_2_table[128], 128u);
}

TEST_F(MemPool, BlocksRecordTheirClassOrLargeSize)
{
    const struct { size_t request; size_t recorded; } cases[] = {
        {0, 8}, {7, 8}, {8, 16}, {120, 128}, {127, 128}, {128, 128}, {129, 129}, {5000, 5000},
    };
    for (const auto& c : cases) {
        void* block = MyMemPoolMalloc(pool_, c.request);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(header_of(block)->blk_size, c.recorded) << "request " << c.request;
        EXPECT_EQ(header_of(block)->next, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % alignof(max_align_t), 0u);
        MyMemPoolFree(pool_, block);
    }
}

TEST_F(MemPool, ReleasedBlocksComeBackMostRecentFirstAtAnySizeOfTheClass)
{
    void* first = MyMemPoolMalloc(pool_, 16);   // class 24
    void* second = MyMemPoolMalloc(pool_, 23);  // class 24
    MyMemPoolFree(pool_, first);
    MyMemPoolFree(pool_, second);
    EXPECT_EQ(MyMemPoolMalloc(pool_, 17), second);
    EXPECT_EQ(MyMemPoolMalloc(pool_, 20), first);
    void* fresh = MyMemPoolMalloc(pool_, 22);
    EXPECT_NE(fresh, first);
    EXPECT_NE(fresh, second);
    for (void* block : {first, second, fresh})
        MyMemPoolFree(pool_, block);
}

TEST_F(MemPool, OtherClassesAndLargeBlocksAreNotShared)
{
    void* small = MyMemPoolMalloc(pool_, 8);  // class 16
    MyMemPoolFree(pool_, small);
    void* other = MyMemPoolMalloc(pool_, 7);  // class 8
    EXPECT_NE(other, small);
    void* large = MyMemPoolMalloc(pool_, 200);
    MyMemPoolFree(pool_, large);
    EXPECT_EQ(free_blocks(), 1);  // large blocks go back to the system
    MyMemPoolFree(pool_, other);
    EXPECT_EQ(free_blocks(), 2);
}

TEST_F(MemPool, ViewPrintsEveryListHeadAndTheCount)
{
    void* block = MyMemPoolMalloc(pool_, 40);  // class 48, list 6
    MyMemPoolFree(pool_, block);
    testing::internal::CaptureStdout();
    int count = -1;
    MyMemPoolView(pool_, &count, 4);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(count, 1);

    std::regex head_line(R"(\[[^\]]*pavo_defmempool\.cpp:\d+\]blk : ([0-9a-f]+)\r\n)");
    std::vector<std::string> heads;
    for (std::sregex_iterator it(out.begin(), out.end(), head_line), end; it != end; ++it)
        heads.push_back((*it)[1]);
    ASSERT_EQ(heads.size(), 17u);
    for (size_t i = 0; i < heads.size(); i++) {
        unsigned long expected = i == 6 ? reinterpret_cast<uintptr_t>(header_of(block)) : 0;
        EXPECT_EQ(std::stoul(heads[i], nullptr, 16), expected) << "list " << i;
    }
    EXPECT_TRUE(std::regex_search(
        out, std::regex(R"(\[[^\]]*pavo_defmempool\.cpp:\d+\]pavo_mp mem pool has blk : 1\r\n\r\n$)")))
        << out;
}

TEST_F(MemPool, ViewStoresTheCountOnlyIntoFourBytes)
{
    MyMemPoolFree(pool_, MyMemPoolMalloc(pool_, 1));
    for (size_t size : {0ul, 2ul, 8ul}) {
        long long untouched = -7;
        testing::internal::CaptureStdout();
        MyMemPoolView(pool_, &untouched, size);
        EXPECT_FALSE(testing::internal::GetCapturedStdout().empty());
        EXPECT_EQ(untouched, -7) << "info_size " << size;
    }
    EXPECT_EQ(free_blocks(), 1);
}

TEST_F(MemPool, DestroyReleasesFreeBlocksAndReportsTheirCount)
{
    void* blocks[3];
    for (void*& block : blocks)
        block = MyMemPoolMalloc(pool_, 64);
    for (void* block : blocks)
        MyMemPoolFree(pool_, block);
    testing::internal::CaptureStdout();
    MyMemePoolDestruct(pool_);
    pool_ = nullptr;
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(std::regex_match(
        out, std::regex(R"(\[[^\]]*pavo_defmempool\.cpp:\d+\]pavo_mp_destroy [0-9a-f]+ 3 blk has been free\r\n)")))
        << out;
}

TEST_F(MemPool, PoolIsSharedSafelyByThreads)
{
    auto churn = [this] {
        for (int i = 0; i < 500; i++) {
            void* a = MyMemPoolMalloc(pool_, static_cast<size_t>(i % 140));
            void* b = MyMemPoolMalloc(pool_, 32);
            MyMemPoolFree(pool_, a);
            MyMemPoolFree(pool_, b);
        }
    };
    std::thread t1(churn), t2(churn);
    t1.join();
    t2.join();
    EXPECT_GT(free_blocks(), 0);
}

using MemPoolDeathTest = MemPool;

TEST_F(MemPoolDeathTest, ChecksAbortWithTheirTexts)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    mymempool_t* table = reinterpret_cast<mymempool_t*>(pool_);
    EXPECT_DEATH(table->malloc_fun(8, nullptr), "context_data");
    EXPECT_DEATH(table->free_fun(nullptr, nullptr), "context_data");
    void* block = MyMemPoolMalloc(pool_, 16);
    header_of(block)->blk_size = 20;
    EXPECT_DEATH(MyMemPoolFree(pool_, block),
                 R"(ptr_blk->blk_size == log_2_table\[ptr_blk->blk_size - 1\])");
    header_of(block)->blk_size = 24;
    MyMemPoolFree(pool_, block);
    // A recycled block whose header was overwritten with another class.
    header_of(block)->blk_size = 32;
    EXPECT_DEATH(MyMemPoolMalloc(pool_, 16), R"(log_2_table\[size\] == ptr->blk_size)");
    header_of(block)->blk_size = 24;
    EXPECT_DEATH(MyMemePoolDestruct(nullptr), "mp");
}

TEST(MyMutex, NullHandleOperationsFail)
{
    EXPECT_EQ(MyMutexLock(nullptr), -1);
    EXPECT_EQ(MyMutexTryLock(nullptr), -1);
    EXPECT_EQ(MyMutexUnLock(nullptr), -1);
    MyMutexDestruct(nullptr);
}

TEST_F(MemPool, MutexExcludesOtherThreadsAndReturnsItsRecordToThePool)
{
    HMYMUTEX mutex = MyMutexConstruct(pool_);
    ASSERT_NE(mutex, nullptr);
    ASSERT_EQ(MyMutexLock(mutex), 0);
    int other_try = 0;
    std::thread([&] { other_try = MyMutexTryLock(mutex); }).join();
    EXPECT_EQ(other_try, EBUSY);
    EXPECT_EQ(MyMutexUnLock(mutex), 0);
    std::thread([&] {
        other_try = MyMutexTryLock(mutex);
        MyMutexUnLock(mutex);
    }).join();
    EXPECT_EQ(other_try, 0);
    EXPECT_EQ(free_blocks(), 0);
    MyMutexDestruct(mutex);
    EXPECT_EQ(free_blocks(), 1);
}

TEST(MyMutex, DestructOfAMutexHeldByTheCallerDoesNotHang)
{
    HMYMUTEX mutex = MyMutexConstruct(nullptr);
    ASSERT_NE(mutex, nullptr);
    ASSERT_EQ(MyMutexLock(mutex), 0);
    MyMutexDestruct(mutex);
}

}  // namespace
