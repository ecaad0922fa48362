/*
 * pavo_global.h - the library's one process-wide environment record
 * (g_pavo_env) and the internal entry points of the lifecycle, log, result
 * store and callback registry. Every module of the library includes it;
 * applications never see it.
 */
#ifndef PAVO_GLOBAL_H
#define PAVO_GLOBAL_H

#include <pthread.h>
#include <stdio.h>

#include "runtime/pavo_runtime.h"

#define PAVO_VERSION_TEXT PAVO_INTERFACE_VERSION_TEXT
#define PAVO_KORIX_PROFILE "KORIXOS/1001"
#define PAVO_PROP_SIZE 256
#define PAVO_IP_SIZE 64
#define PAVO_CALLBACK_SLOTS 8

typedef struct __tpavo_resultlist {
    pthread_t threadt;
    tpavo_result* result;
    struct __tpavo_resultlist* next;
} tpavo_resultlist;

/* Field order is the environment's documented layout; keep it. */
typedef struct __tpavo_env {
    tpavo_state state;
    int initref;
    int errorno;
    int workmode;
    int msgqueuesize;
    int ipversion;
    char oem_name[PAVO_PROP_SIZE];
    char terminal_type[PAVO_PROP_SIZE];
    char device_id[PAVO_PROP_SIZE];
    char chipprofile[PAVO_PROP_SIZE];
    char clientprofile[PAVO_PROP_SIZE];
    char korixprofile[PAVO_PROP_SIZE];
    char workdirectory[PAVO_PROP_SIZE];
    char perpetualdirectory[PAVO_PROP_SIZE];
    char tmpdirectory[PAVO_PROP_SIZE];
    char logdirectory[PAVO_PROP_SIZE];
    int logmode;
    int funcmode;
    t_threadpool threadpool;
    pavo_callback callback[PAVO_CALLBACK_SLOTS];
    HMYMEMPOOL mpool;
    char usertoken[PAVO_PROP_SIZE];
    char userid[PAVO_PROP_SIZE];
    char usergroup[PAVO_PROP_SIZE];
    char userlevel[PAVO_PROP_SIZE];
    char actexpireddate[PAVO_PROP_SIZE];
    char tvid[PAVO_PROP_SIZE];
    char tvprofile[PAVO_PROP_SIZE];
    char ip[PAVO_IP_SIZE];
    char bizfield[PAVO_PROP_SIZE];
    char serverauthenticator[PAVO_PROP_SIZE];
    char openurl[PAVO_PROP_SIZE];
    char aaasrvaddress[PAVO_PROP_SIZE];
    char aaasrvaddress2[PAVO_PROP_SIZE];
    char epgsrvaddress[PAVO_PROP_SIZE];
    char epgsrvaddress2[PAVO_PROP_SIZE];
    char playsrvaddress[PAVO_PROP_SIZE];
    char playsrvaddress2[PAVO_PROP_SIZE];
    char upgradesrvaddress[PAVO_PROP_SIZE];
    char upgradesrvaddress2[PAVO_PROP_SIZE];
    char imgsrvaddress[PAVO_PROP_SIZE];
    char serviceaddress[PAVO_PROP_SIZE];
    char drmsrvaddress[PAVO_PROP_SIZE];
    char drmsrvaddress2[PAVO_PROP_SIZE];
    FILE* logfileptr;
    int resultlist_initref;
    pthread_mutex_t resultlistmutex;
    tpavo_resultlist* resultlist;
    /* Beyond the documented layout: korix.conf settings of the wire. */
    int keepalive;                /* 1: connections, DNS and TLS sessions are reused */
    char cafile[PAVO_PROP_SIZE];  /* CA bundle for https; empty: libcurl's own */
    /* Limits beyond the documented layout (korix.conf, also properties); 0 is unlimited. */
    int stalltimeout;  /* seconds without a received byte before a transfer ends */
    int maxanswersize; /* bytes of an answer kept in memory */
    int maxrecords;    /* records one parse may create */
} tpavo_env;

#ifdef __cplusplus
extern "C" {
#endif

extern tpavo_env g_pavo_env;
extern int g_global_inited;

/* Lifecycle internals */
pavo_status_t pavo_inner_init(pavo_init_param* param);
pavo_status_t pavo_inner_cleanup(void);
void string_leftpadding(char* buffer, int buffersize, const char* string, int padded_len,
                        const char* pad);
int pavo_initip(char* ipbuffer, int buffersize);
int pavo_log_init(void);
int pavo_log_cleanup(void);

/* Callback registry and last error */
pavo_status_t pavo_iner_registercallback(pavo_callbacktype type, pavo_callback cb);
pavo_callback pavo_iner_getcallback(int type);
int pavo_inner_getlasterror(void);

/* Result store, keyed by thread */
int pavo_resultlist_init(void);
int pavo_resultlist_cleanup(void);
int pavo_setlastresult(tpavo_result* result);
int pavo_setlastresult_match(int resultcode, const char* resultmsg, tpavo_datatype datatype,
                             size_t datasize, void* data);
tpavo_result* pavo_iner_getresult(void);
int pavo_iner_freeresult(tpavo_result* result);
int pavo_iner_freeresultitem(tpavo_result* result);
void pavo_iner_dumpresult(tpavo_result* result);

/* Session property internals */
char* pavo_getusertoken(void);
void pavo_setusertoken(const char* usertoken);

#ifdef __cplusplus
}
#endif

#endif /* PAVO_GLOBAL_H */
