/*
 * pavo_defmempool.h - the records of the library's installed memory pool:
 * the header in front of every block, the pool state with its 17 free lists,
 * and the size-to-class table. The pool is built by PAVO_MemPoolConstruct and
 * reached only through the function table of its HMYMEMPOOL handle.
 */
#ifndef PAVO_DEFMEMPOOL_H
#define PAVO_DEFMEMPOOL_H

#include <stddef.h>
#include <stdint.h>

#include "pavo.h"

/* Largest size served from the free lists; larger ones go to malloc. */
#define PAVO_MP_MAX_POOLED 128
#define PAVO_MP_LISTS 17

/* Over-aligned so that the caller's pointer just past the header keeps
 * malloc's alignment (the two fields fill 16 bytes on x86-64 anyway). */
typedef struct alignas(alignof(max_align_t)) __pavo_mp_block {
    size_t blk_size;              /* class size 8..128, or the requested size from 129 */
    struct __pavo_mp_block* next; /* next free block of the same class */
} pavo_mp_block;

typedef struct __pavo_mp_mempool {
    HMYMUTEX protecter;                /* spelt so; guards every free list */
    pavo_mp_block* blk[PAVO_MP_LISTS]; /* indexed by class size / 8; entry 0 unused */
} pavo_mp_mempool;

extern "C" {
extern const uint32_t log_2_table[PAVO_MP_MAX_POOLED + 1];
}

#endif /* PAVO_DEFMEMPOOL_H */
