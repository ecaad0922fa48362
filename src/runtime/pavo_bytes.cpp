/*
 * pavo_bytes.cpp - the one byte copy into the pool, used by the answer
 * parsers for every text they keep and by the pipeline for job and answer
 * blocks.
 */
#include <string.h>

#include "runtime/pavo_runtime.h"

extern "C" {

char* pavo_copy_bytes(const char* bytes, size_t length)
{
    char* copy = static_cast<char*>(pavo_malloc(length + 1));
    if (copy != nullptr) {
        memcpy(copy, bytes, length);
        copy[length] = '\0';
    }
    return copy;
}

}  // extern "C"
