/*
 * pavo_fleet_state.h - what one request carries through its attempts when the
 * fleet settings are on: repeats made, the re-login it saw, a body rewritten
 * with a new token, and the base address that answered. Embedded in the
 * asynchronous job record, on the stack for a synchronous request.
 */
#ifndef PAVO_FLEET_STATE_H
#define PAVO_FLEET_STATE_H

#include "service/pavo_global.h"

typedef struct {
    int started;                  /* counted as a request already */
    int internal;                 /* made by the library itself (a re-login): not counted */
    int retries_done;             /* repeats after a back-off so far */
    int relogged;                 /* repeated once after a re-login */
    unsigned generation;          /* re-logins done when the request was built */
    long long started_ms;         /* monotonic start, for the total bound of all attempts */
    char* body;                   /* the body rewritten with a new token (pool block), or null */
    char address[PAVO_PROP_SIZE]; /* base address that answered or last failed */
} pavo_fleet_state;

#endif /* PAVO_FLEET_STATE_H */
