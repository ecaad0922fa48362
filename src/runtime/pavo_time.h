/*
 * pavo_time.h - calendar conversions in 64-bit seconds on every target. A 32-bit box's
 * own time_t ends on 2038-01-19, so the exported time helpers and the authenticator's
 * timestamp go through these, and an unsigned long that cannot hold a date gets 0
 * rather than a wrapped value.
 */
#ifndef PAVO_TIME_H
#define PAVO_TIME_H

#include <stdint.h>
#include <time.h>

// Local calendar time -> seconds (mktime's rules; -1 when it fails, as mktime).
int64_t pavo_mktime64(struct tm* broken);
// Seconds -> local calendar time; false when the C library cannot convert them.
bool pavo_localtime64(int64_t seconds, struct tm* broken);
int64_t pavo_now64();

// The exported functions carry seconds in an unsigned long. With 64 bits it holds any
// value (one before 1970 wraps and comes back); with 32 bits it holds 1970-01-01 to
// 2106-02-07 06:28:15 UTC, and anything outside becomes 0.
unsigned long pavo_seconds_to_ulong(int64_t seconds);
int64_t pavo_ulong_to_seconds(unsigned long value);

#endif
