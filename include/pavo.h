/*
 * pavo.h - public C interface of libpavo, the client access library of the
 * video-on-demand and live-television platform.
 *
 * Records are declared member for member in the order applications built
 * against earlier releases depend on; do not reorder them. Every string in a
 * record is owned by that record and released through pavo_freeresult().
 */
/**
 * @file pavo.h
 * @brief The C interface of libpavo: start-up, the platform requests, their
 * result records and the message pump.
 *
 * An application starts the library with pavo_init(), opens the subscriber's
 * account with pavo_open(), logs in with pavo_login() and then queries the
 * catalogue, asks for play addresses and so on. Each request is one HTTP POST
 * to the platform. In synchronous mode (the default after pavo_init()) the
 * request runs on the calling thread and its parsed answer becomes that
 * thread's last result (pavo_getresult()); in asynchronous mode a worker
 * makes the transfer and the answer reaches the callback registered with
 * pavo_registercallback() when the application calls pavo_checkmessage().
 *
 * Every string member of a record is NUL-terminated, allocated by the library
 * and owned by the record; a member the platform did not send is NULL (never
 * an empty string). Lists are singly linked through @c next. A result is
 * released only with pavo_freeresult(), which frees everything hanging off it.
 *
 * See the guide (docs/guide.md) for the life cycle, both modes with complete
 * programs, the callbacks and korix.conf.
 */
#ifndef PAVO_H_INCLUDED
#define PAVO_H_INCLUDED

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/time.h>

#include "pavo_version.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @cond INTERNAL */
#if defined(__GNUC__)
#define PAVO_PRINTF_LIKE(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#define PAVO_PRINTF_LIKE(fmt, args)
#endif
/** @endcond */

/* ------------------------------------------------------------------------
 * Codes and enumerations (every enumeration has the size of an int)
 * ---------------------------------------------------------------------- */

/** What a library call returns: success, a state error, or a failure. */
typedef enum {
    PAVO_STATUS_FAILURE_WORKDIR = -6,       /**< strictlocal: no usable work directory */
    PAVO_STATUS_FAILURE_ALREADYINITED = -5, /**< pavo_init() while already started */
    PAVO_STATUS_FAILURE_NOTINITED = -4,     /**< pavo_open() before pavo_init() */
    PAVO_STATUS_FAILURE_NOTOPENED = -3,     /**< pavo_login() before an account is open */
    PAVO_STATUS_FAILURE_NOTLOGINED = -2,    /**< a request that needs a logged-in session */
    PAVO_STATUS_FAILURE = -1, /**< the transfer failed, or a bad argument; no result stored */
    PAVO_STATUS_SUCCESS = 0,  /**< done; in synchronous mode the answer is the last result */
    PAVO_RESERVED = 1         /**< not returned */
} pavo_status_t;

/**
 * The tpavo_result::resultcode of results the library makes itself for a request without a
 * usable answer (korix.conf key errorresults, on with the application profile), beside the
 * library's own -9000 of an answer past maxrecords.
 */
typedef enum {
    PAVO_RESULT_TRANSFERFAILED = -9001, /**< no HTTP answer came; httpretcode is 0 */
    PAVO_RESULT_HTTPERROR = -9002,      /**< an HTTP status other than 200, in httpretcode */
    PAVO_RESULT_UNPARSABLE = -9003      /**< a 200 answer that is not the platform's XML */
} pavo_resultclass_t;

/** Levels of the log, for pavo_setlogcallback() and the korix.conf key loglevel. */
typedef enum {
    PAVO_LOG_ERROR = 0,   /**< pavo_log_err() */
    PAVO_LOG_WARNING = 1, /**< pavo_log_warn() */
    PAVO_LOG_INFO = 2,    /**< pavo_log_info() */
    PAVO_LOG_DEBUG = 3    /**< pavo_log_debug() and the runtime's diagnostics */
} pavo_loglevel_t;

/**
 * The callback slots of pavo_registercallback(). Each asynchronous request
 * answers through one slot; an empty slot falls back to slot 0.
 */
typedef enum {
    PAVO_CALLBACK_DEFAULT = 0,    /**< fallback; holds a built-in that only logs */
    PAVO_CALLBACK_AAA = 1,        /**< open, login, logout, play address, extended service */
    PAVO_CALLBACK_EPG = 2,        /**< recharge, catalogue queries, resource download */
    PAVO_CALLBACK_TMMANAGE = 3,   /**< upgrade offers and the status report */
    PAVO_CALLBACK_PLAYER = 4,     /**< not used by any request */
    PAVO_CALLBACK_DOWNLOAD = 5,   /**< not used by any request */
    PAVO_CALLBACK_EXTSERVICE = 6, /**< not used by any request */
    PAVO_CALLBACK_EXCEPTION = 7   /**< holds a built-in that only logs */
} pavo_callbacktype;

/** How requests run; see pavo_setfuncmode(). */
typedef enum {
    FUNCMODE_ASYNC = 0, /**< a worker transfers; the answer goes to a callback */
    FUNCMODE_SYNC = 1   /**< the caller's thread transfers; the answer is the last result */
} pavo_funcmode;

/** The library state; each request needs at least one of them. */
typedef enum {
    PAVO_STATE_NONE = 0,   /**< not started, or shut down by pavo_cleanup() */
    PAVO_STATE_INITED = 1, /**< started by pavo_init() */
    PAVO_STATE_OPENED = 2, /**< an account is open (pavo_open(), or pavo_query_status()) */
    PAVO_STATE_LOGINED = 3 /**< logged in (pavo_login()); a logout does not leave it */
} tpavo_state;

/** How pavo_open() names the account. */
typedef enum {
    OPENMODE_USERCARD = 1, /**< by the user card number given as openparam */
    OPENMODE_STBCODE = 2   /**< by this terminal's id (TVID) */
} tpavo_openmode;

/** Cipher names of the authenticator; every authenticator is triple-DES. */
typedef enum {
    CRYPTMODE_PLAIN = 0, /**< accepted, treated as triple-DES */
    CRYPTMODE_AES = 1,   /**< accepted, treated as triple-DES */
    CRYPTMODE_3DES = 2   /**< triple-DES */
} tpavo_cryptmode;

/** What pavo_queryplayurl() asks an address for. */
typedef enum {
    SERVICETYPE_ONLINEPLAY = 0, /**< a stream to play */
    SERVICETYPE_DOWNLOAD = 1    /**< a file to download */
} tpavo_servicetype;

/** The kind of a catalogue item; tells which member of tpavo_item::detail is set. */
typedef enum {
    PAVO_ITEMTYPE_DEFAULT = 0, /**< unknown; no detail */
    PAVO_ITEMTYPE_PROGRAM = 1, /**< a programme (video on demand) */
    PAVO_ITEMTYPE_CHANNEL = 2, /**< a live channel */
    PAVO_ITEMTYPE_SCHEDULE = 3 /**< a schedule entry */
} tpavo_itemtype_t;

/** The scope of an event; every delivered answer has EPAVO_SCOPE_RESPONSE. */
typedef enum {
    EPAVO_SCOPE_REQUEST = 0,  /**< a request on its way */
    EPAVO_SCOPE_RESPONSE = 1, /**< an answer */
    EPAVO_SCOPE_BROADCAST = 2 /**< not used */
} tpavo_eventscope;

/** Kinds of event data; the library leaves tpavo_event::eventdatatype at 0. */
typedef enum {
    EPAVO_EVENTDATATYPE_NORMAL = 0, /**< plain data */
    EPAVO_EVENTDATATYPE_STRING = 1, /**< text */
    EPAVO_EVENTDATATYPE_RESULT = 2  /**< a tpavo_result */
} tpavo_eventdatatype;

/** Where a transfer's answer goes: memory, or a file (resource downloads). */
typedef enum {
    STORETYPE_MEM = 0, /**< kept in memory and parsed */
    STORETYPE_FILE = 1 /**< written to a local file */
} tpavo_storetype;

/**
 * What tpavo_result::data holds, and so which member of its union to read.
 * Each request names the type it produces; the types without a request are
 * not produced by the library.
 */
typedef enum {
    DATATYPE_NORMAL = 0,         /**< no data, or a plain block (a download's result has none) */
    DATATYPE_STRING = 1,         /**< a plain text block owned by the result */
    DATATYPE_OPENRESULT = 2,     /**< openresponse: pavo_open() */
    DATATYPE_LOGINRESULT = 3,    /**< loginresponse: pavo_login() */
    DATATYPE_LOGOUTRESULT = 4,   /**< logoutresponse: pavo_logout() */
    DATATYPE_RECHARGERESULT = 5, /**< rechargeresponse: pavo_recharge() */
    DATATYPE_QUERYPLAYURLRESULT = 6, /**< playresponse: pavo_queryplayurl() */
    DATATYPE_CATEGORYLIST = 7,       /**< categorylistresponse: pavo_querycategorylist() */
    DATATYPE_CATEGORY = 8,           /**< one category (not produced) */
    /**
     * itemlistresponse: pavo_querycategoryitemlist(), and pavo_queryrelateitemlist() in
     * synchronous mode
     */
    DATATYPE_ITEMLIST = 9,
    DATATYPE_ITEM = 10, /**< itemdetailresponse: pavo_queryitemdetail() */
    /**
     * itemlistresponse: pavo_queryrelateitemlist() through a callback
     */
    DATATYPE_RELATIVEITEMLIST = 11,
    DATATYPE_CHANNELLIST = 12,   /**< channellistresponse (not produced) */
    DATATYPE_CHANNEL = 13,       /**< channelresponse (not produced) */
    DATATYPE_SCHEDULELIST = 14,  /**< schedulelistresponse: pavo_queryschedulelist() */
    DATATYPE_SCHEDULE = 15,      /**< scheduleresponse (not produced) */
    DATATYPE_PROGRAMLIST = 16,   /**< programlistresponse (not produced) */
    DATATYPE_PROGRAM = 17,       /**< programresponse (not produced) */
    DATATYPE_VIDEOCLIPLIST = 18, /**< a video clip list (not produced) */
    DATATYPE_VIDEOCLIP = 19,     /**< one video clip (not produced) */
    /**
     * extserviceresponse: pavo_queryextendservice(), datasize raw bytes
     */
    DATATYPE_EXTSERVICERESULT = 20,
    DATATYPE_UPGRADEOSRESULT = 21,  /**< upgradeosresponse: pavo_upgradeos() */
    DATATYPE_UPGRADERESRESULT = 22, /**< upgraderesresponse: pavo_upgraderes() */
    /**
     * reportresponse (not produced: the report leaves no result)
     */
    DATATYPE_STATUSREPORTRESULT = 23
} tpavo_datatype;

