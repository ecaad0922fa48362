/*
 * pavo_upload_answer.cpp - the pipeline's kinds of request (by event type: base
 * address, repeats, what the answer is parsed as and writes back) and its
 * ending, the same for both modes: parse the answer, give the result the
 * transfer's codes, and store it as the last result or hand it to the
 * application's callback.
 */
#include "parse/pavo_parse_frame.h"
#include "service/pavo_fleet.h"
#include "service/pavo_global.h"
#include "service/pavo_upload.h"

namespace {

// Reads repeat freely; a recharge must never be charged twice, so it and the
// report (and the extended service, whose effect is the application's) go
// again only when nothing was sent; the account requests likewise, and they
// never trigger a re-login.
constexpr int kAny = PAVO_REPEAT_ANY;
constexpr int kAccount = PAVO_REPEAT_ACCOUNT;
constexpr int kUnsent = PAVO_REPEAT_UNSENT;

// The related item list is parsed as an item list for a synchronous caller
// and as a relative item list for a callback; the status report is never
// parsed. Both kept so.
constexpr pavo_request_kind kRequestKinds[] = {
    {EPAVO_OPEN, PAVO_FIELD_OPENURL, kAccount, DATATYPE_OPENRESULT, DATATYPE_OPENRESULT, 1,
     pavo_inner_writeback_open},
    {EPAVO_LOGIN, PAVO_FIELD_AAASRVADDRESS, kAccount, DATATYPE_LOGINRESULT, DATATYPE_LOGINRESULT,
     1, pavo_inner_writeback_login},
    {EPAVO_LOGOUT, PAVO_FIELD_AAASRVADDRESS, kAccount, DATATYPE_LOGOUTRESULT,
     DATATYPE_LOGOUTRESULT, 1, nullptr},
    {EPAVO_RECHARGE, PAVO_FIELD_AAASRVADDRESS, kUnsent, DATATYPE_RECHARGERESULT,
     DATATYPE_RECHARGERESULT, 1, nullptr},
    {EPAVO_QUERYCATEGORYLIST, PAVO_FIELD_EPGSRVADDRESS, kAny, DATATYPE_CATEGORYLIST,
     DATATYPE_CATEGORYLIST, 1, nullptr},
    {EPAVO_QUERYCATEGORYITEMLIST, PAVO_FIELD_EPGSRVADDRESS, kAny, DATATYPE_ITEMLIST,
     DATATYPE_ITEMLIST, 1, nullptr},
    {EPAVO_QUERYRELATEITEMLIST, PAVO_FIELD_EPGSRVADDRESS, kAny, DATATYPE_ITEMLIST,
     DATATYPE_RELATIVEITEMLIST, 1, nullptr},
    {EPAVO_QUERYCATEGORYITEMDETAIL, PAVO_FIELD_EPGSRVADDRESS, kAny, DATATYPE_ITEM, DATATYPE_ITEM,
     1, nullptr},
    {EPAVO_QUERYSCHEDULELIST, PAVO_FIELD_EPGSRVADDRESS, kAny, DATATYPE_SCHEDULELIST,
     DATATYPE_SCHEDULELIST, 1, nullptr},
    {EPAVO_QUERYPLAYURL, PAVO_FIELD_PLAYSRVADDRESS, kAny, DATATYPE_QUERYPLAYURLRESULT,
     DATATYPE_QUERYPLAYURLRESULT, 1, nullptr},
    {EPAVO_QUERYEXTSERVICE, PAVO_FIELD_SERVICEADDRESS, kUnsent, DATATYPE_EXTSERVICERESULT,
     DATATYPE_EXTSERVICERESULT, 1, nullptr},
    {EPAVO_UPGRADEOS, PAVO_FIELD_UPGRADESRVADDRESS, kAny, DATATYPE_UPGRADEOSRESULT,
     DATATYPE_UPGRADEOSRESULT, 1, nullptr},
    {EPAVO_UPGRADERES, PAVO_FIELD_UPGRADESRVADDRESS, kAny, DATATYPE_UPGRADERESRESULT,
     DATATYPE_UPGRADERESRESULT, 1, nullptr},
    {EPAVO_STATUSREPORT, PAVO_FIELD_UPGRADESRVADDRESS, kUnsent, DATATYPE_NORMAL, DATATYPE_NORMAL,
     0, nullptr},
};

// A bare result for a transfer that has no answer to parse: code 0, no data.
tpavo_result* new_bare_result()
{
    return static_cast<tpavo_result*>(pavo_malloc(sizeof(tpavo_result)));
}

tpavo_result* parse_answer(const pavo_request_kind* kind, const pavo_answer& answer, bool stored)
{
    if (kind == nullptr)
        return stored ? new_bare_result() : nullptr;
    if (!kind->parsed || answer.bytes == nullptr)
        return nullptr;
    tpavo_result* result = pavo_parse(static_cast<const char*>(answer.bytes), answer.size,
                                      stored ? kind->sync_datatype : kind->async_datatype);
    // An answer the session may not take is the failure result, in both modes.
    if (kind->writeback != nullptr && result != nullptr && result->resultcode >= 0 &&
        result->data.ptr != nullptr && kind->writeback(result) != 0) {
        pavo_iner_freeresultitem(result);
        result = pavo_new_failure_result();
    }
    return result;
}

}  // namespace

