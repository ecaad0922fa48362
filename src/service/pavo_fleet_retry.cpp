/*
 * pavo_fleet_retry.cpp - one request's transfers when the fleet settings are
 * on: failover to the second address, repeats with capped exponential
 * back-off and full jitter, and the re-login shared by every thread (single
 * flight); an asynchronous repeat waits in a timed line of its own, not on a
 * worker. With every key at 0 or empty a request is one transfer, as before.
 */
#include <stdlib.h>
#include <string.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>

#include "service/pavo_fleet.h"
#include "service/pavo_service_requests.h"

namespace {

constexpr long kMaxRetryAfter = 300;  // seconds honoured of a Retry-After

// ---------------------------------------------------------------- re-login

// Successful re-logins so far; a request remembers the count it was built
// under, so that a token older than the last re-login repeats without
// another login.
std::mutex g_login_lock;
std::condition_variable g_login_done;
bool g_login_running = false;
unsigned g_generation = 0;

unsigned current_generation()
{
    std::lock_guard<std::mutex> lock(g_login_lock);
    return g_generation;
}

// True when a token newer than the request's is there to repeat with.
bool shared_relogin(unsigned generation)
{
    std::unique_lock<std::mutex> lock(g_login_lock);
    if (g_generation != generation)
        return true;
    if (g_login_running) {
        g_login_done.wait(lock, [] { return !g_login_running; });
        return g_generation != generation;
    }
    g_login_running = true;
    lock.unlock();
    const bool accepted = pavo_inner_relogin() != 0;
    lock.lock();
    if (accepted) {
        ++g_generation;
        pavo_inner_statlogin();
    }
    g_login_running = false;
    g_login_done.notify_all();
    return accepted;
}

// The "reloginon" list: comma-separated result codes.
bool relogin_code(int code)
{
    char list[PAVO_PROP_SIZE];
    pavo_inner_readfield(&g_pavo_fields[PAVO_FIELD_RELOGINON], list, sizeof list);
    for (char* at = list; *at != '\0';) {
        char* end = nullptr;
        long listed = strtol(at, &end, 10);
        if (end == at)
            return false;
        if (listed == code)
            return true;
        at = end;
        while (*at == ' ' || *at == ',')
            ++at;
    }
    return false;
}

bool answer_asks_relogin(const pavo_request_kind* kind, const MemoryStruct* chunk)
{
    if (kind == nullptr || kind->repeat == PAVO_REPEAT_ACCOUNT || !kind->parsed ||
        chunk->data == nullptr || pavo_relaxed_load(g_pavo_env.reloginon[0]) == '\0')
        return false;
    tpavo_result* result = pavo_parse(chunk->data, chunk->size, kind->sync_datatype);
    const bool asks = result != nullptr && result->resultcode < 0 &&
                      relogin_code(result->resultcode);
    pavo_iner_freeresultitem(result);
    return asks;
}

// The body with its "UserToken" value replaced by the session's token now.
char* body_with_new_token(const char* body)
{
    std::string text = body != nullptr ? body : "";
    size_t at = text.rfind("UserToken=", 0) == 0 ? 0 : text.find("&UserToken=");
    if (at == std::string::npos)
        return pavo_copy_bytes(text.data(), text.size());
    at = text.find('=', at) + 1;
    size_t end = text.find('&', at);
    char token[PAVO_PROP_SIZE];
    char encoded[3 * PAVO_PROP_SIZE];
    const int guarded = pavo_inner_sessionread_begin();
    pavo_inner_readfield(&g_pavo_fields[PAVO_FIELD_USERTOKEN], token, sizeof token);
    pavo_inner_sessionread_end(guarded);
    pavo_inner_urlencode_cut(token, encoded, sizeof encoded);
    text.replace(at, (end == std::string::npos ? text.size() : end) - at, encoded);
    return pavo_copy_bytes(text.data(), text.size());
}

// ---------------------------------------------------------------- attempts

thread_local std::minstd_rand t_random{std::random_device{}()};

// All attempts of one request share its total bound ("requesttimeout"): a
// repeat that would start past it is not made.
bool retry_deadline_passed(const pavo_fleet_state* state, long next_delay_ms)
{
    const long long bound_ms = 1000LL * pavo_relaxed_load(g_pavo_env.requesttimeout);
    return bound_ms > 0 &&
           pavo_inner_monotonicms() + next_delay_ms - state->started_ms >= bound_ms;
}

bool may_send_again(const pavo_request_kind* kind, const pavo_transfer_note& note)
{
    return kind != nullptr && (kind->repeat == PAVO_REPEAT_ANY || !note.sent);
}

bool retry_worthy(const pavo_transfer_note& note)
{
    return pavo_inner_failoverworthy(&note) || (note.code == CURLE_OK && note.status == 429);
}

struct Transfer {
    int eventtype;
    int phase;
    tpavo_storetype storetype;
    MemoryStruct* chunk;
    const char* localpath;
    tpavo_httpecode* httpecode;
    long* httpretcode;
    bool once;  // must not reach the platform twice: on a connection of its own
};

// One transfer; an earlier attempt's answer and codes are dropped first.
pavo_status_t attempt(const Transfer& t, const char* url, const char* body, bool repeat)
{
    if (repeat) {
        free(t.chunk->data);
        t.chunk->data = nullptr;
        t.chunk->size = 0;
        if (t.httpecode != nullptr)
            *t.httpecode = PAVO_HTTPE_OK;
    }
    pavo_inner_clearnote();
    pavo_inner_statcount(t.eventtype, PAVO_STAT_ATTEMPTS);
    pavo_inner_wantfreshconnection(t.once);
    pavo_status_t status = pavo_upload(url, body, t.phase, t.storetype, t.chunk, t.localpath,
                                       t.httpecode, t.httpretcode);
    pavo_inner_wantfreshconnection(0);
    return status;
}

void count_failure(int eventtype, const pavo_transfer_note& note)
{
    if (note.code == CURLE_OPERATION_TIMEDOUT)
        pavo_inner_statcount(eventtype, PAVO_STAT_TIMEOUT);
    else if (note.code != CURLE_OK)
        pavo_inner_statcount(eventtype, PAVO_STAT_CONNECTION);
    else
        pavo_inner_statcount(eventtype, PAVO_STAT_HTTPSTATUS);
}

void copy_address(char (&out)[PAVO_PROP_SIZE], const char* text)
{
    PavoText(out, sizeof out).append(text);
}

// ---------------------------------------------------------------- timed line

// Jobs waiting for their repeat, by due time; one thread hands each to the
// pool when it is due, so no worker sits out a back-off.
std::mutex g_line_lock;
std::condition_variable g_line_changed;
std::multimap<std::chrono::steady_clock::time_point, t_httpjobarg*> g_line;
std::thread g_line_thread;
bool g_line_stopping = false;

void run_line()
{
    std::unique_lock<std::mutex> lock(g_line_lock);
    while (!g_line_stopping) {
        if (g_line.empty()) {
            g_line_changed.wait(lock);
            continue;
        }
        auto first = g_line.begin();
        if (first->first > std::chrono::steady_clock::now()) {
            g_line_changed.wait_until(lock, first->first);
            continue;
        }
        t_httpjobarg* job = first->second;
        g_line.erase(first);
        lock.unlock();
        if (pavo_iner_addjob(pavo_inner_httpjob, job) != PAVO_STATUS_SUCCESS)
            pavo_inner_freejob(job);
        lock.lock();
    }
}

void drop_line()
{
    for (auto& [due, job] : g_line)
        pavo_inner_freejob(job);
    g_line.clear();
}

}  // namespace

