/*
 * pavo_fleet_stats.cpp - request statistics: per request kind one relaxed
 * atomic per counter, and the timings of the latest transfers in a ring that
 * writers fill without a lock. pavo_getstats sorts a copy for percentiles.
 */
#include <string.h>

#include <algorithm>
#include <atomic>
#include <vector>

#include "service/pavo_fleet.h"

namespace {

constexpr int kPhases = 5;

std::atomic<unsigned long long> g_counters[PAVO_STATS_KINDS][PAVO_STAT_COUNT];
std::atomic<unsigned long long> g_logins{0};
std::atomic<unsigned long long> g_window[kPhases][PAVO_STATS_WINDOW];
std::atomic<unsigned long long> g_next{0};

// Nearest rank over the sorted samples.
unsigned long long rank(const std::vector<unsigned long long>& sorted, unsigned percent)
{
    if (sorted.empty())
        return 0;
    size_t at = (sorted.size() * percent + 99) / 100;
    return sorted[at > 0 ? at - 1 : 0];
}

pavo_stats_timing percentiles(int phase, size_t samples)
{
    std::vector<unsigned long long> values(samples);
    for (size_t i = 0; i < samples; ++i)
        values[i] = g_window[phase][i].load(std::memory_order_relaxed);
    std::sort(values.begin(), values.end());
    pavo_stats_timing timing = {};
    timing.p50 = rank(values, 50);
    timing.p90 = rank(values, 90);
    timing.p99 = rank(values, 99);
    timing.max = values.empty() ? 0 : values.back();
    return timing;
}

}  // namespace

extern "C" {

void pavo_inner_statcount(int eventtype, pavo_stat which)
{
    if (eventtype >= 0 && eventtype < PAVO_STATS_KINDS && which < PAVO_STAT_COUNT)
        g_counters[eventtype][which].fetch_add(1, std::memory_order_relaxed);
}

void pavo_inner_statlogin(void) { g_logins.fetch_add(1, std::memory_order_relaxed); }

void pavo_inner_stattimes(const unsigned long long times[kPhases])
{
    const unsigned long long slot =
        g_next.fetch_add(1, std::memory_order_relaxed) % PAVO_STATS_WINDOW;
    for (int phase = 0; phase < kPhases; ++phase)
        g_window[phase][slot].store(times[phase], std::memory_order_relaxed);
}

int pavo_getstats(pavo_stats* out, size_t size)
{
    if (out == nullptr || size == 0)
        return -1;
    pavo_stats stats;
    memset(&stats, 0, sizeof stats);
    for (int kind = 0; kind < PAVO_STATS_KINDS; ++kind) {
        unsigned long long* fields[PAVO_STAT_COUNT] = {
            &stats.kinds[kind].requests,   &stats.kinds[kind].successes,
            &stats.kinds[kind].connection, &stats.kinds[kind].timeout,
            &stats.kinds[kind].httpstatus, &stats.kinds[kind].parse,
            &stats.kinds[kind].refused,    &stats.kinds[kind].attempts,
            &stats.kinds[kind].retries,    &stats.kinds[kind].failovers,
            &stats.kinds[kind].relogins};
        for (int which = 0; which < PAVO_STAT_COUNT; ++which)
            *fields[which] = g_counters[kind][which].load(std::memory_order_relaxed);
    }
    stats.logins = g_logins.load(std::memory_order_relaxed);
    const size_t samples = static_cast<size_t>(
        std::min<unsigned long long>(g_next.load(std::memory_order_relaxed), PAVO_STATS_WINDOW));
    stats.samples = samples;
    pavo_stats_timing* timings[kPhases] = {&stats.namelookup, &stats.connect, &stats.tls,
                                           &stats.firstbyte, &stats.total};
    for (int phase = 0; phase < kPhases; ++phase)
        *timings[phase] = percentiles(phase, samples);
    memcpy(out, &stats, std::min(size, sizeof stats));
    return 0;
}

void pavo_resetstats(void)
{
    for (auto& kind : g_counters)
        for (auto& counter : kind)
            counter.store(0, std::memory_order_relaxed);
    g_logins.store(0, std::memory_order_relaxed);
    g_next.store(0, std::memory_order_relaxed);
}

}  // extern "C"
