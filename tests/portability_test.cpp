// What a set-top box's processor changes underneath the library: plain char unsigned on
// ARM, 32-bit long and time_t on armhf. Run on every target; each case gives one result
// everywhere, or the documented 0 where a 32-bit value cannot hold a date.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>

#include <string>

#include "parse_test_util.h"
#include "pavo.h"

namespace {

using namespace parse_test;

// A "below 9" test on a plain char would cut bytes above 127 where char is signed.
TEST(Portability, DecipheredBytesAbove127AreKept)
{
    char mode[] = "3des", key[] = "box-key", text[] = "caf\xC3\xA9 \x80\xFF!";
    char cipher[256] = {0}, back[256] = {0};
    pavo_encrypt(mode, text, static_cast<int>(strlen(text)), key, 7, cipher);
    pavo_decrypt(mode, cipher, static_cast<int>(strlen(cipher)), key, 7, back);
    EXPECT_STREQ(back, text);
}

// Flags print as signed bytes on every target, as on x86-64: 200 is -56, 255 is -1.
TEST_F(ParseTest, FlagDumpReadsTheByteAsSigned)
{
    auto result = parse(
        "<Root><Result ResultCode=\"0\"/><Categorys>"
        "<Category Code=\"a\" HasChild=\"200\"/>"
        "<Category Code=\"b\" HasChild=\"255\"/></Categorys></Root>",
        DATATYPE_CATEGORYLIST);
    const std::string dump = dump_of(result);
    EXPECT_NE(dump.find("haschild:-56\r\n"), std::string::npos) << dump;
    EXPECT_NE(dump.find("haschild:-1\r\n"), std::string::npos) << dump;
}

// Time texts convert through 64-bit seconds: 2038 and later dates agree on every target
// until an unsigned long cannot hold them (past 2106-02-07 on 32 bits), which reads as 0.
TEST(Portability, TimesPast2038ConvertAlikeOrGiveZero)
{
    setenv("TZ", "UTC0", 1);
    tzset();
    const bool wide = sizeof(unsigned long) >= 8;
    const struct {
        const char* text;
        uint64_t seconds;
        bool fits_32;
    } cases[] = {
        {"2038-01-19 03:14:07", 2147483647u, true},  {"2038-01-19 03:14:08", 2147483648u, true},
        {"2106-02-07 06:28:15", 4294967295u, true},  {"2106-02-07 06:28:16", 4294967296u, false},
        {"2107-01-01 00:00:00", 4323283200u, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const bool fits = wide || c.fits_32;
        const unsigned long seconds = pavo_nsecstr2ulong(c.text);
        EXPECT_EQ(static_cast<uint64_t>(seconds), fits ? c.seconds : 0u);
        EXPECT_STREQ(pavo_ulong2nsecstr(seconds), fits ? c.text : "1970-01-01 00:00:00");
    }
}

// pavo_get_time hands the server time over in the caller's time_t: past 2038-01-19 a
// 32-bit time_t gets 0, not a date in 1901.
TEST(Portability, ServerTimePast2038IsZeroInA32BitTimeT)
{
    const unsigned long saved = g_servertime;
    const struct {
        unsigned long seconds;
        bool fits_32;
    } cases[] = {{2147483647ul, true}, {2147483648ul, false}, {4294967295ul, false}};
    for (const auto& c : cases) {
        g_servertime = c.seconds;
        struct timeval tv = {};
        ASSERT_EQ(pavo_get_time(&tv), 0);
        const bool fits = sizeof(time_t) >= 8 || c.fits_32;
        EXPECT_EQ(static_cast<int64_t>(tv.tv_sec), fits ? static_cast<int64_t>(c.seconds) : 0);
    }
    g_servertime = saved;
}

}  // namespace