/* The misspelt enumerators are part of the interface and stay as they are. */
/**
 * The event type of a tpavo_event: which request an answer belongs to. Only
 * the request values are delivered; the values after EPAVO_CLEANUP belong to
 * a media player this library does not include.
 */
typedef enum {
    EPAVO_EVENT_BEGIN = -1,        /**< lower bound */
    EPAVO_INIT,                    /**< start-up (not delivered) */
    EPAVO_QUERYSTATUS,             /**< state probe (not delivered) */
    EPAVO_LOGIN,                   /**< answer of pavo_login() */
    EPAVO_LOGOUT,                  /**< answer of pavo_logout() */
    EPAVO_OPEN,                    /**< answer of pavo_open() */
    EPAVO_RECHARGE,                /**< answer of pavo_recharge() */
    EPAVO_QUERYCATEGORYLIST,       /**< answer of pavo_querycategorylist() */
    EPAVO_QUERYCATEGORYITEMLIST,   /**< answer of pavo_querycategoryitemlist() */
    EPAVO_QUERYCATEGORYITEMDETAIL, /**< answer of pavo_queryitemdetail() */
    EPAVO_QUERYRELATEITEMLIST,     /**< answer of pavo_queryrelateitemlist() */
    EPAVO_QUERYSCHEDULELIST,       /**< answer of pavo_queryschedulelist() */
    EPAVO_QUERYPLAYURL,            /**< answer of pavo_queryplayurl() */
    EPAVO_QUERYEXTSERVICE,         /**< answer of pavo_queryextendservice() */
    EPAVO_RESOURCEDOWNLOAD,        /**< end of pavo_downloadresource(); no result */
    EPAVO_UPGRADEOS,               /**< answer of pavo_upgradeos() */
    EPAVO_UPGRADERES,              /**< answer of pavo_upgraderes() */
    EPAVO_STATUSREPORT,            /**< end of pavo_statusreport(); no result */
    EPAVO_CLEANUP,                 /**< shut-down (not delivered) */
    /* Media player events, never delivered by this library. */
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
    EPAVO_EVENT_MAX /**< upper bound */
} tpavo_eventtype;

/* Numbered as libcurl's CURLcode: a transfer's code is stored unchanged. */
/**
 * The outcome of a transfer, in tpavo_result::httpecode. The numbers are
 * libcurl's CURLcode of the same name (see libcurl-errors(3)); 0 is a
 * transfer that completed, whatever its HTTP status (tpavo_result::httpretcode).
 */
typedef enum {
    /* libcurl's CURLE_ names under the PAVO_HTTPE_ prefix. */
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
    PAVO_HTTPE_LAST /**< upper bound */
} tpavo_httpecode;

/** Player kinds of the media player entry points, which have no behaviour. */
typedef enum {
    PLAYERTYPE_DEFAULT = 0, /**< default player */
    PLAYERTYPE_PPS = 1,     /**< PPS player */
    PLAYERTYPE_EMBEDED = 2  /**< embedded player */
} pavo_playertype;

/* ------------------------------------------------------------------------
 * Records
 * ---------------------------------------------------------------------- */

/**
 * The terminal's identity and directories, given to pavo_init(). The library copies every string;
 * the caller keeps ownership. A "%" in a string is read as a format ("%%" gives "%").
 */
typedef struct __pavo_init_param {
    char* oem_name; /**< maker code; first 10 characters of the TVID (left-padded with "0") */
    char* terminal_type; /**< terminal model; next 10 characters of the TVID */
    char* device_id; /**< device serial; last 16 characters of the TVID (a longer value is cut) */
    char* chipprofile;   /**< chip description; first part of the terminal profile */
    char* clientprofile; /**< client software description; second part of the terminal profile */
    /**
     * directory of korix.conf (and of pavo.log unless logdirectory says otherwise)
     */
    char* workdirectory;
    char* perpetualdirectory; /**< directory for data kept across power cycles */
    char* tmpdirectory;       /**< directory for temporary files */
    uint32_t cachesize;       /**< accepted and not used */
    int ipversion;            /**< 6 puts "V6" into the TVID, any other value "V4" */
} pavo_init_param;

/**
 * What a pavo_callback receives for an asynchronous answer. The event and its data belong to the
 * library and are freed when the callback returns.
 */
typedef struct __pavo_event {
    uint32_t eventhandle;              /**< not filled (0) */
    tpavo_eventtype eventtype;         /**< the request the answer belongs to */
    tpavo_eventscope eventscope;       /**< EPAVO_SCOPE_RESPONSE */
    int eventid;                       /**< the eventid the application passed to the request */
    char extra[128];                   /**< not filled (zeros) */
    tpavo_eventdatatype eventdatatype; /**< not filled (0) */
    /**
     * the parsed answer, a tpavo_result*; NULL for downloads, status reports and answers that
     * could not be read
     */
    void* data;
    uint32_t datasize; /**< 4 (the size of a pointer) */
} tpavo_event;

/** Answer of pavo_open() (DATATYPE_OPENRESULT). */
typedef struct __tpavo_openresponse {
    char* serverauthenticator; /**< the platform's authenticator */
    char* userid;              /**< the account's user id (also written to korix.conf) */
    char* nickname;            /**< the subscriber's name */
    char* accountdesc;         /**< description of the account */
    char* aaasrvaddress; /**< address of the account services (also written to korix.conf) */
    /**
     * second address of the account services (also written to korix.conf)
     */
    char* aaasrvaddress2;
} tpavo_openresponse;

/**
 * Answer of pavo_login() (DATATYPE_LOGINRESULT). On success the token, group, level, expiry,
 * authenticator and every address also become session properties (pavo_readprop()).
 */
typedef struct __tpavo_loginresponse {
    char* usertoken;           /**< the session token sent with every later request */
    char* serverauthenticator; /**< the platform's authenticator */
    char* userid;              /**< the user id */
    char* usergroup;           /**< the user's group */
    char* userlevel;           /**< the user's level */
    int validpoints;           /**< points left on the account */
    char* actexpireddate;      /**< expiry date of the account */
    char* aaasrvaddress;       /**< account services */
    char* aaasrvaddress2;      /**< account services, second address */
    char* epgsrvaddress;       /**< catalogue services */
    char* epgsrvaddress2;      /**< catalogue services, second address */
    char* playsrvaddress;      /**< play address service */
    char* playsrvaddress2;     /**< play address service, second address */
    char* upgradesrvaddress;   /**< upgrade and report services */
    char* upgradesrvaddress2;  /**< upgrade services, second address */
    char* imgsrvaddress;       /**< image server */
    char* serviceaddress;      /**< the extended service */
    char* drmsrvaddress;       /**< DRM server */
    char* drmsrvaddress2;      /**< DRM server, second address */
    int forcedupgrade;         /**< non-zero when the platform demands an upgrade */
} tpavo_loginresponse;

/** Answer of pavo_recharge() (DATATYPE_RECHARGERESULT). */
typedef struct __tpavo_rechargeresponse {
    char* serverauthenticator; /**< the platform's authenticator */
    int validpoints;           /**< points on the account after the recharge */
    char* actexpireddate;      /**< expiry date of the account */
} tpavo_rechargeresponse;

/** Answer of pavo_queryplayurl() (DATATYPE_QUERYPLAYURLRESULT). */
typedef struct __tpavo_playresponse {
    char* playurl; /**< the address to play or download */
} tpavo_playresponse;

/**
 * A catalogue category, one entry of the list answered by pavo_querycategorylist()
 * (DATATYPE_CATEGORYLIST).
 */
typedef struct __tpavo_category {
    char* code;         /**< category code, used by the item queries */
    char* parentcode;   /**< code of the parent category */
    char* name;         /**< display name */
    char* desc;         /**< description */
    char* icon1;        /**< icon */
    char* icon2;        /**< focused icon */
    char* bgimage1;     /**< background image */
    char* bgimage2;     /**< second background image */
    char* templatecode; /**< presentation template */
    int type;           /**< kind of content (a tpavo_itemtype_t: 1 programmes, 2 channels) */
    char haschild;      /**< non-zero when the category has sub-categories */
    struct __tpavo_category* psubcat;    /**< first sub-category, when the answer nests them */
    struct __tpavo_category* pparentcat; /**< parent category record; not owned */
    struct __tpavo_category* next;       /**< next category, or NULL */
} tpavo_category;

/** A video clip of a programme or channel: one playable or downloadable version. */
typedef struct __tpavo_videoclip {
    int itemtype;                   /**< type of the item the clip belongs to */
    char* itemcode;                 /**< code of that item */
    char* videocode;                /**< clip code, for pavo_queryplayurl() */
    int type;                       /**< clip kind */
    int episodeindex;               /**< episode number */
    int ordercode;                  /**< order among the clips */
    int price;                      /**< price in points */
    int64_t filesize;               /**< size in bytes */
    char* duration;                 /**< running time as text */
    int audiofieldtype;             /**< audio field kind */
    int captioning;                 /**< captioning kind */
    char isdrm;                     /**< non-zero when DRM-protected */
    char candownload;               /**< non-zero when it may be downloaded */
    char canonlineplay;             /**< non-zero when it may be played online */
    int screenformat;               /**< screen format */
    int bitratetype;                /**< bit rate class */
    int videotype;                  /**< video kind */
    int audiotype;                  /**< audio kind */
    int resolution;                 /**< vertical resolution */
    struct __tpavo_videoclip* next; /**< next clip, or NULL */
} tpavo_videoclip;

/** A live channel, the detail of a channel item. */
typedef struct __tpavo_channel {
    char* code;                   /**< channel code, for pavo_queryschedulelist() */
    char* name;                   /**< display name */
    char* desc;                   /**< description */
    char* icon1;                  /**< logo */
    char* icon2;                  /**< focused logo */
    char* bkimage1;               /**< background image */
    char* bkimage2;               /**< second background image */
    int type;                     /**< channel kind */
    int timeshiftduration;        /**< time-shift window */
    tpavo_videoclip* pvideoclip;  /**< the channel's clips */
    struct __tpavo_channel* next; /**< next channel, or NULL */
} tpavo_channel;

