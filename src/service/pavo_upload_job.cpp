/*
 * pavo_upload_callback.cpp - delivery of asynchronous answers: the global
 * message callback that pavo_checkmessage runs for every posted job. It finds
 * the request's row by the job's event type, hands the answer to
 * pavo_inner_finishrequest with the application's callback, and releases the job;
 * and the notice of a job whose answer the full queue dropped.
 */
#include "service/pavo_fleet.h"
#include "service/pavo_global.h"
#include "service/pavo_service_requests.h"
#include "service/pavo_upload.h"

namespace {

// The answer is logged whenever it is released, delivered or not; one that
// went to a file as it arrived is never read back: its length and file stand in.
int release_answer(t_httpjobarg* job)
{
    if (job->streamed)
        pavo_log_info("pavo_globalmessagecallback response: %llu bytes to %s\r\n", job->stored,
                      job->localpath != nullptr ? job->localpath : "");
    else
        pavo_log_info("pavo_globalmessagecallback response:\r\n%s\r\n",
                      static_cast<const char*>(job->response));
    pavo_inner_freejob(job);
    return -1;
}

// The job's own slot, else the default one; null when neither is set.
pavo_callback job_callback(const t_httpjobarg* job)
{
    pavo_callback callback = pavo_iner_getcallback(job->cbtype);
    return callback != nullptr ? callback : pavo_iner_getcallback(PAVO_CALLBACK_DEFAULT);
}

}  // namespace

extern "C" {

// Only the event type and the job travel in the message; the rest is unused.
int pavo_globalmessagecallback(int eventtype, int /*eventscope*/, int /*eventhandle*/,
                               void* /*data*/, int /*datasize*/, void* cbdata,
                               int /*cbdatasize*/)
{
    t_httpjobarg* job = static_cast<t_httpjobarg*>(cbdata);
    if (job == nullptr)
        return -1;
    // localpath stays for the log line of a streamed answer; freed with the job.
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
    pavo_inner_setlastaddress(job->fleet.address);
    pavo_callback callback = job_callback(job);
    // Without a callback the answer is neither parsed nor written back.
    if (callback != nullptr) {
        pavo_answer answer = {job->response, static_cast<size_t>(job->responsesize),
                              job->httpecode, job->httpretcode, 0};
        pavo_inner_finishrequest(pavo_inner_findrequest(eventtype), &answer, callback,
                                 eventtype, job->eventhandle);
    }
    return release_answer(job);
}

// The job's answer was dropped by a full queue: its callback learns that no
// answer will come (null data, size 0; with the error results, a result of
// the failed-transfer class that says why).
int pavo_inner_droppedjobcallback(int eventtype, int /*eventscope*/, int /*eventhandle*/,
                                  void* /*data*/, int /*datasize*/, void* cbdata,
                                  int /*cbdatasize*/)
{
    t_httpjobarg* job = static_cast<t_httpjobarg*>(cbdata);
    if (job == nullptr)
        return -1;
    pavo_callback callback = job_callback(job);
    if (callback != nullptr && pavo_relaxed_load(g_pavo_env.errorresults) != 0) {
        pavo_inner_seterror(PAVO_STATUS_FAILURE, "%s",
                            "the message queue was full: the answer was dropped");
        const pavo_answer dropped = {nullptr, 0, job->httpecode, job->httpretcode, 1};
        pavo_inner_finishrequest(pavo_inner_findrequest(eventtype), &dropped, callback, eventtype,
                                 job->eventhandle);
    } else if (callback != nullptr) {
        tpavo_event event = {};
        event.eventtype = static_cast<tpavo_eventtype>(eventtype);
        event.eventscope = EPAVO_SCOPE_RESPONSE;
        event.eventid = job->eventhandle;
        callback(&event);
    }
    pavo_inner_freejob(job);
    return -1;
}

void pavo_inner_dropanswers(void)
{
    pavo_messagecallback cb = nullptr;
    void* cbdata = nullptr;
    while (pavo_inner_takemessage(&cb, &cbdata) == 1) {
        if (cb == pavo_globalmessagecallback || cb == pavo_inner_droppedjobcallback)
            pavo_inner_freejob(static_cast<t_httpjobarg*>(cbdata));
    }
}

}  // extern "C"
