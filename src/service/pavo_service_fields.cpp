/*
 * pavo_service_fields.cpp - the one table of the session fields: property
 * names and access, korix.conf settings (default, documented value, how a
 * read value settles), the start-up clearing and the open and login
 * write-backs. Read by the property store, the settings, start-up and the
 * write-back; adding a field is one row here and one id in the header.
 */
#include <stdio.h>
#include <string.h>

#include "service/pavo_service_fields.h"

namespace {

// The queue keeps at least this many messages; "msgqueuesize" only raises it.
constexpr int kMinMessageQueueSize = 100;

// Kept: a log mode of 0 means 1 (the file log).
int settle_logmode(int value) { return value == 0 ? 1 : value; }
// A limit below 0 is as none.
int settle_limit(int value) { return value > 0 ? value : 0; }
int settle_loglevel(int value)
{
    return value < PAVO_LOG_ERROR   ? PAVO_LOG_ERROR
           : value > PAVO_LOG_DEBUG ? PAVO_LOG_DEBUG
                                    : value;
}
int settle_msgqueuesize(int value)
{
    return value > kMinMessageQueueSize ? value : kMinMessageQueueSize;
}

void render_version(char* buffer, int buffersize)
{
    snprintf(buffer, static_cast<size_t>(buffersize), "%s", PAVO_VERSION_TEXT);
}

void render_profile(char* buffer, int buffersize)
{
    snprintf(buffer, static_cast<size_t>(buffersize), "%s",
             pavo_inner_profileactive() != 0 ? "application" : "");
}

constexpr unsigned kRead = PAVO_FIELD_READ;
constexpr unsigned kReadWrite = PAVO_FIELD_READ | PAVO_FIELD_WRITE;
constexpr unsigned kCleared = PAVO_FIELD_CLEARED;
constexpr unsigned kSetting = PAVO_FIELD_SETTING;
constexpr unsigned kAddress = PAVO_FIELD_ADDRESS;
// A value learnt from the platform: a property, emptied by every start.
constexpr unsigned kSession = kReadWrite | kCleared;
// Beyond the documented layout: a korix.conf setting that is also a property.
constexpr unsigned kTunable = kReadWrite | kSetting;

using OpenMember = char* tpavo_openresponse::*;
using LoginMember = char* tpavo_loginresponse::*;

constexpr pavo_session_field text(pavo_field_id id, const char* name, size_t offset, size_t size,
                                  unsigned flags, OpenMember open = nullptr,
                                  LoginMember login = nullptr)
{
    return {id,      name,    offset, size, PAVO_FIELD_TEXT, flags, 0, 0, nullptr,
            nullptr, nullptr, open,   login};
}

constexpr pavo_session_field number(pavo_field_id id, const char* name, size_t offset,
                                    unsigned flags, int default_value = 0,
                                    int documented_value = 0, int (*settle)(int) = nullptr)
{
    return {id,      name,          offset,           sizeof(int), PAVO_FIELD_NUMBER,
            flags,   default_value, documented_value, settle,      nullptr,
            nullptr, nullptr,       nullptr};
}

constexpr pavo_session_field computed(pavo_field_id id, const char* name, unsigned flags,
                                      void (*render)(char*, int), int (*store)(const char*))
{
    return {id,     name,  0,       0,      PAVO_FIELD_COMPUTED, flags, 0, 0, nullptr,
            render, store, nullptr, nullptr};
}

// The id, the name and the place of a field of the same name.
#define PAVO_TEXT(id, field) \
    PAVO_FIELD_##id, #field, offsetof(tpavo_env, field), sizeof(tpavo_env::field)
#define PAVO_NUMBER(id, field) PAVO_FIELD_##id, #field, offsetof(tpavo_env, field)
#define PAVO_OPEN(field) &tpavo_openresponse::field
#define PAVO_LOGIN(field) &tpavo_loginresponse::field
#define PAVO_LOGIN_ADDRESS(id, field) \
    text(PAVO_TEXT(id, field), kSession | kAddress, nullptr, PAVO_LOGIN(field))

}  // namespace

