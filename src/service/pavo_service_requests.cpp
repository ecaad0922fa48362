/*
 * pavo_service_requests.cpp - the service requests: one request frame and the
 * static table of its members (open, login, logout, recharge, the catalogue
 * and play queries, extended service, upgrade checks and status report), plus
 * pavo_query_status. The frame reads the session, builds the authenticator
 * and form body in fixed buffers and hands them to the pipeline, whose ending
 * turns a synchronous answer into the last result.
 */
#include <stdlib.h>
#include <string.h>

#include <mutex>
#include <shared_mutex>

#include "parse/pavo_parse_frame.h"
#include "service/pavo_fleet.h"
#include "service/pavo_global.h"
#include "service/pavo_service_calls.h"
#include "service/pavo_service_fields.h"
#include "service/pavo_service_requests.h"
#include "service/pavo_service_session.h"
#include "service/pavo_upload.h"

namespace {

// Taken only while "reloginon" is set; see pavo_inner_sessionread_begin.
std::shared_mutex g_session_guard;

// Frame bounds: a terminal's small heap keeps every buffer on the stack.
constexpr size_t kUrlSize = 256;
constexpr size_t kBodySize = 8192;
constexpr size_t kAuthenticatorSize = 8192;

// The session values a request may send or authenticate with, read once per
// request into 256-byte copies.
enum Property {
    kUserId,
    kTvid,
    kUserToken,
    kUserGroup,
    kTvProfile,
    kBizField,
    kVersion,
    kPropertyCount
};
constexpr pavo_field_id kPropertyFields[kPropertyCount] = {
    PAVO_FIELD_USERID,    PAVO_FIELD_TVID,     PAVO_FIELD_USERTOKEN,  PAVO_FIELD_USERGROUP,
    PAVO_FIELD_TVPROFILE, PAVO_FIELD_BIZFIELD, PAVO_FIELD_PAVOVERSION};

enum class Source {
    property,         // one of the session copies above
    ip,               // the terminal address
    text_argument,    // the caller's text argument of that index
    number_argument,  // the caller's integer argument of that index, "%d"
    constant,         // a fixed text
    authenticator,    // the enciphered authenticator
    open_param,       // the terminal id in OPENMODE_STBCODE, else text argument 0
};

struct FormField {
    const char* key;
    Source source;
    int index;
    bool encoded;  // through pavo_urlencode; numbers are never encoded
    const char* constant;
};

constexpr FormField property(const char* key, Property which)
{
    return {key, Source::property, which, true, nullptr};
}
constexpr FormField text_argument(const char* key, int index)
{
    return {key, Source::text_argument, index, true, nullptr};
}
constexpr FormField number_argument(const char* key, int index)
{
    return {key, Source::number_argument, index, false, nullptr};
}
constexpr FormField constant_text(const char* key, const char* text)
{
    return {key, Source::constant, 0, true, text};
}
constexpr FormField authenticator_field(bool encoded)
{
    return {"Authenticator", Source::authenticator, 0, encoded, nullptr};
}
constexpr FormField ip_field() { return {"IP", Source::ip, 0, true, nullptr}; }
constexpr FormField open_param_field()
{
    return {"OpenParam", Source::open_param, 0, true, nullptr};
}

// Every catalogue, service and maintenance query opens with these four.
#define PAVO_SESSION_FOUR                                           \
    property("UserID", kUserId), property("UserGroup", kUserGroup), \
        property("TVProfile", kTvProfile), property("UserToken", kUserToken)

// Login and open send the authenticator as it is, logout and recharge
// encode it (which leaves upper-case hex unchanged): both kept as sent.
constexpr FormField kOpenFields[] = {
    number_argument("OpenMode", 0),    open_param_field(),
    property("TVID", kTvid),           property("TVProfile", kTvProfile),
    property("PAVOVersion", kVersion), text_argument("Reserve", 1),
    authenticator_field(false)};
constexpr FormField kLoginFields[] = {property("UserID", kUserId),
                                      property("PAVOVersion", kVersion),
                                      property("TVProfile", kTvProfile),
                                      authenticator_field(false)};
constexpr FormField kLogoutFields[] = {property("UserID", kUserId), authenticator_field(true),
                                       property("UserToken", kUserToken), ip_field()};
// "Reserve1" always goes out empty; the recharge parameter travels only
// inside the authenticator.
constexpr FormField kRechargeFields[] = {
    property("UserID", kUserId), number_argument("ChargeType", 0),  constant_text("Reserve1", ""),
    authenticator_field(true),   property("UserToken", kUserToken), ip_field()};
constexpr FormField kCategoryListFields[] = {PAVO_SESSION_FOUR, text_argument("CategoryCode", 0),
                                             number_argument("PageIndex", 0),
                                             number_argument("PageSize", 1), ip_field()};
constexpr FormField kCategoryItemListFields[] = {PAVO_SESSION_FOUR,
                                                 text_argument("CategoryCode", 0),
                                                 number_argument("PageIndex", 0),
                                                 number_argument("PageSize", 1),
                                                 number_argument("Withdetail", 2),
                                                 ip_field()};
constexpr FormField kRelateItemListFields[] = {PAVO_SESSION_FOUR,
                                               number_argument("Type", 0),
                                               text_argument("Code", 0),
                                               number_argument("Mode", 1),
                                               number_argument("Withdetail", 2),
                                               number_argument("PageIndex", 3),
                                               number_argument("PageSize", 4),
                                               ip_field()};
constexpr FormField kItemDetailFields[] = {PAVO_SESSION_FOUR, text_argument("CategoryCode", 0),
                                           number_argument("ItemType", 0),
                                           text_argument("ItemCode", 1), ip_field()};
constexpr FormField kScheduleListFields[] = {PAVO_SESSION_FOUR,
                                             text_argument("ChannelCode", 0),
                                             text_argument("StartDate", 1),
                                             text_argument("EndDate", 2),
                                             number_argument("PageIndex", 0),
                                             number_argument("PageSize", 1),
                                             ip_field()};
constexpr FormField kPlayUrlFields[] = {PAVO_SESSION_FOUR,
                                        text_argument("CategoryCode", 0),
                                        number_argument("ItemType", 0),
                                        text_argument("ItemCode", 1),
                                        text_argument("ClipCode", 2),
                                        number_argument("ServiceType", 1),
                                        text_argument("StartTime", 3),
                                        text_argument("EndTime", 4),
                                        ip_field()};
constexpr FormField kExtendServiceFields[] = {PAVO_SESSION_FOUR, text_argument("ServiceCode", 0),
                                              text_argument("ServiceParam", 1), ip_field()};
// Upgrade checks and the status report send nothing but the session.
constexpr FormField kMaintenanceFields[] = {PAVO_SESSION_FOUR, ip_field()};

#undef PAVO_SESSION_FOUR

// Authenticator sources. Only open, login, logout and recharge carry one.
enum class KeySource { none, user_id, open_seed };
enum class AuthUser { user_id, text_argument_0 };
enum class AuthBusiness { bizfield, empty, text_argument_0 };

struct AuthenticatorSources {
    KeySource key;
    AuthUser user;
    AuthBusiness business;
};

constexpr AuthenticatorSources kNoAuthenticator = {KeySource::none, AuthUser::user_id,
                                                   AuthBusiness::empty};
constexpr AuthenticatorSources kOpenAuthenticator = {KeySource::open_seed,
                                                     AuthUser::text_argument_0,
                                                     AuthBusiness::bizfield};
constexpr AuthenticatorSources kLoginAuthenticator = {KeySource::user_id, AuthUser::user_id,
                                                      AuthBusiness::bizfield};
constexpr AuthenticatorSources kLogoutAuthenticator = {KeySource::user_id, AuthUser::user_id,
                                                       AuthBusiness::empty};
constexpr AuthenticatorSources kRechargeAuthenticator = {KeySource::user_id, AuthUser::user_id,
                                                         AuthBusiness::text_argument_0};

struct FieldList {
    const FormField* fields;
    size_t count;
};

template <size_t N>
constexpr FieldList fields_of(const FormField (&fields)[N])
{
    return {fields, N};
}

// One request, everything about sending it in both modes. Its base address,
// when it may go again and what becomes of its answer are the pipeline's
// request kind of its event type.
struct pavo_request_row {
    const char* service_name;  // null: the base address property is the whole URL
    tpavo_state required_state;
    pavo_status_t refusal;
    pavo_callbacktype callback;
    tpavo_eventtype event;
    AuthenticatorSources auth;
    bool logs_profile;  // login writes the terminal profile between separators
    FieldList form;
};

enum Request {
    kOpen,
    kLogin,
    kLogout,
    kRecharge,
    kCategoryList,
    kCategoryItemList,
    kRelateItemList,
    kItemDetail,
    kScheduleList,
    kPlayUrl,
    kExtendService,
    kUpgradeOs,
    kUpgradeRes,
    kStatusReport,
    kRequestCount
};

constexpr tpavo_state kInited = PAVO_STATE_INITED;
constexpr tpavo_state kOpened = PAVO_STATE_OPENED;
constexpr tpavo_state kLogined = PAVO_STATE_LOGINED;
constexpr pavo_status_t kNotInited = PAVO_STATUS_FAILURE_NOTINITED;
constexpr pavo_status_t kNotOpened = PAVO_STATUS_FAILURE_NOTOPENED;
constexpr pavo_status_t kNotLogined = PAVO_STATUS_FAILURE_NOTLOGINED;
constexpr pavo_callbacktype kAaa = PAVO_CALLBACK_AAA;
constexpr pavo_callbacktype kEpg = PAVO_CALLBACK_EPG;
constexpr pavo_callbacktype kManage = PAVO_CALLBACK_TMMANAGE;
// "QueryProgramee" is the platform's spelling.
constexpr pavo_request_row kRequests[kRequestCount] = {
    {nullptr, kInited, kNotInited, kAaa, EPAVO_OPEN, kOpenAuthenticator, false,
     fields_of(kOpenFields)},
    {"Login", kOpened, kNotOpened, kAaa, EPAVO_LOGIN, kLoginAuthenticator, true,
     fields_of(kLoginFields)},
    {"Logout", kLogined, kNotLogined, kAaa, EPAVO_LOGOUT, kLogoutAuthenticator, false,
     fields_of(kLogoutFields)},
    {"Recharge", kLogined, kNotLogined, kEpg, EPAVO_RECHARGE, kRechargeAuthenticator, false,
     fields_of(kRechargeFields)},
    {"QueryCategory", kLogined, kNotLogined, kEpg, EPAVO_QUERYCATEGORYLIST, kNoAuthenticator,
     false, fields_of(kCategoryListFields)},
    {"QueryProgramee", kLogined, kNotLogined, kEpg, EPAVO_QUERYCATEGORYITEMLIST, kNoAuthenticator,
     false, fields_of(kCategoryItemListFields)},
    {"QueryRelative", kLogined, kNotLogined, kEpg, EPAVO_QUERYRELATEITEMLIST, kNoAuthenticator,
     false, fields_of(kRelateItemListFields)},
    {"QueryDetail", kLogined, kNotLogined, kEpg, EPAVO_QUERYCATEGORYITEMDETAIL, kNoAuthenticator,
     false, fields_of(kItemDetailFields)},
    {"QuerySchedule", kLogined, kNotLogined, kEpg, EPAVO_QUERYSCHEDULELIST, kNoAuthenticator,
     false, fields_of(kScheduleListFields)},
    {"Play", kLogined, kNotLogined, kAaa, EPAVO_QUERYPLAYURL, kNoAuthenticator, false,
     fields_of(kPlayUrlFields)},
    {nullptr, kLogined, kNotLogined, kAaa, EPAVO_QUERYEXTSERVICE, kNoAuthenticator, false,
     fields_of(kExtendServiceFields)},
    {"UpgradeOS", kLogined, kNotLogined, kManage, EPAVO_UPGRADEOS, kNoAuthenticator, false,
     fields_of(kMaintenanceFields)},
    {"UpgradeRes", kLogined, kNotLogined, kManage, EPAVO_UPGRADERES, kNoAuthenticator, false,
     fields_of(kMaintenanceFields)},
    {"Report", kLogined, kNotLogined, kManage, EPAVO_STATUSREPORT, kNoAuthenticator, false,
     fields_of(kMaintenanceFields)},
};

// Arguments as the exported function gathered them; indexes are per row.
struct RequestArgs {
    const char* text[5];
    int number[5];
};

const char kProfileSeparator[] =
    "\r\n=========================================================\r\n";

// The session properties a request reads, each read when first needed: most
// requests use four of the seven, and every read takes the store's lock.
class Session {
public:
    char* operator[](Property which)
    {
        if (!read_[which])
            pavo_inner_readfield(&g_pavo_fields[kPropertyFields[which]], values_[which],
                                 PAVO_PROP_SIZE);
        read_[which] = true;
        return values_[which];
    }

private:
    char values_[kPropertyCount][PAVO_PROP_SIZE];
    bool read_[kPropertyCount] = {};
};

// The body being built. Each field writes "key=value&" at the end with the
// room that is left, so an over-long body is cut silently at kBodySize - 1
// characters; an encoded value is encoded straight into it. Copied, not
// formatted: formatting cost more than the rest of building a request.
struct Body {
    char text[kBodySize];
    PavoText out{text, sizeof text};

