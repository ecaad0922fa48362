/*
 * pavo_upload.cpp - the request pipeline's transfer side: pavo_addhttpjob
 * (synchronous on the caller's thread, or a job for the worker pool), the
 * worker job that posts the answer to the message queue, and the HTTP POST
 * itself over libcurl's easy interface. Called by every service request.
 * The delivery of posted answers is in pavo_upload_callback.cpp.
 */
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <initializer_list>

#include "runtime/pavo_runtime.h"
#include "service/pavo_fleet.h"
#include "service/pavo_global.h"
#include "service/pavo_service_calls.h"
#include "service/pavo_upload.h"
#include "service/pavo_upload_file.h"

namespace {

constexpr int kAsyncPauseSeconds = 100;

// One easy handle per transfer, released on every path.
class CurlEasy {
public:
    CurlEasy() : handle_(pavo_inner_takeeasy()) {}
    ~CurlEasy()
    {
        if (handle_ != nullptr)
            pavo_inner_puteasy(handle_);
    }
    CurlEasy(const CurlEasy&) = delete;
    CurlEasy& operator=(const CurlEasy&) = delete;
    CURL* get() const { return handle_; }

private:
    CURL* handle_;
};

// The receive buffer comes from the C library, not the pool.
MemoryStruct* new_chunk() { return static_cast<MemoryStruct*>(calloc(1, sizeof(MemoryStruct))); }

void free_chunk(MemoryStruct* chunk)
{
    if (chunk == nullptr)
        return;
    free(chunk->data);
    free(chunk);
}

uint32_t chunk_size(const MemoryStruct* chunk)
{
    return chunk != nullptr && chunk->data != nullptr ? chunk->size : 0;
}

// Copies what the chunk holds into a pooled, NUL-terminated block of
// size + 1 bytes (one byte for an empty or missing answer).
void* chunk_to_pool(const MemoryStruct* chunk)
{
    uint32_t size = chunk_size(chunk);
    return pavo_copy_bytes(size != 0 ? chunk->data : "", size);
}

// The open is not checked for the outcome: a path that cannot be opened
// still counts as stored (nothing is written), so a download reports success.
// With strictlocal the file is written beside and renamed, or the download fails.
pavo_status_t store_in_file(const char* localpath, const MemoryStruct* chunk, bool strict)
{
    if (strict) {
        DownloadFile file(true);
        if (!file.open(localpath))
            return PAVO_STATUS_FAILURE;
        if (chunk->data != nullptr && chunk->size != 0)
            file.write(chunk->data, chunk->size);
        return file.commit();
    }
    FILE* file = fopen(localpath, "wb");
    if (file == nullptr)
        return PAVO_STATUS_SUCCESS;
    if (chunk->data != nullptr && chunk->size != 0)
        fwrite(chunk->data, 1, chunk->size, file);
    fclose(file);
    return PAVO_STATUS_SUCCESS;
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

pavo_status_t run_sync_job(tpavo_storetype storetype, const char* localpath, int phase,
                           int eventtype, const char* url, const char* data, void** returndata,
                           size_t* returndatasize, tpavo_httpecode* httpecode,
                           long* httpretcode)
{
    MemoryStruct* chunk = new_chunk();
    if (chunk == nullptr)
        return PAVO_STATUS_FAILURE;
    pavo_status_t result = PAVO_STATUS_FAILURE;
    pavo_fleet_state fleet = {};
    long delay_ms = 0;
    pavo_inner_fleetrun(eventtype, url, data, phase, storetype, chunk, localpath, httpecode,
                        httpretcode, &fleet, 0, &delay_ms, &result);
    pavo_inner_setlastaddress(fleet.address);
    pavo_free(fleet.body);
    // Whatever the outcome, a memory request gets a block (1 byte if empty).
    if (storetype == STORETYPE_MEM) {
        if (returndata != nullptr)
            *returndata = chunk_to_pool(chunk);
        if (returndatasize != nullptr)
            *returndatasize = chunk_size(chunk);
    }
    free_chunk(chunk);
    return result;
}

// Every transfer looks at the shut-down door at each progress tick.
int abort_at_shutdown(void*, curl_off_t, curl_off_t, curl_off_t, curl_off_t)
{
    return pavo_inner_closing();
}

void set_time_bounds(CURL* curl, tpavo_storetype storetype)
{
    // A transfer that moves no byte for the stall time-out ends with code 28.
    const long stall = pavo_relaxed_load(g_pavo_env.stalltimeout);
    if (stall > 0) {
        curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
        curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, stall);
    }
    // And one that drips bytes ends with the same code at its total bound.
    const long total = pavo_relaxed_load(storetype == STORETYPE_FILE ? g_pavo_env.downloadtimeout
                                                                     : g_pavo_env.requesttimeout);
    if (total > 0)
        curl_easy_setopt(curl, CURLOPT_TIMEOUT, total);
    curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, abort_at_shutdown);
    curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
}

