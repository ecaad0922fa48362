/*
 * pavo_time.cpp - the 64-bit calendar conversions. This file alone asks glibc
 * for its 64-bit time interface (a no-op on 64-bit targets); no time_t crosses
 * its interface, so the library's ABI keeps the box's own time_t.
 */
#define _FILE_OFFSET_BITS 64
#define _TIME_BITS 64

#include "runtime/pavo_time.h"

#include <limits.h>

#include <limits>

// A C library without a 64-bit time interface leaves time_t at 32 bits: then dates past
// 2038 simply do not convert.
constexpr bool fits_time_t(int64_t seconds)
{
    return seconds >= static_cast<int64_t>(std::numeric_limits<time_t>::min()) &&
           seconds <= static_cast<int64_t>(std::numeric_limits<time_t>::max());
}

int64_t pavo_mktime64(struct tm* broken) { return static_cast<int64_t>(mktime(broken)); }

bool pavo_localtime64(int64_t seconds, struct tm* broken)
{
    if (!fits_time_t(seconds))
        return false;
    const time_t when = static_cast<time_t>(seconds);
    // localtime would re-read the zone on every call; localtime_r does not.
    tzset();
    return localtime_r(&when, broken) != nullptr;
}

int64_t pavo_now64() { return static_cast<int64_t>(time(nullptr)); }

unsigned long pavo_seconds_to_ulong(int64_t seconds)
{
    if (sizeof(unsigned long) < sizeof(int64_t) &&
        (seconds < 0 || static_cast<uint64_t>(seconds) > ULONG_MAX))
        return 0;
    return static_cast<unsigned long>(seconds);
}

int64_t pavo_ulong_to_seconds(unsigned long value)
{
    // 64 bits: the wrapped value of a date before 1970 turns negative again.
    if (sizeof(unsigned long) >= sizeof(int64_t))
        return static_cast<int64_t>(value);
    return static_cast<int64_t>(static_cast<uint64_t>(value));
}
