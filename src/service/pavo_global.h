/*
 * pavo_global.h - the environment: the library's one process-wide record
 * (g_pavo_env) and the internal entry points of the lifecycle, the terminal
 * identity, the log, the error record, the result store, the callback registry,
 * the application profile and the user token. In the library only the service
 * layer includes it; the folders below reach it through the runtime's hooks.
 */
#ifndef PAVO_GLOBAL_H
#define PAVO_GLOBAL_H

#include <pthread.h>
#include <stdarg.h>
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
    int keepalive;               /* 1: connections, DNS and TLS sessions are reused */
    char cafile[PAVO_PROP_SIZE]; /* CA bundle for https; empty: libcurl's own */
    /* Limits beyond the documented layout (korix.conf, also properties); 0 is unlimited. */
    int stalltimeout;    /* seconds without a received byte before a transfer ends */
    int requesttimeout;  /* seconds a transfer of an answer kept in memory may take in all */
    int downloadtimeout; /* seconds a download to a file may take in all */
    int streamdownloads; /* 1: downloads go to a temporary file as they arrive, renamed at 200 */
    int maxanswersize;   /* bytes of an answer kept in memory */
    int maxrecords;      /* records one parse may create */
    int safeconfig;      /* 1: korix.conf takes only entries it can keep whole */
    /* The application profile's behaviours (pavo_profile.cpp); 0 is the documented one,
     * except loglevel, documented at 3 (everything). */
    int loglevel;     /* highest pavo_loglevel_t that is written */
    int quietconsole; /* nothing on standard output or error */
    int hidesecrets;  /* tokens and authenticators masked in log lines */
    int errorresults; /* failed requests give a result of a negative class */
    int asyncnowait;  /* asynchronous requests return once queued */
    int wholekeys;    /* korix.conf keys matched whole, not by prefix */
    int strictlocal;  /* local writes that fail are failures */
    /* Fleet settings (korix.conf, also properties); 0 or empty is the documented behaviour. */
    int failover;     /* 1: a request the primary failed goes once to the second address */
    int failoverhold; /* seconds a failed primary is passed over for the second address */
    int retries;      /* repeats after the first attempt */
    int retrybase;    /* milliseconds: first back-off bound */
    int retrycap;     /* milliseconds: largest back-off bound */
    char reloginon[PAVO_PROP_SIZE]; /* result codes that trigger one shared re-login */
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

/* Application profile (pavo_profile.cpp): the behaviour fields as the profile
 * in force sets them; the default of a behaviour key of korix.conf. */
void pavo_inner_applyprofile(tpavo_env* env);
int pavo_inner_profiledefault(const char* key, int fallback);
int pavo_inner_profileactive(void);

/* Error record (pavo_error.cpp): per thread, set by failing calls. The text is
 * formatted from the library's own fixed formats only. */
void pavo_inner_seterror(int status, const char* format, ...) PAVO_PRINTF_LIKE(2, 3);

/* What stands in a log line for a secret value when "hidesecrets" is on. */
#define PAVO_SECRET_MARK "<hidden>"

/* The log's side of the runtime's hooks (pavo_hooks.h), bound in pavo_global.cpp. */
void pavo_inner_vlog(int level, const char* format, va_list args) PAVO_PRINTF_LIKE(2, 0);
void pavo_inner_vdiagnostic(FILE* stream, const char* format, va_list args)
    PAVO_PRINTF_LIKE(2, 0);
const char* pavo_inner_masksecret(const char* text);

/* Session property internals */
char* pavo_getusertoken(void);
void pavo_setusertoken(const char* usertoken);

#ifdef __cplusplus
}

#include <string>
/* text with the values of its secret fields replaced by PAVO_SECRET_MARK
 * (pavo_log_secrets.cpp); may throw std::bad_alloc. */
std::string pavo_inner_hidesecrets(const char* text);
#endif

#endif /* PAVO_GLOBAL_H */
