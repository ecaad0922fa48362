/*
 * pavo.h - public C interface of libpavo, the client access library of the
 * video-on-demand and live-television platform.
 *
 * Records are declared member for member in the order applications built
 * against earlier releases depend on; do not reorder them. Every string in a
 * record is owned by that record and released through pavo_freeresult().
 */
#ifndef PAVO_H_INCLUDED
#define PAVO_H_INCLUDED

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/time.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define PAVO_PRINTF_LIKE(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#define PAVO_PRINTF_LIKE(fmt, args)
#endif

/* ------------------------------------------------------------------------
 * Codes and enumerations (every enumeration has the size of an int)
 * ---------------------------------------------------------------------- */

typedef enum {
    PAVO_STATUS_FAILURE_ALREADYINITED = -5,
    PAVO_STATUS_FAILURE_NOTINITED = -4,
    PAVO_STATUS_FAILURE_NOTOPENED = -3,
    PAVO_STATUS_FAILURE_NOTLOGINED = -2,
    PAVO_STATUS_FAILURE = -1,
    PAVO_STATUS_SUCCESS = 0,
    PAVO_RESERVED = 1
} pavo_status_t;

typedef enum {
    PAVO_CALLBACK_DEFAULT = 0,
    PAVO_CALLBACK_AAA = 1,
    PAVO_CALLBACK_EPG = 2,
    PAVO_CALLBACK_TMMANAGE = 3,
    PAVO_CALLBACK_PLAYER = 4,
    PAVO_CALLBACK_DOWNLOAD = 5,
    PAVO_CALLBACK_EXTSERVICE = 6,
    PAVO_CALLBACK_EXCEPTION = 7
} pavo_callbacktype;

typedef enum { FUNCMODE_ASYNC = 0, FUNCMODE_SYNC = 1 } pavo_funcmode;

typedef enum {
    PAVO_STATE_NONE = 0,
    PAVO_STATE_INITED = 1,
    PAVO_STATE_OPENED = 2,
    PAVO_STATE_LOGINED = 3
} tpavo_state;

typedef enum { OPENMODE_USERCARD = 1, OPENMODE_STBCODE = 2 } tpavo_openmode;

typedef enum { CRYPTMODE_PLAIN = 0, CRYPTMODE_AES = 1, CRYPTMODE_3DES = 2 } tpavo_cryptmode;

typedef enum { SERVICETYPE_ONLINEPLAY = 0, SERVICETYPE_DOWNLOAD = 1 } tpavo_servicetype;

typedef enum {
    PAVO_ITEMTYPE_DEFAULT = 0,
    PAVO_ITEMTYPE_PROGRAM = 1,
    PAVO_ITEMTYPE_CHANNEL = 2,
    PAVO_ITEMTYPE_SCHEDULE = 3
} tpavo_itemtype_t;

typedef enum {
    EPAVO_SCOPE_REQUEST = 0,
    EPAVO_SCOPE_RESPONSE = 1,
    EPAVO_SCOPE_BROADCAST = 2
} tpavo_eventscope;

typedef enum {
    EPAVO_EVENTDATATYPE_NORMAL = 0,
    EPAVO_EVENTDATATYPE_STRING = 1,
    EPAVO_EVENTDATATYPE_RESULT = 2
} tpavo_eventdatatype;

typedef enum { STORETYPE_MEM = 0, STORETYPE_FILE = 1 } tpavo_storetype;

typedef enum {
    DATATYPE_NORMAL = 0,
    DATATYPE_STRING = 1,
    DATATYPE_OPENRESULT = 2,
    DATATYPE_LOGINRESULT = 3,
    DATATYPE_LOGOUTRESULT = 4,
    DATATYPE_RECHARGERESULT = 5,
    DATATYPE_QUERYPLAYURLRESULT = 6,
    DATATYPE_CATEGORYLIST = 7,
    DATATYPE_CATEGORY = 8,
    DATATYPE_ITEMLIST = 9,
    DATATYPE_ITEM = 10,
    DATATYPE_RELATIVEITEMLIST = 11,
    DATATYPE_CHANNELLIST = 12,
    DATATYPE_CHANNEL = 13,
    DATATYPE_SCHEDULELIST = 14,
    DATATYPE_SCHEDULE = 15,
    DATATYPE_PROGRAMLIST = 16,
    DATATYPE_PROGRAM = 17,
    DATATYPE_VIDEOCLIPLIST = 18,
    DATATYPE_VIDEOCLIP = 19,
    DATATYPE_EXTSERVICERESULT = 20,
    DATATYPE_UPGRADEOSRESULT = 21,
    DATATYPE_UPGRADERESRESULT = 22,
    DATATYPE_STATUSREPORTRESULT = 23
} tpavo_datatype;

/* The misspelt enumerators are part of the interface and stay as they are. */
typedef enum {
    EPAVO_EVENT_BEGIN = -1,
    EPAVO_INIT,
    EPAVO_QUERYSTATUS,
    EPAVO_LOGIN,
    EPAVO_LOGOUT,
    EPAVO_OPEN,
    EPAVO_RECHARGE,
    EPAVO_QUERYCATEGORYLIST,
    EPAVO_QUERYCATEGORYITEMLIST,
    EPAVO_QUERYCATEGORYITEMDETAIL,
    EPAVO_QUERYRELATEITEMLIST,
    EPAVO_QUERYSCHEDULELIST,
    EPAVO_QUERYPLAYURL,
    EPAVO_QUERYEXTSERVICE,
    EPAVO_RESOURCEDOWNLOAD,
    EPAVO_UPGRADEOS,
    EPAVO_UPGRADERES,
    EPAVO_STATUSREPORT,
    EPAVO_CLEANUP,
    EPAVO_MEDIA_INFO_ERROR,
    EPAVO_NO_INDEX,
    EPAVO_NO_MEDIA,
    EPAVO_MULTI_INSTANCE,
    EPAVO_PREPARE_MEIDA_INFO,
    EPAVO_GETTING_MEDIA_INFO,
    EPAVO_GETTING_INDEX_INFO,
    EPAVO_PLAYING,
    EPAVO_BUFFERING,
    EPAVO_CONNECTING,
    EPAVO_MEDIA_READY,
    EPAVO_PARSING_SERVER,
    EPAVO_GET_MEIDA_INFO,
    EPAVO_BUFFERED,
    EPAVO_PREPARE_MEDIA,
    EPAVO_STORAGE_ERROR,
    EPAOV_DATA_TIMEOUT,
    EPAVO_SERVER_TIMEOUT,
    EPAVO_NO_SREVER,
    EPAVO_SERVER_NO_RESPONSE,
    EPAVO_SREVER_INVALID,
    EPAVO_VERSION_LOW,
    EPAVO_CLIENT_NAME,
    EPAVO_URL_INVALID,
    PAOV_NO_SERVICE,
    EPAVO_OUT_OF_SREVICE,
    EPAVO_UNKNOWN_ERROR,
    EPAVO_QUIT,
    EPAVO_EVENT_MAX
} tpavo_eventtype;

/* Numbered as libcurl's CURLcode: a transfer's code is stored unchanged. */
typedef enum {
    PAVO_HTTPE_OK = 0,
    PAVO_HTTPE_UNSUPPORTED_PROTOCOL,
    PAVO_HTTPE_FAILED_INIT,
    PAVO_HTTPE_URL_MALFORMAT,
    PAVO_HTTPE_OBSOLETE4,
    PAVO_HTTPE_COULDNT_RESOLVE_PROXY,
    PAVO_HTTPE_COULDNT_RESOLVE_HOST,
    PAVO_HTTPE_COULDNT_CONNECT,
    PAVO_HTTPE_FTP_WEIRD_SERVER_REPLY,
    PAVO_HTTPE_REMOTE_ACCESS_DENIED,
    PAVO_HTTPE_OBSOLETE10,
    PAVO_HTTPE_FTP_WEIRD_PASS_REPLY,
    PAVO_HTTPE_OBSOLETE12,
    PAVO_HTTPE_FTP_WEIRD_PASV_REPLY,
    PAVO_HTTPE_FTP_WEIRD_227_FORMAT,
    PAVO_HTTPE_FTP_CANT_GET_HOST,
    PAVO_HTTPE_OBSOLETE16,
    PAVO_HTTPE_FTP_COULDNT_SET_TYPE,
    PAVO_HTTPE_PARTIAL_FILE,
    PAVO_HTTPE_FTP_COULDNT_RETR_FILE,
    PAVO_HTTPE_OBSOLETE20,
    PAVO_HTTPE_QUOTE_ERROR,
    PAVO_HTTPE_HTTP_RETURNED_ERROR,
    PAVO_HTTPE_WRITE_ERROR,
    PAVO_HTTPE_OBSOLETE24,
    PAVO_HTTPE_UPLOAD_FAILED,
    PAVO_HTTPE_READ_ERROR,
    PAVO_HTTPE_OUT_OF_MEMORY,
    PAVO_HTTPE_OPERATION_TIMEDOUT,
    PAVO_HTTPE_OBSOLETE29,
    PAVO_HTTPE_FTP_PORT_FAILED,
    PAVO_HTTPE_FTP_COULDNT_USE_REST,
    PAVO_HTTPE_OBSOLETE32,
    PAVO_HTTPE_RANGE_ERROR,
    PAVO_HTTPE_HTTP_POST_ERROR,
    PAVO_HTTPE_SSL_CONNECT_ERROR,
    PAVO_HTTPE_BAD_DOWNLOAD_RESUME,
    PAVO_HTTPE_FILE_COULDNT_READ_FILE,
    PAVO_HTTPE_LDAP_CANNOT_BIND,
    PAVO_HTTPE_LDAP_SEARCH_FAILED,
    PAVO_HTTPE_OBSOLETE40,
    PAVO_HTTPE_FUNCTION_NOT_FOUND,
    PAVO_HTTPE_ABORTED_BY_CALLBACK,
    PAVO_HTTPE_BAD_FUNCTION_ARGUMENT,
    PAVO_HTTPE_OBSOLETE44,
    PAVO_HTTPE_INTERFACE_FAILED,
    PAVO_HTTPE_OBSOLETE46,
    PAVO_HTTPE_TOO_MANY_REDIRECTS,
    PAVO_HTTPE_UNKNOWN_TELNET_OPTION,
    PAVO_HTTPE_TELNET_OPTION_SYNTAX,
    PAVO_HTTPE_OBSOLETE50,
    PAVO_HTTPE_PEER_FAILED_VERIFICATION,
    PAVO_HTTPE_GOT_NOTHING,
    PAVO_HTTPE_SSL_ENGINE_NOTFOUND,
    PAVO_HTTPE_SSL_ENGINE_SETFAILED,
    PAVO_HTTPE_SEND_ERROR,
    PAVO_HTTPE_RECV_ERROR,
    PAVO_HTTPE_OBSOLETE57,
    PAVO_HTTPE_SSL_CERTPROBLEM,
    PAVO_HTTPE_SSL_CIPHER,
    PAVO_HTTPE_SSL_CACERT,
    PAVO_HTTPE_BAD_CONTENT_ENCODING,
    PAVO_HTTPE_LDAP_INVALID_URL,
    PAVO_HTTPE_FILESIZE_EXCEEDED,
    PAVO_HTTPE_USE_SSL_FAILED,
    PAVO_HTTPE_SEND_FAIL_REWIND,
    PAVO_HTTPE_SSL_ENGINE_INITFAILED,
    PAVO_HTTPE_LOGIN_DENIED,
    PAVO_HTTPE_TFTP_NOTFOUND,
    PAVO_HTTPE_TFTP_PERM,
    PAVO_HTTPE_REMOTE_DISK_FULL,
    PAVO_HTTPE_TFTP_ILLEGAL,
    PAVO_HTTPE_TFTP_UNKNOWNID,
    PAVO_HTTPE_REMOTE_FILE_EXISTS,
    PAVO_HTTPE_TFTP_NOSUCHUSER,
    PAVO_HTTPE_CONV_FAILED,
    PAVO_HTTPE_CONV_REQD,
    PAVO_HTTPE_SSL_CACERT_BADFILE,
    PAVO_HTTPE_REMOTE_FILE_NOT_FOUND,
    PAVO_HTTPE_SSH,
    PAVO_HTTPE_SSL_SHUTDOWN_FAILED,
    PAVO_HTTPE_AGAIN,
    PAVO_HTTPE_SSL_CRL_BADFILE,
    PAVO_HTTPE_SSL_ISSUER_ERROR,
    PAVO_HTTPE_LAST
} tpavo_httpecode;

typedef enum {
    PLAYERTYPE_DEFAULT = 0,
    PLAYERTYPE_PPS = 1,
    PLAYERTYPE_EMBEDED = 2
} pavo_playertype;

/* ------------------------------------------------------------------------
 * Records
 * ---------------------------------------------------------------------- */

typedef struct __pavo_init_param {
    char* oem_name;
    char* terminal_type;
    char* device_id;
    char* chipprofile;
    char* clientprofile;
    char* workdirectory;
    char* perpetualdirectory;
    char* tmpdirectory;
    uint32_t cachesize;
    int ipversion;
} pavo_init_param;

typedef struct __pavo_event {
    uint32_t eventhandle;
    tpavo_eventtype eventtype;
    tpavo_eventscope eventscope;
    int eventid;
    char extra[128];
    tpavo_eventdatatype eventdatatype;
    void* data;
    uint32_t datasize;
} tpavo_event;

typedef struct __tpavo_openresponse {
    char* serverauthenticator;
    char* userid;
    char* nickname;
    char* accountdesc;
    char* aaasrvaddress;
    char* aaasrvaddress2;
} tpavo_openresponse;

typedef struct __tpavo_loginresponse {
    char* usertoken;
    char* serverauthenticator;
    char* userid;
    char* usergroup;
    char* userlevel;
    int validpoints;
    char* actexpireddate;
    char* aaasrvaddress;
    char* aaasrvaddress2;
    char* epgsrvaddress;
    char* epgsrvaddress2;
    char* playsrvaddress;
    char* playsrvaddress2;
    char* upgradesrvaddress;
    char* upgradesrvaddress2;
    char* imgsrvaddress;
    char* serviceaddress;
    char* drmsrvaddress;
    char* drmsrvaddress2;
    int forcedupgrade;
} tpavo_loginresponse;

typedef struct __tpavo_rechargeresponse {
    char* serverauthenticator;
    int validpoints;
    char* actexpireddate;
} tpavo_rechargeresponse;

typedef struct __tpavo_playresponse {
    char* playurl;
} tpavo_playresponse;

typedef struct __tpavo_category {
    char* code;
    char* parentcode;
    char* name;
    char* desc;
    char* icon1;
    char* icon2;
    char* bgimage1;
    char* bgimage2;
    char* templatecode;
    int type;
    char haschild;
    struct __tpavo_category* psubcat;
    struct __tpavo_category* pparentcat; /* not owned */
    struct __tpavo_category* next;
} tpavo_category;

typedef struct __tpavo_videoclip {
    int itemtype;
    char* itemcode;
    char* videocode;
    int type;
    int episodeindex;
    int ordercode;
    int price;
    int64_t filesize;
    char* duration;
    int audiofieldtype;
    int captioning;
    char isdrm;
    char candownload;
    char canonlineplay;
    int screenformat;
    int bitratetype;
    int videotype;
    int audiotype;
    int resolution;
    struct __tpavo_videoclip* next;
} tpavo_videoclip;

typedef struct __tpavo_channel {
    char* code;
    char* name;
    char* desc;
    char* icon1;
    char* icon2;
    char* bkimage1;
    char* bkimage2;
    int type;
    int timeshiftduration;
    tpavo_videoclip* pvideoclip;
    struct __tpavo_channel* next;
} tpavo_channel;

typedef struct __tpavo_schedule {
    char* name;
    char* channelcode;
    char* desc;
    char* starttime;
    char* endtime;
    struct __tpavo_schedule* next;
} tpavo_schedule;

typedef struct __tpavo_program {
    char* code;
    char* name;
    int type;
    int episodenum;
    char* actor;
    char* director;
    char* region;
    char* language;
    char* programtype;
    char* keywords;
    char* ratinglevel;
    char* desc;
    int status;
    char* smallimage1;
    char* smallimage2;
    char* bigimage1;
    char* bigimage2;
    tpavo_videoclip* pvideoclip;
    struct __tpavo_program* next;
} tpavo_program;

typedef struct __tpavo_item {
    int type; /* a tpavo_itemtype_t */
    char* code;
    char* parentcode;
    char* name;
    char* starttime;
    char* endtime;
    char* desc;
    char* icon1;
    char* icon2;
    char* summary;
    int flag;
    union {
        tpavo_program* program;
        tpavo_channel* channel;
        tpavo_schedule* schedule;
        void* ptr;
    } detail;
    struct __tpavo_item* next;
} tpavo_item;

/* "lastedversion", upgrademode/updatemode: the platform's names, kept. */
typedef struct __tpavo_upgradeosresponse {
    int upgrademode;
    char* lastedversion;
    char* fileurl;
    char* filehash;
} tpavo_upgradeosresponse;

typedef struct __tpavo_upgraderesresponse {
    int updatemode;
    char* lastedversion;
    char* fileurl;
    char* filehash;
} tpavo_upgraderesresponse;

typedef struct __tpavo_reportresponse {
    char* reserved;
} tpavo_reportresponse;

typedef struct _tpavo_logoutresponse {
    char* reserved;
} tpavo_logoutresponse;

typedef void (*pavo_data_freeproc)(void* result);
typedef void (*pavo_data_dumpproc)(void* result);

typedef struct __tpavo_result {
    int resultcode;
    char* resultmsg;
    tpavo_datatype datatype;
    uint32_t datasize;
    pavo_data_freeproc freeproc;
    pavo_data_dumpproc dumpproc;
    tpavo_httpecode httpecode;
    long httpretcode;
    int totalcount;
    int datacount;
    int pageindex;
    int pagesize;
    union {
        tpavo_openresponse* openresponse;
        tpavo_loginresponse* loginresponse;
        tpavo_rechargeresponse* rechargeresponse;
        tpavo_playresponse* playresponse;
        tpavo_category* categorylistresponse;
        tpavo_item* itemlistresponse;
        tpavo_item* itemdetailresponse;
        tpavo_schedule* schedulelistresponse;
        tpavo_schedule* scheduleresponse;
        tpavo_program* programlistresponse;
        tpavo_program* programresponse;
        tpavo_channel* channellistresponse;
        tpavo_channel* channelresponse;
        char* extserviceresponse;
        tpavo_upgradeosresponse* upgradeosresponse;
        tpavo_upgraderesresponse* upgraderesresponse;
        tpavo_reportresponse* reportresponse;
        tpavo_logoutresponse* logoutresponse;
        void* ptr;
    } data;
} tpavo_result;

typedef int (*pavo_callback)(tpavo_event* event);
typedef int (*pavo_mplayer_handler)(const char* message);

/* ------------------------------------------------------------------------
 * Lifecycle, modes, log and allocator
 * ---------------------------------------------------------------------- */

pavo_status_t pavo_init(pavo_init_param* context);
pavo_status_t pavo_cleanup(void);
int pavo_global_init(void);

void pavo_setstate(tpavo_state state);
tpavo_state pavo_getstate(void);
int pavo_setfuncmode(pavo_funcmode mode);
int pavo_getfuncmode(void);
void pavo_setemumode(void);
void pavo_setlogmode(int logmode);
void pavo_setlogfiledir(const char* dir);

void pavo_log_err(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);
void pavo_log_warn(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);
void pavo_log_info(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);
void pavo_log_debug(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);
/* Console-only companions that ignore the log mode. */
void log_err(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);
void log_warn(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);
void log_info(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);
void log_debug(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);

void* pavo_malloc(size_t size);
void* pavo_alloc(size_t count, size_t size);
void pavo_free(void* ptr);

void pavo_sleep(int seconds);
int pavo_getlasterror(void);
void pavo_setlasterror(int error);
int pavo_get_time(struct timeval* tv);

/* ------------------------------------------------------------------------
 * Results, callbacks and message pumping
 * ---------------------------------------------------------------------- */

tpavo_result* pavo_getresult(void);
int pavo_freeresult(tpavo_result* result);
void pavo_dumpresult(tpavo_result* result);
int pavo_checkmessage(void);
pavo_status_t pavo_registercallback(pavo_callbacktype type, pavo_callback cb);

/* ------------------------------------------------------------------------
 * Session properties and configuration
 * ---------------------------------------------------------------------- */

void pavo_readprop(const char* name, char* buffer, int buffersize);
int pavo_writeprop(const char* name, const char* value);
char* pavo_readconfig(const char* section, const char* name, char* buffer, int buffersize);
int pavo_writeconfig(const char* section, const char* name, const char* value);
int pavo_getip(char* ipbuffer, int buffersize);
char* pavo_getusertoken(void);
void pavo_setusertoken(const char* usertoken);

/* ------------------------------------------------------------------------
 * Service requests
 * ---------------------------------------------------------------------- */

pavo_status_t pavo_query_status(void);
pavo_status_t pavo_open(unsigned eventid, tpavo_openmode openmode, const char* openparam,
                        const char* reserved);
pavo_status_t pavo_login(unsigned eventid);
pavo_status_t pavo_logout(unsigned eventid);
pavo_status_t pavo_recharge(unsigned eventid, int rechargetype, const char* rechargeparam);
pavo_status_t pavo_querycategorylist(unsigned eventid, const char* parentcategorycode,
                                     int pageindex, int pagesize);
pavo_status_t pavo_querycategoryitemlist(unsigned eventid, const char* categorycode,
                                         int pageindex, int pagesize, int withdetail);
pavo_status_t pavo_queryrelateitemlist(unsigned eventid, int type, const char* code, int mode,
                                       int withdetail, int pageindex, int pagesize);
pavo_status_t pavo_queryitemdetail(unsigned eventid, const char* categorycode,
                                   tpavo_itemtype_t itemtype, const char* itemcode);
pavo_status_t pavo_queryschedulelist(unsigned eventid, const char* channelcode,
                                     const char* startdate, const char* enddate, int pageindex,
                                     int pagesize);
pavo_status_t pavo_queryplayurl(unsigned eventid, const char* categorycode,
                                tpavo_itemtype_t itemtype, const char* itemcode,
                                const char* videocode, tpavo_servicetype servicetype,
                                const char* starttime, const char* endtime);
pavo_status_t pavo_queryextendservice(unsigned eventid, const char* servicecode,
                                      const char* serviceparam);
char* pavo_urlencode(const char* sIn, char* sOut);
unsigned char pavo_toHex(unsigned char x);

/* Upgrade, download and report */
pavo_status_t pavo_upgradeos(unsigned eventid);
pavo_status_t pavo_upgraderes(unsigned eventid);
pavo_status_t pavo_downloadresource(unsigned eventid, const char* resourceurl,
                                    const char* localpath);
pavo_status_t pavo_statusreport(unsigned eventid);

/* ------------------------------------------------------------------------
 * Authenticator and triple-DES helpers
 * ---------------------------------------------------------------------- */

void pavo_getrandom(char* buf);
void pavo_gettimestamp(char* buf);
void pavo_createauthenticator(char* authenticator, tpavo_cryptmode cryptmode,
                              const char* keyvalue, const char* userid, const char* ip,
                              const char* tvid, const char* bizfield);
void pavo_encrypt(char* cryptmode, char* message, int messagelen, char* key, int keylen,
                  char* outmessage);
void pavo_decrypt(char* cryptmode, char* message, int messagelen, char* key, int keylen,
                  char* outmessage);
void pavo_stringToHex(char* s, int srclen, char* outstr);
void pavo_hexTostring(char* s, char* outstr, int* outputlen);
int pavo_sha1(char* message, int messagelen, char* outmessage);
int pavo_is_little_endian(void);
uint64_t pavo_convert_to_bigendian(uint64_t num);

/* ------------------------------------------------------------------------
 * Digests and encodings
 * ---------------------------------------------------------------------- */

typedef struct {
    uint32_t total[2];
    uint32_t state[5];
    unsigned char buffer[64];
    unsigned char ipad[64];
    unsigned char opad[64];
} pavo_sha1context;

void pavo_sha1starts(pavo_sha1context* ctx);
void pavo_sha1update(pavo_sha1context* ctx, const unsigned char* input, int ilen);
void pavo_sha1finish(pavo_sha1context* ctx, unsigned char output[20]);
void sha1(const unsigned char* input, int ilen, unsigned char output[20]);
int pavo_sha1file(const char* path, unsigned char output[20]);
void pavo_sha1hmac_starts(pavo_sha1context* ctx, const unsigned char* key, int keylen);
void pavo_sha1hmac_update(pavo_sha1context* ctx, const unsigned char* input, int ilen);
void pavo_sha1hmac_finish(pavo_sha1context* ctx, unsigned char output[20]);
void pavo_sha1hmac(const unsigned char* key, int keylen, const unsigned char* input, int ilen,
                   unsigned char output[20]);

unsigned long Crc32_ComputeBuf(unsigned long inCrc32, const void* buf, size_t bufLen);
int Crc32_ComputeFile(FILE* file, unsigned long* outCrc32);
int Crc32_ComputeFileRC(FILE* fp, unsigned char* crc);

/* ------------------------------------------------------------------------
 * Parsing, copying, freeing and printing of result data
 * ---------------------------------------------------------------------- */

extern unsigned long g_servertime;

tpavo_result* pavo_parse(const char* xmldata, size_t datasize, tpavo_datatype datatype);
void pavo_test_parse(const char* xmldata);
int64_t _atoi64(const char* nptr);

tpavo_result* pavo_parseopenresult(const char* xmldata);
tpavo_result* pavo_parseloginresult(const char* xmldata);
tpavo_result* pavo_parselogoutresult(const char* xmldata);
tpavo_result* pavo_parserechargeresult(const char* xmldata);
tpavo_result* pavo_parseplayurlresult(const char* xmldata);
tpavo_result* pavo_parseupgradeosresult(const char* xmldata);
tpavo_result* pavo_parseupgraderesresult(const char* xmldata);
tpavo_result* pavo_parsecategorylistresult(const char* xmldata);
tpavo_result* pavo_parseschedulelistresult(const char* xmldata);
tpavo_result* pavo_parsecategoryitemlistresult(const char* xmldata);

void free_openresult(void* result);
void dump_openresult(void* result);
void free_loginresult(void* result);
void dump_loginresult(void* result);
void free_logoutresult(void* result);
void dump_logoutresult(void* result);
void free_rechargeresult(void* result);
void dump_rechargeresult(void* result);
void free_playresult(void* result);
void dump_playresult(void* result);
void free_upgradeosresult(void* result);
void dump_upgradeosresult(void* result);
void free_upgraderesresult(void* result);
void dump_upgraderesresult(void* result);
void free_extserviceresult(void* result);
void dump_extserviceresult(void* result);
void free_categorylistresult(void* result);
void dump_categorylistresult(void* result);
void free_schedulelistresult(void* result);
void dump_schedulelistresult(void* result);
void free_categoryitemlistresult(void* result);
void dump_categoryitemlistresult(void* result);

tpavo_videoclip* dup_videoclip(tpavo_videoclip* videoclip);
tpavo_videoclip* dup_videocliplist(tpavo_videoclip* videoclip);
tpavo_channel* dup_channel(tpavo_channel* channel);
tpavo_program* dup_program(tpavo_program* program);
void pavo_freevideoclip(tpavo_videoclip* videoclip);
void free_channel(tpavo_channel* channel);
void free_program(tpavo_program* program);
void free_schedule(tpavo_schedule* schedule);
void dump_videoclip(tpavo_videoclip* videoclip);

/* ------------------------------------------------------------------------
 * Runtime facilities: memory pool, mutex, worker pool, message queue
 * ---------------------------------------------------------------------- */

typedef struct __handle_mymempool {
    int unused;
} *HMYMEMPOOL;
typedef struct __mymutex_handle_ {
    int unused;
} *HMYMUTEX;

typedef void* (*mymalloc)(size_t size, void* context_data);
typedef void (*myfree)(void* ptr, void* context_data);
typedef void (*mempool_view)(void* context_data, void* info, size_t info_size);
typedef void (*mempool_destroy)(void* context_data);

HMYMEMPOOL MyMemPoolConstruct(mymalloc malloc_helper, myfree free_helper,
                              mempool_destroy destroy, mempool_view view, void* context_data);
void MyMemePoolDestruct(HMYMEMPOOL hm);
void MyMemPoolView(HMYMEMPOOL hm, void* info, size_t info_size);
void* MyMemPoolMalloc(HMYMEMPOOL hm, size_t size);
void MyMemPoolFree(HMYMEMPOOL hm, void* ptr);
void MyMemPoolMemReport(int needassert);
int MyMemPoolGetBlkCount(void);
HMYMEMPOOL PAVO_MemPoolConstruct(void);

HMYMUTEX MyMutexConstruct(HMYMEMPOOL hm);
void MyMutexDestruct(HMYMUTEX hmx);
int MyMutexLock(HMYMUTEX hmx);
int MyMutexTryLock(HMYMUTEX hmx);
int MyMutexUnLock(HMYMUTEX hmx);

typedef void* t_threadpool;
typedef void* (*dispatch_fn)(void* arg);

t_threadpool create_threadpool(int num_threads_in_pool);
int dispatch_threadpool(t_threadpool pool, dispatch_fn fn, void* arg);
void destroy_threadpool(t_threadpool pool);
t_threadpool pool_init(int n);
int pool_add_worker(t_threadpool pool, dispatch_fn fn, void* arg);
void pool_destroy(t_threadpool pool);

typedef int (*pavo_messagecallback)(int eventtype, int eventscope, int eventid, void* buffer,
                                    int buffersize, void* cbdata, int cbdatasize);

int pavo_messageque_init(int maxqueuesize);
int pavo_messageque_cleanup(void);
int pavo_messageque_clear(void);
int pavo_postmessage(pavo_messagecallback cb, int eventtype, int eventscope, int eventid,
                     void* data, int datasize, void* cbdata, int cbdatasize);
int pavo_getmessage(int* eventtype, int* eventid, void** data, int* datasize, void** cbdata,
                    int* cbdatasize);
int pavo_getmessagecount(void);
int pavo_iner_checkmessage(void);

/* ------------------------------------------------------------------------
 * String and time utilities
 * ---------------------------------------------------------------------- */

int mybcompi(char byA, char byB);
char* pavo_memstr(const char* str1, int nLen1, const char* str2);
char* pavo_memistr(const char* str1, int nLen1, const char* str2);
char* pavo_pavo_memstrrev(const char* str1, int nLen1, const char* str2);
unsigned long DayStr2Ulong(const char* TimeStr);
unsigned long SecStr2Ulong(const char* TimeStr);
unsigned long pavo_nsecstr2ulong(const char* TimeStr);
char* Ulong2DayStr(unsigned long time);
char* ulong2SecStr(unsigned long time);
char* pavo_ulong2nsecstr(unsigned long time);

/* ------------------------------------------------------------------------
 * Media player entry points (no behaviour: 0, and -1 for additem)
 * ---------------------------------------------------------------------- */

pavo_playertype pavo_getmplayertypefromurl(const char* url);
int pavo_initmplayer(pavo_playertype type, pavo_mplayer_handler handler);
int pavo_mplayer_additem(const char* url);
int pavo_mplayer_removeitem(const char* url);
int pavo_mplayer_clearitem(void);
int pavo_mplayer_action(int action);
int pavo_mplayer_setprop(const char* name, const char* value);
int pavo_mplayer_getprop(const char* name, char* buffer, int buffersize);
int pavo_mplayer_play(void);
int pavo_mplayer_stop(void);
int pavo_mplayer_pause(void);
int pavo_mplayer_forward(int speed);
int pavo_mplayer_backward(int speed);
int pavo_mplayer_seek(int seconds);
int pavo_mplayer_info(void);
int pavo_mplayer_close(void);

#ifdef __cplusplus
}
#endif

#endif /* PAVO_H_INCLUDED */