extern "C" {

long pavo_inner_retrydelay(int n, long retry_after, unsigned long long random)
{
    const long long base = pavo_relaxed_load(g_pavo_env.retrybase);
    const long long cap = pavo_relaxed_load(g_pavo_env.retrycap);
    const int doublings = n < 0 ? 0 : (n > 30 ? 30 : n);
    long long bound = base << doublings;
    if (bound > cap)
        bound = cap;
    long long delay =
        bound > 0 ? static_cast<long long>(random % static_cast<unsigned long long>(bound + 1))
                  : 0;
    if (retry_after >= 0)
        delay += (retry_after < kMaxRetryAfter ? retry_after : kMaxRetryAfter) * 1000LL;
    return static_cast<long>(delay);
}

pavo_fleet_outcome pavo_inner_fleetrun(int eventtype, const char* url, const char* body,
                                       int phase, tpavo_storetype storetype, MemoryStruct* chunk,
                                       const char* localpath, tpavo_httpecode* httpecode,
                                       long* httpretcode, pavo_fleet_state* state, int may_defer,
                                       long* delay_ms, pavo_status_t* status)
{
    const pavo_request_kind* kind = pavo_inner_requestkind(eventtype);
    if (!state->started) {
        state->started = 1;
        state->generation = current_generation();
        state->started_ms = pavo_inner_monotonicms();
        if (!state->internal)
            pavo_inner_statcount(eventtype, PAVO_STAT_REQUESTS);
    }
    const bool fleet_on = pavo_relaxed_load(g_pavo_env.failover) != 0 ||
                          pavo_relaxed_load(g_pavo_env.retries) != 0;
    // libcurl sends a request again, unasked, when a kept connection closes
    // before any answer byte; a recharge, a report or an extended service call
    // therefore never rides a kept connection, and with the fleet keys on
    // neither does any request that must not go twice once sent.
    const int repeat_class = kind != nullptr ? kind->repeat : PAVO_REPEAT_ANY;
    const bool once = fleet_on ? repeat_class != PAVO_REPEAT_ANY
                               : repeat_class == PAVO_REPEAT_UNSENT &&
                                     pavo_relaxed_load(g_pavo_env.keepalive) != 0;
    const Transfer t = {eventtype, phase,     storetype,   chunk,
                        localpath, httpecode, httpretcode, once};
    pavo_fleet_addresses addresses;
    const int guarded = pavo_inner_sessionread_begin();
    const bool has_second = kind != nullptr && pavo_inner_fleetaddresses(kind, url, &addresses);
    pavo_inner_sessionread_end(guarded);
    const bool can_fail_over = has_second && pavo_relaxed_load(g_pavo_env.failover) != 0;
    // The base address, or the whole URL where the base is not known.
    copy_address(state->address, kind != nullptr && strncmp(url, addresses.primary,
                                                            strlen(addresses.primary)) == 0
                                     ? addresses.primary
                                     : url);
    bool repeat = state->retries_done > 0 || state->relogged;
    for (;;) {
        const char* sent_body = state->body != nullptr ? state->body : body;
        // A held primary is passed over: the second address goes first.
        const bool second_first = can_fail_over && pavo_inner_primaryheld(addresses.slot);
        *status = attempt(t, second_first ? addresses.second_url : url, sent_body, repeat);
        repeat = true;
        pavo_transfer_note note = pavo_inner_lastnote();
        if (can_fail_over)
            copy_address(state->address, second_first ? addresses.second : addresses.primary);
        if (can_fail_over && pavo_inner_failoverworthy(&note) && may_send_again(kind, note)) {
            if (!second_first)
                pavo_inner_holdprimary(addresses.slot, 1);
            pavo_inner_statcount(eventtype, PAVO_STAT_FAILOVERS);
            *status = attempt(t, second_first ? url : addresses.second_url, sent_body, true);
            note = pavo_inner_lastnote();
            copy_address(state->address, second_first ? addresses.primary : addresses.second);
            if (second_first && *status == PAVO_STATUS_SUCCESS)
                pavo_inner_holdprimary(addresses.slot, 0);
        }
        if (*status == PAVO_STATUS_SUCCESS) {
            if (!state->relogged && answer_asks_relogin(kind, chunk) &&
                shared_relogin(state->generation)) {
                state->relogged = 1;
                pavo_free(state->body);
                state->body = body_with_new_token(sent_body);
                pavo_inner_statcount(eventtype, PAVO_STAT_RELOGINS);
                continue;
            }
            return PAVO_FLEET_DONE;
        }
        const long retries = pavo_relaxed_load(g_pavo_env.retries);
        if (state->retries_done < retries && retry_worthy(note) && may_send_again(kind, note)) {
            const long delay =
                pavo_inner_retrydelay(state->retries_done, note.retry_after, t_random());
            if (!retry_deadline_passed(state, delay)) {
                ++state->retries_done;
                pavo_inner_statcount(eventtype, PAVO_STAT_RETRIES);
                if (may_defer) {
                    *delay_ms = delay;
                    return PAVO_FLEET_LATER;
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(delay));
                continue;
            }
        }
        count_failure(eventtype, note);
        return PAVO_FLEET_DONE;
    }
}

void pavo_inner_fleetdefer(t_httpjobarg* job, long delay_ms)
{
    std::lock_guard<std::mutex> lock(g_line_lock);
    if (g_line_stopping) {
        pavo_inner_freejob(job);
        return;
    }
    try {
        if (!g_line_thread.joinable())
            g_line_thread = std::thread(run_line);
        g_line.emplace(std::chrono::steady_clock::now() + std::chrono::milliseconds(delay_ms),
                       job);
    } catch (...) {
        pavo_inner_freejob(job);
        return;
    }
    g_line_changed.notify_one();
}

void pavo_inner_fleetstop(void)
{
    {
        std::lock_guard<std::mutex> lock(g_line_lock);
        g_line_stopping = true;
        g_line_changed.notify_all();
    }
    if (g_line_thread.joinable())
        g_line_thread.join();
    std::lock_guard<std::mutex> lock(g_line_lock);
    drop_line();
}

void pavo_inner_fleetrelease(void)
{
    std::lock_guard<std::mutex> lock(g_line_lock);
    drop_line();
    g_line_stopping = false;
    for (int slot = 0; slot < 4; ++slot)
        pavo_inner_holdprimary(slot, 0);
}

}  // extern "C"
