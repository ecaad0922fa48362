// Byte-range searches and time string conversions of pavo_util.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <ctime>
#include <string>

#include "pavo.h"

namespace {

using Search = char* (*)(const char*, int, const char*);

// Offsets of the match inside `range`; -1 for null.
TEST(ByteSearch, OffsetsAndAsymmetriesOfTheThreeSearches)
{
    const struct {
        Search search;
        std::string range;
        int length;
        const char* pattern;
        long offset;
    } cases[] = {
        {pavo_memstr, "xxabc", 5, "abc", 2},
        {pavo_memstr, "xxabc", 3, "abc", 2},  // start offsets bounded, the match runs past
        {pavo_memstr, "xxabc", 2, "abc", -1},
        {pavo_memstr, "xxabc", 5, "ABC", -1},
        {pavo_memstr, "abc", 0, "", -1},
        {pavo_memstr, "abc", 3, "", 0},
        {pavo_memstr, std::string("a\0abc", 5), 5, "abc", 2},  // zero bytes stepped over
        {pavo_memstr, std::string("ab\0c", 4), 4, "abc", -1},  // never matched across
        {pavo_memistr, "xxABC", 5, "abc", 2},
        {pavo_memistr, "xxabc", 5, "ABC", 2},
        {pavo_memistr, "x{", 2, "[", -1},               // 32 apart but not letters
        {pavo_pavo_memstrrev, "abcxabc", 7, "abc", 4},  // the rightmost match
        {pavo_pavo_memstrrev, "abcxyz", 6, "abc", -1},  // offset 0 is never tried
        {pavo_pavo_memstrrev, "xabcx", 5, "abc", 1},
        {pavo_pavo_memstrrev, "xabcx", 3, "abc", -1},  // starts from nLen1 - m down
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.range + " / " + c.pattern + " / " + std::to_string(c.length));
        const char* found = c.search(c.range.data(), c.length, c.pattern);
        EXPECT_EQ(found == nullptr ? -1 : found - c.range.data(), c.offset);
    }
}

// Each test names its zone as a POSIX rule, so no zone files are needed.
class TimeZoneTest : public ::testing::Test {
protected:
    void use_zone(const char* zone)
    {
        setenv("TZ", zone, 1);
        tzset();
    }
    void TearDown() override
    {
        unsetenv("TZ");
        tzset();
    }
};

unsigned long utc_seconds(int year, int month, int day, int hour = 0, int minute = 0,
                          int second = 0)
{
    struct tm broken = {};
    broken.tm_year = year - 1900;
    broken.tm_mon = month - 1;
    broken.tm_mday = day;
    broken.tm_hour = hour;
    broken.tm_min = minute;
    broken.tm_sec = second;
    return static_cast<unsigned long>(timegm(&broken));
}

TEST_F(TimeZoneTest, TextsReadAtFixedPositionsAndNormalised)
{
    use_zone("UTC0");
    const unsigned long seconds = utc_seconds(2010, 1, 2, 3, 4, 5);
    const struct {
        unsigned long (*convert)(const char*);
        const char* text;
        unsigned long expected;
    } cases[] = {
        {SecStr2Ulong, "20100102030405", seconds},
        {pavo_nsecstr2ulong, "2010-01-02 03:04:05", seconds},
        {DayStr2Ulong, "20100102", seconds - 11045},
        {pavo_nsecstr2ulong, "2010x01y02T03.04.05", seconds},  // separators not looked at
        {SecStr2Ulong, "20100131246061", utc_seconds(2010, 2, 1, 1, 1, 1)},
        {SecStr2Ulong, "2010", utc_seconds(2009, 11, 30)},  // month 0, day 0
        {pavo_nsecstr2ulong, "2010-02-03", utc_seconds(2010, 2, 3)},
        // mktime failed: the largest value with 64 bits, 0 (before 1970) with 32
        {pavo_nsecstr2ulong, "1969-12-31 23:59:59", sizeof(long) >= 8 ? ULONG_MAX : 0UL},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.convert(c.text), c.expected) << c.text;
}

TEST_F(TimeZoneTest, ConversionsUseLocalTimeWithDaylightSaving)
{
    use_zone("JST-9");
    EXPECT_EQ(pavo_nsecstr2ulong("1970-01-01 09:00:00"), 0UL);
    EXPECT_EQ(DayStr2Ulong("19700102"), 15UL * 3600);
    EXPECT_STREQ(pavo_ulong2nsecstr(0), "1970-01-01 09:00:00");
    EXPECT_STREQ(ulong2SecStr(0), "19700101090000");
    EXPECT_STREQ(Ulong2DayStr(15UL * 3600), "19700102");

    use_zone("UTC0");
    if (sizeof(unsigned long) >= 8) {  // 32 bits hold no date before 1970
        EXPECT_STREQ(pavo_ulong2nsecstr(utc_seconds(999, 3, 4, 5, 6, 7)), " 999-03-04 05:06:07");
    }

    use_zone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(pavo_nsecstr2ulong("2010-07-01 12:00:00"), utc_seconds(2010, 7, 1, 10));
    EXPECT_EQ(pavo_nsecstr2ulong("2010-01-01 12:00:00"), utc_seconds(2010, 1, 1, 11));
    EXPECT_STREQ(pavo_ulong2nsecstr(utc_seconds(2010, 7, 1, 10)), "2010-07-01 12:00:00");
}

}  // namespace