    Body() { text[0] = '\0'; }
    Body(const Body&) = delete;
    Body& operator=(const Body&) = delete;
    size_t used() const { return out.length(); }
    void add_text(const char* key, const char* value)
    {
        out.append(key).append('=').append(value != nullptr ? value : "").append('&');
    }
    void add_encoded(const char* key, const char* value)
    {
        out.append(key).append('=');
        pavo_inner_urlencode_into(out, value);
        out.append('&');
    }
    void add_number(const char* key, int value)
    {
        // Signed decimal, as "%d" writes it; the magnitude is taken unsigned so
        // that INT_MIN has one too.
        char digits[16];
        char* end = digits + sizeof digits;
        char* p = end;
        *--p = '\0';
        unsigned magnitude = value < 0 ? 0u - static_cast<unsigned>(value)
                                       : static_cast<unsigned>(value);
        do
            *--p = static_cast<char>('0' + magnitude % 10);
        while ((magnitude /= 10) != 0);
        if (value < 0)
            *--p = '-';
        add_text(key, p);
    }
};

void build_authenticator(const AuthenticatorSources& auth, const RequestArgs& args,
                         Session& session, const char* ip, char* authenticator)
{
    char key[PAVO_PROP_SIZE] = {0};
    if (auth.key == KeySource::open_seed) {
        char seed[] = "482613";
        pavo_sha1(seed, static_cast<int>(strlen(seed)), key);
    } else {
        pavo_sha1(session[kUserId], static_cast<int>(strlen(session[kUserId])), key);
    }

    // Caller texts are cut to a property's size like every other field, which
    // keeps the authenticator source within what the cipher takes.
    char user[PAVO_PROP_SIZE] = {0};
    if (auth.user == AuthUser::text_argument_0)
        PavoText(user, sizeof user).append(args.text[0] != nullptr ? args.text[0] : "");
    else
        PavoText(user, sizeof user).append(session[kUserId]);

    char business[PAVO_PROP_SIZE] = {0};
    if (auth.business == AuthBusiness::text_argument_0)
        PavoText(business, sizeof business).append(args.text[0] != nullptr ? args.text[0] : "");
    else if (auth.business == AuthBusiness::bizfield)
        PavoText(business, sizeof business).append(session[kBizField]);

    pavo_createauthenticator(authenticator, CRYPTMODE_3DES, key, user, ip, session[kTvid],
                             business);
}

const char* field_value(const FormField& field, const RequestArgs& args, Session& session,
                        const char* ip, const char* authenticator)
{
    switch (field.source) {
    case Source::property:
        return session[static_cast<Property>(field.index)];
    case Source::ip:
        return ip;
    case Source::text_argument:
        return args.text[field.index];
    case Source::constant:
        return field.constant;
    case Source::authenticator:
        return authenticator;
    case Source::open_param:
        return args.number[0] == OPENMODE_STBCODE ? session[kTvid] : args.text[0];
    case Source::number_argument:
        break;
    }
    return nullptr;
}

// The URL: base address property, then "/Service/Name" for most rows. An
// empty base gives "/Service/Name" and goes out as it is. Cut silently at 255
// characters, as every address copy is.
void build_url(const pavo_request_row& row, char (&url)[kUrlSize])
{
    char base[PAVO_PROP_SIZE];
    pavo_inner_readfield(&g_pavo_fields[pavo_inner_requestkind(row.event)->base], base,
                         sizeof base);
    PavoText text(url, sizeof url);
    text.append(base);
    if (row.service_name != nullptr)
        text.append("/Service/").append(row.service_name);
}

// Every buffer is written before it is read: the body from its terminator,
// the authenticator by its builder, each session copy whole by pavo_readprop.
// Zeroing their 16 KiB on every request would buy nothing.
void build_body(const pavo_request_row& row, const RequestArgs& args, bool log_profile,
                Body& body)
{
    char authenticator[kAuthenticatorSize];
    authenticator[0] = '\0';
    Session session;
    char ip[PAVO_IP_SIZE] = {0};
    pavo_getip(ip, sizeof ip);

    if (row.logs_profile && log_profile) {
        pavo_log_info("%s", kProfileSeparator);
        pavo_log_info("%s", session[kTvProfile]);
        pavo_log_info("%s", kProfileSeparator);
    }
    if (row.auth.key != KeySource::none)
        build_authenticator(row.auth, args, session, ip, authenticator);

    for (size_t i = 0; i < row.form.count; ++i) {
        const FormField& field = row.form.fields[i];
        if (field.source == Source::number_argument) {
            body.add_number(field.key, args.number[field.index]);
            continue;
        }
        const char* value = field_value(field, args, session, ip, authenticator);
        if (field.encoded)
            body.add_encoded(field.key, value);
        else
            body.add_text(field.key, value);
    }
}

pavo_status_t run_request(Request which, unsigned eventid, const RequestArgs& args)
{
    PavoCall call;  // pavo_cleanup waits for the answer's parse too
    if (!call)
        return PAVO_STATUS_FAILURE;
    const pavo_request_row& row = kRequests[which];

    // The URL comes first, before the state test.
    const int guarded = pavo_inner_sessionread_begin();
    char url[kUrlSize];
    build_url(row, url);

    if (pavo_getstate() < row.required_state) {
        pavo_inner_sessionread_end(guarded);
        pavo_inner_seterror(row.refusal, "%s", pavo_strerror(row.refusal));
        return row.refusal;
    }

    Body body;
    build_body(row, args, true, body);
    pavo_inner_sessionread_end(guarded);

    void* response = nullptr;
    size_t responsesize = 0;
    tpavo_httpecode httpecode = PAVO_HTTPE_OK;
    long httpretcode = 0;
    pavo_status_t status = pavo_addhttpjob(STORETYPE_MEM, nullptr, row.callback, 0,
                                           static_cast<int>(eventid), row.event,
                                           EPAVO_SCOPE_REQUEST, url, body.text,
                                           static_cast<int>(body.used()), &response,
                                           &responsesize, &httpecode, &httpretcode);
    // A failed transfer leaves the last result as it was, unless the error
    // results are on.
    if (pavo_getfuncmode() == FUNCMODE_SYNC &&
        (status == PAVO_STATUS_SUCCESS || pavo_relaxed_load(g_pavo_env.errorresults) != 0)) {
        pavo_answer answer = {response, responsesize, httpecode, httpretcode, status != 0};
        if (pavo_inner_finishrequest(pavo_inner_requestkind(row.event), &answer, nullptr,
                                     row.event, static_cast<int>(eventid)) != PAVO_STATUS_SUCCESS)
            status = PAVO_STATUS_FAILURE;
    }
    pavo_free(response);
    return status;
}

}  // namespace

