// The installed memory pool (size classes, reuse,) and the mutex wrapper whose record it
// allocates.
#include <gtest/gtest.h>

#include <errno.h>

#include <string>
#include <thread>

#include "runtime/pavo_defmempool.h"
#include "runtime/pavo_mempool.h"
#include "runtime/pavo_mutex.h"

namespace {

pavo_mp_block* header_of(void* ptr) { return static_cast<pavo_mp_block*>(ptr) - 1; }

class MemPool : public ::testing::Test {
protected:
    void SetUp() override
    {
        pool_ = PAVO_MemPoolConstruct();
        ASSERT_NE(pool_, nullptr);
    }
    void TearDown() override
    {
        if (pool_ != nullptr)
            MyMemePoolDestruct(pool_);
    }

    // What the view prints; the count lands in `count` (stored only for a size of 4).
    std::string view(void* count, size_t count_size)
    {
        testing::internal::CaptureStdout();
        MyMemPoolView(pool_, count, count_size);
        return testing::internal::GetCapturedStdout();
    }
    int free_blocks()
    {
        int count = -1;
        view(&count, 4);
        return count;
    }

    HMYMEMPOOL pool_ = nullptr;
};

TEST_F(MemPool, ClassesRoundDownToEightThenAddEightAndLargeBlocksRecordTheirSize)
{
    for (size_t n = 0; n < 128; n++)
        EXPECT_EQ(log_2_table[n], n / 8 * 8 + 8) << "size " << n;
    EXPECT_EQ(log_2_table[128], 128u);
    const struct {
        size_t request;
        size_t recorded;
    } cases[] = {
        {0, 8}, {7, 8}, {8, 16}, {120, 128}, {127, 128}, {128, 128}, {129, 129}, {5000, 5000},
    };
    for (const auto& c : cases) {
        void* block = MyMemPoolMalloc(pool_, c.request);
        EXPECT_EQ(header_of(block)->blk_size, c.recorded) << c.request;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % alignof(max_align_t), 0u);
        MyMemPoolFree(pool_, block);
    }
}

TEST_F(MemPool, ReleasedBlocksComeBackMostRecentFirstWithinTheirClassOnly)
{
    void* first = MyMemPoolMalloc(pool_, 16);   // class 24
    void* second = MyMemPoolMalloc(pool_, 23);  // class 24
    MyMemPoolFree(pool_, first);
    MyMemPoolFree(pool_, second);
    EXPECT_EQ(MyMemPoolMalloc(pool_, 17), second);
    EXPECT_EQ(MyMemPoolMalloc(pool_, 20), first);
    void* fresh = MyMemPoolMalloc(pool_, 22);
    EXPECT_NE(fresh, first);
    MyMemPoolFree(pool_, first);
    void* other = MyMemPoolMalloc(pool_, 7);  // class 8 keeps its own list
    EXPECT_NE(other, first);
    MyMemPoolFree(pool_, MyMemPoolMalloc(pool_, 200));
    EXPECT_EQ(free_blocks(), 1);  // large blocks go back to the system
    for (void* block : {second, fresh, other})
        MyMemPoolFree(pool_, block);
    EXPECT_EQ(free_blocks(), 4);
}

TEST_F(MemPool, MutexExcludesOtherThreadsReturnsItsRecordAndRefusesANullHandle)
{
    HMYMUTEX mutex = MyMutexConstruct(pool_);
    ASSERT_NE(mutex, nullptr);
    ASSERT_EQ(MyMutexLock(mutex), 0);
    int other_try = 0;
    std::thread([&] { other_try = MyMutexTryLock(mutex); }).join();
    EXPECT_EQ(other_try, EBUSY);
    EXPECT_EQ(MyMutexUnLock(mutex), 0);
    EXPECT_EQ(free_blocks(), 0);
    // Destroying a mutex its caller still holds must not hang.
    ASSERT_EQ(MyMutexLock(mutex), 0);
    MyMutexDestruct(mutex);
    EXPECT_EQ(free_blocks(), 1);

    EXPECT_EQ(MyMutexLock(nullptr), -1);
}

}  // namespace