extern "C" {

const pavo_request_kind* pavo_inner_requestkind(int eventtype)
{
    for (const pavo_request_kind& kind : kRequestKinds) {
        if (kind.event == eventtype)
            return &kind;
    }
    return nullptr;
}

pavo_status_t pavo_inner_finishrequest(const pavo_request_kind* kind, const pavo_answer* answer,
                                       pavo_callback callback, int eventtype, int eventid)
{
    const bool stored = callback == nullptr;
    const int failure = pavo_relaxed_load(g_pavo_env.errorresults) != 0
                            ? pavo_inner_failureclass(answer, kind != nullptr && kind->parsed)
                            : 0;
    tpavo_result* result = nullptr;
    if (failure != 0) {
        // Transfer and HTTP failures were counted where the transfer ended.
        if (failure == PAVO_RESULT_UNPARSABLE)
            pavo_inner_statcount(eventtype, PAVO_STAT_PARSE);
        result = pavo_inner_errorresult(failure, answer,
                                        kind == nullptr ? DATATYPE_NORMAL
                                        : stored        ? kind->sync_datatype
                                                        : kind->async_datatype);
    } else {
        result = parse_answer(kind, *answer, stored);
        pavo_inner_statcount(eventtype, result != nullptr
                                            ? (result->resultcode >= 0 ? PAVO_STAT_SUCCESSES
                                                                       : PAVO_STAT_REFUSED)
                                        : (kind == nullptr || !kind->parsed) ? PAVO_STAT_SUCCESSES
                                                                             : PAVO_STAT_PARSE);
        if (result != nullptr) {
            result->httpecode = answer->httpecode;
            result->httpretcode = answer->httpretcode;
        }
    }
    const pavo_status_t status = failure != 0 ? PAVO_STATUS_FAILURE : PAVO_STATUS_SUCCESS;
    if (stored) {
        // A store that cannot keep the result (no node, or no store) must
        // not leak it: nobody else holds it.
        if (pavo_setlastresult(result) != 0)
            pavo_iner_freeresultitem(result);
        return status;
    }
    // Whatever scope was posted, the application sees a response; the
    // handle, extra text and data type carry nothing.
    tpavo_event event = {};
    event.eventtype = static_cast<tpavo_eventtype>(eventtype);
    event.eventscope = EPAVO_SCOPE_RESPONSE;
    event.eventid = eventid;
    event.data = result;
    event.datasize = 4;
    callback(&event);
    // The result is the callback's only while it runs; it never reaches the
    // result store.
    pavo_iner_freeresultitem(result);
    return status;
}

}  // extern "C"
