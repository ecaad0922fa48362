/*
 * pavo_mempool.h - the function table behind an HMYMEMPOOL handle. The handle
 * functions themselves are exported through the public header; the installed
 * pool's block header and free lists are its own.
 */
#ifndef PAVO_MEMPOOL_H
#define PAVO_MEMPOOL_H

#include "pavo.h"

typedef struct {
    mymalloc malloc_fun;
    myfree free_fun;
    mempool_view view_fun;
    mempool_destroy destroy_fun;
    void* context_data;
} mymempool_t;

#endif
