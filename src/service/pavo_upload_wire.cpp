/*
 * pavo_upload_wire.cpp - the pipeline's wire: one HTTP POST over libcurl's
 * easy interface (pavo_upload: options, time bounds, receive, store in memory
 * or in a file), the receive buffer, and a synchronous request's transfer on
 * the caller's thread. Connections come from the connection cache.
 */
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "runtime/pavo_runtime.h"
#include "service/pavo_fleet.h"
#include "service/pavo_global.h"
#include "service/pavo_service_calls.h"
#include "service/pavo_upload.h"
#include "service/pavo_upload_file.h"

namespace {

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

uint32_t chunk_size(const MemoryStruct* chunk)
{
    return chunk != nullptr && chunk->data != nullptr ? chunk->size : 0;
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

// The receive buffer comes from the C library, not the pool.
MemoryStruct* pavo_inner_newchunk(void)
{
    return static_cast<MemoryStruct*>(calloc(1, sizeof(MemoryStruct)));
}

void pavo_inner_freechunk(MemoryStruct* chunk)
{
    if (chunk == nullptr)
        return;
    free(chunk->data);
    free(chunk);
}

void* pavo_inner_chunktopool(const MemoryStruct* chunk, uint32_t* size)
{
    *size = chunk_size(chunk);
    return pavo_copy_bytes(*size != 0 ? chunk->data : "", *size);
}

pavo_status_t pavo_inner_syncjob(tpavo_storetype storetype, const char* localpath, int phase,
                                 int eventtype, const char* url, const char* data,
                                 void** returndata, size_t* returndatasize,
                                 tpavo_httpecode* httpecode, long* httpretcode)
{
    MemoryStruct* chunk = pavo_inner_newchunk();
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
        uint32_t size = chunk_size(chunk);
        if (returndata != nullptr)
            *returndata = pavo_inner_chunktopool(chunk, &size);
        if (returndatasize != nullptr)
            *returndatasize = size;
    }
    pavo_inner_freechunk(chunk);
    return result;
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
        pavo_inner_seterror(PAVO_STATUS_FAILURE, "transfer to %s failed: %s (libcurl code %d)",
                            url, curl_error[0] != '\0' ? curl_error : curl_easy_strerror(code),
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
