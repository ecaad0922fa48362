/*
 * pavo_service_calls.cpp - the calls in flight: their count and the
 * shut-down door in front of them, and the note of a thread running the
 * application's callbacks. Used by the requests, the download, the pipeline,
 * the message pump and the lifecycle.
 */
#include <condition_variable>
#include <mutex>

#include "runtime/pavo_runtime.h"
#include "service/pavo_service_calls.h"

namespace {

// Static, not part of the environment: they outlive every start and stop.
std::mutex g_calls_lock;
std::condition_variable g_calls_left;
int g_calls = 0;    // under g_calls_lock
int g_closing = 0;  // written under the lock, read relaxed by every transfer
thread_local int t_calls = 0;
thread_local int t_callbacks = 0;

}  // namespace

extern "C" {

int pavo_inner_entercall(void)
{
    std::lock_guard<std::mutex> lock(g_calls_lock);
    if (pavo_relaxed_load(g_closing) != 0)
        return 0;
    ++g_calls;
    ++t_calls;
    return 1;
}

void pavo_inner_leavecall(void)
{
    std::lock_guard<std::mutex> lock(g_calls_lock);
    --g_calls;
    --t_calls;
    if (g_closing != 0)  // only pavo_cleanup waits, and only once closing
        g_calls_left.notify_all();
}

int pavo_inner_closing(void) { return pavo_relaxed_load(g_closing); }

void pavo_inner_closecalls(void)
{
    std::lock_guard<std::mutex> lock(g_calls_lock);
    pavo_relaxed_store(g_closing, 1);
}

void pavo_inner_waitcalls(void)
{
    std::unique_lock<std::mutex> lock(g_calls_lock);
    g_calls_left.wait(lock, [] { return g_calls <= t_calls; });
}

void pavo_inner_opencalls(void)
{
    std::lock_guard<std::mutex> lock(g_calls_lock);
    pavo_relaxed_store(g_closing, 0);
}

int pavo_inner_incallback(void) { return t_callbacks > 0; }
void pavo_inner_callbackbegin(void) { ++t_callbacks; }
void pavo_inner_callbackend(void) { --t_callbacks; }

}  // extern "C"
