/*
 * pavo_service_requests.h - internal helpers of the service requests shared
 * between the request frame (pavo_service_requests.cpp), the encoder
 * (pavo_service_encode.cpp), the download (pavo_service_maintenance.cpp) and
 * the delivery of asynchronous answers (pavo_upload_callback.cpp).
 * The exported requests themselves are declared in pavo.h.
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
char* pavo_inner_urlencode_bounded(const char* sIn, char* sOut, size_t outsize);

/* A request's row in the request table (pavo_service_requests.cpp). */
struct pavo_request_row;

/* What a transfer brought back: the answer's bytes (null when none) and the
 * transfer's codes. */
typedef struct {
    const void* bytes;
    size_t size;
    tpavo_httpecode httpecode;
    long httpretcode;
    int failed; /* the pipeline reported a failure */
} pavo_answer;

/* The row of the request with this event type, or null (the download). */
const struct pavo_request_row* pavo_inner_findrequest(int eventtype);

/* What the fleet code needs of a row: its repeat class (a pavo_repeat), the
 * property naming its base address, the datatype of its answer, and whether
 * its answer is ever read. */
int pavo_inner_rowrepeat(const struct pavo_request_row* row);
const char* pavo_inner_rowbase(const struct pavo_request_row* row);
tpavo_datatype pavo_inner_rowdatatype(const struct pavo_request_row* row);
int pavo_inner_rowparsed(const struct pavo_request_row* row);

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

/* The one ending of every request: parse the answer as the row says, write a
 * successful one back into the session, give the result the transfer's
 * codes, then deliver it to callback as a response event of eventtype and
 * eventid and free it, or, with no callback, make it the last result. A null
 * row (a download) gives a bare result (code 0) when stored and null data
 * when delivered. With "errorresults" a failed or unusable answer gives a
 * result of its class instead (pavo_inner_errorresult) and the ending
 * returns PAVO_STATUS_FAILURE; otherwise PAVO_STATUS_SUCCESS. */
pavo_status_t pavo_inner_finishrequest(const struct pavo_request_row* row, const pavo_answer* answer,
                              pavo_callback callback, int eventtype, int eventid);

/* The pavo_resultclass_t of an answer that cannot be used (0 when it can) and
 * the result standing for it (pavo_error.cpp). */
int pavo_inner_failureclass(const pavo_answer* answer, int parsed);
tpavo_result* pavo_inner_errorresult(int resultclass, const pavo_answer* answer,
                                     tpavo_datatype datatype);

#ifdef __cplusplus
}
#endif

#endif /* PAVO_SERVICE_REQUESTS_H */
