/*
 * pavo_defmempool.cpp - the memory pool that the library installs behind its
 * HMYMEMPOOL: 17 exact-class free lists (8..128 bytes) under one lock, larger
 * blocks straight from malloc. PAVO_MemPoolConstruct builds it for pavo_init;
 * its four functions are reached only through the pool's function table.
 */
#include <assert.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "runtime/pavo_defmempool.h"
#include "runtime/pavo_mutex.h"
#include "runtime/pavo_runtime.h"

static_assert(sizeof(pavo_mp_block) % alignof(max_align_t) == 0,
              "the caller's pointer must keep malloc's alignment");

extern "C" {

// Not powers of two despite the name: n rounded down to a multiple of 8, plus
// 8, so that 8 takes a 16-byte block and 120 a 128-byte one; only 128 maps to
// itself. Kept as it is: block sizes depend on it.
const uint32_t log_2_table[PAVO_MP_MAX_POOLED + 1] = {
    8,   8,   8,   8,   8,   8,   8,   8,   /*   0..  7 */
    16,  16,  16,  16,  16,  16,  16,  16,  /*   8.. 15 */
    24,  24,  24,  24,  24,  24,  24,  24,  /*  16.. 23 */
    32,  32,  32,  32,  32,  32,  32,  32,  /*  24.. 31 */
    40,  40,  40,  40,  40,  40,  40,  40,  /*  32.. 39 */
    48,  48,  48,  48,  48,  48,  48,  48,  /*  40.. 47 */
    56,  56,  56,  56,  56,  56,  56,  56,  /*  48.. 55 */
    64,  64,  64,  64,  64,  64,  64,  64,  /*  56.. 63 */
    72,  72,  72,  72,  72,  72,  72,  72,  /*  64.. 71 */
    80,  80,  80,  80,  80,  80,  80,  80,  /*  72.. 79 */
    88,  88,  88,  88,  88,  88,  88,  88,  /*  80.. 87 */
    96,  96,  96,  96,  96,  96,  96,  96,  /*  88.. 95 */
    104, 104, 104, 104, 104, 104, 104, 104, /*  96..103 */
    112, 112, 112, 112, 112, 112, 112, 112, /* 104..111 */
    120, 120, 120, 120, 120, 120, 120, 120, /* 112..119 */
    128, 128, 128, 128, 128, 128, 128, 128, /* 120..127 */
    128,                                    /* 128: the largest class takes its own size */
};

}  // extern "C"

