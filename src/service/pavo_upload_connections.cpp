/*
 * pavo_upload_connections.cpp - the connection cache and TLS for every
 * transfer: one libcurl share of connections, DNS answers and TLS sessions
 * (korix.conf "keepalive", default 1) that the workers and the callers'
 * threads use at once, each thread running its transfers on a transfer engine
 * of its own; and the CA bundle ("cafile"). Peer and host verification stay
 * on, and only http and https are spoken. Joined by the wire; created and
 * released by the lifecycle.
 */
#include <algorithm>
#include <atomic>
#include <initializer_list>
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

void unlock_share(CURL*, curl_lock_data data, void*) { g_share_locks[data].unlock(); }

// With the share, each thread keeps one transfer engine (a multi handle)
// and runs its requests' own easy handles on it: the engine that
// curl_easy_perform builds for every new easy handle costs allocations and a
// wake-up socket pair each time. The list owns every engine; they go with
// the share, or with their thread when it ends first. An engine of an
// earlier start (older generation) is never touched again.
//
// Creating and cleaning up the easy handles happens while the thread waits
// for an answer anyway: a request takes a handle made during the previous
// wait, and leaves its own to be cleaned up during the next one. Each
// transfer still has a fresh handle of its own.
struct Engine {
    CURLM* multi = nullptr;
    CURL* spare = nullptr;     // never used; the next request's
    CURL* finished = nullptr;  // the last request's, to clean up
    unsigned generation = 0;

    void release()
    {
        for (CURL** handle : {&finished, &spare}) {
            if (*handle != nullptr)
                curl_easy_cleanup(*handle);
            *handle = nullptr;
        }
        if (multi != nullptr)
            curl_multi_cleanup(multi);
        multi = nullptr;
    }
    ~Engine();
};
std::atomic<unsigned> g_generation{0};
std::mutex g_kept_lock;
std::vector<Engine*> g_kept;

// Threads that come and go do not pile engines up until shut-down.
Engine::~Engine()
{
    std::lock_guard<std::mutex> lock(g_kept_lock);
    auto found = std::find(g_kept.begin(), g_kept.end(), this);
    if (found == g_kept.end())
        return;  // none, or already released with its share
    g_kept.erase(found);
    release();
}
thread_local Engine t_engine;

// Null when no engine can be had: the transfer then runs on its own.
Engine* thread_engine()
{
    const unsigned generation = g_generation.load(std::memory_order_relaxed);
    if (t_engine.multi != nullptr && t_engine.generation == generation)
        return &t_engine;
    // Not listed: none yet, or an older start's that went with its share
    // (stale fields). Shut-down empties the list, so a listed one is current.
    std::lock_guard<std::mutex> lock(g_kept_lock);
    if (std::find(g_kept.begin(), g_kept.end(), &t_engine) != g_kept.end())
        return t_engine.multi != nullptr ? &t_engine : nullptr;
    t_engine.spare = nullptr;
    t_engine.finished = nullptr;
    t_engine.multi = curl_multi_init();
    if (t_engine.multi == nullptr)
        return nullptr;
    try {
        g_kept.push_back(&t_engine);
    } catch (...) {
        t_engine.release();
        return nullptr;
    }
    t_engine.generation = generation;
    return &t_engine;
}

// Done while the request is out: clean up the last handle, make the next one.
void idle_chores(Engine& engine)
{
    if (engine.finished != nullptr)
        curl_easy_cleanup(engine.finished);
    engine.finished = nullptr;
    if (engine.spare == nullptr)
        engine.spare = curl_easy_init();
}

// What curl_easy_perform does, on the thread's engine.
CURLcode perform_on(Engine& engine, CURL* curl)
{
    if (curl_multi_add_handle(engine.multi, curl) != CURLM_OK)
        return curl_easy_perform(curl);
    CURLMcode state = CURLM_OK;
    bool chores_done = false;
    for (;;) {
        int running = 0;
        state = curl_multi_perform(engine.multi, &running);
        if (state != CURLM_OK || running == 0)
            break;
        if (!chores_done)
            idle_chores(engine);
        chores_done = true;
        state = curl_multi_poll(engine.multi, nullptr, 0, 1000, nullptr);
        if (state != CURLM_OK)
            break;
    }
    CURLcode code = state == CURLM_OUT_OF_MEMORY ? CURLE_OUT_OF_MEMORY
                                                 : CURLE_BAD_FUNCTION_ARGUMENT;
    int left = 0;
    for (CURLMsg* message; (message = curl_multi_info_read(engine.multi, &left)) != nullptr;)
        if (message->msg == CURLMSG_DONE && message->easy_handle == curl)
            code = message->data.result;
    curl_multi_remove_handle(engine.multi, curl);
    return code;
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
        for (Engine* engine : g_kept)
            engine->release();
        g_kept.clear();
    }
    if (g_share != nullptr)
        curl_share_cleanup(g_share);
    g_share = nullptr;
}

// Shut-down: a transfer waiting for its answer looks at once whether to abort.
void pavo_inner_wakeengines(void)
{
    std::lock_guard<std::mutex> lock(g_kept_lock);
    for (Engine* engine : g_kept)
        if (engine->multi != nullptr)
            curl_multi_wakeup(engine->multi);
}

CURL* pavo_inner_takeeasy(void)
{
    Engine* engine = g_share != nullptr ? thread_engine() : nullptr;
    if (engine == nullptr || engine->spare == nullptr)
        return curl_easy_init();
    CURL* curl = engine->spare;
    engine->spare = nullptr;
    return curl;
}

void pavo_inner_puteasy(CURL* curl)
{
    Engine* engine = g_share != nullptr ? thread_engine() : nullptr;
    if (engine == nullptr || engine->finished != nullptr) {
        curl_easy_cleanup(curl);
        return;
    }
    engine->finished = curl;
}

CURLcode pavo_inner_perform(CURL* curl)
{
    Engine* engine = g_share != nullptr ? thread_engine() : nullptr;
    return engine != nullptr ? perform_on(*engine, curl) : curl_easy_perform(curl);
}

// After the documented options, so that with keepalive 0 and no cafile a
// request is the same on the wire as one without this step.
void pavo_inner_jointransfer(CURL* curl)
{
    if (g_share != nullptr)
        curl_easy_setopt(curl, CURLOPT_SHARE, g_share);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L);
    // Whatever an address or a redirect names: file://, gopher:// and the
    // rest end with code 1 before any byte moves.
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    if (g_pavo_env.cafile[0] != '\0')
        curl_easy_setopt(curl, CURLOPT_CAINFO, g_pavo_env.cafile);
}

}  // extern "C"