extern "C" {

int pavo_inner_sessionread_begin(void)
{
    if (pavo_relaxed_load(g_pavo_env.reloginon[0]) == '\0')
        return 0;
    g_session_guard.lock_shared();
    return 1;
}

void pavo_inner_sessionread_end(int taken)
{
    if (taken != 0)
        g_session_guard.unlock_shared();
}

int pavo_inner_relogin(void)
{
    const pavo_request_row& row = kRequests[kLogin];
    char url[kUrlSize];
    Body body;
    const int guarded = pavo_inner_sessionread_begin();
    build_url(row, url);
    build_body(row, {}, false, body);
    pavo_inner_sessionread_end(guarded);
    MemoryStruct chunk = {};
    tpavo_httpecode httpecode = PAVO_HTTPE_OK;
    long httpretcode = 0;
    pavo_fleet_state state = {};
    state.internal = 1;
    long delay_ms = 0;
    pavo_status_t status = PAVO_STATUS_FAILURE;
    pavo_inner_fleetrun(row.event, url, body.text, 0, STORETYPE_MEM, &chunk, nullptr, &httpecode,
                        &httpretcode, &state, 0, &delay_ms, &status);
    pavo_free(state.body);
    int accepted = 0;
    if (status == PAVO_STATUS_SUCCESS && chunk.data != nullptr) {
        const pavo_request_kind* kind = pavo_inner_requestkind(row.event);
        tpavo_result* result = pavo_parse(chunk.data, chunk.size, kind->sync_datatype);
        if (result != nullptr && result->resultcode >= 0 && result->data.ptr != nullptr) {
            std::lock_guard<std::shared_mutex> guard(g_session_guard);
            // An answer the session may not take is a failed re-login.
            accepted = kind->writeback(result) == 0 ? 1 : 0;
        }
        pavo_iner_freeresultitem(result);
    }
    free(chunk.data);
    return accepted;
}

pavo_status_t pavo_query_status(void)
{
    char userid[PAVO_PROP_SIZE] = {0};
    pavo_inner_readfield(&g_pavo_fields[PAVO_FIELD_USERID], userid, sizeof userid);
    if (userid[0] == '\0')
        return PAVO_STATUS_FAILURE;
    // A stored user id restores the opened state; login may follow.
    pavo_setstate(PAVO_STATE_OPENED);
    return PAVO_STATUS_SUCCESS;
}

pavo_status_t pavo_open(unsigned eventid, tpavo_openmode openmode, const char* openparam,
                        const char* reserved)
{
    return run_request(kOpen, eventid, {{openparam, reserved}, {openmode}});
}

pavo_status_t pavo_login(unsigned eventid) { return run_request(kLogin, eventid, {}); }

pavo_status_t pavo_logout(unsigned eventid) { return run_request(kLogout, eventid, {}); }

pavo_status_t pavo_recharge(unsigned eventid, int rechargetype, const char* rechargeparam)
{
    return run_request(kRecharge, eventid, {{rechargeparam}, {rechargetype}});
}

pavo_status_t pavo_querycategorylist(unsigned eventid, const char* parentcategorycode,
                                     int pageindex, int pagesize)
{
    return run_request(kCategoryList, eventid, {{parentcategorycode}, {pageindex, pagesize}});
}

pavo_status_t pavo_querycategoryitemlist(unsigned eventid, const char* categorycode,
                                         int pageindex, int pagesize, int withdetail)
{
    return run_request(kCategoryItemList, eventid,
                       {{categorycode}, {pageindex, pagesize, withdetail}});
}

pavo_status_t pavo_queryrelateitemlist(unsigned eventid, int type, const char* code, int mode,
                                       int withdetail, int pageindex, int pagesize)
{
    return run_request(kRelateItemList, eventid,
                       {{code}, {type, mode, withdetail, pageindex, pagesize}});
}

pavo_status_t pavo_queryitemdetail(unsigned eventid, const char* categorycode,
                                   tpavo_itemtype_t itemtype, const char* itemcode)
{
    return run_request(kItemDetail, eventid, {{categorycode, itemcode}, {itemtype}});
}

pavo_status_t pavo_queryschedulelist(unsigned eventid, const char* channelcode,
                                     const char* startdate, const char* enddate, int pageindex,
                                     int pagesize)
{
    return run_request(kScheduleList, eventid,
                       {{channelcode, startdate, enddate}, {pageindex, pagesize}});
}

pavo_status_t pavo_queryplayurl(unsigned eventid, const char* categorycode,
                                tpavo_itemtype_t itemtype, const char* itemcode,
                                const char* videocode, tpavo_servicetype servicetype,
                                const char* starttime, const char* endtime)
{
    return run_request(kPlayUrl, eventid,
                       {{categorycode, itemcode, videocode, starttime, endtime},
                        {itemtype, servicetype}});
}

pavo_status_t pavo_queryextendservice(unsigned eventid, const char* servicecode,
                                      const char* serviceparam)
{
    return run_request(kExtendService, eventid, {{servicecode, serviceparam}, {}});
}

pavo_status_t pavo_upgradeos(unsigned eventid) { return run_request(kUpgradeOs, eventid, {}); }

pavo_status_t pavo_upgraderes(unsigned eventid) { return run_request(kUpgradeRes, eventid, {}); }

pavo_status_t pavo_statusreport(unsigned eventid)
{
    return run_request(kStatusReport, eventid, {});
}

}  // extern "C"