namespace {

pavo_mp_block* header_of(void* ptr) { return static_cast<pavo_mp_block*>(ptr) - 1; }

void* payload_of(pavo_mp_block* block) { return block + 1; }

// A fresh block from the system with its header filled in; null when the
// system has none (or the size cannot be represented).
pavo_mp_block* new_system_block(size_t payload)
{
    if (payload > SIZE_MAX - sizeof(pavo_mp_block))
        return nullptr;
    pavo_mp_block* block = static_cast<pavo_mp_block*>(malloc(sizeof(pavo_mp_block) + payload));
    if (block != nullptr) {
        block->blk_size = payload;
        block->next = nullptr;
    }
    return block;
}

void* pavo_mp_malloc(size_t size, void* context_data)
{
    // An assertion prints its expression: the formatter leaves these texts as written.
    // clang-format off
    assert(context_data);
    // clang-format on
    pavo_mp_mempool* pool = static_cast<pavo_mp_mempool*>(context_data);
    if (size > PAVO_MP_MAX_POOLED) {
        // Large blocks bypass the lists and therefore the lock.
        pavo_mp_block* large = new_system_block(size);
        return large == nullptr ? nullptr : payload_of(large);
    }
    size_t blk_class = log_2_table[size];
    // clang-format off
    assert(log_2_table[size] >= size);
    // clang-format on

    MyMutexGuard lock(pool->protecter);
    size_t index = blk_class / 8;
    // Admits 17 as well (one past the lists); unreachable, kept as written.
    // clang-format off
    assert(index <= sizeof(((pavo_mp_mempool *)context_data)->blk) / sizeof(((pavo_mp_mempool *)context_data)->blk[0]));
    // clang-format on
    pavo_mp_block* ptr = pool->blk[index];
    if (ptr != nullptr) {
        // The reused block's own next is left as it was.
        pool->blk[index] = ptr->next;
        // clang-format off
        assert(log_2_table[size] == ptr->blk_size);
        // clang-format on
    } else {
        ptr = new_system_block(blk_class);
        if (ptr == nullptr)
            return nullptr;
    }
    return payload_of(ptr);
}

void pavo_mp_free(void* ptr, void* context_data)
{
    // clang-format off
    assert(context_data);
    // clang-format on
    if (ptr == nullptr)
        return;  // as free() does
    pavo_mp_mempool* pool = static_cast<pavo_mp_mempool*>(context_data);

    // Taken for large blocks too.
    MyMutexGuard lock(pool->protecter);
    pavo_mp_block* ptr_blk = header_of(ptr);
    if (ptr_blk->blk_size > PAVO_MP_MAX_POOLED) {
        free(ptr_blk);
        return;
    }
    // A zeroed header would index the table at -1 in the check below.
    // clang-format off
    assert(ptr_blk->blk_size != 0);
    assert(ptr_blk->blk_size == log_2_table[ptr_blk->blk_size - 1]);
    // clang-format on
    size_t index = log_2_table[ptr_blk->blk_size - 1] / 8;
    // clang-format off
    assert(index <= sizeof(((pavo_mp_mempool *)context_data)->blk) / sizeof(((pavo_mp_mempool *)context_data)->blk[0]));
    // clang-format on
    // Most recently released first; blocks never go back to the system here.
    ptr_blk->next = pool->blk[index];
    pool->blk[index] = ptr_blk;
}

void pavo_mp_destroy(void* context_data)
{
    if (context_data == nullptr)
        return;
    pavo_mp_mempool* pool = static_cast<pavo_mp_mempool*>(context_data);
    const unsigned long address = reinterpret_cast<uintptr_t>(context_data);
    int count = 0;
    {
        MyMutexGuard lock(pool->protecter);
        for (pavo_mp_block*& head : pool->blk) {
            while (head != nullptr) {
                pavo_mp_block* next = head->next;
                free(head);
                head = next;
                ++count;
            }
        }
    }
    // Blocks still held by callers are not tracked and stay theirs.
    MyMutexDestruct(pool->protecter);
    MyMemPoolFree(nullptr, pool);
    pavo_inner_diagnostic(stdout, "[%s:%d]pavo_mp_destroy %lx %d blk has been free\r\n",
                          __FILE_NAME__, __LINE__, address, count);
}

void pavo_mp_view(void* context_data, void* info, size_t info_size)
{
    if (context_data == nullptr)
        return;
    pavo_mp_mempool* pool = static_cast<pavo_mp_mempool*>(context_data);
    int count = 0;
    {
        MyMutexGuard lock(pool->protecter);
        for (pavo_mp_block* head : pool->blk) {
            pavo_inner_diagnostic(stdout, "[%s:%d]blk : %lx\r\n", __FILE_NAME__, __LINE__,
                                  static_cast<unsigned long>(reinterpret_cast<uintptr_t>(head)));
            for (pavo_mp_block* block = head; block != nullptr; block = block->next)
                ++count;
        }
    }
    pavo_inner_diagnostic(stdout, "[%s:%d]pavo_mp mem pool has blk : %d\r\n\r\n", __FILE_NAME__,
                          __LINE__, count);
    // Only a 4-byte buffer receives the count.
    static_assert(sizeof(int) == 4, "the count is stored as a 4-byte int");
    if (info != nullptr && info_size == 4)
        memcpy(info, &count, sizeof count);
}

}  // namespace

extern "C" {

HMYMEMPOOL PAVO_MemPoolConstruct(void)
{
    // No pool exists yet: the state and its lock come from the system.
    pavo_mp_mempool* state =
        static_cast<pavo_mp_mempool*>(MyMemPoolMalloc(nullptr, sizeof(pavo_mp_mempool)));
    if (state == nullptr)
        return nullptr;
    state->protecter = MyMutexConstruct(nullptr);
    if (state->protecter == nullptr) {
        MyMemPoolFree(nullptr, state);
        return nullptr;
    }
    memset(state->blk, 0, sizeof state->blk);
    return MyMemPoolConstruct(pavo_mp_malloc, pavo_mp_free, pavo_mp_destroy, pavo_mp_view, state);
}

}  // extern "C"
