/*
 * pavo_threadpool.h - the records behind a t_threadpool handle: one record per
 * detached worker thread and the pool with its idle stack. The exported pool
 * functions are declared in the public header; the pipeline's job dispatches
 * on it.
 */
#ifndef PAVO_THREADPOOL_H
#define PAVO_THREADPOOL_H

#include <pthread.h>

#include "pavo.h"

/* The idle stack always has this many entries, whatever the pool's maximum;
 * it is also the largest maximum a pool accepts. */
#define PAVO_THREADPOOL_STACK 200

typedef pthread_t sp_thread_t;
typedef pthread_mutex_t sp_thread_mutex_t;
typedef pthread_cond_t sp_thread_cond_t;
typedef pthread_attr_t sp_thread_attr_t;
typedef void* sp_thread_result_t;

typedef struct _thread {
    sp_thread_t id;
    sp_thread_mutex_t mutex; /* guards the hand-over of a job */
    sp_thread_cond_t cond;   /* wakes the parked worker */
    dispatch_fn fn;
    void* arg;
    t_threadpool parent;
} _thread;

typedef struct _threadpool {
    sp_thread_mutex_t tp_mutex; /* guards every field below */
    sp_thread_cond_t tp_idle;   /* a worker parked */
    sp_thread_cond_t tp_full;   /* every existing worker is parked */
    sp_thread_cond_t tp_empty;  /* the last worker left */
    _thread** tp_list;          /* idle stack, PAVO_THREADPOOL_STACK entries */
    int tp_index;               /* parked workers: top of the idle stack */
    int tp_max_index;           /* most workers the pool will create */
    int tp_stop;                /* 1 once shut-down began; workers read it unlocked */
    int tp_total;               /* workers that exist, running or parked */
    int tp_closing;             /* 1: dispatches are refused (shut-down is near) */
} _threadpool;

extern "C" {
int save_thread(_threadpool* pool, _thread* thread);
sp_thread_result_t wrapper_fn(void* arg);
}

#endif /* PAVO_THREADPOOL_H */
