/*
 * pavo_threadpool.cpp - the worker pool that runs HTTP jobs in asynchronous
 * mode: detached threads created on demand up to a maximum, parked on an idle
 * stack after each job and reused last in, first out; a dispatch blocks while
 * every worker is busy. Created and destroyed by the lifecycle.
 *
 * Lock order: tp_mutex, then a worker's mutex (dispatch, shut-down). A worker
 * never holds its own mutex while it parks in save_thread: it waits for a
 * job stored in its record (fn set) rather than for a bare signal, so a job
 * handed over before it waits is not lost and the order is never inverted.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>

#include "runtime/pavo_runtime.h"
#include "runtime/pavo_threadpool.h"

namespace {

// Measured on armhf (tools/pavo-footprint): a request used under 40 KiB of a worker's
// stack, and under 160 KiB on the caller's thread with the INI file's buffers. The C
// library's default, 8 MiB a worker, is out of proportion on a box.
constexpr size_t kWorkerStackSize = 512 * 1024;

// The C library's default comes from the stack limit; an application that chose its own
// process-wide default (pthread_setattr_default_np) keeps it for the workers too.
size_t worker_stack_size()
{
    pthread_attr_t defaults;
    size_t size = 0;
    if (pthread_getattr_default_np(&defaults) != 0)
        return kWorkerStackSize;
    pthread_attr_getstacksize(&defaults, &size);
    pthread_attr_destroy(&defaults);
    struct rlimit limit;
    const bool from_limit = getrlimit(RLIMIT_STACK, &limit) == 0 &&
                            (limit.rlim_cur == RLIM_INFINITY || limit.rlim_cur == size);
    return from_limit ? kWorkerStackSize : size;
}

bool stopping(_threadpool* pool) { return pavo_relaxed_load(pool->tp_stop) != 0; }

// A worker leaving the pool for good; the last one out wakes the shut-down.
sp_thread_result_t leave_pool(_threadpool* pool)
{
    pthread_mutex_lock(&pool->tp_mutex);
    pool->tp_total--;
    if (pool->tp_total <= 0)
        pthread_cond_signal(&pool->tp_empty);
    pthread_mutex_unlock(&pool->tp_mutex);
    return nullptr;
}

// Hands a job to the parked worker on top of the idle stack; tp_mutex held.
void wake_parked_worker(_threadpool* pool, dispatch_fn fn, void* arg)
{
    pool->tp_index--;
    _thread* worker = pool->tp_list[pool->tp_index];
    pool->tp_list[pool->tp_index] = nullptr;
    // The job is stored under the worker's mutex: a worker that wakes up
    // spuriously must never see half of it.
    pthread_mutex_lock(&worker->mutex);
    worker->fn = fn;
    worker->arg = arg;
    worker->parent = pool;
    pthread_cond_signal(&worker->cond);
    pthread_mutex_unlock(&worker->mutex);
}

// Starts one more detached worker with its first job; tp_mutex held.
int start_worker(_threadpool* pool, dispatch_fn fn, void* arg)
{
    _thread* worker = static_cast<_thread*>(malloc(sizeof(_thread)));
    if (worker == nullptr) {
        pavo_inner_diagnostic(stdout, "cannot create thread\n");
        return -1;
    }
    worker->id = sp_thread_t();
    pthread_mutex_init(&worker->mutex, nullptr);
    pthread_cond_init(&worker->cond, nullptr);
    worker->fn = fn;
    worker->arg = arg;
    worker->parent = pool;

    // Not destroyed afterwards: these attributes own nothing.
    sp_thread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attr, worker_stack_size());
    if (pthread_create(&worker->id, &attr, wrapper_fn, worker) != 0) {
        pavo_inner_diagnostic(stdout, "cannot create thread\n");
        pthread_mutex_destroy(&worker->mutex);
        pthread_cond_destroy(&worker->cond);
        free(worker);
        return -1;
    }
    pool->tp_total++;
    pavo_inner_diagnostic(stdout, "create thread#%ld\n", static_cast<long>(worker->id));
    return 0;
}

}  // namespace

extern "C" {

t_threadpool create_threadpool(int num_threads_in_pool)
{
    if (num_threads_in_pool < 1 || num_threads_in_pool > PAVO_THREADPOOL_STACK)
        return nullptr;
    _threadpool* pool = static_cast<_threadpool*>(malloc(sizeof(_threadpool)));
    _thread** stack = static_cast<_thread**>(calloc(PAVO_THREADPOOL_STACK, sizeof(_thread*)));
    if (pool == nullptr || stack == nullptr) {
        pavo_inner_diagnostic(stderr, "Out of memory creating a new threadpool!\n");
        free(pool);
        free(stack);
        return nullptr;
    }
    pthread_mutex_init(&pool->tp_mutex, nullptr);
    pthread_cond_init(&pool->tp_idle, nullptr);
    pthread_cond_init(&pool->tp_full, nullptr);
    pthread_cond_init(&pool->tp_empty, nullptr);
    pool->tp_max_index = num_threads_in_pool;
    pool->tp_index = 0;
    pool->tp_stop = 0;
    pool->tp_total = 0;
    pool->tp_closing = 0;
    pool->tp_list = stack;
    return pool;
}

int save_thread(_threadpool* pool, _thread* thread)
{
    int parked = -1;
    pthread_mutex_lock(&pool->tp_mutex);
    if (pool->tp_index < pool->tp_max_index) {
        pool->tp_list[pool->tp_index] = thread;
        pool->tp_index++;
        pthread_cond_signal(&pool->tp_idle);
        if (pool->tp_index >= pool->tp_total)
            pthread_cond_signal(&pool->tp_full);
        parked = 0;
    }
    pthread_mutex_unlock(&pool->tp_mutex);
    return parked;
}

sp_thread_result_t wrapper_fn(void* arg)
{
    _thread* worker = static_cast<_thread*>(arg);
    _threadpool* pool = static_cast<_threadpool*>(worker->parent);
    for (;;) {
        // The first job is in the record already; later ones arrive while
        // parked. Waiting on the stored job, not on the signal alone, keeps a
        // spurious wake-up from running the previous job again.
        pthread_mutex_lock(&worker->mutex);
        while (worker->fn == nullptr && !stopping(pool))
            pthread_cond_wait(&worker->cond, &worker->mutex);
        dispatch_fn fn = worker->fn;
        void* job = worker->arg;
        worker->fn = nullptr;
        pthread_mutex_unlock(&worker->mutex);
        if (stopping(pool))
            return leave_pool(pool);

        fn(job);
        // Stopped while running: this worker is on no list and its record
        // stays allocated, as it always did.
        if (stopping(pool))
            return leave_pool(pool);
        if (save_thread(pool, worker) != 0) {
            pthread_mutex_destroy(&worker->mutex);
            pthread_cond_destroy(&worker->cond);
            free(worker);
            return leave_pool(pool);
        }
    }
}

int dispatch_threadpool(t_threadpool handle, dispatch_fn fn, void* arg)
{
    _threadpool* pool = static_cast<_threadpool*>(handle);
    if (pool == nullptr || fn == nullptr)
        return -1;
    pthread_mutex_lock(&pool->tp_mutex);
    // No time-out: the caller waits until a worker parks, or the pool closes.
    while (pool->tp_index < 1 && pool->tp_total >= pool->tp_max_index && !pool->tp_closing)
        pthread_cond_wait(&pool->tp_idle, &pool->tp_mutex);
    int result = 0;
    if (pool->tp_closing)
        result = -1;  // a job that waited for a worker is never started at shut-down
    else if (pool->tp_index > 0)
        wake_parked_worker(pool, fn, arg);
    else
        result = start_worker(pool, fn, arg);
    pthread_mutex_unlock(&pool->tp_mutex);
    return result;
}

void destroy_threadpool(t_threadpool handle)
{
    _threadpool* pool = static_cast<_threadpool*>(handle);
    if (pool == nullptr)
        return;
    pthread_mutex_lock(&pool->tp_mutex);
    // Both waits loop on their condition (one message each): a spurious
    // wake-up must neither stop a running job's worker before it parks nor
    // free the pool while a worker still counts itself in it.
    if (pool->tp_index < pool->tp_total) {
        pavo_inner_diagnostic(stdout, "waiting for %d thread(s) to finish\n",
                              pool->tp_total - pool->tp_index);
        while (pool->tp_index < pool->tp_total)
            pthread_cond_wait(&pool->tp_full, &pool->tp_mutex);
    }
    pavo_relaxed_store(pool->tp_stop, 1);
    for (int i = 0; i < pool->tp_index; i++) {
        _thread* worker = pool->tp_list[i];
        pthread_mutex_lock(&worker->mutex);
        pthread_cond_signal(&worker->cond);
        pthread_mutex_unlock(&worker->mutex);
    }
    if (pool->tp_total > 0) {
        pavo_inner_diagnostic(stdout, "waiting for %d thread(s) to exit\n", pool->tp_total);
        while (pool->tp_total > 0)
            pthread_cond_wait(&pool->tp_empty, &pool->tp_mutex);
    }
    // Every parked worker has left; its mutex and condition are not
    // destroyed, only the record freed.
    for (int i = 0; i < pool->tp_index; i++) {
        free(pool->tp_list[i]);
        pool->tp_list[i] = nullptr;
    }
    pthread_mutex_unlock(&pool->tp_mutex);
    pool->tp_index = 0;
    pthread_mutex_destroy(&pool->tp_mutex);
    pthread_cond_destroy(&pool->tp_idle);
    pthread_cond_destroy(&pool->tp_full);
    pthread_cond_destroy(&pool->tp_empty);
    free(pool->tp_list);
    free(pool);
}

t_threadpool pool_init(int n) { return create_threadpool(n); }

int pool_add_worker(t_threadpool pool, dispatch_fn fn, void* arg)
{
    if (pool == nullptr)
        return -1;
    return dispatch_threadpool(pool, fn, arg);
}

int pool_close(t_threadpool handle)
{
    _threadpool* pool = static_cast<_threadpool*>(handle);
    if (pool == nullptr)
        return -1;
    pthread_mutex_lock(&pool->tp_mutex);
    pool->tp_closing = 1;
    pthread_cond_broadcast(&pool->tp_idle);
    pthread_mutex_unlock(&pool->tp_mutex);
    return 0;
}

void pool_destroy(t_threadpool pool)
{
    if (pool != nullptr)
        destroy_threadpool(pool);
}

}  // extern "C"
