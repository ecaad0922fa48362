/*
 * pavo_alloc.cpp - the allocator front (pavo_malloc, pavo_alloc, pavo_free):
 * zero-filled blocks from the memory pool whose handle the environment holds.
 * The service layer binds the front to that handle's place when the library
 * loads, so the front follows whatever pool start-up puts there; unbound, it
 * uses the system allocator, as a null pool does.
 */
#include <string.h>

#include "runtime/pavo_runtime.h"

namespace {

// Bound during the library's static initialisation, before any thread.
HMYMEMPOOL* g_pool_slot = nullptr;

HMYMEMPOOL current_pool() { return g_pool_slot != nullptr ? *g_pool_slot : nullptr; }

}  // namespace

extern "C" {

void pavo_inner_bindallocator(HMYMEMPOOL* slot) { g_pool_slot = slot; }

void* pavo_malloc(size_t size)
{
    void* block = MyMemPoolMalloc(current_pool(), size);
    if (block != nullptr)
        memset(block, 0, size);
    return block;
}

// The product is not checked for overflow, as the interface always did.
void* pavo_alloc(size_t count, size_t size) { return pavo_malloc(count * size); }

void pavo_free(void* ptr)
{
    if (ptr != nullptr)
        MyMemPoolFree(current_pool(), ptr);
}

}  // extern "C"
