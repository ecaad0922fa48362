// Byte-range searches and time string conversions of pavo_util.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <ctime>
#include <string>

#include "pavo.h"

namespace {

// Offset of a search result inside the range, -1 for null.
long offset_in(const char* range, const char* found)
{
    return found == nullptr ? -1 : static_cast<long>(found - range);
}

TEST(ByteCompare, CaseFoldsLettersOnly)
{
    EXPECT_EQ(mybcompi('a', 'A'), 1);
    EXPECT_EQ(mybcompi('Z', 'z'), 1);
    EXPECT_EQ(mybcompi('x', 'x'), 1);
    EXPECT_EQ(mybcompi('\0', '\0'), 1);
    EXPECT_EQ(mybcompi('[', '{'), -1);  // 32 apart but not letters
    EXPECT_EQ(mybcompi('@', '`'), -1);
    EXPECT_EQ(mybcompi('a', 'b'), -1);
    EXPECT_EQ(mybcompi('A', 'b'), -1);
}

TEST(MemStr, FindsFirstMatchAmongStartOffsetsBelowLength)
{
    const char range[] = "xxabc";
    EXPECT_EQ(offset_in(range, pavo_memstr(range, 5, "abc")), 2);
    EXPECT_EQ(offset_in(range, pavo_memstr(range, 3, "abc")), 2);  // runs past the length
    EXPECT_EQ(offset_in(range, pavo_memstr(range, 2, "abc")), -1);
    EXPECT_EQ(offset_in("ab", pavo_memstr("ab", 2, "abc")), -1);
    const char twice[] = "abcabc";
    EXPECT_EQ(offset_in(twice, pavo_memstr(twice, 6, "abc")), 0);
    EXPECT_EQ(offset_in(range, pavo_memstr(range, 5, "ABC")), -1);
}

TEST(MemStr, StepsOverZeroBytesButNeverMatchesAcrossThem)
{
    const char range[] = "a\0abc";
    EXPECT_EQ(offset_in(range, pavo_memstr(range, 5, "abc")), 2);
    const char split[] = "ab\0c";
    EXPECT_EQ(offset_in(split, pavo_memstr(split, 4, "abc")), -1);
}

TEST(MemStr, NullAndEmptyArguments)
{
    const char range[] = "abc";
    EXPECT_EQ(pavo_memstr(nullptr, 3, "a"), nullptr);
    EXPECT_EQ(pavo_memstr(range, 3, nullptr), nullptr);
    EXPECT_EQ(pavo_memstr(range, 0, "a"), nullptr);
    EXPECT_EQ(pavo_memstr(range, -1, "a"), nullptr);
    EXPECT_EQ(pavo_memstr(range, 3, ""), range);
    EXPECT_EQ(pavo_memistr(range, 0, ""), nullptr);
    EXPECT_EQ(pavo_memistr(range, 3, ""), range);
}

TEST(MemIStr, IgnoresAsciiCase)
{
    const char range[] = "xxABC";
    EXPECT_EQ(offset_in(range, pavo_memistr(range, 5, "abc")), 2);
    EXPECT_EQ(offset_in(range, pavo_memistr(range, 5, "aBc")), 2);
    const char brackets[] = "x{";
    EXPECT_EQ(offset_in(brackets, pavo_memistr(brackets, 2, "[")), -1);
}

TEST(MemStrRev, FindsRightmostMatchButNeverOffsetZero)
{
    const char both[] = "abcxabc";
    EXPECT_EQ(offset_in(both, pavo_pavo_memstrrev(both, 7, "abc")), 4);
    const char start_only[] = "abcxyz";
    EXPECT_EQ(pavo_pavo_memstrrev(start_only, 6, "abc"), nullptr);
    EXPECT_EQ(pavo_pavo_memstrrev("abc", 3, "abc"), nullptr);
    const char inner[] = "xabcx";
    EXPECT_EQ(offset_in(inner, pavo_pavo_memstrrev(inner, 5, "abc")), 1);
    // Start offsets run from nLen1 - m down, so a match reaching past the
    // given length is not tried.
    EXPECT_EQ(pavo_pavo_memstrrev(inner, 3, "abc"), nullptr);
}

TEST(MemStrRev, NullAndEmptyArguments)
{
    const char range[] = "abc";
    EXPECT_EQ(pavo_pavo_memstrrev(nullptr, 3, "a"), nullptr);
    EXPECT_EQ(pavo_pavo_memstrrev(range, 0, "a"), nullptr);
    EXPECT_EQ(pavo_pavo_memstrrev(range, 3, ""), range);
    EXPECT_EQ(pavo_pavo_memstrrev(range, 3, nullptr), nullptr);
}

// Each test runs in a named zone, given as a POSIX rule so no zone files
// are needed.
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

unsigned long utc_seconds(int year, int month, int day, int hour, int minute, int second)
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

TEST_F(TimeZoneTest, ThreeFormsAgreeInUtc)
{
    use_zone("UTC0");
    unsigned long seconds = utc_seconds(2010, 1, 2, 3, 4, 5);
    EXPECT_EQ(SecStr2Ulong("20100102030405"), seconds);
    EXPECT_EQ(pavo_nsecstr2ulong("2010-01-02 03:04:05"), seconds);
    EXPECT_EQ(DayStr2Ulong("20100102"), seconds - 11045);
    // The separators are not looked at.
    EXPECT_EQ(pavo_nsecstr2ulong("2010x01y02T03.04.05"), seconds);
}

TEST_F(TimeZoneTest, ConversionsUseLocalTime)
{
    use_zone("JST-9");
    EXPECT_EQ(pavo_nsecstr2ulong("1970-01-01 09:00:00"), 0UL);
    EXPECT_EQ(DayStr2Ulong("19700102"), 15UL * 3600);
    EXPECT_STREQ(pavo_ulong2nsecstr(0), "1970-01-01 09:00:00");
    EXPECT_STREQ(ulong2SecStr(0), "19700101090000");
    EXPECT_STREQ(Ulong2DayStr(15UL * 3600), "19700102");

    use_zone("UTC0");
    EXPECT_STREQ(pavo_ulong2nsecstr(0), "1970-01-01 00:00:00");
    EXPECT_STREQ(Ulong2DayStr(0), "19700101");
    EXPECT_STREQ(ulong2SecStr(utc_seconds(2010, 1, 2, 3, 4, 5)), "20100102030405");
}

TEST_F(TimeZoneTest, DaylightSavingFollowsTheDate)
{
    use_zone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(pavo_nsecstr2ulong("2010-07-01 12:00:00"), utc_seconds(2010, 7, 1, 10, 0, 0));
    EXPECT_EQ(pavo_nsecstr2ulong("2010-01-01 12:00:00"), utc_seconds(2010, 1, 1, 11, 0, 0));
    EXPECT_STREQ(pavo_ulong2nsecstr(utc_seconds(2010, 7, 1, 10, 0, 0)), "2010-07-01 12:00:00");
}

TEST_F(TimeZoneTest, OutOfRangeFieldsAreNormalised)
{
    use_zone("UTC0");
    EXPECT_EQ(pavo_nsecstr2ulong("2010-13-01 00:00:00"), utc_seconds(2011, 1, 1, 0, 0, 0));
    EXPECT_EQ(SecStr2Ulong("20100131246061"), utc_seconds(2010, 2, 1, 1, 1, 1));
    EXPECT_EQ(DayStr2Ulong("20100300"), utc_seconds(2010, 2, 28, 0, 0, 0));
    // Non-digits read as 0 (month 0 is December of the year before).
    EXPECT_EQ(DayStr2Ulong("2010xx01"), utc_seconds(2009, 12, 1, 0, 0, 0));
}

TEST_F(TimeZoneTest, ShortTextIsReadAtFixedPositions)
{
    use_zone("UTC0");
    // Month and day missing: month 0, day 0 -> 30 November of the year before.
    EXPECT_EQ(SecStr2Ulong("2010"), utc_seconds(2009, 11, 30, 0, 0, 0));
    EXPECT_EQ(pavo_nsecstr2ulong("2010-02-03"), utc_seconds(2010, 2, 3, 0, 0, 0));
}

TEST_F(TimeZoneTest, FailedConversionIsLargestValue)
{
    use_zone("UTC0");
    EXPECT_EQ(pavo_nsecstr2ulong("1969-12-31 23:59:59"), ULONG_MAX);
}

TEST_F(TimeZoneTest, ShortYearsArePaddedWithBlanks)
{
    use_zone("UTC0");
    unsigned long year999 = utc_seconds(999, 3, 4, 5, 6, 7);
    EXPECT_STREQ(pavo_ulong2nsecstr(year999), " 999-03-04 05:06:07");
    EXPECT_STREQ(ulong2SecStr(year999), " 9990304050607");
    EXPECT_STREQ(Ulong2DayStr(year999), " 9990304");
}

TEST_F(TimeZoneTest, EachFormKeepsItsOwnBuffer)
{
    use_zone("UTC0");
    char* day = Ulong2DayStr(0);
    char* sec = ulong2SecStr(0);
    char* dashed = pavo_ulong2nsecstr(0);
    EXPECT_NE(day, sec);
    EXPECT_NE(sec, dashed);
    EXPECT_EQ(Ulong2DayStr(86400), day);  // overwritten in place
    EXPECT_STREQ(day, "19700102");
    EXPECT_STREQ(sec, "19700101000000");
    EXPECT_STREQ(dashed, "1970-01-01 00:00:00");
}

}  // namespace
