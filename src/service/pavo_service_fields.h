/*
 * pavo_service_fields.h - the session field table: the session fields of
 * g_pavo_env, each row's name, field, kind, access, and whether start-up
 * clears it or reads it from korix.conf and whether open or login write it
 * back. The property store, the settings, start-up and the write-backs loop
 * over it; the requests name their fields by its ids.
 */
#ifndef PAVO_SERVICE_FIELDS_H
#define PAVO_SERVICE_FIELDS_H

#include <stddef.h>

#include "service/pavo_global.h"

/* The section of korix.conf that holds the settings and the persisted session. */
#define PAVO_CONFIG_SECTION "system"

/* One id per row, in the table's order. */
enum pavo_field_id {
    PAVO_FIELD_PROFILE,
    PAVO_FIELD_OPENURL,
    PAVO_FIELD_LOGMODE,
    PAVO_FIELD_LOGDIRECTORY,
    PAVO_FIELD_USERID,
    PAVO_FIELD_USERTOKEN,
    PAVO_FIELD_USERGROUP,
    PAVO_FIELD_BIZFIELD,
    PAVO_FIELD_AAASRVADDRESS,
    PAVO_FIELD_AAASRVADDRESS2,
    PAVO_FIELD_SERVERAUTHENTICATOR,
    PAVO_FIELD_USERLEVEL,
    PAVO_FIELD_ACTEXPIREDDATE,
    PAVO_FIELD_EPGSRVADDRESS,
    PAVO_FIELD_EPGSRVADDRESS2,
    PAVO_FIELD_PLAYSRVADDRESS,
    PAVO_FIELD_PLAYSRVADDRESS2,
    PAVO_FIELD_UPGRADESRVADDRESS,
    PAVO_FIELD_UPGRADESRVADDRESS2,
    PAVO_FIELD_IMGSRVADDRESS,
    PAVO_FIELD_SERVICEADDRESS,
    PAVO_FIELD_DRMSRVADDRESS,
    PAVO_FIELD_DRMSRVADDRESS2,
    PAVO_FIELD_MSGQUEUESIZE,
    PAVO_FIELD_KEEPALIVE,
    PAVO_FIELD_CAFILE,
    PAVO_FIELD_STALLTIMEOUT,
    PAVO_FIELD_REQUESTTIMEOUT,
    PAVO_FIELD_DOWNLOADTIMEOUT,
    PAVO_FIELD_STREAMDOWNLOADS,
    PAVO_FIELD_MAXANSWERSIZE,
    PAVO_FIELD_MAXRECORDS,
    PAVO_FIELD_STRICTLOCAL,
    PAVO_FIELD_SAFECONFIG,
    PAVO_FIELD_LOGLEVEL,
    PAVO_FIELD_QUIETCONSOLE,
    PAVO_FIELD_HIDESECRETS,
    PAVO_FIELD_ERRORRESULTS,
    PAVO_FIELD_ASYNCNOWAIT,
    PAVO_FIELD_WHOLEKEYS,
    PAVO_FIELD_FAILOVER,
    PAVO_FIELD_FAILOVERHOLD,
    PAVO_FIELD_RETRIES,
    PAVO_FIELD_RETRYBASE,
    PAVO_FIELD_RETRYCAP,
    PAVO_FIELD_RELOGINON,
    PAVO_FIELD_PAVOVERSION,
    PAVO_FIELD_TVID,
    PAVO_FIELD_TVPROFILE,
    PAVO_FIELD_IPVERSION,
    PAVO_FIELD_OEM_NAME,
    PAVO_FIELD_TERMINAL_TYPE,
    PAVO_FIELD_DEVICE_ID,
    PAVO_FIELD_CHIPPROFILE,
    PAVO_FIELD_CLIENTPROFILE,
    PAVO_FIELD_WORKDIRECTORY,
    PAVO_FIELD_PERPETUALDIRECTORY,
    PAVO_FIELD_TMPDIRECTORY,
    PAVO_FIELD_IP,
    PAVO_FIELD_COUNT
};

enum pavo_session_kind {
    PAVO_FIELD_TEXT,     /* a text field of `size` bytes */
    PAVO_FIELD_NUMBER,   /* an int field, read and written as decimal text */
    PAVO_FIELD_COMPUTED, /* no field: `render` gives the text, `store` takes a write */
};

enum pavo_field_flag {
    PAVO_FIELD_READ = 1,        /* pavo_readprop knows the name */
    PAVO_FIELD_WRITE = 2,       /* pavo_writeprop knows the name */
    PAVO_FIELD_CLEARED = 4,     /* emptied by every start */
    PAVO_FIELD_SETTING = 8,     /* read from korix.conf at start-up */
    PAVO_FIELD_LOGSETTING = 16, /* the same, except in emulator mode (the application's log) */
    PAVO_FIELD_ADDRESS = 32,    /* a service address: a write-back takes only http and https */
};

struct pavo_session_field {
    enum pavo_field_id id;
    const char* name; /* property name and korix.conf key */
    size_t offset;    /* of the field in tpavo_env */
    size_t size;      /* text: bytes of the field */
    enum pavo_session_kind kind;
    unsigned flags;           /* pavo_field_flag */
    int default_value;        /* number settings: what an absent key gives */
    int documented_value;     /* number settings: the value that keeps the documented behaviour */
    int (*settle)(int value); /* number settings: how a read value becomes the field's, or null */
    void (*render)(char* buffer, int buffersize); /* computed */
    int (*store)(const char* value);              /* computed and writable */
    char* tpavo_openresponse::*open;   /* what a successful open persists here, or null */
    char* tpavo_loginresponse::*login; /* what a successful login writes here, or null */
};

extern const pavo_session_field g_pavo_fields[PAVO_FIELD_COUNT];

/* The row of a property or korix.conf name (exact, case-sensitive), or null. */
const pavo_session_field* pavo_inner_findfield(const char* name);

/* The field of a row in env: its text, or its int. */
char* pavo_inner_fieldtext(tpavo_env* env, const pavo_session_field& field);
int& pavo_inner_fieldnumber(tpavo_env* env, const pavo_session_field& field);

#endif /* PAVO_SERVICE_FIELDS_H */
