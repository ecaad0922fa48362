/*
 * pavo_service_callbacks.cpp - where asynchronous answers go: the callback
 * registry (eight slots), the message pump entry pavo_checkmessage and the
 * last-error value. Start-up fills the built-in slots; the pipeline's job
 * reads them when the pump runs its message callback.
 */
#include <string.h>

#include "service/pavo_global.h"
#include "service/pavo_service_calls.h"

namespace {

bool valid_callback_type(int type) { return type >= 0 && type < PAVO_CALLBACK_SLOTS; }

}  // namespace

extern "C" {

/* Callback registry */

pavo_status_t pavo_iner_registercallback(pavo_callbacktype type, pavo_callback cb)
{
    // A C caller may pass any int; in C++ only 0..7 are values of the enum,
    // so its bits are read rather than the enum itself.
    int slot;
    static_assert(sizeof slot == sizeof type, "the enum has the size of an int");
    memcpy(&slot, &type, sizeof slot);
    if (!valid_callback_type(slot))
        return PAVO_STATUS_FAILURE;
    pavo_relaxed_store(g_pavo_env.callback[slot], cb);
    return PAVO_STATUS_SUCCESS;
}

pavo_status_t pavo_registercallback(pavo_callbacktype type, pavo_callback cb)
{
    return pavo_iner_registercallback(type, cb);
}

pavo_callback pavo_iner_getcallback(int type)
{
    if (!valid_callback_type(type))
        return nullptr;
    return pavo_relaxed_load(g_pavo_env.callback[type]);
}

// Counted as a call in flight, so that pavo_cleanup on another thread waits for
// the callback; the thread is marked so that the callback cannot end the library
// under its own feet.
int pavo_checkmessage(void)
{
    PavoCall call;
    if (!call)
        return 0;
    pavo_inner_callbackbegin();
    const int taken = pavo_iner_checkmessage();
    pavo_inner_callbackend();
    return taken;
}

/* Last error: nothing in the library sets it; start-up resets it to 0. With
 * the error results on, pavo_inner_getlasterror (pavo_error.cpp) reads the
 * thread's error record instead. */

void pavo_setlasterror(int error) { pavo_relaxed_store(g_pavo_env.errorno, error); }

int pavo_getlasterror(void) { return pavo_inner_getlasterror(); }

}  // extern "C"