/** One schedule entry, in the list answered by pavo_queryschedulelist() (DATATYPE_SCHEDULELIST).
 */
typedef struct __tpavo_schedule {
    char* name;                    /**< title of the broadcast */
    char* channelcode;             /**< code of its channel */
    char* desc;                    /**< description */
    char* starttime;               /**< start, "YYYY-MM-DD hh:mm:ss" as the platform sends it */
    char* endtime;                 /**< end, in the same form */
    struct __tpavo_schedule* next; /**< next entry, or NULL */
} tpavo_schedule;

/** A programme (video on demand), the detail of a programme item. */
typedef struct __tpavo_program {
    char* code;                   /**< programme code */
    char* name;                   /**< title */
    int type;                     /**< programme kind */
    int episodenum;               /**< number of episodes */
    char* actor;                  /**< cast */
    char* director;               /**< director */
    char* region;                 /**< region of origin */
    char* language;               /**< language */
    char* programtype;            /**< genre */
    char* keywords;               /**< search words */
    char* ratinglevel;            /**< rating */
    char* desc;                   /**< description */
    int status;                   /**< availability */
    char* smallimage1;            /**< small poster */
    char* smallimage2;            /**< second small poster */
    char* bigimage1;              /**< large poster */
    char* bigimage2;              /**< second large poster */
    tpavo_videoclip* pvideoclip;  /**< the programme's clips */
    struct __tpavo_program* next; /**< next programme, or NULL */
} tpavo_program;

/**
 * A catalogue item, an entry of the item lists (DATATYPE_ITEMLIST, DATATYPE_RELATIVEITEMLIST) or
 * the answer of pavo_queryitemdetail() (DATATYPE_ITEM).
 */
typedef struct __tpavo_item {
    int type;         /**< a tpavo_itemtype_t; names the member of detail that is set */
    char* code;       /**< item code */
    char* parentcode; /**< code of its category */
    char* name;       /**< display name */
    char* starttime;  /**< start (schedule items) */
    char* endtime;    /**< end (schedule items) */
    char* desc;       /**< description */
    char* icon1;      /**< icon */
    char* icon2;      /**< focused icon */
    char* summary;    /**< short text */
    int flag;         /**< marker set by the platform (for example new) */
    union {
        tpavo_program* program;   /**< PAVO_ITEMTYPE_PROGRAM */
        tpavo_channel* channel;   /**< PAVO_ITEMTYPE_CHANNEL */
        tpavo_schedule* schedule; /**< PAVO_ITEMTYPE_SCHEDULE */
        void* ptr;                /**< untyped */
    } detail; /**< the programme, channel or schedule; NULL without details (withdetail 0) */
    struct __tpavo_item* next; /**< next item, or NULL */
} tpavo_item;

/* "lastedversion", upgrademode/updatemode: the platform's names, kept. */
/** Answer of pavo_upgradeos() (DATATYPE_UPGRADEOSRESULT): the offered system image. */
typedef struct __tpavo_upgradeosresponse {
    int upgrademode;     /**< how to upgrade, as the platform says */
    char* lastedversion; /**< the offered version */
    char* fileurl;       /**< where to fetch it (pavo_downloadresource()) */
    char* filehash;      /**< its SHA-1, 40 upper-case hexadecimal characters */
} tpavo_upgradeosresponse;

/** Answer of pavo_upgraderes() (DATATYPE_UPGRADERESRESULT): the offered resource package. */
typedef struct __tpavo_upgraderesresponse {
    int updatemode;      /**< how to update, as the platform says */
    char* lastedversion; /**< the offered version */
    char* fileurl;       /**< where to fetch it (pavo_downloadresource()) */
    char* filehash;      /**< its SHA-1, 40 upper-case hexadecimal characters */
} tpavo_upgraderesresponse;

/** Record of a status report answer; not produced (the report leaves no result). */
typedef struct __tpavo_reportresponse {
    char* reserved; /**< unused */
} tpavo_reportresponse;

/** Answer of pavo_logout() (DATATYPE_LOGOUTRESULT); the platform sends nothing in it. */
typedef struct _tpavo_logoutresponse {
    char* reserved; /**< unused */
} tpavo_logoutresponse;

/**
 * Releases the data of a result; called with the tpavo_result* itself. Set by the library;
 * applications call pavo_freeresult() instead.
 */
typedef void (*pavo_data_freeproc)(void* result);
/**
 * Prints the data of a result to the log; called with the tpavo_result* itself by
 * pavo_dumpresult().
 */
typedef void (*pavo_data_dumpproc)(void* result);

/**
 * A parsed answer: the platform's result code and message, the transfer's outcome, and the answer
 * record in @c data.
 *
 * * In synchronous mode a request stores it as the calling thread's last result
 * (pavo_getresult()); the application frees it with pavo_freeresult(). In asynchronous mode it is
 * the @c data of the tpavo_event and the library frees it when the callback returns.
 */
typedef struct __tpavo_result {
    /**
     * the platform's result code; negative is a refusal (the record may then hold no data)
     */
    int resultcode;
    char* resultmsg;         /**< the platform's message, or NULL */
    tpavo_datatype datatype; /**< what data holds; read the union member it names */
    /**
     * size of data where it is a plain block (the extended service's raw answer)
     */
    uint32_t datasize;
    pavo_data_freeproc freeproc; /**< releases data; called by pavo_freeresult() */
    pavo_data_dumpproc dumpproc; /**< prints data to the log; called by pavo_dumpresult() */
    tpavo_httpecode httpecode;   /**< outcome of the transfer (libcurl's code) */
    long httpretcode;            /**< HTTP status of the answer */
    int totalcount;              /**< entries on the platform (list answers) */
    int datacount;               /**< entries in this answer (list answers) */
    int pageindex;               /**< page of this answer (list answers) */
    int pagesize;                /**< page size of this answer (list answers) */
    union {
        tpavo_openresponse* openresponse;         /**< DATATYPE_OPENRESULT */
        tpavo_loginresponse* loginresponse;       /**< DATATYPE_LOGINRESULT */
        tpavo_rechargeresponse* rechargeresponse; /**< DATATYPE_RECHARGERESULT */
        tpavo_playresponse* playresponse;         /**< DATATYPE_QUERYPLAYURLRESULT */
        tpavo_category* categorylistresponse;     /**< DATATYPE_CATEGORYLIST */
        tpavo_item* itemlistresponse;   /**< DATATYPE_ITEMLIST and DATATYPE_RELATIVEITEMLIST */
        tpavo_item* itemdetailresponse; /**< DATATYPE_ITEM */
        tpavo_schedule* schedulelistresponse; /**< DATATYPE_SCHEDULELIST */
        tpavo_schedule* scheduleresponse;     /**< DATATYPE_SCHEDULE */
        tpavo_program* programlistresponse;   /**< DATATYPE_PROGRAMLIST */
        tpavo_program* programresponse;       /**< DATATYPE_PROGRAM */
        tpavo_channel* channellistresponse;   /**< DATATYPE_CHANNELLIST */
        tpavo_channel* channelresponse;       /**< DATATYPE_CHANNEL */
        /**
         * DATATYPE_EXTSERVICERESULT: datasize bytes, not NUL-terminated
         */
        char* extserviceresponse;
        tpavo_upgradeosresponse* upgradeosresponse;   /**< DATATYPE_UPGRADEOSRESULT */
        tpavo_upgraderesresponse* upgraderesresponse; /**< DATATYPE_UPGRADERESRESULT */
        tpavo_reportresponse* reportresponse;         /**< DATATYPE_STATUSREPORTRESULT */
        tpavo_logoutresponse* logoutresponse;         /**< DATATYPE_LOGOUTRESULT */
        void* ptr;                                    /**< any datatype, untyped */
    } data;                                           /**< the answer record, or NULL */
} tpavo_result;

/**
 * The application's answer handler, registered with pavo_registercallback().
 *
 * Called on the thread that calls pavo_checkmessage(), once per asynchronous answer. The event
 * and the result in its data are freed as soon as the callback returns: copy what you need.
 * The return value is ignored. For an open or login answer the library has already changed the
 * state and stored the session values when the callback runs.
 */
typedef int (*pavo_callback)(tpavo_event* event);
/**
 * Message handler of the media player entry points; never called.
 */
typedef int (*pavo_mplayer_handler)(const char* message);

/* ------------------------------------------------------------------------
 * Lifecycle, modes, log and allocator
 * ---------------------------------------------------------------------- */

/**
 * Starts the library: the terminal identity, korix.conf, the log, the message queue, three
 * worker threads and libcurl.
 *
 * Builds the terminal id (TVID, 38 characters: oem_name padded to 10, terminal_type to 10,
 * "V4" or "V6", device_id to 16) and the terminal profile, and reads section "system" of
 * workdirectory/korix.conf: openurl, logmode, logdirectory, userid, bizfield, aaasrvaddress,
 * aaasrvaddress2, msgqueuesize. A missing file leaves every key at its default. The state
 * becomes PAVO_STATE_INITED and the mode FUNCMODE_SYNC; every callback slot is emptied, so
 * register callbacks afterwards.
 *
 * Call it once, from one thread, before any other call; it takes no lock.
 *
 * With the application profile (strictlocal): a missing, empty or unwritable work directory
 * returns PAVO_STATUS_FAILURE_WORKDIR and starts nothing; no log line reaches the console
 * (quietconsole), start-up's own lines included when pavo_setprofile() came first.
 * @param context the identity and directories; copied. NULL starts with an empty identity.
 * @return PAVO_STATUS_SUCCESS, or PAVO_STATUS_FAILURE_ALREADYINITED when already started
 *        (nothing changes).
 */
pavo_status_t pavo_init(pavo_init_param* context);
/**
 * Shuts the library down: stops the workers, empties the callback slots, drops queued
 * messages, frees every stored result and closes the log. The state becomes PAVO_STATE_NONE.
 *
 * Call it from the thread that called pavo_init(), when no request runs. The session values
 * learnt at login are lost; korix.conf stays. Without a running library it does nothing.
 * @return PAVO_STATUS_SUCCESS always.
 */
pavo_status_t pavo_cleanup(void);
/**
 * Resets the library's whole state record to its first values (state NONE, log to the
 * console). pavo_init() calls it the first time; an application has no need to.
 * @return 0.
 */
