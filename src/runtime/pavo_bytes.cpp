/*
 * pavo_bytes.cpp - the one byte copy into the pool, used by the parse frame
 * for every text an answer keeps and by the service layer for job and answer
 * blocks, error texts and results.
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
