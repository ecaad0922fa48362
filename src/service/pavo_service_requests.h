/*
 * pavo_service_requests.h - internal helpers of the service requests shared
 * between the request frame (pavo_service_requests.cpp), the encoder
 * (pavo_service_encode.cpp) and the download (pavo_service_maintenance.cpp).
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

/* The synchronous ending of every request: a non-null result receives the
 * transfer's codes, and the result (null too) becomes the last result. */
void pavo_inner_storeresult(tpavo_result* result, tpavo_httpecode httpecode, long httpretcode);

#ifdef __cplusplus
}
#endif

#endif /* PAVO_SERVICE_REQUESTS_H */
