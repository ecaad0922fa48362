/*
 * pavo_upload_share.cpp - connection reuse and TLS for every transfer: one
 * libcurl share of connections, DNS answers and TLS sessions (korix.conf
 * "keepalive", default 1) that the workers and the callers' threads use at
 * once, each thread with an easy handle of its own that it reuses; and the
 * CA bundle ("cafile"). Peer and host verification stay on. Joined by
 * pavo_upload; created and released by the lifecycle.
 */
#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

#include "service/pavo_global.h"
#include "service/pavo_upload.h"

namespace {

// Written only by start-up and shut-down, which run alone; transfers read it
// after start-up has handed them work through the pool's or caller's order.
CURLSH* g_share = nullptr;

// One lock per kind of shared data, so a DNS lookup does not wait for the
// connection cache.
std::mutex g_share_locks[CURL_LOCK_DATA_LAST];

void lock_share(CURL*, curl_lock_data data, curl_lock_access, void*)
{
    g_share_locks[data].lock();
}

void unlock_share(CURL*, curl_lock_data data, void*)
{
    g_share_locks[data].unlock();
}

// With the share, each thread keeps one easy handle and resets it before
// every transfer: a reset handle starts from the defaults like a new one,
// without a new handle's allocations and its transfer engine's wake-up
// socket pair. The list owns them all; they go with the share, or with their
// thread when it ends first. A handle of an earlier start (older
// generation) is never touched again.
struct Kept {
    CURL* curl;
    unsigned generation;
    bool operator==(const Kept& other) const
    {
        return curl == other.curl && generation == other.generation;
    }
};
std::atomic<unsigned> g_generation{0};
std::mutex g_kept_lock;
std::vector<Kept> g_kept;

// The calling thread's handle; threads that come and go do not pile handles
// up until shut-down.
struct ThreadHandle {
    Kept kept = {nullptr, 0};
    ~ThreadHandle()
    {
        if (kept.curl == nullptr)
            return;
        std::lock_guard<std::mutex> lock(g_kept_lock);
        auto found = std::find(g_kept.begin(), g_kept.end(), kept);
        if (found == g_kept.end())
            return;  // already released with its share
        g_kept.erase(found);
        curl_easy_cleanup(kept.curl);
    }
};
thread_local ThreadHandle t_handle;

bool is_kept(const CURL* curl)
{
    return curl != nullptr && curl == t_handle.kept.curl &&
           t_handle.kept.generation == g_generation.load(std::memory_order_relaxed);
}

CURL* keep_new_handle()
{
    CURL* curl = curl_easy_init();
    if (curl == nullptr)
        return nullptr;
    const Kept kept = {curl, g_generation.load(std::memory_order_relaxed)};
    try {
        std::lock_guard<std::mutex> lock(g_kept_lock);
        g_kept.push_back(kept);
    } catch (...) {
        return curl;  // not kept: released after its transfer
    }
    t_handle.kept = kept;
    return curl;
}

}  // namespace

extern "C" {

void pavo_inner_shareinit(void)
{
    pavo_inner_sharecleanup();
    if (pavo_relaxed_load(g_pavo_env.keepalive) == 0)
        return;
    g_share = curl_share_init();
    g_generation.fetch_add(1, std::memory_order_relaxed);
    if (g_share == nullptr)
        return;  // transfers then open their own connections, as documented
    curl_share_setopt(g_share, CURLSHOPT_LOCKFUNC, lock_share);
    curl_share_setopt(g_share, CURLSHOPT_UNLOCKFUNC, unlock_share);
    curl_share_setopt(g_share, CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
    curl_share_setopt(g_share, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
    curl_share_setopt(g_share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
}

void pavo_inner_sharecleanup(void)
{
    {
        std::lock_guard<std::mutex> lock(g_kept_lock);
        for (const Kept& kept : g_kept)
            curl_easy_cleanup(kept.curl);
        g_kept.clear();
    }
    if (g_share != nullptr)
        curl_share_cleanup(g_share);
    g_share = nullptr;
}

CURL* pavo_inner_takehandle(void)
{
    if (g_share == nullptr)
        return curl_easy_init();
    if (is_kept(t_handle.kept.curl)) {
        curl_easy_reset(t_handle.kept.curl);
        return t_handle.kept.curl;
    }
    return keep_new_handle();
}

void pavo_inner_releasehandle(CURL* curl)
{
    if (curl != nullptr && !is_kept(curl))
        curl_easy_cleanup(curl);
}

// After the documented options, so that with keepalive 0 and no cafile a
// request is the same on the wire as one without this step.
void pavo_inner_jointransfer(CURL* curl)
{
    if (g_share != nullptr)
        curl_easy_setopt(curl, CURLOPT_SHARE, g_share);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L);
    if (g_pavo_env.cafile[0] != '\0')
        curl_easy_setopt(curl, CURLOPT_CAINFO, g_pavo_env.cafile);
}

}  // extern "C"
