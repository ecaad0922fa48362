/*
 * pavo_upload_callback.cpp - delivery of asynchronous answers: the global
 * message callback that pavo_checkmessage runs for every posted job (parse,
 * session write-back, the application's callback, release), and the login
 * and open write-backs that the synchronous service requests share.
 */
#include "service/pavo_global.h"
#include "service/pavo_upload.h"

namespace {

using WritebackHook = void (*)(const tpavo_result* result);

void write_back_login(const tpavo_result* result);
void write_back_open(const tpavo_result* result);

// How an answer of each event type is parsed, and what a successful one
// writes back into the session. Event types not listed are not parsed and
// are delivered with null data.
struct AnswerKind {
    int eventtype;
    tpavo_datatype datatype;
    WritebackHook writeback;
};

constexpr AnswerKind kAnswerKinds[] = {
    {EPAVO_LOGIN, DATATYPE_LOGINRESULT, write_back_login},
    {EPAVO_LOGOUT, DATATYPE_LOGOUTRESULT, nullptr},
    {EPAVO_OPEN, DATATYPE_OPENRESULT, write_back_open},
    {EPAVO_RECHARGE, DATATYPE_RECHARGERESULT, nullptr},
    {EPAVO_QUERYCATEGORYLIST, DATATYPE_CATEGORYLIST, nullptr},
    {EPAVO_QUERYCATEGORYITEMLIST, DATATYPE_ITEMLIST, nullptr},
    {EPAVO_QUERYCATEGORYITEMDETAIL, DATATYPE_ITEM, nullptr},
    // A callback gets a relative item list where a synchronous caller gets
    // an item list; kept so.
    {EPAVO_QUERYRELATEITEMLIST, DATATYPE_RELATIVEITEMLIST, nullptr},
    {EPAVO_QUERYSCHEDULELIST, DATATYPE_SCHEDULELIST, nullptr},
    {EPAVO_QUERYPLAYURL, DATATYPE_QUERYPLAYURLRESULT, nullptr},
    {EPAVO_QUERYEXTSERVICE, DATATYPE_EXTSERVICERESULT, nullptr},
    {EPAVO_UPGRADEOS, DATATYPE_UPGRADEOSRESULT, nullptr},
    {EPAVO_UPGRADERES, DATATYPE_UPGRADERESRESULT, nullptr},
};

const AnswerKind* find_answer_kind(int eventtype)
{
    for (const AnswerKind& kind : kAnswerKinds) {
        if (kind.eventtype == eventtype)
            return &kind;
    }
    return nullptr;
}

// A text member of an answer record and the property (or configuration
// key) of the same name that it is written to.
template <typename Record>
struct NamedMember {
    const char* name;
    char* Record::*member;
};

// The login record's values, written to the session properties in this order.
constexpr NamedMember<tpavo_loginresponse> kLoginValues[] = {
    {"usertoken", &tpavo_loginresponse::usertoken},
    {"usergroup", &tpavo_loginresponse::usergroup},
    {"aaasrvaddress", &tpavo_loginresponse::aaasrvaddress},
    {"aaasrvaddress2", &tpavo_loginresponse::aaasrvaddress2},
    {"serverauthenticator", &tpavo_loginresponse::serverauthenticator},
    {"userlevel", &tpavo_loginresponse::userlevel},
    {"actexpireddate", &tpavo_loginresponse::actexpireddate},
    {"epgsrvaddress", &tpavo_loginresponse::epgsrvaddress},
    {"epgsrvaddress2", &tpavo_loginresponse::epgsrvaddress2},
    {"playsrvaddress", &tpavo_loginresponse::playsrvaddress},
    {"playsrvaddress2", &tpavo_loginresponse::playsrvaddress2},
    {"upgradesrvaddress", &tpavo_loginresponse::upgradesrvaddress},
    {"upgradesrvaddress2", &tpavo_loginresponse::upgradesrvaddress2},
    {"imgsrvaddress", &tpavo_loginresponse::imgsrvaddress},
    {"serviceaddress", &tpavo_loginresponse::serviceaddress},
    {"drmsrvaddress", &tpavo_loginresponse::drmsrvaddress},
    {"drmsrvaddress2", &tpavo_loginresponse::drmsrvaddress2},
};

// The open record's values, persisted in korix.conf (and so also set as
// properties) in this order.
constexpr NamedMember<tpavo_openresponse> kOpenValues[] = {
    {"userid", &tpavo_openresponse::userid},
    {"aaasrvaddress", &tpavo_openresponse::aaasrvaddress},
    {"aaasrvaddress2", &tpavo_openresponse::aaasrvaddress2},
};

void write_back_login(const tpavo_result* result)
{
    pavo_setstate(PAVO_STATE_LOGINED);
    for (const auto& value : kLoginValues)
        pavo_writeprop(value.name, result->data.loginresponse->*value.member);
}

// Open persists what login only keeps in memory; the asymmetry is kept.
void write_back_open(const tpavo_result* result)
{
    pavo_setstate(PAVO_STATE_OPENED);
    for (const auto& value : kOpenValues)
        pavo_writeconfig("system", value.name, result->data.openresponse->*value.member);
}

tpavo_result* parse_answer(int eventtype, const t_httpjobarg* job)
{
    const AnswerKind* kind = find_answer_kind(eventtype);
    if (kind == nullptr)
        return nullptr;
    tpavo_result* result = pavo_parse(static_cast<const char*>(job->response),
                                      static_cast<size_t>(job->responsesize), kind->datatype);
    pavo_inner_writeback(eventtype, result);
    return result;
}

// The answer is logged whenever it is released, delivered or not.
int release_answer(t_httpjobarg* job)
{
    pavo_log_info("pavo_globalmessagecallback response:\r\n%s\r\n",
                  static_cast<const char*>(job->response));
    pavo_inner_freejob(job);
    return -1;
}

}  // namespace

