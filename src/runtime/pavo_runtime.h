/*
 * pavo_runtime.h - what the runtime offers the folders above it beyond the
 * public header: the relaxed-atomic helpers, the byte copy into the pool, the
 * format helper, the text builder, the 64-bit calendar, and the queue's and
 * worker pool's inner calls for the pipeline. With it come the runtime's hooks,
 * by which the service layer binds the allocator front, the log and the mode.
 */
#ifndef PAVO_RUNTIME_H
#define PAVO_RUNTIME_H

#include <stddef.h>
#include <stdio.h>

#include "pavo.h"
#include "runtime/pavo_format.h"
#include "runtime/pavo_hooks.h"
#ifdef __cplusplus
#include "runtime/pavo_text.h"
#include "runtime/pavo_time.h"
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* length bytes into a new pooled block of length + 1 bytes, NUL-terminated;
 * null when the block cannot be allocated. */
char* pavo_copy_bytes(const char* bytes, size_t length);

/* pavo_postmessage for the pipeline: 0 stored, 1 dropped because the queue is
 * full (logged; the caller still owns data and cbdata), -1 refused. With notice
 * set the message joins the notices instead, which have no limit. */
int pavo_inner_postmessage(pavo_messagecallback cb, int eventtype, int eventscope, int eventid,
                           void* data, int datasize, void* cbdata, int cbdatasize, int notice);

/* Takes the next message (a notice first) without running it: 1 with its callback
 * and cbdata, 0 when none is left. The taker owns its buffer and cbdata. */
int pavo_inner_takemessage(pavo_messagecallback* cb, void** cbdata);

/* Refuses every later dispatch of the worker pool (-1), and those waiting for a
 * worker now; jobs already running go on. -1 for a null pool. */
int pool_close(t_threadpool pool);

#ifdef __cplusplus
}

/* State, modes, callback slots and the server clock are shared by threads
 * without a lock; they are read and written as relaxed atomics of their own
 * size so that the behaviour stays and the data race goes. */
template <typename T>
inline T pavo_relaxed_load(const T& value)
{
    return __atomic_load_n(&value, __ATOMIC_RELAXED);
}

template <typename T, typename U>
inline void pavo_relaxed_store(T& target, U value)
{
    __atomic_store_n(&target, static_cast<T>(value), __ATOMIC_RELAXED);
}
#endif

#endif /* PAVO_RUNTIME_H */
