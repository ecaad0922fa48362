/*
 * pavo_service_requests.h - internal helpers of the service requests: the
 * form value encoder, the session read guard and the re-login. The exported
 * requests themselves are public.
 */
#ifndef PAVO_SERVICE_REQUESTS_H
#define PAVO_SERVICE_REQUESTS_H

#include <stddef.h>

#include "pavo.h"

#ifdef __cplusplus
extern "C" {
#endif

/* pavo_urlencode into a buffer of outsize bytes: at most outsize - 1
 * characters and a NUL, the cut falling wherever the bound does. */
char* pavo_inner_urlencode_cut(const char* sIn, char* sOut, size_t outsize);

/* With "reloginon" set the library writes the session back by itself while
 * other threads read it: readers of the session hold this guard (begin
 * returns whether it was taken, for end). Without the key nothing is locked,
 * as documented. */
int pavo_inner_sessionread_begin(void);
void pavo_inner_sessionread_end(int taken);

/* One login with the stored account on the calling thread, whatever the
 * mode, writing the session back as pavo_login does; the thread's last
 * result is left alone. 1 when the platform accepted it. */
int pavo_inner_relogin(void);

#ifdef __cplusplus
}

#include "runtime/pavo_runtime.h"

/* The encoding of sIn (nothing for null) added to a text being built. */
void pavo_inner_urlencode_into(PavoText& out, const char* sIn);
#endif

#endif /* PAVO_SERVICE_REQUESTS_H */
