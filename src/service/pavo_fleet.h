/*
 * pavo_fleet.h - failover to the second address, repeats with jittered
 * back-off, the shared re-login, and request statistics, all between the
 * request pipeline's job and its wire. Every part is off while its korix.conf
 * key is 0 or empty, and a request then makes exactly one transfer as before.
 */
#ifndef PAVO_FLEET_H
#define PAVO_FLEET_H

#include <curl/curl.h>

#include "service/pavo_fleet_state.h"
#include "service/pavo_upload.h"

#ifdef __cplusplus
extern "C" {
#endif

/* When a request may be sent again, one column of the request table. */
typedef enum {
    PAVO_REPEAT_ANY = 0,     /* reads: repeated on any failure worth repeating */
    PAVO_REPEAT_ACCOUNT = 1, /* open, login, logout: only when nothing was sent; no re-login */
    PAVO_REPEAT_UNSENT =
        2 /* recharge, status report, extended service: only when nothing was sent */
} pavo_repeat;

typedef enum { PAVO_FLEET_DONE = 0, PAVO_FLEET_LATER = 1 } pavo_fleet_outcome;

/* The transfer of one request with its failovers, repeats and re-login, in
 * place of one pavo_upload. With may_defer a back-off is not waited out: the
 * outcome is PAVO_FLEET_LATER and *delay_ms says when to call again with the
 * same state. */
pavo_fleet_outcome pavo_inner_fleetrun(int eventtype, const char* url, const char* body,
                                       int phase, tpavo_storetype storetype, MemoryStruct* chunk,
                                       const char* localpath, tpavo_httpecode* httpecode,
                                       long* httpretcode, pavo_fleet_state* state, int may_defer,
                                       long* delay_ms, pavo_status_t* status);
/* Puts an asynchronous job back in line for the pool after delay_ms. */
void pavo_inner_fleetdefer(t_httpjobarg* job, long delay_ms);
/* Shut-down: before the pool goes, the waiting jobs are dropped and no more
 * are taken; after it, what workers deferred meanwhile is dropped too and
 * deferring works again for the next start. */
void pavo_inner_fleetstop(void);
void pavo_inner_fleetrelease(void);

/* Back-off before repeat n (0 for the first): uniform in [0, min(cap, base * 2^n)]
 * by `random`, plus Retry-After (seconds, at most 300; negative: none). */
long pavo_inner_retrydelay(int n, long retry_after, unsigned long long random);

/* The transfer's outcome as the repeat rules need it, and its timings for the
 * statistics; called by pavo_upload after every transfer. */
void pavo_inner_fleetnote(CURL* curl, CURLcode code);
/* Before the transfer: a request that must not go twice gets a connection of
 * its own, since libcurl sends a request again by itself when a reused
 * connection ends without an answer. Only with failover or retries on. */
void pavo_inner_fleetprepare(CURL* curl);
void pavo_inner_wantfreshconnection(int fresh);
void pavo_inner_setlastaddress(const char* address);

/* The calling thread's last transfer: libcurl code (-1: none was made), HTTP
 * status, whether any request byte went out, Retry-After seconds (-1: none). */
typedef struct {
    int code;
    long status;
    int sent;
    long retry_after;
} pavo_transfer_note;
void pavo_inner_clearnote(void);
pavo_transfer_note pavo_inner_lastnote(void);
/* Refused, unreachable, no name, time-out, connection ended, 502/503/504. */
int pavo_inner_failoverworthy(const pavo_transfer_note* note);

/* A row's two addresses for this URL; 0 when it has no second one (or the
 * URL no longer starts with the primary). The primary is filled always. */
typedef struct {
    int slot; /* which service's hold */
    char primary[PAVO_PROP_SIZE];
    char second[PAVO_PROP_SIZE];
    char second_url[PAVO_PROP_SIZE];
} pavo_fleet_addresses;
int pavo_inner_fleetaddresses(const pavo_request_kind* kind, const char* url,
                              pavo_fleet_addresses* out);
/* A failed primary is passed over until its hold ends ("failoverhold"). */
int pavo_inner_primaryheld(int slot);
void pavo_inner_holdprimary(int slot, int hold);
long long pavo_inner_monotonicms(void);

/* Statistics counters of one request kind. */
typedef enum {
    PAVO_STAT_REQUESTS,
    PAVO_STAT_SUCCESSES,
    PAVO_STAT_CONNECTION,
    PAVO_STAT_TIMEOUT,
    PAVO_STAT_HTTPSTATUS,
    PAVO_STAT_PARSE,
    PAVO_STAT_REFUSED,
    PAVO_STAT_ATTEMPTS,
    PAVO_STAT_RETRIES,
    PAVO_STAT_FAILOVERS,
    PAVO_STAT_RELOGINS,
    PAVO_STAT_COUNT
} pavo_stat;
void pavo_inner_statcount(int eventtype, pavo_stat which);
void pavo_inner_statlogin(void);
/* Microseconds of name lookup, connect, TLS, first byte and total. */
void pavo_inner_stattimes(const unsigned long long times[5]);

#ifdef __cplusplus
}
#endif

#endif /* PAVO_FLEET_H */