int pavo_global_init(void);

/**
 * Sets the library state. The library moves the state itself (pavo_init(), pavo_open(),
 * pavo_login(), pavo_cleanup()); setting it by hand only changes what the requests' state
 * checks see.
 * @param state the new state.
 */
void pavo_setstate(tpavo_state state);
/**
 * The library state.
 * @return PAVO_STATE_NONE before pavo_init(), then INITED, OPENED or LOGINED.
 */
tpavo_state pavo_getstate(void);
/**
 * Chooses how requests run: FUNCMODE_SYNC (the default after pavo_init()) or FUNCMODE_ASYNC.
 * The value is not checked.
 *
 * Set the mode while no request runs. Switching to synchronous mode while asynchronous answers
 * are on their way drops them (no callback is called).
 * @param mode the mode.
 * @return 0.
 */
int pavo_setfuncmode(pavo_funcmode mode);
/**
 * The function mode.
 * @return FUNCMODE_SYNC or FUNCMODE_ASYNC (FUNCMODE_ASYNC before pavo_init()).
 */
int pavo_getfuncmode(void);
/**
 * Emulator mode: called before pavo_init(), it keeps pavo_init() from reading logmode and
 * logdirectory and from opening the log file.
 */
void pavo_setemumode(void);
/**
 * Sets the log mode: bit 1 (value 1) the console, bit 2 (value 2) the file pavo.log. Overrides
 * korix.conf's logmode. The file itself is opened only by pavo_init().
 *
 * Only informational messages honour the mode; errors, warnings and debug messages always go
 * to the console.
 * @param logmode 0 to 3.
 */
void pavo_setlogmode(int logmode);
/**
 * Sets the directory of pavo.log for the next pavo_init() (korix.conf's logdirectory overrides
 * it when present).
 * @param dir the directory; NULL is ignored. Cut at 255 characters.
 */
void pavo_setlogfiledir(const char* dir);

/**
 * Writes an error message to the console in bold red, whatever the log mode. The message
 * carries its own line end.
 * @param format a printf format, and its arguments.
 */
void pavo_log_err(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);
/**
 * Writes a warning to the console in bold yellow, whatever the log mode.
 * @param format a printf format, and its arguments.
 */
void pavo_log_warn(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);
/**
 * Writes an informational message in green to the console (log mode bit 1) and without colour
 * to pavo.log (bit 2, when the file is open). The colour sequences reach standard output in
 * every mode.
 *
 * With the application profile: lines above loglevel are dropped, nothing reaches the
 * console (quietconsole) and secrets are masked (hidesecrets); see pavo_setlogcallback().
 * @param format a printf format, and its arguments.
 */
void pavo_log_info(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);
/**
 * Writes a debug message to the console, whatever the log mode.
 * @param format a printf format, and its arguments.
 */
void pavo_log_debug(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);
/* Console-only companions that ignore the log mode. */
/**
 * Console-only companion of pavo_log_err(): bold red text on standard output, whatever the log
 * mode.
 * @param format a printf format, and its arguments.
 */
void log_err(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);
/**
 * Console-only companion of pavo_log_warn(): bold yellow text on standard output, whatever the
 * log mode.
 * @param format a printf format, and its arguments.
 */
void log_warn(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);
/**
 * Console-only companion of pavo_log_info(): green text on standard output, whatever the log
 * mode.
 * @param format a printf format, and its arguments.
 */
void log_info(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);
/**
 * Console-only companion of pavo_log_debug(): plain text on standard output, whatever the log
 * mode.
 * @param format a printf format, and its arguments.
 */
void log_debug(const char* format, ...) PAVO_PRINTF_LIKE(1, 2);

/**
 * Allocates a zero-filled block from the library's memory pool (valid between pavo_init() and
 * pavo_cleanup()).
 * @param size bytes.
 * @return the block, or NULL. Free it with pavo_free().
 */
void* pavo_malloc(size_t size);
/**
 * Allocates a zero-filled block of count times size bytes from the library's memory pool. The
 * product is not checked for overflow.
 * @param count number of elements.
 * @param size bytes of one element.
 * @return the block, or NULL. Free it with pavo_free().
 */
void* pavo_alloc(size_t count, size_t size);
/**
 * Returns a block of pavo_malloc() or pavo_alloc() to the pool.
 * @param ptr the block; NULL is ignored.
 */
void pavo_free(void* ptr);

/**
 * Sleeps whole seconds.
 * @param seconds how long.
 */
void pavo_sleep(int seconds);
/**
 * The last error value. No library function sets it; it is 0 after pavo_init() unless
 * pavo_setlasterror() set it.
 *
 * With the application profile (korix.conf key errorresults): the negative status of the
 * calling thread's last failing call, kept per thread.
 * @return the value.
 */
int pavo_getlasterror(void);
/**
 * What the calling thread's last failing call said about its failure: what failed, libcurl's
 * code and text, the HTTP status when one came. Recorded whatever the profile.
 * @return the text, valid until the thread's next call into the library; "" when none.
 */
const char* pavo_getlasterrortext(void);
/**
 * A short English text for a status (pavo_status_t) or a result class (pavo_resultclass_t).
 * @param code the code.
 * @return a static text; "unknown code" for any other value.
 */
const char* pavo_strerror(int code);
/**
 * Chooses the interface profile. "application" turns on, at once, every behaviour a new
 * application wants (korix.conf keys loglevel 2, quietconsole, hidesecrets, errorresults,
 * asyncnowait, strictlocal and wholekeys all 1); NULL or "" gives back the documented behaviour
 * (loglevel 3, the others 0). The same as the korix.conf key profile and the property
 * "profile".
 *
 * May be called before pavo_init(), so that start-up is covered, and lasts across
 * pavo_cleanup() until changed. A behaviour key present in korix.conf wins over the profile.
 * @param name "application", or NULL or "".
 * @return 0, or -1 for an unknown name (nothing changes).
 */
int pavo_setprofile(const char* name);
/**
 * Receives every log line the level threshold (korix.conf key loglevel) lets through.
 * @param level a pavo_loglevel_t.
 * @param message the line without colour sequences or line end.
 * @param userdata what pavo_setlogcallback() was given.
 */
typedef void (*pavo_logcallback)(int level, const char* message, void* userdata);
/**
 * Routes the log to the application. The callback runs on the thread that logs, in addition
 * to the console (unless quietconsole) and the file of logmode.
 *
 * May be set before or after pavo_init() and lasts across pavo_cleanup(); set it while no
 * other thread logs.
 * @param fn the callback; NULL removes it.
 * @param userdata handed to every call.
 * @return 0.
 */
int pavo_setlogcallback(pavo_logcallback fn, void* userdata);
/**
 * Sets the value pavo_getlasterror() returns.
 * @param error the value.
 */
void pavo_setlasterror(int error);
/**
 * The server time learnt at the last login (0 before any login). Needs no state.
 * @param tv receives the seconds in tv_sec; tv_usec is left as it was.
 * @return 0, or -1 for a NULL tv.
 */
int pavo_get_time(struct timeval* tv);

/* ------------------------------------------------------------------------
 * Fleet: the address that answered, and request statistics
 * ---------------------------------------------------------------------- */

/** Request kinds counted in pavo_stats: indexed by tpavo_eventtype (EPAVO_LOGIN ...
 * EPAVO_STATUSREPORT); entries of other values stay 0. */
#define PAVO_STATS_KINDS 20

/** Counters of one request kind since start-up or pavo_resetstats(). */
typedef struct {
    unsigned long long requests;   /**< requests the application made */
    unsigned long long successes;  /**< answers with a result code of 0 or more */
    unsigned long long connection; /**< ended by a failed connection (refused, reset, no name) */
    unsigned long long timeout;    /**< ended by a time-out (libcurl code 28) */
    unsigned long long httpstatus; /**< ended by an HTTP status other than 200 */
    unsigned long long parse;      /**< answers that could not be read */
    unsigned long long refused;    /**< answers with a negative result code */
    unsigned long long attempts;   /**< transfers made, repeats and failovers included */
    unsigned long long retries;    /**< repeats after a back-off delay ("retries") */
    unsigned long long failovers;  /**< transfers sent to the other address ("failover") */
    unsigned long long relogins;   /**< requests repeated after a re-login ("reloginon") */
} pavo_stats_kind;

/** Percentiles of one transfer phase, in microseconds from the transfer's start. */
typedef struct {
    unsigned long long p50; /**< median */
    unsigned long long p90; /**< 90th percentile */
    unsigned long long p99; /**< 99th percentile */
    unsigned long long max; /**< largest */
} pavo_stats_timing;

/** What pavo_getstats() reports. Timings cover the latest PAVO_STATS_WINDOW transfers. */
typedef struct {
    pavo_stats_kind kinds[PAVO_STATS_KINDS]; /**< per tpavo_eventtype */
    unsigned long long logins;    /**< re-logins the library made itself ("reloginon") */
    unsigned long long samples;   /**< transfers behind the timings (at most the window) */
    pavo_stats_timing namelookup; /**< name resolved */
    pavo_stats_timing connect;    /**< connection made */
    pavo_stats_timing tls;        /**< TLS handshake done (0 for http) */
    pavo_stats_timing firstbyte;  /**< first answer byte */
    pavo_stats_timing total;      /**< transfer ended */
} pavo_stats;

/** Transfers whose timings pavo_getstats() reports: the latest this many. */
#define PAVO_STATS_WINDOW 1024

/**
 * The base address that answered, or last failed, the calling thread's last request: the
 * primary or, after a failover, the second address. In asynchronous mode it is set on the
 * thread that runs pavo_checkmessage(), just before the request's callback.
 * @return the address (empty before any request); valid until the thread's next request.
 */
const char* pavo_getlastaddress(void);
/**
 * Copies the request statistics. Counting takes no lock; counters read while requests run
 * may be a request apart from each other.
 * @param out receives the record.
 * @param size sizeof(pavo_stats) as the application knows it; a smaller record gets its
 *        first size bytes.
 * @return 0, or -1 for a NULL out or a size of 0.
 */
int pavo_getstats(pavo_stats* out, size_t size);
/** Sets every counter to 0 and empties the timing window. */
void pavo_resetstats(void);

/* ------------------------------------------------------------------------
 * Results, callbacks and message pumping
 * ---------------------------------------------------------------------- */

