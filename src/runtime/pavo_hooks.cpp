/*
 * pavo_hooks.cpp - the folders below the service layer reach its log, its
 * function mode, its secret mask and its record limit only through here, so
 * that every call in the library points down. The service layer binds the
 * hooks when it loads, the record limit when the settings are read.
 */
#include "runtime/pavo_runtime.h"

namespace {

// Read by any thread; bound once by the service layer's static initialisation.
const pavo_hooks* g_hooks = nullptr;
const int* g_record_limit = nullptr;

PAVO_PRINTF_LIKE(2, 0) void forward_log(int level, const char* format, va_list args)
{
    const pavo_hooks* hooks = pavo_relaxed_load(g_hooks);
    if (hooks != nullptr)
        hooks->log(level, format, args);
}

}  // namespace

extern "C" {

void pavo_inner_bindhooks(const pavo_hooks* hooks) { pavo_relaxed_store(g_hooks, hooks); }

// The levels differ only in the number they pass on.
#define PAVO_HOOK_LOG(name, level)        \
    void name(const char* format, ...)    \
    {                                     \
        va_list args;                     \
        va_start(args, format);           \
        forward_log(level, format, args); \
        va_end(args);                     \
    }

PAVO_HOOK_LOG(pavo_inner_logerr, PAVO_LOG_ERROR)
PAVO_HOOK_LOG(pavo_inner_logwarn, PAVO_LOG_WARNING)
PAVO_HOOK_LOG(pavo_inner_loginfo, PAVO_LOG_INFO)

void pavo_inner_diagnostic(FILE* stream, const char* format, ...)
{
    const pavo_hooks* hooks = pavo_relaxed_load(g_hooks);
    va_list args;
    va_start(args, format);
    if (hooks != nullptr)
        hooks->diagnostic(stream, format, args);
    else
        vfprintf(stream, format, args);
    va_end(args);
}

const char* pavo_inner_logsecret(const char* text)
{
    const pavo_hooks* hooks = pavo_relaxed_load(g_hooks);
    return hooks != nullptr ? hooks->logsecret(text) : text;
}

int pavo_inner_funcmode(void)
{
    const pavo_hooks* hooks = pavo_relaxed_load(g_hooks);
    return hooks != nullptr ? hooks->funcmode() : FUNCMODE_ASYNC;
}

void pavo_inner_bindrecordlimit(const int* slot) { pavo_relaxed_store(g_record_limit, slot); }

int pavo_inner_recordlimit(void)
{
    const int* slot = pavo_relaxed_load(g_record_limit);
    return slot != nullptr ? pavo_relaxed_load(*slot) : 0;
}

}  // extern "C"
