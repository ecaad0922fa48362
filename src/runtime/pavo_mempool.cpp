/*
 * pavo_mempool.cpp - the memory pool handle: an HMYMEMPOOL forwards
 * allocation, release, view and destruction to the pool installed behind it
 * (the library's own from PAVO_MemPoolConstruct), or to the system allocator
 * for a null handle.
 */
#include <assert.h>
#include <stdlib.h>

#include "runtime/pavo_mempool.h"

extern "C" {

HMYMEMPOOL MyMemPoolConstruct(mymalloc malloc_helper, myfree free_helper, mempool_destroy destroy,
                              mempool_view view, void* context_data)
{
    // An assertion prints its expression: the formatter leaves these texts as written.
    // clang-format off
    assert(malloc_helper && free_helper);
    mymempool_t* mp = static_cast<mymempool_t*>(malloc(sizeof(mymempool_t)));
    assert(mp);
    // clang-format on
    // The parameters come destroy-then-view, the fields view-then-destroy.
    mp->malloc_fun = malloc_helper;
    mp->free_fun = free_helper;
    mp->view_fun = view;
    mp->destroy_fun = destroy;
    mp->context_data = context_data;
    return reinterpret_cast<HMYMEMPOOL>(mp);
}

void MyMemePoolDestruct(HMYMEMPOOL hm)
{
    mymempool_t* mp = reinterpret_cast<mymempool_t*>(hm);
    // clang-format off
    assert(mp);
    // clang-format on
    if (mp->destroy_fun != nullptr)
        mp->destroy_fun(mp->context_data);
    free(mp);
}

void MyMemPoolView(HMYMEMPOOL hm, void* info, size_t info_size)
{
    mymempool_t* mp = reinterpret_cast<mymempool_t*>(hm);
    // clang-format off
    assert(mp);
    // clang-format on
    if (mp->view_fun != nullptr)
        mp->view_fun(mp->context_data, info, info_size);
}

void* MyMemPoolMalloc(HMYMEMPOOL hm, size_t size)
{
    mymempool_t* mp = reinterpret_cast<mymempool_t*>(hm);
    if (mp == nullptr)
        return malloc(size);
    return mp->malloc_fun(size, mp->context_data);
}

void MyMemPoolFree(HMYMEMPOOL hm, void* ptr)
{
    mymempool_t* mp = reinterpret_cast<mymempool_t*>(hm);
    if (mp == nullptr) {
        free(ptr);
        return;
    }
    mp->free_fun(ptr, mp->context_data);
}

void MyMemPoolMemReport(int) {}

int MyMemPoolGetBlkCount(void) { return 0; }

}  // extern "C"