// Twice the room held (at least 16 KiB), within the cap and 32 bits, and never less than needed.
size_t answer_capacity(const MemoryStruct* chunk, size_t needed)
{
    size_t grown = std::max<size_t>(static_cast<size_t>(chunk->capacity) * 2, 16384);
    if (chunk->limit != 0)
        grown = std::min<size_t>(grown, static_cast<size_t>(chunk->limit) + 1);
    grown = std::min<size_t>(grown, UINT32_MAX);
    return std::max(grown, needed);
}

bool streams_to_file(int phase, tpavo_storetype storetype, const char* localpath)
{
    return phase != PAVO_PHASE_NOBUFFER && storetype == STORETYPE_FILE && localpath != nullptr &&
           pavo_relaxed_load(g_pavo_env.streamdownloads) != 0;
}

}  // namespace

extern "C" {

void pavo_inner_freejob(t_httpjobarg* job)
{
    if (job == nullptr)
        return;
    pavo_free(job->localpath);
    pavo_free(job->url);
    pavo_free(job->param);
    pavo_free(job->response);
    pavo_free(job->fleet.body);
    pavo_free(job);
}

pavo_status_t pavo_addhttpjob(tpavo_storetype storetype, const char* localpath, int cbtype,
                              int phase, int eventhandle, int eventtype, int eventscope,
                              const char* url, const char* data, int datasize,
                              void** returndata, size_t* returndatasize,
                              tpavo_httpecode* httpecode, long* httpretcode)
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
    return run_sync_job(storetype, localpath, phase, eventtype, url, data, returndata,
                        returndatasize, httpecode, httpretcode);
}

// Without a worker pool the job runs at once on the calling thread.
pavo_status_t pavo_iner_addjob(dispatch_fn job, void* arg)
{
    t_threadpool pool = g_pavo_env.threadpool;
    if (pool != nullptr)
        return pool_add_worker(pool, job, arg) == 0 ? PAVO_STATUS_SUCCESS
                                                     : PAVO_STATUS_FAILURE;
    job(arg);
    return PAVO_STATUS_SUCCESS;
}