/**
 * The calling thread's last result: the answer of its last synchronous request that stored
 * one.
 *
 * Every thread has its own; the same result is returned until it is freed, and then NULL (not
 * an older one). A request refused for its state, a failed transfer and pavo_statusreport()
 * store nothing, so the previous result stays.
 *
 * With the application profile (errorresults): a failed request leaves a result of its
 * class (pavo_resultclass_t) instead of nothing.
 * @return the result (owned by the library's store until pavo_freeresult()), or NULL when the
 *        thread has none.
 */
tpavo_result* pavo_getresult(void);
/**
 * Frees a result taken from pavo_getresult(), with everything hanging off it. A pointer the
 * store does not hold is not freed; results of callbacks are freed by the library.
 * @param result the result; NULL is ignored.
 * @return 0.
 */
int pavo_freeresult(tpavo_result* result);
/**
 * Prints a result's data to the library log (pavo_log_info(), so it follows the log mode).
 * @param result the result; NULL prints nothing.
 */
void pavo_dumpresult(tpavo_result* result);
/**
 * The message pump of asynchronous mode: takes at most one answer from the queue, parses it,
 * applies what an open or login answer changes, calls the registered callback and frees the
 * result.
 *
 * Call it often from the application's main loop; callbacks run on the thread that calls it.
 * An answer that the full queue dropped reaches its callback with NULL data.
 *
 * With the application profile (errorresults): such an event carries a result of class
 * PAVO_RESULT_TRANSFERFAILED that says the queue was full.
 * @return 1 when a message was taken, 0 when the queue was empty.
 */
int pavo_checkmessage(void);
/**
 * Puts a callback into a slot (see pavo_callbacktype for which requests answer through which
 * slot). An answer whose slot is empty goes to slot 0; with slot 0 empty too it is logged and
 * dropped.
 *
 * Register after pavo_init(), which empties every slot, and while no answer is being pumped.
 * @param type the slot, 0 to 7.
 * @param cb the callback; NULL empties the slot.
 * @return PAVO_STATUS_SUCCESS, or PAVO_STATUS_FAILURE for a type outside 0 to 7.
 */
pavo_status_t pavo_registercallback(pavo_callbacktype type, pavo_callback cb);

/* ------------------------------------------------------------------------
 * Session properties and configuration
 * ---------------------------------------------------------------------- */

/**
 * Reads a session property: the identity ("tvid", "tvprofile", "oem_name", "terminal_type",
 * "device_id", "chipprofile", "clientprofile", "ipversion", the three directories), the
 * library version "pavoversion", the account and session values ("userid", "usertoken",
 * "usergroup", "userlevel", "actexpireddate", "serverauthenticator", "bizfield", "openurl")
 * and the service addresses learnt from the platform ("aaasrvaddress", "epgsrvaddress",
 * "playsrvaddress", "upgradesrvaddress", "imgsrvaddress", "serviceaddress", "drmsrvaddress",
 * most with a second address ending in "2").
 *
 * Names are case-sensitive. Properties are read without a lock: read them on the thread that
 * pumps messages, or while no answer arrives.
 * @param name the property; NULL or an unknown name gives the empty string.
 * @param buffer receives the text, cut to buffersize - 1 characters.
 * @param buffersize size of buffer.
 */
void pavo_readprop(const char* name, char* buffer, int buffersize);
/**
 * Sets a writable session property (every name of pavo_readprop() except "pavoversion",
 * "ipversion", the identity and the directories). The value lives in memory until
 * pavo_cleanup(); use pavo_writeconfig() to keep it.
 *
 * The value is read as a format: "%%" stores "%", and a value must not hold other "%"
 * sequences.
 * @param name the property; an unknown or read-only name changes nothing.
 * @param value the value, cut at 255 characters; NULL changes nothing.
 * @return 0.
 */
int pavo_writeprop(const char* name, const char* value);
/**
 * Reads a key of workdirectory/korix.conf.
 *
 * With the application profile: a NULL or empty section or key gives "" and an error
 * record instead of ending the process (strictlocal); keys are matched whole (wholekeys).
 * @param section the section, for example "system".
 * @param name the key.
 * @param buffer receives the value; empty when the key is missing.
 * @param buffersize size of buffer.
 * @return buffer.
 */
char* pavo_readconfig(const char* section, const char* name, char* buffer, int buffersize);
/**
 * Writes a key into workdirectory/korix.conf, where the next pavo_init() finds it, and sets
 * the session property of the same name at once (whatever the section).
 *
 * This is how an application points the library at its platform: pavo_writeconfig("system",
 * "openurl", url).
 *
 * With the korix.conf key "safeconfig" at 1 (the default), an entry the file cannot keep
 * whole (a line break or a 0xFF byte in it, a key holding "=", more than the file's 65,535
 * bytes) is refused: the file and the property stay as they were. With 0 the file is
 * rewritten in place and cut at 64 KiB, as documented.
 * With the application profile (strictlocal): a value that cannot be written (no work
 * directory, a file that cannot be written, a NULL or empty section or key) returns -1, sets
 * no property and records why (pavo_getlasterrortext()); keys are matched whole (wholekeys).
 * @param section the section.
 * @param name the key; NULL does nothing.
 * @param value the value; NULL does nothing.
 * @return 0; -1 when safeconfig refused the entry (logged once, without the value).
 */
int pavo_writeconfig(const char* section, const char* name, const char* value);
/**
 * The terminal's IPv4 address found at pavo_init() (the last network interface that has one),
 * as dotted text.
 * @param ipbuffer receives the address; empty when none was found.
 * @param buffersize size of ipbuffer.
 * @return 0.
 */
int pavo_getip(char* ipbuffer, int buffersize);
/**
 * The session token learnt at login.
 * @return the library's own 256-byte field (not a copy); valid until pavo_cleanup().
 */
char* pavo_getusertoken(void);
/**
 * Sets the session token (read as a format, like pavo_writeprop()).
 * @param usertoken the token; NULL is ignored.
 */
void pavo_setusertoken(const char* usertoken);

/* ------------------------------------------------------------------------
 * Service requests
 * ---------------------------------------------------------------------- */

/**
 * Restores an account stored in korix.conf: when a user id is stored (by an earlier
 * pavo_open()), sets the state to PAVO_STATE_OPENED, from which pavo_login() may go on. Sends
 * nothing and checks no state.
 * @return PAVO_STATUS_SUCCESS, or PAVO_STATUS_FAILURE when no user id is stored (the state is
 *        kept).
 */
pavo_status_t pavo_query_status(void);
/**
 * Opens the subscriber's account at the platform address in property "openurl" (korix.conf key
 * openurl).
 *
 * On success (resultcode not negative) the state becomes PAVO_STATE_OPENED and the user id and
 * the account service addresses are written to korix.conf, so the next start-up finds the
 * account open (pavo_query_status()). Needs PAVO_STATE_INITED or later.
 *
 * In synchronous mode the call makes the transfer on the calling thread and stores the parsed
 * answer as that thread's last result: read it with pavo_getresult() and free it with
 * pavo_freeresult(). In asynchronous mode the call queues the transfer, then does not return
 * for 100 seconds (the library pauses the calling thread on purpose; call it from a thread of
 * its own); the answer reaches the callback of slot PAVO_CALLBACK_AAA as event EPAVO_OPEN when
 * the application calls pavo_checkmessage(). The answer's data is a tpavo_openresponse
 * (DATATYPE_OPENRESULT).
 *
 * With the application profile: a failed transfer, an HTTP status other than 200 or an answer
 * that is not the platform's XML returns PAVO_STATUS_FAILURE and leaves a result of its class
 * (pavo_resultclass_t, with the reason in resultmsg and pavo_getlasterrortext()); in
 * asynchronous mode the request returns as soon as it is queued and the event carries that
 * result.
 * @par Example
 * @snippet pavo_requests.c pavo_open
 * @param eventid returned in the event of the answer.
 * @param openmode OPENMODE_STBCODE to open the account bound to this terminal,
 *        OPENMODE_USERCARD to open by user card.
 * @param openparam the user card number; with OPENMODE_STBCODE it still goes into the
 *        authenticator as the user id (pass the TVID, "tvid").
 * @param reserved sent as it is; may be NULL.
 * @return PAVO_STATUS_SUCCESS when the answer arrived (even a refusal: see
 *        tpavo_result::resultcode); PAVO_STATUS_FAILURE_NOTINITED (-4) before pavo_init();
 *        PAVO_STATUS_FAILURE also when openurl is empty; PAVO_STATUS_FAILURE when the transfer
 *        failed (no result is stored).
 */
pavo_status_t pavo_open(unsigned eventid, tpavo_openmode openmode, const char* openparam,
                        const char* reserved);
/**
 * Logs in to the open account (service Login at property "aaasrvaddress").
 *
 * On success the state becomes PAVO_STATE_LOGINED and the session token, group, level, expiry,
 * the platform's authenticator and every service address become session properties (in memory
 * only: each process logs in anew). Needs PAVO_STATE_OPENED or later.
 *
 * In synchronous mode the call makes the transfer on the calling thread and stores the parsed
 * answer as that thread's last result: read it with pavo_getresult() and free it with
 * pavo_freeresult(). In asynchronous mode the call queues the transfer, then does not return
 * for 100 seconds (the library pauses the calling thread on purpose; call it from a thread of
 * its own); the answer reaches the callback of slot PAVO_CALLBACK_AAA as event EPAVO_LOGIN
 * when the application calls pavo_checkmessage(). The answer's data is a tpavo_loginresponse
 * (DATATYPE_LOGINRESULT).
 *
 * With the application profile: a failed transfer, an HTTP status other than 200 or an answer
 * that is not the platform's XML returns PAVO_STATUS_FAILURE and leaves a result of its class
 * (pavo_resultclass_t, with the reason in resultmsg and pavo_getlasterrortext()); in
 * asynchronous mode the request returns as soon as it is queued and the event carries that
 * result.
 * @par Example
 * @snippet pavo_requests.c pavo_login
 * @param eventid returned in the event of the answer.
 * @return PAVO_STATUS_SUCCESS when the answer arrived (even a refusal: see
 *        tpavo_result::resultcode); PAVO_STATUS_FAILURE_NOTOPENED (-3) before an account is
 *        open; PAVO_STATUS_FAILURE when the transfer failed (no result is stored).
 */
