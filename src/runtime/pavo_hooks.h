/*
 * pavo_hooks.h - the few things the folders below the service layer need from
 * it: the log, the function mode, the secret mask, and the places of the pool
 * handle and of the record limit. The service layer binds them (when the
 * library loads; the record limit at start-up); below it, only these are called.
 */
#ifndef PAVO_HOOKS_H
#define PAVO_HOOKS_H

#include <stdarg.h>
#include <stdio.h>

#include "pavo.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The service layer's side; it outlives every call. */
typedef struct pavo_hooks {
    /* pavo_log_err, pavo_log_warn or pavo_log_info, by pavo_loglevel_t */
    void (*log)(int level, const char* format, va_list args);
    void (*diagnostic)(FILE* stream, const char* format, va_list args);
    const char* (*logsecret)(const char* text);
    int (*funcmode)(void);
} pavo_hooks;

void pavo_inner_bindhooks(const pavo_hooks* hooks);

/* Unbound, the log says nothing, a diagnostic goes straight to its stream, a
 * secret is itself and the mode is FUNCMODE_ASYNC, the zero state. */
void pavo_inner_logerr(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);
void pavo_inner_logwarn(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);
void pavo_inner_loginfo(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);
/* A runtime diagnostic: written to stream as it always was, or, with
 * "quietconsole" on, only to the log callback at debug level. */
void pavo_inner_diagnostic(FILE* stream, const char* format, ...) PAVO_PRINTF_LIKE(2, 3);
/* text, or PAVO_SECRET_MARK when "hidesecrets" is on: for values that are
 * secret wherever they are logged. */
const char* pavo_inner_logsecret(const char* text);
int pavo_inner_funcmode(void);

/* The allocator front reads the pool handle from *slot at every call. */
void pavo_inner_bindallocator(HMYMEMPOOL* slot);
/* Record budget of one pavo_parse ("maxrecords"; 0 lifts it), read from *slot;
 * 0 while unbound. */
void pavo_inner_bindrecordlimit(const int* slot);
int pavo_inner_recordlimit(void);

#ifdef __cplusplus
}
#endif

#endif /* PAVO_HOOKS_H */