extern "C" {

void pavo_inner_writeback(int eventtype, const tpavo_result* result)
{
    const AnswerKind* kind = find_answer_kind(eventtype);
    if (kind != nullptr && kind->writeback != nullptr && result != nullptr &&
        result->resultcode >= 0 && result->data.ptr != nullptr)
        kind->writeback(result);
}

int pavo_globalmessagecallback(int eventtype, int eventscope, int eventhandle, void* data,
                               int datasize, void* cbdata, int cbdatasize)
{
    (void)eventscope;
    (void)eventhandle;
    (void)data;
    (void)datasize;
    (void)cbdatasize;
    t_httpjobarg* job = static_cast<t_httpjobarg*>(cbdata);
    if (job == nullptr)
        return -1;
    pavo_free(job->localpath);
    job->localpath = nullptr;
    pavo_free(job->url);
    job->url = nullptr;
    if (job->param != nullptr) {
        pavo_log_info("pavo_globalmessagecallback: param:%s\r\n",
                      static_cast<const char*>(job->param));
        pavo_free(job->param);
        job->param = nullptr;
    }
    if (job->response == nullptr) {
        pavo_log_info("pavo_globalmessagecallback response is NULL\r\n");
        pavo_inner_freejob(job);
        return -1;
    }
    pavo_callback callback = pavo_iner_getcallback(job->cbtype);
    if (callback == nullptr)
        callback = pavo_iner_getcallback(PAVO_CALLBACK_DEFAULT);
    if (callback == nullptr)
        return release_answer(job);

    tpavo_result* result = parse_answer(eventtype, job);
    if (result != nullptr) {
        result->httpecode = job->httpecode;
        result->httpretcode = job->httpretcode;
    }
    // Whatever scope was posted, the application sees a response; the
    // handle, extra text and data type carry nothing.
    tpavo_event event = {};
    event.eventtype = static_cast<tpavo_eventtype>(eventtype);
    event.eventscope = EPAVO_SCOPE_RESPONSE;
    event.eventid = job->eventhandle;
    event.data = result;
    event.datasize = 4;
    callback(&event);
    // The result is the callback's only while it runs; it never reaches the
    // result store.
    pavo_iner_freeresultitem(result);
    return release_answer(job);
}

}  // extern "C"