pavo_status_t pavo_login(unsigned eventid);
/**
 * Ends the session at the platform (service Logout). The library state stays
 * PAVO_STATE_LOGINED. Needs PAVO_STATE_LOGINED.
 *
 * In synchronous mode the call makes the transfer on the calling thread and stores the parsed
 * answer as that thread's last result: read it with pavo_getresult() and free it with
 * pavo_freeresult(). In asynchronous mode the call queues the transfer, then does not return
 * for 100 seconds (the library pauses the calling thread on purpose; call it from a thread of
 * its own); the answer reaches the callback of slot PAVO_CALLBACK_AAA as event EPAVO_LOGOUT
 * when the application calls pavo_checkmessage(). The answer's data is a tpavo_logoutresponse
 * (DATATYPE_LOGOUTRESULT).
 *
 * With the application profile: a failed transfer, an HTTP status other than 200 or an answer
 * that is not the platform's XML returns PAVO_STATUS_FAILURE and leaves a result of its class
 * (pavo_resultclass_t, with the reason in resultmsg and pavo_getlasterrortext()); in
 * asynchronous mode the request returns as soon as it is queued and the event carries that
 * result.
 * @par Example
 * @snippet pavo_requests.c pavo_logout
 * @param eventid returned in the event of the answer.
 * @return PAVO_STATUS_SUCCESS when the answer arrived (even a refusal: see
 *        tpavo_result::resultcode); PAVO_STATUS_FAILURE_NOTLOGINED (-2) before login, with
 *        nothing sent and the last result untouched; PAVO_STATUS_FAILURE when the transfer
 *        failed (no result is stored).
 */
pavo_status_t pavo_logout(unsigned eventid);
/**
 * Recharges the account (service Recharge). The recharge parameter travels inside the
 * authenticator only. Needs PAVO_STATE_LOGINED.
 *
 * In synchronous mode the call makes the transfer on the calling thread and stores the parsed
 * answer as that thread's last result: read it with pavo_getresult() and free it with
 * pavo_freeresult(). In asynchronous mode the call queues the transfer, then does not return
 * for 100 seconds (the library pauses the calling thread on purpose; call it from a thread of
 * its own); the answer reaches the callback of slot PAVO_CALLBACK_EPG as event EPAVO_RECHARGE
 * when the application calls pavo_checkmessage(). The answer's data is a
 * tpavo_rechargeresponse (DATATYPE_RECHARGERESULT).
 *
 * With the application profile: a failed transfer, an HTTP status other than 200 or an answer
 * that is not the platform's XML returns PAVO_STATUS_FAILURE and leaves a result of its class
 * (pavo_resultclass_t, with the reason in resultmsg and pavo_getlasterrortext()); in
 * asynchronous mode the request returns as soon as it is queued and the event carries that
 * result.
 * @par Example
 * @snippet pavo_requests.c pavo_recharge
 * @param eventid returned in the event of the answer.
 * @param rechargetype the kind of recharge, sent as ChargeType.
 * @param rechargeparam what is recharged (a voucher code or a number of points), at most 255
 *        characters.
 * @return PAVO_STATUS_SUCCESS when the answer arrived (even a refusal: see
 *        tpavo_result::resultcode); PAVO_STATUS_FAILURE_NOTLOGINED (-2) before login, with
 *        nothing sent and the last result untouched; PAVO_STATUS_FAILURE when the transfer
 *        failed (no result is stored).
 */
pavo_status_t pavo_recharge(unsigned eventid, int rechargetype, const char* rechargeparam);
/**
 * Lists catalogue categories (service QueryCategory at property "epgsrvaddress"). Needs
 * PAVO_STATE_LOGINED.
 *
 * In synchronous mode the call makes the transfer on the calling thread and stores the parsed
 * answer as that thread's last result: read it with pavo_getresult() and free it with
 * pavo_freeresult(). In asynchronous mode the call queues the transfer, then does not return
 * for 100 seconds (the library pauses the calling thread on purpose; call it from a thread of
 * its own); the answer reaches the callback of slot PAVO_CALLBACK_EPG as event
 * EPAVO_QUERYCATEGORYLIST when the application calls pavo_checkmessage(). The answer's data is
 * a list of tpavo_category (DATATYPE_CATEGORYLIST), paged as totalcount, datacount, pageindex
 * and pagesize say.
 *
 * With the application profile: a failed transfer, an HTTP status other than 200 or an answer
 * that is not the platform's XML returns PAVO_STATUS_FAILURE and leaves a result of its class
 * (pavo_resultclass_t, with the reason in resultmsg and pavo_getlasterrortext()); in
 * asynchronous mode the request returns as soon as it is queued and the event carries that
 * result.
 * @par Example
 * @snippet pavo_requests.c pavo_querycategorylist
 * @param eventid returned in the event of the answer.
 * @param parentcategorycode the parent category; empty or NULL for the top level.
 * @param pageindex page to answer, from 1.
 * @param pagesize entries per page.
 * @return PAVO_STATUS_SUCCESS when the answer arrived (even a refusal: see
 *        tpavo_result::resultcode); PAVO_STATUS_FAILURE_NOTLOGINED (-2) before login, with
 *        nothing sent and the last result untouched; PAVO_STATUS_FAILURE when the transfer
 *        failed (no result is stored).
 */
pavo_status_t pavo_querycategorylist(unsigned eventid, const char* parentcategorycode,
                                     int pageindex, int pagesize);
/**
 * Lists the items (programmes or channels) of a category (service QueryProgramee at property
 * "epgsrvaddress"). Needs PAVO_STATE_LOGINED.
 *
 * In synchronous mode the call makes the transfer on the calling thread and stores the parsed
 * answer as that thread's last result: read it with pavo_getresult() and free it with
 * pavo_freeresult(). In asynchronous mode the call queues the transfer, then does not return
 * for 100 seconds (the library pauses the calling thread on purpose; call it from a thread of
 * its own); the answer reaches the callback of slot PAVO_CALLBACK_EPG as event
 * EPAVO_QUERYCATEGORYITEMLIST when the application calls pavo_checkmessage(). The answer's
 * data is a list of tpavo_item (DATATYPE_ITEMLIST).
 *
 * With the application profile: a failed transfer, an HTTP status other than 200 or an answer
 * that is not the platform's XML returns PAVO_STATUS_FAILURE and leaves a result of its class
 * (pavo_resultclass_t, with the reason in resultmsg and pavo_getlasterrortext()); in
 * asynchronous mode the request returns as soon as it is queued and the event carries that
 * result.
 * @par Example
 * @snippet pavo_requests.c pavo_querycategoryitemlist
 * @param eventid returned in the event of the answer.
 * @param categorycode the category.
 * @param pageindex page to answer, from 1.
 * @param pagesize entries per page.
 * @param withdetail non-zero to have each item's programme or channel, with its clips, in
 *        tpavo_item::detail.
 * @return PAVO_STATUS_SUCCESS when the answer arrived (even a refusal: see
 *        tpavo_result::resultcode); PAVO_STATUS_FAILURE_NOTLOGINED (-2) before login, with
 *        nothing sent and the last result untouched; PAVO_STATUS_FAILURE when the transfer
 *        failed (no result is stored).
 */
pavo_status_t pavo_querycategoryitemlist(unsigned eventid, const char* categorycode,
                                         int pageindex, int pagesize, int withdetail);
/**
 * Lists the items related to an item (service QueryRelative at property "epgsrvaddress").
 * Needs PAVO_STATE_LOGINED.
 *
 * In synchronous mode the call makes the transfer on the calling thread and stores the parsed
 * answer as that thread's last result: read it with pavo_getresult() and free it with
 * pavo_freeresult(). In asynchronous mode the call queues the transfer, then does not return
 * for 100 seconds (the library pauses the calling thread on purpose; call it from a thread of
 * its own); the answer reaches the callback of slot PAVO_CALLBACK_EPG as event
 * EPAVO_QUERYRELATEITEMLIST when the application calls pavo_checkmessage(). The answer's data
 * is a list of tpavo_item: its datatype is DATATYPE_ITEMLIST in synchronous mode and
 * DATATYPE_RELATIVEITEMLIST through a callback (the same record).
 *
 * With the application profile: a failed transfer, an HTTP status other than 200 or an answer
 * that is not the platform's XML returns PAVO_STATUS_FAILURE and leaves a result of its class
 * (pavo_resultclass_t, with the reason in resultmsg and pavo_getlasterrortext()); in
 * asynchronous mode the request returns as soon as it is queued and the event carries that
 * result.
 * @par Example
 * @snippet pavo_requests.c pavo_queryrelateitemlist
 * @param eventid returned in the event of the answer.
 * @param type the item's type (a tpavo_itemtype_t).
 * @param code the item's code.
 * @param mode how the platform relates items, sent as Mode.
 * @param withdetail non-zero to have the details in each item.
 * @param pageindex page to answer, from 1.
 * @param pagesize entries per page.
 * @return PAVO_STATUS_SUCCESS when the answer arrived (even a refusal: see
 *        tpavo_result::resultcode); PAVO_STATUS_FAILURE_NOTLOGINED (-2) before login, with
 *        nothing sent and the last result untouched; PAVO_STATUS_FAILURE when the transfer
 *        failed (no result is stored).
 */
pavo_status_t pavo_queryrelateitemlist(unsigned eventid, int type, const char* code, int mode,
                                       int withdetail, int pageindex, int pagesize);
/**
 * Fetches one item with its programme or channel (service QueryDetail at property
 * "epgsrvaddress"). Needs PAVO_STATE_LOGINED.
 *
 * In synchronous mode the call makes the transfer on the calling thread and stores the parsed
 * answer as that thread's last result: read it with pavo_getresult() and free it with
 * pavo_freeresult(). In asynchronous mode the call queues the transfer, then does not return
 * for 100 seconds (the library pauses the calling thread on purpose; call it from a thread of
 * its own); the answer reaches the callback of slot PAVO_CALLBACK_EPG as event
 * EPAVO_QUERYCATEGORYITEMDETAIL when the application calls pavo_checkmessage(). The answer's
 * data is one tpavo_item (DATATYPE_ITEM).
 *
 * With the application profile: a failed transfer, an HTTP status other than 200 or an answer
 * that is not the platform's XML returns PAVO_STATUS_FAILURE and leaves a result of its class
 * (pavo_resultclass_t, with the reason in resultmsg and pavo_getlasterrortext()); in
 * asynchronous mode the request returns as soon as it is queued and the event carries that
 * result.
 * @par Example
 * @snippet pavo_requests.c pavo_queryitemdetail
 * @param eventid returned in the event of the answer.
 * @param categorycode the item's category.
 * @param itemtype the item's type.
 * @param itemcode the item's code.
 * @return PAVO_STATUS_SUCCESS when the answer arrived (even a refusal: see
 *        tpavo_result::resultcode); PAVO_STATUS_FAILURE_NOTLOGINED (-2) before login, with
 *        nothing sent and the last result untouched; PAVO_STATUS_FAILURE when the transfer
 *        failed (no result is stored).
 */