// Start-up reads korix.conf, and open and login write their answers back, in
// the order of the rows. The profile comes first: it chooses the defaults of
// the behaviour keys below it.
constexpr pavo_session_field g_pavo_fields[PAVO_FIELD_COUNT] = {
    computed(PAVO_FIELD_PROFILE, "profile", kReadWrite | kSetting, render_profile,
             pavo_setprofile),
    text(PAVO_TEXT(OPENURL, openurl), kReadWrite | kSetting),
    number(PAVO_NUMBER(LOGMODE, logmode), PAVO_FIELD_LOGSETTING, 1, 1, settle_logmode),
    text(PAVO_TEXT(LOGDIRECTORY, logdirectory), kCleared | PAVO_FIELD_LOGSETTING),
    text(PAVO_TEXT(USERID, userid), kSession | kSetting, PAVO_OPEN(userid)),
    text(PAVO_TEXT(USERTOKEN, usertoken), kSession, nullptr, PAVO_LOGIN(usertoken)),
    text(PAVO_TEXT(USERGROUP, usergroup), kSession, nullptr, PAVO_LOGIN(usergroup)),
    text(PAVO_TEXT(BIZFIELD, bizfield), kSession | kSetting),
    text(PAVO_TEXT(AAASRVADDRESS, aaasrvaddress), kSession | kSetting | kAddress,
         PAVO_OPEN(aaasrvaddress), PAVO_LOGIN(aaasrvaddress)),
    text(PAVO_TEXT(AAASRVADDRESS2, aaasrvaddress2), kSession | kSetting | kAddress,
         PAVO_OPEN(aaasrvaddress2), PAVO_LOGIN(aaasrvaddress2)),
    text(PAVO_TEXT(SERVERAUTHENTICATOR, serverauthenticator), kSession, nullptr,
         PAVO_LOGIN(serverauthenticator)),
    text(PAVO_TEXT(USERLEVEL, userlevel), kSession, nullptr, PAVO_LOGIN(userlevel)),
    text(PAVO_TEXT(ACTEXPIREDDATE, actexpireddate), kSession, nullptr,
         PAVO_LOGIN(actexpireddate)),
    PAVO_LOGIN_ADDRESS(EPGSRVADDRESS, epgsrvaddress),
    PAVO_LOGIN_ADDRESS(EPGSRVADDRESS2, epgsrvaddress2),
    PAVO_LOGIN_ADDRESS(PLAYSRVADDRESS, playsrvaddress),
    PAVO_LOGIN_ADDRESS(PLAYSRVADDRESS2, playsrvaddress2),
    PAVO_LOGIN_ADDRESS(UPGRADESRVADDRESS, upgradesrvaddress),
    PAVO_LOGIN_ADDRESS(UPGRADESRVADDRESS2, upgradesrvaddress2),
    PAVO_LOGIN_ADDRESS(IMGSRVADDRESS, imgsrvaddress),
    PAVO_LOGIN_ADDRESS(SERVICEADDRESS, serviceaddress),
    PAVO_LOGIN_ADDRESS(DRMSRVADDRESS, drmsrvaddress),
    PAVO_LOGIN_ADDRESS(DRMSRVADDRESS2, drmsrvaddress2),
    number(PAVO_NUMBER(MSGQUEUESIZE, msgqueuesize), kSetting, kMinMessageQueueSize,
           kMinMessageQueueSize, settle_msgqueuesize),
    // 0 gives one connection per request, as documented.
    number(PAVO_NUMBER(KEEPALIVE, keepalive), kSetting, 1, 0),
    text(PAVO_TEXT(CAFILE, cafile), kSetting),
    // Limits that turn a hang or a memory flood into a clear error; 0 lifts each.
    number(PAVO_NUMBER(STALLTIMEOUT, stalltimeout), kTunable, 60, 0, settle_limit),
    // 8 MiB (maxanswersize) at 256 kbit/s takes 256 s; with the connect time and some
    // slack a whole answer passes in 300.
    number(PAVO_NUMBER(REQUESTTIMEOUT, requesttimeout), kTunable, 300, 0, settle_limit),
    number(PAVO_NUMBER(DOWNLOADTIMEOUT, downloadtimeout), kTunable, 0, 0, settle_limit),
    number(PAVO_NUMBER(STREAMDOWNLOADS, streamdownloads), kTunable, 1, 0),
    number(PAVO_NUMBER(MAXANSWERSIZE, maxanswersize), kTunable, 8 << 20, 0, settle_limit),
    number(PAVO_NUMBER(MAXRECORDS, maxrecords), kTunable, 100000, 0, settle_limit),
    number(PAVO_NUMBER(STRICTLOCAL, strictlocal), kTunable),
    // 0 writes korix.conf in place, cut at 64 KiB, whatever the values hold.
    number(PAVO_NUMBER(SAFECONFIG, safeconfig), kTunable, 1, 0),
    // The application profile's behaviours: an absent key follows the profile
    // (pavo_profile.cpp); the documented values are 3 and 0.
    number(PAVO_NUMBER(LOGLEVEL, loglevel), kTunable, PAVO_LOG_DEBUG, PAVO_LOG_DEBUG,
           settle_loglevel),
    number(PAVO_NUMBER(QUIETCONSOLE, quietconsole), kTunable),
    number(PAVO_NUMBER(HIDESECRETS, hidesecrets), kTunable),
    number(PAVO_NUMBER(ERRORRESULTS, errorresults), kTunable),
    number(PAVO_NUMBER(ASYNCNOWAIT, asyncnowait), kTunable),
    number(PAVO_NUMBER(WHOLEKEYS, wholekeys), kTunable),
    // Fleet behaviour, off by default: 0 or empty each keeps the documented requests.
    number(PAVO_NUMBER(FAILOVER, failover), kTunable, 0, 0, settle_limit),
    number(PAVO_NUMBER(FAILOVERHOLD, failoverhold), kTunable, 60, 0, settle_limit),
    number(PAVO_NUMBER(RETRIES, retries), kTunable, 0, 0, settle_limit),
    number(PAVO_NUMBER(RETRYBASE, retrybase), kTunable, 500, 0, settle_limit),
    number(PAVO_NUMBER(RETRYCAP, retrycap), kTunable, 30000, 0, settle_limit),
    text(PAVO_TEXT(RELOGINON, reloginon), kTunable),
    computed(PAVO_FIELD_PAVOVERSION, "pavoversion", kRead, render_version, nullptr),
    text(PAVO_TEXT(TVID, tvid), kSession),
    text(PAVO_TEXT(TVPROFILE, tvprofile), kSession),
    number(PAVO_NUMBER(IPVERSION, ipversion), kRead),
    // The identity given at start-up. chipprofile and clientprofile (and
    // korixprofile, which has no row) survive a start on purpose: one without
    // parameters keeps the profiles of the run before.
    text(PAVO_TEXT(OEM_NAME, oem_name), kRead | kCleared),
    text(PAVO_TEXT(TERMINAL_TYPE, terminal_type), kRead | kCleared),
    text(PAVO_TEXT(DEVICE_ID, device_id), kRead | kCleared),
    text(PAVO_TEXT(CHIPPROFILE, chipprofile), kRead),
    text(PAVO_TEXT(CLIENTPROFILE, clientprofile), kRead),
    text(PAVO_TEXT(WORKDIRECTORY, workdirectory), kRead | kCleared),
    text(PAVO_TEXT(PERPETUALDIRECTORY, perpetualdirectory), kRead | kCleared),
    text(PAVO_TEXT(TMPDIRECTORY, tmpdirectory), kRead | kCleared),
    // Read with pavo_getip, not by name.
    text(PAVO_TEXT(IP, ip), kCleared),
};

#undef PAVO_LOGIN_ADDRESS
#undef PAVO_LOGIN
#undef PAVO_OPEN
#undef PAVO_NUMBER
#undef PAVO_TEXT

namespace {

constexpr bool rows_in_id_order()
{
    for (int i = 0; i < PAVO_FIELD_COUNT; ++i) {
        if (g_pavo_fields[i].id != i)
            return false;
    }
    return true;
}
static_assert(rows_in_id_order(), "a row of the session fields is out of its id's place");

}  // namespace

const pavo_session_field* pavo_inner_findfield(const char* name)
{
    if (name == nullptr)
        return nullptr;
    for (const pavo_session_field& field : g_pavo_fields) {
        if (strcmp(field.name, name) == 0)
            return &field;
    }
    return nullptr;
}

char* pavo_inner_fieldtext(tpavo_env* env, const pavo_session_field& field)
{
    return reinterpret_cast<char*>(env) + field.offset;
}

int& pavo_inner_fieldnumber(tpavo_env* env, const pavo_session_field& field)
{
    return *reinterpret_cast<int*>(pavo_inner_fieldtext(env, field));
}
