/*
 * pavo_upload.h - the request pipeline, which carries one request from the
 * request functions to the platform and its answer back: the front and the
 * job record, the wire, the connection cache, and the answer's ending (parse,
 * session write-back, result, application callback) shared by both modes.
 */
#ifndef PAVO_UPLOAD_H
#define PAVO_UPLOAD_H

#include <stddef.h>
#include <stdint.h>

#include <curl/curl.h>

#include "pavo.h"
#include "service/pavo_fleet_state.h"
#include "service/pavo_service_fields.h"
#include "service/pavo_service_session.h"

/* Receive buffer: grown with calloc/realloc (not the pool), always
 * NUL-terminated after the last byte once it holds data. */
typedef struct __MemoryStruct {
    uint32_t size;
    char* data;
    uint32_t limit; /* answer cap in bytes, 0 for none: past it the receiver ends the transfer */
    uint32_t capacity;         /* bytes allocated at data: grown geometrically */
    int streamed;              /* 1: the answer went to a file as it arrived, not to data */
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
    pavo_fleet_state fleet;    /* beyond the documented fields: its repeats so far */
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
                              const char* url, const char* data, int datasize, void** returndata,
                              size_t* returndatasize, tpavo_httpecode* httpecode,
                              long* httpretcode);
/* The transfer of a synchronous request on the caller's thread, as
 * pavo_addhttpjob documents it. */
pavo_status_t pavo_inner_syncjob(tpavo_storetype storetype, const char* localpath, int phase,
                                 int eventtype, const char* url, const char* data,
                                 void** returndata, size_t* returndatasize,
                                 tpavo_httpecode* httpecode, long* httpretcode);
pavo_status_t pavo_iner_addjob(dispatch_fn job, void* arg);
void* pavo_inner_httpjob(void* arg);
pavo_status_t pavo_upload(const char* url, const char* userdata, int phase,
                          tpavo_storetype storetype, MemoryStruct* chunk, const char* localpath,
                          tpavo_httpecode* httpecode, long* httpretcode);
size_t chunkdata_callback(void* ptr, size_t size, size_t nmemb, void* data);
/* The receive buffer (from the C library), and its bytes copied into a pooled
 * NUL-terminated block of size + 1 bytes (1 byte when empty or null); *size
 * gets the size. */
MemoryStruct* pavo_inner_newchunk(void);
void pavo_inner_freechunk(MemoryStruct* chunk);
void* pavo_inner_chunktopool(const MemoryStruct* chunk, uint32_t* size);
tpavo_httpecode trans_to_pavocode(CURLcode code);
int pavo_globalmessagecallback(int eventtype, int eventscope, int eventhandle, void* data,
                               int datasize, void* cbdata, int cbdatasize);
/* Delivers the event of a job whose answer a full queue dropped, with null data. */
int pavo_inner_droppedjobcallback(int eventtype, int eventscope, int eventhandle, void* data,
                                  int datasize, void* cbdata, int cbdatasize);

/* The connection cache: one libcurl share created at start-up when
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

/* What a transfer brought back: the answer's bytes (null when none) and the
 * transfer's codes. */
typedef struct {
    const void* bytes;
    size_t size;
    tpavo_httpecode httpecode;
    long httpretcode;
    int failed; /* the pipeline reported a failure */
} pavo_answer;

/* What the pipeline knows of one kind of request, by its event type: the
 * session field of its base address, when it may be sent again (a
 * pavo_repeat), the datatype its answer is parsed as for a synchronous caller
 * and for a callback (the related item list differs, kept so), whether it is
 * parsed at all (the status report is not), and what a successful one writes
 * into the session. */
typedef struct {
    tpavo_eventtype event;
    pavo_field_id base; /* the session field holding its base address */
    int repeat;
    tpavo_datatype sync_datatype;
    tpavo_datatype async_datatype;
    int parsed;
    pavo_writeback_fn writeback;
} pavo_request_kind;

/* The kind of request of this event type, or null (the download, and any
 * event type no request has). */
const pavo_request_kind* pavo_inner_requestkind(int eventtype);

/* The one ending of every request: parse the answer as its kind says,
 * write a successful one back into the session, give the result the
 * transfer's codes, then deliver it to callback as a response event of eventtype and
 * eventid and free it, or, with no callback, make it the last result. A null
 * kind (a download) gives a bare result (code 0) when stored and null data
 * when delivered. With "errorresults" a failed or unusable answer gives a
 * result of its class instead (pavo_inner_errorresult) and the ending
 * returns PAVO_STATUS_FAILURE; otherwise PAVO_STATUS_SUCCESS. */
pavo_status_t pavo_inner_finishrequest(const pavo_request_kind* kind, const pavo_answer* answer,
                                       pavo_callback callback, int eventtype, int eventid);

/* The pavo_resultclass_t of an answer that cannot be used (0 when it can) and
 * the result standing for it (pavo_error.cpp). */
int pavo_inner_failureclass(const pavo_answer* answer, int parsed);
tpavo_result* pavo_inner_errorresult(int resultclass, const pavo_answer* answer,
                                     tpavo_datatype datatype);

#ifdef __cplusplus
}
#endif

#endif /* PAVO_UPLOAD_H */
