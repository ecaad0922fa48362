/*
 * pavo_global.cpp - the process-wide environment g_pavo_env, its zero state,
 * the state and mode accessors, and the allocator front over the memory pool.
 * Start-up and shut-down that fill and empty the record live in pavo_service.cpp.
 */
#include <string.h>
#include <unistd.h>

#include "runtime/pavo_runtime.h"
#include "service/pavo_global.h"

extern "C" {

tpavo_env g_pavo_env;
int g_global_inited = 0;

int pavo_global_init(void)
{
    memset(&g_pavo_env, 0, sizeof g_pavo_env);
    g_pavo_env.state = PAVO_STATE_NONE;
    g_pavo_env.resultlist_initref = 0;
    g_pavo_env.errorno = 0;
    g_pavo_env.workmode = 0;
    g_pavo_env.logmode = 1;
    g_pavo_env.logfileptr = nullptr;
    g_pavo_env.initref = 0;
    // funcmode stays 0 (asynchronous) until pavo_init sets it.
    g_global_inited = 1;
    return 0;
}

void pavo_setstate(tpavo_state state) { pavo_relaxed_store(g_pavo_env.state, state); }

tpavo_state pavo_getstate(void) { return pavo_relaxed_load(g_pavo_env.state); }

int pavo_setfuncmode(pavo_funcmode mode)
{
    pavo_relaxed_store(g_pavo_env.funcmode, mode);
    return 0;
}

int pavo_getfuncmode(void) { return pavo_relaxed_load(g_pavo_env.funcmode); }

void pavo_setemumode(void) { pavo_relaxed_store(g_pavo_env.workmode, 1); }

void pavo_setlogmode(int logmode) { pavo_relaxed_store(g_pavo_env.logmode, logmode); }

void pavo_setlogfiledir(const char* dir)
{
    if (dir == nullptr)
        return;
    snprintf(g_pavo_env.logdirectory, sizeof g_pavo_env.logdirectory, "%s", dir);
}

void* pavo_malloc(size_t size)
{
    void* block = MyMemPoolMalloc(g_pavo_env.mpool, size);
    if (block != nullptr)
        memset(block, 0, size);
    return block;
}

// The product is not checked for overflow, as the interface always did.
void* pavo_alloc(size_t count, size_t size) { return pavo_malloc(count * size); }

void pavo_free(void* ptr)
{
    if (ptr != nullptr)
        MyMemPoolFree(g_pavo_env.mpool, ptr);
}

// A negative count would become a sleep of decades through the unsigned
// conversion; it sleeps not at all.
void pavo_sleep(int seconds)
{
    if (seconds > 0)
        sleep(static_cast<unsigned>(seconds));
}

}  // extern "C"