pavo_status_t pavo_queryitemdetail(unsigned eventid, const char* categorycode,
                                   tpavo_itemtype_t itemtype, const char* itemcode);
/**
 * Lists a channel's schedule (service QuerySchedule at property "epgsrvaddress"). Needs
 * PAVO_STATE_LOGINED.
 *
 * In synchronous mode the call makes the transfer on the calling thread and stores the parsed
 * answer as that thread's last result: read it with pavo_getresult() and free it with
 * pavo_freeresult(). In asynchronous mode the call queues the transfer, then does not return
 * for 100 seconds (the library pauses the calling thread on purpose; call it from a thread of
 * its own); the answer reaches the callback of slot PAVO_CALLBACK_EPG as event
 * EPAVO_QUERYSCHEDULELIST when the application calls pavo_checkmessage(). The answer's data is
 * a list of tpavo_schedule (DATATYPE_SCHEDULELIST).
 *
 * With the application profile: a failed transfer, an HTTP status other than 200 or an answer
 * that is not the platform's XML returns PAVO_STATUS_FAILURE and leaves a result of its class
 * (pavo_resultclass_t, with the reason in resultmsg and pavo_getlasterrortext()); in
 * asynchronous mode the request returns as soon as it is queued and the event carries that
 * result.
 * @par Example
 * @snippet pavo_requests.c pavo_queryschedulelist
 * @param eventid returned in the event of the answer.
 * @param channelcode the channel.
 * @param startdate first date, as the platform takes it (empty: no bound).
 * @param enddate last date (empty: no bound).
 * @param pageindex page to answer, from 1.
 * @param pagesize entries per page.
 * @return PAVO_STATUS_SUCCESS when the answer arrived (even a refusal: see
 *        tpavo_result::resultcode); PAVO_STATUS_FAILURE_NOTLOGINED (-2) before login, with
 *        nothing sent and the last result untouched; PAVO_STATUS_FAILURE when the transfer
 *        failed (no result is stored).
 */
pavo_status_t pavo_queryschedulelist(unsigned eventid, const char* channelcode,
                                     const char* startdate, const char* enddate, int pageindex,
                                     int pagesize);
/**
 * Asks for the address that plays or downloads a clip (service Play at property
 * "playsrvaddress"). Needs PAVO_STATE_LOGINED.
 *
 * In synchronous mode the call makes the transfer on the calling thread and stores the parsed
 * answer as that thread's last result: read it with pavo_getresult() and free it with
 * pavo_freeresult(). In asynchronous mode the call queues the transfer, then does not return
 * for 100 seconds (the library pauses the calling thread on purpose; call it from a thread of
 * its own); the answer reaches the callback of slot PAVO_CALLBACK_AAA as event
 * EPAVO_QUERYPLAYURL when the application calls pavo_checkmessage(). The answer's data is a
 * tpavo_playresponse (DATATYPE_QUERYPLAYURLRESULT).
 *
 * With the application profile: a failed transfer, an HTTP status other than 200 or an answer
 * that is not the platform's XML returns PAVO_STATUS_FAILURE and leaves a result of its class
 * (pavo_resultclass_t, with the reason in resultmsg and pavo_getlasterrortext()); in
 * asynchronous mode the request returns as soon as it is queued and the event carries that
 * result.
 * @par Example
 * @snippet pavo_requests.c pavo_queryplayurl
 * @param eventid returned in the event of the answer.
 * @param categorycode the item's category.
 * @param itemtype the item's type.
 * @param itemcode the item's code.
 * @param videocode the clip (tpavo_videoclip::videocode).
 * @param servicetype online play or download.
 * @param starttime for a channel, the start of a past broadcast (empty: live).
 * @param endtime its end.
 * @return PAVO_STATUS_SUCCESS when the answer arrived (even a refusal: see
 *        tpavo_result::resultcode); PAVO_STATUS_FAILURE_NOTLOGINED (-2) before login, with
 *        nothing sent and the last result untouched; PAVO_STATUS_FAILURE when the transfer
 *        failed (no result is stored).
 */
pavo_status_t pavo_queryplayurl(unsigned eventid, const char* categorycode,
                                tpavo_itemtype_t itemtype, const char* itemcode,
                                const char* videocode, tpavo_servicetype servicetype,
                                const char* starttime, const char* endtime);
/**
 * Calls an extended service of the platform at property "serviceaddress". Needs
 * PAVO_STATE_LOGINED.
 *
 * In synchronous mode the call makes the transfer on the calling thread and stores the parsed
 * answer as that thread's last result: read it with pavo_getresult() and free it with
 * pavo_freeresult(). In asynchronous mode the call queues the transfer, then does not return
 * for 100 seconds (the library pauses the calling thread on purpose; call it from a thread of
 * its own); the answer reaches the callback of slot PAVO_CALLBACK_AAA as event
 * EPAVO_QUERYEXTSERVICE when the application calls pavo_checkmessage(). The answer is handed
 * over raw: data is extserviceresponse, datasize bytes without a terminating NUL
 * (DATATYPE_EXTSERVICERESULT).
 *
 * With the application profile: a failed transfer, an HTTP status other than 200 or an answer
 * that is not the platform's XML returns PAVO_STATUS_FAILURE and leaves a result of its class
 * (pavo_resultclass_t, with the reason in resultmsg and pavo_getlasterrortext()); in
 * asynchronous mode the request returns as soon as it is queued and the event carries that
 * result.
 * @par Example
 * @snippet pavo_requests.c pavo_queryextendservice
 * @param eventid returned in the event of the answer.
 * @param servicecode the service.
 * @param serviceparam its parameter text.
 * @return PAVO_STATUS_SUCCESS when the answer arrived (even a refusal: see
 *        tpavo_result::resultcode); PAVO_STATUS_FAILURE_NOTLOGINED (-2) before login, with
 *        nothing sent and the last result untouched; PAVO_STATUS_FAILURE also when
 *        serviceaddress is empty; PAVO_STATUS_FAILURE when the transfer failed (no result is
 *        stored).
 */
pavo_status_t pavo_queryextendservice(unsigned eventid, const char* servicecode,
                                      const char* serviceparam);
/** @cond INTERNAL */
char* pavo_urlencode(const char* sIn, char* sOut);
unsigned char pavo_toHex(unsigned char x);
/** @endcond */

/* Upgrade, download and report */
/**
 * Asks which system image the platform offers (service UpgradeOS at property
 * "upgradesrvaddress"). Fetching and checking the image is the application's decision:
 * pavo_downloadresource() and pavo_sha1file(). Needs PAVO_STATE_LOGINED.
 *
 * In synchronous mode the call makes the transfer on the calling thread and stores the parsed
 * answer as that thread's last result: read it with pavo_getresult() and free it with
 * pavo_freeresult(). In asynchronous mode the call queues the transfer, then does not return
 * for 100 seconds (the library pauses the calling thread on purpose; call it from a thread of
 * its own); the answer reaches the callback of slot PAVO_CALLBACK_TMMANAGE as event
 * EPAVO_UPGRADEOS when the application calls pavo_checkmessage(). The answer's data is a
 * tpavo_upgradeosresponse (DATATYPE_UPGRADEOSRESULT).
 *
 * With the application profile: a failed transfer, an HTTP status other than 200 or an answer
 * that is not the platform's XML returns PAVO_STATUS_FAILURE and leaves a result of its class
 * (pavo_resultclass_t, with the reason in resultmsg and pavo_getlasterrortext()); in
 * asynchronous mode the request returns as soon as it is queued and the event carries that
 * result.
 * @par Example
 * @snippet pavo_requests.c pavo_upgradeos
 * @param eventid returned in the event of the answer.
 * @return PAVO_STATUS_SUCCESS when the answer arrived (even a refusal: see
 *        tpavo_result::resultcode); PAVO_STATUS_FAILURE_NOTLOGINED (-2) before login, with
 *        nothing sent and the last result untouched; PAVO_STATUS_FAILURE when the transfer
 *        failed (no result is stored).
 */
pavo_status_t pavo_upgradeos(unsigned eventid);
/**
 * Asks which resource package the platform offers (service UpgradeRes at property
 * "upgradesrvaddress"). Needs PAVO_STATE_LOGINED.
 *
 * In synchronous mode the call makes the transfer on the calling thread and stores the parsed
 * answer as that thread's last result: read it with pavo_getresult() and free it with
 * pavo_freeresult(). In asynchronous mode the call queues the transfer, then does not return
 * for 100 seconds (the library pauses the calling thread on purpose; call it from a thread of
 * its own); the answer reaches the callback of slot PAVO_CALLBACK_TMMANAGE as event
 * EPAVO_UPGRADERES when the application calls pavo_checkmessage(). The answer's data is a
 * tpavo_upgraderesresponse (DATATYPE_UPGRADERESRESULT).
 *
 * With the application profile: a failed transfer, an HTTP status other than 200 or an answer
 * that is not the platform's XML returns PAVO_STATUS_FAILURE and leaves a result of its class
 * (pavo_resultclass_t, with the reason in resultmsg and pavo_getlasterrortext()); in
 * asynchronous mode the request returns as soon as it is queued and the event carries that
 * result.
 * @par Example
 * @snippet pavo_requests.c pavo_upgraderes
 * @param eventid returned in the event of the answer.
 * @return PAVO_STATUS_SUCCESS when the answer arrived (even a refusal: see
 *        tpavo_result::resultcode); PAVO_STATUS_FAILURE_NOTLOGINED (-2) before login, with
 *        nothing sent and the last result untouched; PAVO_STATUS_FAILURE when the transfer
 *        failed (no result is stored).
 */
