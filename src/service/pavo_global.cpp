/*
 * pavo_global.cpp - the process-wide environment g_pavo_env, its zero state,
 * the state and mode accessors; it binds the runtime's allocator front to the
 * environment's pool, and the runtime's hooks to the log and the mode.
 * Start-up and shut-down that fill and empty the record are the lifecycle's.
 */
#include <string.h>
#include <unistd.h>

#include "runtime/pavo_runtime.h"
#include "service/pavo_global.h"

extern "C" {

tpavo_env g_pavo_env;
int g_global_inited = 0;

}  // extern "C"

namespace {
// Bound at load: the front reads the pool from the environment, wherever
// start-up (or a test) puts it.
[[maybe_unused]] const bool g_allocator_bound =
    (pavo_inner_bindallocator(&g_pavo_env.mpool), true);
// The folders below log and read the mode through these, before pavo_init too.
constexpr pavo_hooks kServiceHooks = {pavo_inner_vlog, pavo_inner_vdiagnostic,
                                      pavo_inner_masksecret, pavo_getfuncmode};
[[maybe_unused]] const bool g_hooks_bound = (pavo_inner_bindhooks(&kServiceHooks), true);
// Protected before the first pavo_init too.
[[maybe_unused]] const bool g_safeconfig_on = (g_pavo_env.safeconfig = 1, true);
}  // namespace

extern "C" {

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
    g_pavo_env.safeconfig = 1;
    // funcmode stays 0 (asynchronous) until pavo_init sets it.
    pavo_inner_applyprofile(&g_pavo_env);
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

// A negative count would become a sleep of decades through the unsigned
// conversion; it sleeps not at all.
void pavo_sleep(int seconds)
{
    if (seconds > 0)
        sleep(static_cast<unsigned>(seconds));
}

}  // extern "C"
