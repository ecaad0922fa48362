/*
 * pavo_upload_job.cpp - the pipeline's front and its job record: pavo_addhttpjob
 * (a job for the worker pool, or the transfer at once on the caller's thread),
 * the worker job that posts the answer to the message queue, and the two
 * message callbacks the pump runs for it. Every block a job owns is released
 * here and nowhere else.
 */
#include <string.h>

#include "runtime/pavo_runtime.h"
#include "service/pavo_fleet.h"
#include "service/pavo_global.h"
#include "service/pavo_service_calls.h"
#include "service/pavo_upload.h"

namespace {

constexpr int kAsyncPauseSeconds = 100;

// The pool blocks a job owns besides its record.
enum JobBlock : unsigned {
    kUrl = 1u << 0,
    kParam = 1u << 1,
    kLocalPath = 1u << 2,
    kResponse = 1u << 3,
    kFleetBody = 1u << 4,
    kEveryBlock = kUrl | kParam | kLocalPath | kResponse | kFleetBody,
};

void release_blocks(t_httpjobarg* job, unsigned blocks)
{
    void** const owned[] = {reinterpret_cast<void**>(&job->url), &job->param,
                            reinterpret_cast<void**>(&job->localpath), &job->response,
                            reinterpret_cast<void**>(&job->fleet.body)};
    for (unsigned i = 0; i < sizeof owned / sizeof owned[0]; ++i) {
        if ((blocks & (1u << i)) == 0)
            continue;
        pavo_free(*owned[i]);
        *owned[i] = nullptr;
    }
    if ((blocks & kResponse) != 0)
        job->responsesize = 0;
}

t_httpjobarg* new_job(tpavo_storetype storetype, const char* localpath, int cbtype, int phase,
                      int eventhandle, int eventtype, int eventscope, const char* url,
                      const char* data, int datasize)
{
    t_httpjobarg* job = static_cast<t_httpjobarg*>(pavo_malloc(sizeof(t_httpjobarg)));
    if (job == nullptr)
        return nullptr;
    job->url = pavo_copy_bytes(url, strlen(url));
    if (data != nullptr)
        job->param = pavo_copy_bytes(data, static_cast<size_t>(datasize));
    if (localpath != nullptr)
        job->localpath = pavo_copy_bytes(localpath, strlen(localpath));
    if (job->url == nullptr || (data != nullptr && job->param == nullptr) ||
        (localpath != nullptr && job->localpath == nullptr)) {
        pavo_inner_freejob(job);
        return nullptr;
    }
    job->cbtype = cbtype;
    job->phase = phase;
    job->eventhandle = eventhandle;
    job->eventtype = eventtype;
    job->eventscope = eventscope;
    job->storetype = storetype;
    job->paramsize = datasize;
    job->response = nullptr;
    job->responsesize = 0;
    return job;
}

pavo_status_t add_async_job(tpavo_storetype storetype, const char* localpath, int cbtype,
                            int phase, int eventhandle, int eventtype, int eventscope,
                            const char* url, const char* data, int datasize)
{
    if (data != nullptr && datasize < 0)
        return PAVO_STATUS_FAILURE;
    t_httpjobarg* job = new_job(storetype, localpath, cbtype, phase, eventhandle, eventtype,
                                eventscope, url, data, datasize);
    if (job == nullptr)
        return PAVO_STATUS_FAILURE;
    // A job no worker takes is nobody's: it is freed and the request fails.
    if (pavo_iner_addjob(pavo_inner_httpjob, job) != 0) {
        pavo_inner_freejob(job);
        pavo_inner_seterror(PAVO_STATUS_FAILURE, "the request could not be queued for a worker");
        return PAVO_STATUS_FAILURE;
    }
    // Kept on purpose unless "asyncnowait": an asynchronous request does not
    // return to the application for 100 seconds while the worker runs and the
    // answer waits in the queue. A second at a time, so that pavo_cleanup ends it.
    if (pavo_relaxed_load(g_pavo_env.asyncnowait) == 0) {
        for (int slept = 0; slept < kAsyncPauseSeconds && !pavo_inner_closing(); ++slept)
            pavo_sleep(1);
    }
    return PAVO_STATUS_SUCCESS;
}

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

void pavo_inner_freejob(t_httpjobarg* job)
{
    if (job == nullptr)
        return;
    release_blocks(job, kEveryBlock);
    pavo_free(job);
}

pavo_status_t pavo_addhttpjob(tpavo_storetype storetype, const char* localpath, int cbtype,
                              int phase, int eventhandle, int eventtype, int eventscope,
                              const char* url, const char* data, int datasize, void** returndata,
                              size_t* returndatasize, tpavo_httpecode* httpecode,
                              long* httpretcode)
{
    if (returndata != nullptr)
        *returndata = nullptr;
    PavoCall call;
    if (!call)
        return PAVO_STATUS_FAILURE;  // pavo_cleanup is under way
    if (url == nullptr || url[0] == '\0') {
        pavo_log_info("error,reason url is not ok\r\n");
        pavo_inner_seterror(PAVO_STATUS_FAILURE, "no service address: the URL is empty");
        return PAVO_STATUS_FAILURE;
    }
    if (data != nullptr)
        pavo_log_info("post url data:%s\r\n", data);
    if (pavo_getfuncmode() == FUNCMODE_ASYNC)
        return add_async_job(storetype, localpath, cbtype, phase, eventhandle, eventtype,
                             eventscope, url, data, datasize);
    return pavo_inner_syncjob(storetype, localpath, phase, eventtype, url, data, returndata,
                              returndatasize, httpecode, httpretcode);
}

// Without a worker pool the job runs at once on the calling thread.
pavo_status_t pavo_iner_addjob(dispatch_fn job, void* arg)
{
    t_threadpool pool = g_pavo_env.threadpool;
    if (pool != nullptr)
        return pool_add_worker(pool, job, arg) == 0 ? PAVO_STATUS_SUCCESS : PAVO_STATUS_FAILURE;
    job(arg);
    return PAVO_STATUS_SUCCESS;
}

void* pavo_inner_httpjob(void* arg)
{
    t_httpjobarg* job = static_cast<t_httpjobarg*>(arg);
    if (job == nullptr)
        return nullptr;
    MemoryStruct* chunk = pavo_inner_newchunk();
    pavo_status_t status = PAVO_STATUS_FAILURE;
    long delay_ms = 0;
    // A repeat waits in the timed line, not on this worker.
    if (chunk != nullptr &&
        pavo_inner_fleetrun(job->eventtype, job->url, static_cast<const char*>(job->param),
                            job->phase, job->storetype, chunk, job->localpath, &job->httpecode,
                            &job->httpretcode, &job->fleet, g_pavo_env.threadpool != nullptr,
                            &delay_ms, &status) == PAVO_FLEET_LATER) {
        pavo_inner_freechunk(chunk);
        pavo_inner_fleetdefer(job, delay_ms);
        return nullptr;
    }
    uint32_t size = 0;
    job->response = pavo_inner_chunktopool(chunk, &size);
    job->responsesize = static_cast<int>(size);
    if (chunk != nullptr) {
        job->streamed = chunk->streamed;
        job->stored = chunk->stored;
    }
    pavo_inner_freechunk(chunk);
    int posted = pavo_inner_postmessage(pavo_globalmessagecallback, job->eventtype,
                                        job->eventscope, job->eventhandle, job->response,
                                        job->responsesize, job, sizeof(int), 0);
    // A full queue dropped the answer: free it now, and let the next
    // pavo_checkmessage tell the callback that this request goes unanswered.
    // Only the callback type and the event values stay for the notice.
    if (posted == 1) {
        release_blocks(job, kResponse | kUrl | kParam | kLocalPath);
        posted = pavo_inner_postmessage(pavo_inner_droppedjobcallback, job->eventtype,
                                        job->eventscope, job->eventhandle, nullptr, 0, job,
                                        sizeof(int), 1);
    }
    // A post refused (the mode turned synchronous meanwhile, or no node for
    // the message) would leave the job and the answer to nobody.
    if (posted != 0)
        pavo_inner_freejob(job);
    return nullptr;
}

// Only the event type and the job travel in the message; the rest is unused.
int pavo_globalmessagecallback(int eventtype, int /*eventscope*/, int /*eventhandle*/,
                               void* /*data*/, int /*datasize*/, void* cbdata, int /*cbdatasize*/)
{
    t_httpjobarg* job = static_cast<t_httpjobarg*>(cbdata);
    if (job == nullptr)
        return -1;
    // localpath stays for the log line of a streamed answer; freed with the job.
    release_blocks(job, kUrl);
    if (job->param != nullptr) {
        pavo_log_info("pavo_globalmessagecallback: param:%s\r\n",
                      static_cast<const char*>(job->param));
        release_blocks(job, kParam);
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
        pavo_inner_finishrequest(pavo_inner_requestkind(eventtype), &answer, callback, eventtype,
                                 job->eventhandle);
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
        pavo_inner_finishrequest(pavo_inner_requestkind(eventtype), &dropped, callback, eventtype,
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