pavo_status_t pavo_upgraderes(unsigned eventid);
/**
 * Downloads a URL into a local file (an HTTP POST with an empty body; the file is written only
 * when the status is 200). Needs no state. The library does not check the file: compare its
 * SHA-1 with the offer's filehash (pavo_sha1file()).
 *
 * In synchronous mode the last result is a bare tpavo_result with resultcode 0, no data and
 * the transfer's httpecode and httpretcode. In asynchronous mode the call pauses 100 seconds
 * like the other requests, and the callback of slot PAVO_CALLBACK_EPG receives event
 * EPAVO_RESOURCEDOWNLOAD with NULL data.
 *
 * With the application profile: a failed transfer, an HTTP status other than 200 or an answer
 * that is not the platform's XML returns PAVO_STATUS_FAILURE and leaves a result of its class
 * (pavo_resultclass_t, with the reason in resultmsg and pavo_getlasterrortext()); in
 * asynchronous mode the request returns as soon as it is queued and the event carries that
 * result.
 *
 * With the application profile (strictlocal): a file that cannot be created or fully
 * written is a failure, and no partial file is left behind.
 * @par Example
 * @snippet pavo_requests.c pavo_downloadresource
 * @param eventid returned in the event.
 * @param resourceurl the URL.
 * @param localpath the file to create or truncate.
 * @return PAVO_STATUS_SUCCESS, or PAVO_STATUS_FAILURE for a NULL argument, a failed transfer
 *        or an HTTP status other than 200.
 */
pavo_status_t pavo_downloadresource(unsigned eventid, const char* resourceurl,
                                    const char* localpath);
/**
 * Reports the terminal's status (service Report at property "upgradesrvaddress"). The answer
 * is never parsed: no result is stored, and the calling thread's last result stays what it
 * was. Needs PAVO_STATE_LOGINED.
 *
 * In asynchronous mode the call pauses 100 seconds like the other requests, and the callback
 * of slot PAVO_CALLBACK_TMMANAGE receives event EPAVO_STATUSREPORT with NULL data.
 *
 * With the application profile: a failed transfer, an HTTP status other than 200 or an answer
 * that is not the platform's XML returns PAVO_STATUS_FAILURE and leaves a result of its class
 * (pavo_resultclass_t, with the reason in resultmsg and pavo_getlasterrortext()); in
 * asynchronous mode the request returns as soon as it is queued and the event carries that
 * result.
 * @par Example
 * @snippet pavo_requests.c pavo_statusreport
 * @param eventid returned in the event.
 * @return PAVO_STATUS_SUCCESS, PAVO_STATUS_FAILURE_NOTLOGINED (-2) before login, with nothing
 *        sent and the last result untouched, or PAVO_STATUS_FAILURE when the transfer failed.
 */
pavo_status_t pavo_statusreport(unsigned eventid);

/* ------------------------------------------------------------------------
 * Authenticator and triple-DES helpers
 * ---------------------------------------------------------------------- */

/** @cond INTERNAL */
void pavo_getrandom(char* buf);
void pavo_gettimestamp(char* buf);
void pavo_createauthenticator(char* authenticator, tpavo_cryptmode cryptmode,
                              const char* keyvalue, const char* userid, const char* ip,
                              const char* tvid, const char* bizfield);
void pavo_encrypt(char* cryptmode, char* message, int messagelen, char* key, int keylen,
                  char* outmessage);
void pavo_decrypt(char* cryptmode, char* message, int messagelen, char* key, int keylen,
                  char* outmessage);
/** @endcond */
/**
 * Renders bytes as upper-case hexadecimal text.
 * @param s the bytes.
 * @param srclen their number, at most 511.
 * @param outstr receives 2 * srclen characters and a NUL.
 */
void pavo_stringToHex(char* s, int srclen, char* outstr);
/**
 * Reads hexadecimal text back into bytes (no NUL is added).
 * @param s the text.
 * @param outstr receives strlen(s) / 2 bytes.
 * @param outputlen receives that count.
 */
void pavo_hexTostring(char* s, char* outstr, int* outputlen);
/**
 * The SHA-1 digest of a message as 40 upper-case hexadecimal characters.
 * @param message the bytes.
 * @param messagelen their number.
 * @param outmessage receives the text and a NUL (41 bytes).
 * @return 0.
 */
int pavo_sha1(char* message, int messagelen, char* outmessage);
/** @cond INTERNAL */
int pavo_is_little_endian(void);
uint64_t pavo_convert_to_bigendian(uint64_t num);
/** @endcond */

/* ------------------------------------------------------------------------
 * Digests and encodings
 * ---------------------------------------------------------------------- */

/**
 * The state of a SHA-1 or HMAC-SHA1 computation.
 */
typedef struct {
    uint32_t total[2];        /**< bytes processed */
    uint32_t state[5];        /**< intermediate digest */
    unsigned char buffer[64]; /**< block being filled */
    unsigned char ipad[64];   /**< HMAC inner padding */
    unsigned char opad[64];   /**< HMAC outer padding */
} pavo_sha1context;

/**
 * Starts a SHA-1 digest.
 * @param ctx the context.
 */
void pavo_sha1starts(pavo_sha1context* ctx);
/**
 * Adds bytes to a SHA-1 digest.
 * @param ctx the context.
 * @param input the bytes.
 * @param ilen their number.
 */
void pavo_sha1update(pavo_sha1context* ctx, const unsigned char* input, int ilen);
/**
 * Finishes a SHA-1 digest.
 * @param ctx the context.
 * @param output receives the 20-byte digest.
 */
void pavo_sha1finish(pavo_sha1context* ctx, unsigned char output[20]);
/**
 * The SHA-1 digest of a block.
 * @param input the bytes.
 * @param ilen their number.
 * @param output receives the 20-byte digest.
 */
void sha1(const unsigned char* input, int ilen, unsigned char output[20]);
/**
 * The SHA-1 digest of a file, for example to check a download against an offer's filehash
 * (render it with pavo_stringToHex()).
 * @param path the file.
 * @param output receives the 20-byte digest.
 * @return 0; 1 when the file cannot be opened (output untouched); 2 on a read error.
 */
int pavo_sha1file(const char* path, unsigned char output[20]);
/**
 * Starts an HMAC-SHA1.
 * @param ctx the context.
 * @param key the key.
 * @param keylen its length.
 */
void pavo_sha1hmac_starts(pavo_sha1context* ctx, const unsigned char* key, int keylen);
/**
 * Adds bytes to an HMAC-SHA1.
 * @param ctx the context.
 * @param input the bytes.
 * @param ilen their number.
 */
void pavo_sha1hmac_update(pavo_sha1context* ctx, const unsigned char* input, int ilen);
/**
 * Finishes an HMAC-SHA1.
 * @param ctx the context.
 * @param output receives the 20-byte code.
 */
void pavo_sha1hmac_finish(pavo_sha1context* ctx, unsigned char output[20]);
/**
 * The HMAC-SHA1 of a block.
 * @param key the key.
 * @param keylen its length.
 * @param input the bytes.
 * @param ilen their number.
 * @param output receives the 20-byte code.
 */
void pavo_sha1hmac(const unsigned char* key, int keylen, const unsigned char* input, int ilen,
                   unsigned char output[20]);

/** @cond INTERNAL */
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
} * HMYMEMPOOL;
typedef struct __mymutex_handle_ {
    int unused;
} * HMYMUTEX;

typedef void* (*mymalloc)(size_t size, void* context_data);
typedef void (*myfree)(void* ptr, void* context_data);
typedef void (*mempool_view)(void* context_data, void* info, size_t info_size);
typedef void (*mempool_destroy)(void* context_data);

HMYMEMPOOL MyMemPoolConstruct(mymalloc malloc_helper, myfree free_helper, mempool_destroy destroy,
                              mempool_view view, void* context_data);
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
/** @endcond */

/* ------------------------------------------------------------------------
 * Media player entry points (no behaviour: 0, and -1 for additem)
 * ---------------------------------------------------------------------- */

/**
 * Media player entry points: they have no behaviour in this library.
 * @param url ignored.
 * @return 0.
 */
pavo_playertype pavo_getmplayertypefromurl(const char* url);
/**
 * No behaviour (media player entry point).
 * @param type ignored.
 * @param handler ignored.
 * @return 0.
 */
int pavo_initmplayer(pavo_playertype type, pavo_mplayer_handler handler);
/**
 * No behaviour (media player entry point).
 * @param url ignored.
 * @return -1.
 */
int pavo_mplayer_additem(const char* url);
/**
 * No behaviour (media player entry point).
 * @param url ignored.
 * @return 0.
 */
int pavo_mplayer_removeitem(const char* url);
/**
 * No behaviour (media player entry point).
 * @return 0.
 */
int pavo_mplayer_clearitem(void);
/**
 * No behaviour (media player entry point).
 * @param action ignored.
 * @return 0.
 */
int pavo_mplayer_action(int action);
/**
 * No behaviour (media player entry point).
 * @param name ignored.
 * @param value ignored.
 * @return 0.
 */
int pavo_mplayer_setprop(const char* name, const char* value);
/**
 * No behaviour (media player entry point).
 * @param name ignored.
 * @param buffer left as it is.
 * @param buffersize ignored.
 * @return 0.
 */
int pavo_mplayer_getprop(const char* name, char* buffer, int buffersize);
/**
 * No behaviour (media player entry point).
 * @return 0.
 */
int pavo_mplayer_play(void);
/**
 * No behaviour (media player entry point).
 * @return 0.
 */
int pavo_mplayer_stop(void);
/**
 * No behaviour (media player entry point).
 * @return 0.
 */
int pavo_mplayer_pause(void);
/**
 * No behaviour (media player entry point).
 * @param speed ignored.
 * @return 0.
 */
int pavo_mplayer_forward(int speed);
/**
 * No behaviour (media player entry point).
 * @param speed ignored.
 * @return 0.
 */
int pavo_mplayer_backward(int speed);
/**
 * No behaviour (media player entry point).
 * @param seconds ignored.
 * @return 0.
 */
int pavo_mplayer_seek(int seconds);
/**
 * No behaviour (media player entry point).
 * @return 0.
 */
int pavo_mplayer_info(void);
/**
 * No behaviour (media player entry point).
 * @return 0.
 */
int pavo_mplayer_close(void);

#ifdef __cplusplus
}
#endif

#endif /* PAVO_H_INCLUDED */