void* pavo_inner_httpjob(void* arg)
{
    t_httpjobarg* job = static_cast<t_httpjobarg*>(arg);
    if (job == nullptr)
        return nullptr;
    MemoryStruct* chunk = new_chunk();
    pavo_status_t status = PAVO_STATUS_FAILURE;
    long delay_ms = 0;
    // A repeat waits in the timed line, not on this worker.
    if (chunk != nullptr &&
        pavo_inner_fleetrun(job->eventtype, job->url, static_cast<const char*>(job->param),
                            job->phase, job->storetype, chunk, job->localpath, &job->httpecode,
                            &job->httpretcode, &job->fleet, g_pavo_env.threadpool != nullptr,
                            &delay_ms, &status) == PAVO_FLEET_LATER) {
        free_chunk(chunk);
        pavo_inner_fleetdefer(job, delay_ms);
        return nullptr;
    }
    job->response = chunk_to_pool(chunk);
    job->responsesize = static_cast<int>(chunk_size(chunk));
    if (chunk != nullptr) {
        job->streamed = chunk->streamed;
        job->stored = chunk->stored;
    }
    free_chunk(chunk);
    int posted = pavo_inner_postmessage(pavo_globalmessagecallback, job->eventtype,
                                        job->eventscope, job->eventhandle, job->response,
                                        job->responsesize, job, sizeof(int), 0);
    // A full queue dropped the answer: free it now, and let the next
    // pavo_checkmessage tell the callback that this request goes unanswered.
    // Only the callback type and the event values stay for the notice.
    if (posted == 1) {
        for (void** owned : {&job->response, reinterpret_cast<void**>(&job->url), &job->param,
                             reinterpret_cast<void**>(&job->localpath)}) {
            pavo_free(*owned);
            *owned = nullptr;
        }
        job->responsesize = 0;
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

pavo_status_t pavo_upload(const char* url, const char* userdata, int phase,
                          tpavo_storetype storetype, MemoryStruct* chunk, const char* localpath,
                          tpavo_httpecode* httpecode, long* httpretcode)
{
    pavo_log_info("phase=%d, pavo_upload url=%s \r\n", phase, url != nullptr ? url : "(null)");
    // Kept: a failed transfer still reports status 200.
    if (httpretcode != nullptr)
        *httpretcode = 200;
    if (url == nullptr || chunk == nullptr)
        return PAVO_STATUS_FAILURE;
    CurlEasy curl;
    if (curl.get() == nullptr) {
        pavo_inner_seterror(PAVO_STATUS_FAILURE, "libcurl could not make a transfer handle");
        return PAVO_STATUS_FAILURE;
    }
    const bool strict = pavo_relaxed_load(g_pavo_env.strictlocal) != 0;
    const bool streamed = streams_to_file(phase, storetype, localpath);
    DownloadFile file(strict);
    if (streamed && !file.open(localpath) && strict) {
        pavo_inner_seterror(PAVO_STATUS_FAILURE, "download: cannot create a file beside %s",
                            localpath);
        return PAVO_STATUS_FAILURE;
    }
    // A null body would make libcurl read the body from standard input.
    curl_easy_setopt(curl.get(), CURLOPT_URL, url);
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, userdata != nullptr ? userdata : "");
    set_time_bounds(curl.get(), storetype);
    if (phase != PAVO_PHASE_NOBUFFER) {
        chunk->size = 0;
        chunk->data = nullptr;
        chunk->capacity = 0;
        chunk->streamed = streamed;
        chunk->stored = 0;
        // Downloads to a file are not capped.
        chunk->limit = storetype == STORETYPE_FILE
                           ? 0
                           : static_cast<uint32_t>(pavo_relaxed_load(g_pavo_env.maxanswersize));
        curl_easy_setopt(curl.get(), CURLOPT_CONNECTTIMEOUT, 15L);
        if (streamed) {
            curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &file);
            curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, DownloadFile::receive);
        } else {
            curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, chunk);
            curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, chunkdata_callback);
        }
        curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
    }
    char curl_error[CURL_ERROR_SIZE] = {0};
    curl_easy_setopt(curl.get(), CURLOPT_ERRORBUFFER, curl_error);
    pavo_inner_jointransfer(curl.get());
    pavo_inner_fleetprepare(curl.get());
    CURLcode code = pavo_inner_perform(curl.get());
    if (streamed)
        chunk->stored = file.received();
    // The handle may outlive this frame in the connection share.
    curl_easy_setopt(curl.get(), CURLOPT_ERRORBUFFER, nullptr);
    pavo_inner_fleetnote(curl.get(), code);
    if (code != CURLE_OK) {
        pavo_log_info("Curl told us error %d \r\n", static_cast<int>(code));
        pavo_inner_seterror(PAVO_STATUS_FAILURE, "transfer to %s failed: %s (libcurl code %d)", url,
                            curl_error[0] != '\0' ? curl_error : curl_easy_strerror(code),
                            static_cast<int>(code));
        if (httpecode != nullptr)
            *httpecode = trans_to_pavocode(code);
        return PAVO_STATUS_FAILURE;
    }
    long status = 0;
    CURLcode info = curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
    if (info == CURLE_OK && httpretcode != nullptr)
        *httpretcode = status;
    if (info != CURLE_OK || status != 200) {
        pavo_inner_seterror(PAVO_STATUS_FAILURE, "HTTP status %ld from %s", status, url);
        return PAVO_STATUS_FAILURE;
    }
    if (storetype != STORETYPE_FILE)
        return PAVO_STATUS_SUCCESS;
    if (localpath == nullptr)
        return PAVO_STATUS_FAILURE;
    return streamed ? file.commit() : store_in_file(localpath, chunk, strict);
}

// Grows the buffer geometrically (an allocator that moves blocks made exact
// growth quadratic), never past the cap. On a failed allocation the transfer
// goes on and the answer is dropped.
size_t chunkdata_callback(void* ptr, size_t size, size_t nmemb, void* data)
{
    size_t received = size * nmemb;
    if (received == 0)
        return 0;
    MemoryStruct* chunk = static_cast<MemoryStruct*>(data);
    // Past the cap the answer is dropped and the short count ends the transfer (code 23).
    if (chunk->limit != 0 && static_cast<size_t>(chunk->size) + received > chunk->limit) {
        pavo_log_info("answer exceeds maxanswersize:%u\r\n", chunk->limit);
        free(chunk->data);
        chunk->data = nullptr;
        chunk->size = 0;
        chunk->capacity = 0;
        return 0;
    }
    const size_t needed = static_cast<size_t>(chunk->size) + received + 1;
    char* block = chunk->data;
    if (chunk->data == nullptr || needed > chunk->capacity) {
        block = nullptr;
        const size_t grown = answer_capacity(chunk, needed);
        if (needed <= UINT32_MAX)
            block = static_cast<char*>(chunk->data == nullptr ? calloc(1, grown)
                                                              : realloc(chunk->data, grown));
        if (block == nullptr) {
            free(chunk->data);
            chunk->data = nullptr;
            chunk->size = 0;
            chunk->capacity = 0;
            return received;
        }
        chunk->capacity = static_cast<uint32_t>(grown);
    }
    memcpy(block + chunk->size, ptr, received);
    chunk->size += static_cast<uint32_t>(received);
    block[chunk->size] = '\0';
    chunk->data = block;
    return received;
}

tpavo_httpecode trans_to_pavocode(CURLcode code) { return static_cast<tpavo_httpecode>(code); }

}  // extern "C"
