/*
 * Markup_blocks.cpp - storage for the navigator's index and end-tag stack.
 * Blocks of 2 MiB and more are mapped on their own, aligned, offered to the
 * kernel for huge pages and filled in by one call: a large answer's index
 * would otherwise take thousands of page-fault traps and TLB misses, which on
 * a box (or under a hypervisor) cost more than the parse itself. Smaller
 * blocks, and the first block of an array whatever its size, come from the
 * heap: an ordinary answer needs no other, and a text-heavy one sized from
 * its length would otherwise pay for 2 MiB filled in and never used.
 */
#include <sys/mman.h>

#include <cstdint>
#include <new>

#include "xml/Markup_internal.h"

namespace {

constexpr size_t kHugeBytes = size_t{2} << 20;

bool Mapped(size_t nBytes, bool bFirst) { return !bFirst && nBytes >= kHugeBytes; }

size_t MappedBytes(size_t nBytes) { return (nBytes + kHugeBytes - 1) & ~(kHugeBytes - 1); }

}  // namespace

void* AllocIndexBlock(size_t nBytes, bool bFirst)
{
    if (!Mapped(nBytes, bFirst))
        return ::operator new(nBytes);
    const size_t nMapped = MappedBytes(nBytes);
    // One huge page more than needed, so an aligned run fits; the ends go back.
    void* pMap = mmap(nullptr, nMapped + kHugeBytes, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pMap == MAP_FAILED)
        throw std::bad_alloc();
    const uintptr_t nMap = reinterpret_cast<uintptr_t>(pMap);
    const uintptr_t nAligned = (nMap + kHugeBytes - 1) & ~uintptr_t{kHugeBytes - 1};
    if (nAligned > nMap)
        munmap(pMap, nAligned - nMap);
    munmap(reinterpret_cast<void*>(nAligned + nMapped), nMap + kHugeBytes - nAligned);
    void* pBlock = reinterpret_cast<void*>(nAligned);
#ifdef MADV_HUGEPAGE
    madvise(pBlock, nMapped, MADV_HUGEPAGE);  // advice only: refused where huge pages are off
#endif
#ifdef MADV_POPULATE_WRITE
    madvise(pBlock, nBytes, MADV_POPULATE_WRITE);  // Linux 5.14 on; else faulted as used
#endif
    return pBlock;
}

void FreeIndexBlock(void* pBlock, size_t nBytes, bool bFirst)
{
    if (pBlock == nullptr)
        return;
    if (Mapped(nBytes, bFirst))
        munmap(pBlock, MappedBytes(nBytes));
    else
        ::operator delete(pBlock);
}
