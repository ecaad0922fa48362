/*
 * pavo_util.cpp - exported string and time helpers: searching a byte range
 * for a zero-terminated pattern (forwards, forwards ignoring ASCII case,
 * backwards) and converting calendar time strings to and from seconds in
 * local time. The login parser uses pavo_nsecstr2ulong; the rest serve the
 * application.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "pavo.h"
#include "runtime/pavo_time.h"

namespace {

using ByteEquals = bool (*)(char a, char b);

bool bytes_equal(char a, char b) { return a == b; }

bool bytes_equal_ignoring_case(char a, char b) { return mybcompi(a, b) == 1; }

bool is_ascii_letter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

// The match may run past the end of the range as far as the pattern needs:
// the range length bounds only the start offsets.
bool pattern_matches_at(const char* at, const char* pattern, ByteEquals equals)
{
    for (size_t i = 0;; ++i) {
        if (pattern[i] == '\0')
            return true;
        if (at[i] == '\0' || !equals(at[i], pattern[i]))
            return false;
    }
}

char* search_forward(const char* range, int length, const char* pattern, ByteEquals equals)
{
    if (range == nullptr || pattern == nullptr || length < 1)
        return nullptr;
    if (pattern[0] == '\0')
        return const_cast<char*>(range);
    for (int offset = 0; offset < length; ++offset) {
        if (pattern_matches_at(range + offset, pattern, equals))
            return const_cast<char*>(range + offset);
    }
    return nullptr;
}

// One calendar field: its first character's position and its width.
struct TimeField {
    int position;
    int width;
};

struct TimeForm {
    TimeField year, month, day, hour, minute, second;
    bool has_time_of_day;
};

constexpr TimeForm kDayForm = {{0, 4}, {4, 2}, {6, 2}, {0, 0}, {0, 0}, {0, 0}, false};
constexpr TimeForm kSecForm = {{0, 4}, {4, 2}, {6, 2}, {8, 2}, {10, 2}, {12, 2}, true};
constexpr TimeForm kDashedForm = {{0, 4}, {5, 2}, {8, 2}, {11, 2}, {14, 2}, {17, 2}, true};

// Characters at fixed positions, read with atoi. A text shorter than its
// form is read as if padded with zero bytes, never beyond its terminator.
int read_time_field(const char* text, size_t text_length, TimeField field)
{
    char digits[8] = {0};
    for (int i = 0; i < field.width; ++i) {
        size_t at = static_cast<size_t>(field.position + i);
        if (at >= text_length)
            break;
        digits[i] = text[at];
    }
    return atoi(digits);
}

unsigned long time_text_to_seconds(const char* text, const TimeForm& form)
{
    // 19 is the longest form; nothing past it is looked at.
    size_t length = text == nullptr ? 0 : strnlen(text, 19);
    struct tm broken = {};
    if (form.has_time_of_day) {
        broken.tm_sec = read_time_field(text, length, form.second);
        broken.tm_min = read_time_field(text, length, form.minute);
        broken.tm_hour = read_time_field(text, length, form.hour);
    }
    broken.tm_mday = read_time_field(text, length, form.day);
    broken.tm_mon = read_time_field(text, length, form.month) - 1;
    broken.tm_year = read_time_field(text, length, form.year) - 1900;
    // Let the zone's rules decide daylight saving for the date.
    broken.tm_isdst = -1;
    // A failed conversion (-1) becomes the largest value with 64 bits, 0 with 32.
    return pavo_seconds_to_ulong(pavo_mktime64(&broken));
}

// Each form has its own static buffer, overwritten by the next call of the
// same function. 80 bytes hold the dashed form for any int field values, so
// no form is ever cut.
enum class TextForm { Day, Sec, Dashed };

char* seconds_to_time_text(unsigned long seconds, char* buffer, size_t size, TextForm form)
{
    memset(buffer, 0, size);
    struct tm broken;
    if (!pavo_localtime64(pavo_ulong_to_seconds(seconds), &broken))
        return buffer;
    int year = broken.tm_year + 1900;
    int month = broken.tm_mon + 1;
    switch (form) {
    case TextForm::Day:
        snprintf(buffer, size, "%4d%02d%02d", year, month, broken.tm_mday);
        break;
    case TextForm::Sec:
        snprintf(buffer, size, "%4d%02d%02d%02d%02d%02d", year, month, broken.tm_mday,
                 broken.tm_hour, broken.tm_min, broken.tm_sec);
        break;
    case TextForm::Dashed:
        snprintf(buffer, size, "%4d-%02d-%02d %02d:%02d:%02d", year, month, broken.tm_mday,
                 broken.tm_hour, broken.tm_min, broken.tm_sec);
        break;
    }
    return buffer;
}

constexpr size_t kTimeTextSize = 80;

}  // namespace

extern "C" {

// -1 rather than 0 for "different" is the function's own convention.
int mybcompi(char byA, char byB)
{
    if (byA == byB)
        return 1;
    if (is_ascii_letter(byA) && is_ascii_letter(byB) && (byA - byB == 32 || byB - byA == 32))
        return 1;
    return -1;
}

char* pavo_memstr(const char* str1, int nLen1, const char* str2)
{
    return search_forward(str1, nLen1, str2, bytes_equal);
}

char* pavo_memistr(const char* str1, int nLen1, const char* str2)
{
    return search_forward(str1, nLen1, str2, bytes_equal_ignoring_case);
}

// Offset 0 is never tried, so a pattern standing only at the very start of
// the range is not found; callers rely on the rightmost match otherwise.
// A null pattern finds nothing rather than being measured.
char* pavo_pavo_memstrrev(const char* str1, int nLen1, const char* str2)
{
    if (str1 == nullptr || str2 == nullptr || nLen1 < 1)
        return nullptr;
    size_t pattern_length = strlen(str2);
    if (pattern_length == 0)
        return const_cast<char*>(str1);
    for (long offset = static_cast<long>(nLen1) - static_cast<long>(pattern_length); offset >= 1;
         --offset) {
        if (pattern_matches_at(str1 + offset, str2, bytes_equal))
            return const_cast<char*>(str1 + offset);
    }
    return nullptr;
}

unsigned long DayStr2Ulong(const char* TimeStr)
{
    return time_text_to_seconds(TimeStr, kDayForm);
}

unsigned long SecStr2Ulong(const char* TimeStr)
{
    return time_text_to_seconds(TimeStr, kSecForm);
}

unsigned long pavo_nsecstr2ulong(const char* TimeStr)
{
    return time_text_to_seconds(TimeStr, kDashedForm);
}

char* Ulong2DayStr(unsigned long time)
{
    static char buffer[kTimeTextSize];
    return seconds_to_time_text(time, buffer, sizeof buffer, TextForm::Day);
}

char* ulong2SecStr(unsigned long time)
{
    static char buffer[kTimeTextSize];
    return seconds_to_time_text(time, buffer, sizeof buffer, TextForm::Sec);
}

char* pavo_ulong2nsecstr(unsigned long time)
{
    static char buffer[kTimeTextSize];
    return seconds_to_time_text(time, buffer, sizeof buffer, TextForm::Dashed);
}

}  // extern "C"
