/*
 * pavo_upload.h - the request pipeline, which only moves bytes: the HTTP job
 * record, the transfer over libcurl, the worker job, and the global message
 * callback that hands posted answers to the request ending
 * (pavo_inner_finishrequest in pavo_service_requests.h).
 */
#ifndef PAVO_UPLOAD_H
#define PAVO_UPLOAD_H

#include <stddef.h>
#include <stdint.h>

#include <curl/curl.h>

#include "pavo.h"
#include "service/pavo_fleet_state.h"

/* Receive buffer: grown with calloc/realloc (not the pool), always
 * NUL-terminated after the last byte once it holds data. */
typedef struct __MemoryStruct {
    uint32_t size;
    char* data;
    uint32_t limit; /* answer cap in bytes, 0 for none: past it the receiver ends the transfer */
    uint32_t capacity;        /* bytes allocated at data: grown geometrically */
    int streamed;             /* 1: the answer went to a file as it arrived, not to data */
    unsigned long long stored; /* streamed: bytes received */
} MemoryStruct;

/* One asynchronous request, from pavo_addhttpjob through the worker to the
 * global message callback, which releases it. Field order is documented. */
typedef struct __t_httpjobarg {
    int cbtype;
    int phase;
    int eventhandle;
    int eventtype;
    int eventscope;
    tpavo_storetype storetype;
    char* localpath;
    char* url;
    void* param;
    int paramsize;
    void* response;
    int responsesize;
    tpavo_httpecode httpecode;
    long httpretcode;
    int streamed;              /* the answer went to localpath as it arrived */
    unsigned long long stored; /* streamed: bytes received */
    pavo_fleet_state fleet; /* beyond the documented fields: its repeats so far */
} t_httpjobarg;

/* The phase whose answer goes to libcurl's default output, unkept. */
#define PAVO_PHASE_NOBUFFER 4

#ifdef __cplusplus
extern "C" {
#endif

/* The pipeline reports PAVO_STATUS_SUCCESS or PAVO_STATUS_FAILURE (-1); a job
 * it cannot hand on is freed before the failure is reported. */
pavo_status_t pavo_addhttpjob(tpavo_storetype storetype, const char* localpath, int cbtype,
                              int phase, int eventhandle, int eventtype, int eventscope,
                              const char* url, const char* data, int datasize,
                              void** returndata, size_t* returndatasize,
                              tpavo_httpecode* httpecode, long* httpretcode);
pavo_status_t pavo_iner_addjob(dispatch_fn job, void* arg);
void* pavo_inner_httpjob(void* arg);
pavo_status_t pavo_upload(const char* url, const char* userdata, int phase,
                          tpavo_storetype storetype, MemoryStruct* chunk, const char* localpath,
                          tpavo_httpecode* httpecode, long* httpretcode);
size_t chunkdata_callback(void* ptr, size_t size, size_t nmemb, void* data);
tpavo_httpecode trans_to_pavocode(CURLcode code);
int pavo_globalmessagecallback(int eventtype, int eventscope, int eventhandle, void* data,
                               int datasize, void* cbdata, int cbdatasize);
/* Delivers the event of a job whose answer a full queue dropped, with null data. */
int pavo_inner_droppedjobcallback(int eventtype, int eventscope, int eventhandle, void* data,
                                  int datasize, void* cbdata, int cbdatasize);

/* The connection share (pavo_upload_share.cpp): created at start-up when
 * "keepalive" is not 0, released at shut-down after the workers; every
 * transfer joins it and gets the TLS settings. */
void pavo_inner_shareinit(void);
void pavo_inner_sharecleanup(void);
void pavo_inner_jointransfer(CURL* curl);
/* curl_easy_perform, on the calling thread's kept transfer engine when the
 * share exists. */
CURLcode pavo_inner_perform(CURL* curl);
/* Shut-down: every kept transfer engine wakes and its transfer looks whether to abort. */
void pavo_inner_wakeengines(void);
/* Shut-down, workers gone: releases every job whose answer still waits in the queue. */
void pavo_inner_dropanswers(void);
/* curl_easy_init and curl_easy_cleanup; with the share the engine makes and
 * cleans up the handles while an earlier transfer waits for its answer. */
CURL* pavo_inner_takeeasy(void);
void pavo_inner_puteasy(CURL* curl);

/* Releases a job record and every block it owns. */
void pavo_inner_freejob(t_httpjobarg* job);

#ifdef __cplusplus
}
#endif

#endif /* PAVO_UPLOAD_H */
