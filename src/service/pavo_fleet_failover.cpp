/*
 * pavo_fleet_failover.cpp - what failover needs around a transfer: the note
 * of how the last transfer of the thread ended (and its timings, handed to
 * the statistics), a row's primary and second address, the hold on a failed
 * primary per service, and the address the thread's last request reached.
 */
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <atomic>

#include "service/pavo_fleet.h"
#include "service/pavo_service_requests.h"

namespace {

// The services that have a second address, by the field of their first; the
// second is the next row of the session field table.
constexpr pavo_field_id kSecondAddressed[] = {PAVO_FIELD_AAASRVADDRESS, PAVO_FIELD_EPGSRVADDRESS,
                                              PAVO_FIELD_PLAYSRVADDRESS,
                                              PAVO_FIELD_UPGRADESRVADDRESS};
static_assert(PAVO_FIELD_AAASRVADDRESS2 == PAVO_FIELD_AAASRVADDRESS + 1 &&
                  PAVO_FIELD_EPGSRVADDRESS2 == PAVO_FIELD_EPGSRVADDRESS + 1 &&
                  PAVO_FIELD_PLAYSRVADDRESS2 == PAVO_FIELD_PLAYSRVADDRESS + 1 &&
                  PAVO_FIELD_UPGRADESRVADDRESS2 == PAVO_FIELD_UPGRADESRVADDRESS + 1,
              "a second address follows its first");
constexpr int kSlots = sizeof kSecondAddressed / sizeof kSecondAddressed[0];

// Monotonic milliseconds until which the slot's primary is passed over.
std::atomic<long long> g_held_until[kSlots];

thread_local pavo_transfer_note t_note = {-1, 0, 0, -1};
thread_local char t_lastaddress[PAVO_PROP_SIZE];
thread_local bool t_fresh_connection = false;

// Retry-After in seconds; the HTTP-date form is not honoured.
long retry_after_of(CURL* curl)
{
    struct curl_header* header = nullptr;
    if (curl_easy_header(curl, "Retry-After", 0, CURLH_HEADER, -1, &header) != CURLHE_OK ||
        header == nullptr || header->value == nullptr)
        return -1;
    char* end = nullptr;
    long seconds = strtol(header->value, &end, 10);
    return end != header->value && seconds >= 0 ? seconds : -1;
}

}  // namespace

extern "C" {

long long pavo_inner_monotonicms(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

void pavo_inner_fleetnote(CURL* curl, CURLcode code)
{
    t_note.code = static_cast<int>(code);
    t_note.status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &t_note.status);
    long sent = 0;
    curl_easy_getinfo(curl, CURLINFO_REQUEST_SIZE, &sent);
    t_note.sent = sent > 0;
    t_note.retry_after = code == CURLE_OK ? retry_after_of(curl) : -1;

    const CURLINFO phases[5] = {CURLINFO_NAMELOOKUP_TIME_T, CURLINFO_CONNECT_TIME_T,
                                CURLINFO_APPCONNECT_TIME_T, CURLINFO_STARTTRANSFER_TIME_T,
                                CURLINFO_TOTAL_TIME_T};
    unsigned long long times[5] = {};
    for (int i = 0; i < 5; ++i) {
        curl_off_t value = 0;
        if (curl_easy_getinfo(curl, phases[i], &value) == CURLE_OK && value > 0)
            times[i] = static_cast<unsigned long long>(value);
    }
    pavo_inner_stattimes(times);
}

void pavo_inner_wantfreshconnection(int fresh) { t_fresh_connection = fresh != 0; }

void pavo_inner_fleetprepare(CURL* curl)
{
    if (t_fresh_connection)
        curl_easy_setopt(curl, CURLOPT_FRESH_CONNECT, 1L);
}

void pavo_inner_clearnote(void) { t_note = {-1, 0, 0, -1}; }

pavo_transfer_note pavo_inner_lastnote(void) { return t_note; }

int pavo_inner_failoverworthy(const pavo_transfer_note* note)
{
    switch (note->code) {
    case CURLE_OK:
        return note->status == 502 || note->status == 503 || note->status == 504;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
        return 1;
    default:
        // Certificate and protocol errors are not the platform being away.
        return 0;
    }
}

int pavo_inner_fleetaddresses(const pavo_request_kind* kind, const char* url,
                              pavo_fleet_addresses* out)
{
    pavo_inner_readfield(&g_pavo_fields[kind->base], out->primary, sizeof out->primary);
    out->second[0] = '\0';
    out->slot = -1;
    for (int i = 0; i < kSlots; ++i)
        if (kind->base == kSecondAddressed[i])
            out->slot = i;
    if (out->slot < 0)
        return 0;
    pavo_inner_readfield(&g_pavo_fields[kind->base + 1], out->second, sizeof out->second);
    const size_t primary_length = strlen(out->primary);
    if (out->second[0] == '\0' || strncmp(url, out->primary, primary_length) != 0)
        return 0;
    PavoText(out->second_url, sizeof out->second_url)
        .append(out->second)
        .append(url + primary_length);
    return 1;
}

int pavo_inner_primaryheld(int slot)
{
    return slot >= 0 && slot < kSlots &&
           g_held_until[slot].load(std::memory_order_relaxed) > pavo_inner_monotonicms();
}

void pavo_inner_holdprimary(int slot, int hold)
{
    if (slot < 0 || slot >= kSlots)
        return;
    const long long seconds = pavo_relaxed_load(g_pavo_env.failoverhold);
    g_held_until[slot].store(hold ? pavo_inner_monotonicms() + seconds * 1000 : 0,
                             std::memory_order_relaxed);
}

void pavo_inner_setlastaddress(const char* address)
{
    PavoText(t_lastaddress, sizeof t_lastaddress).append(address != nullptr ? address : "");
}

const char* pavo_getlastaddress(void) { return t_lastaddress; }

}  // extern "C"
