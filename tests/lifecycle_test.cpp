// Start-up and shut-down: states and return codes, the TVID and profile,
// literal init strings, the korix.conf rules, the log file, emulator mode,
// the callback slots that start-up installs, and the IP address.
#include <gtest/gtest.h>

#include <arpa/inet.h>

#include <cstring>
#include <string>

#include "service/pavo_global.h"
#include "support/temp_dir.h"

namespace {

int g_counted_calls = 0;

int counting_callback(tpavo_event*)
{
    ++g_counted_calls;
    return 0;
}

class Lifecycle : public ::testing::Test {
protected:
    void SetUp() override { pavo_global_init(); }  // emulator and log modes of earlier tests gone
    void TearDown() override { pavo_cleanup(); }

    // korix.conf with these "key=value\n" lines; the log always goes to the test's directory.
    void write_conf(const std::string& keys)
    {
        write_file(dir_.file("korix.conf"), "[system]\n" + keys + "logdirectory=" + dir_.path() + "\n");
    }
    pavo_status_t start()
    {
        std::string workdir = dir_.path();
        pavo_init_param param{};
        param.oem_name = const_cast<char*>(oem_);  // the library only reads them
        param.terminal_type = const_cast<char*>(terminal_);
        param.device_id = const_cast<char*>(device_);
        param.chipprofile = const_cast<char*>(chip_);
        param.clientprofile = const_cast<char*>(client_);
        param.workdirectory = param.perpetualdirectory = param.tmpdirectory = workdir.data();
        param.ipversion = ipversion_;
        return pavo_init(&param);
    }

    TempDir dir_;
    const char* oem_ = "1234567";
    const char* terminal_ = "ABCDEFG";
    const char* device_ = "123456789ABCD";
    const char* chip_ = "CHIP";
    const char* client_ = "CLIENT";
    int ipversion_ = 4;
};

TEST_F(Lifecycle, StartAndCleanupMoveBetweenNoneAndInited)
{
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_NONE);
    EXPECT_EQ(pavo_getfuncmode(), FUNCMODE_ASYNC);
    // Cleanup without a start succeeds, logs only its first line and leaves the state alone.
    pavo_setstate(PAVO_STATE_OPENED);
    testing::internal::CaptureStdout();
    EXPECT_EQ(pavo_cleanup(), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\033[1;32mpavo cleanup begin\r\n\033[0m");
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_OPENED);
    pavo_setstate(PAVO_STATE_NONE);

    pavo_setlasterror(9);
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_INITED);
    EXPECT_EQ(pavo_getfuncmode(), FUNCMODE_SYNC);
    EXPECT_EQ(pavo_getlasterror(), 0);
    EXPECT_EQ(g_pavo_env.initref, 1);
    EXPECT_NE(g_pavo_env.mpool, nullptr);
    EXPECT_NE(g_pavo_env.threadpool, nullptr);
    EXPECT_STREQ(g_pavo_env.tvprofile, "CHIP;CLIENT;KORIXOS/1001");

    ASSERT_EQ(pavo_registercallback(PAVO_CALLBACK_EPG, counting_callback), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_cleanup(), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_NONE);
    EXPECT_EQ(g_pavo_env.initref, 0);
    EXPECT_EQ(g_pavo_env.mpool, nullptr);
    EXPECT_EQ(g_pavo_env.threadpool, nullptr);
    for (int type = 0; type < PAVO_CALLBACK_SLOTS; ++type)
        EXPECT_EQ(pavo_iner_getcallback(type), nullptr) << "slot " << type;
    EXPECT_STREQ(g_pavo_env.tvid, "0001234567000ABCDEFGV4000123456789ABCD");  // session text stays
    EXPECT_EQ(pavo_getfuncmode(), FUNCMODE_SYNC);
}

TEST_F(Lifecycle, SecondStartFailsAndChangesNothing)
{
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    pavo_setlasterror(7);
    oem_ = "999";
    EXPECT_EQ(start(), PAVO_STATUS_FAILURE_ALREADYINITED);
    EXPECT_STREQ(g_pavo_env.tvid, "0001234567000ABCDEFGV4000123456789ABCD");
    EXPECT_STREQ(g_pavo_env.oem_name, "1234567");
    EXPECT_EQ(pavo_getlasterror(), 7);
    EXPECT_EQ(g_pavo_env.initref, 1);
    // Any state but none refuses a start, not only inited.
    pavo_setstate(PAVO_STATE_LOGINED);
    EXPECT_EQ(start(), PAVO_STATUS_FAILURE_ALREADYINITED);
}

TEST_F(Lifecycle, RepeatedCyclesStartCleanEachTime)
{
    char text[] = "kept until cleanup";
    for (int cycle = 0; cycle < 25; ++cycle) {
        SCOPED_TRACE(cycle);
        ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
        ASSERT_EQ(pavo_getresult(), nullptr);
        ASSERT_EQ(pavo_setlastresult_match(0, "ok", DATATYPE_STRING, sizeof text, text), 0);
        ASSERT_NE(pavo_getresult(), nullptr);
        ASSERT_EQ(pavo_cleanup(), PAVO_STATUS_SUCCESS);
        ASSERT_EQ(pavo_getstate(), PAVO_STATE_NONE);
        ASSERT_EQ(g_pavo_env.initref, 0);
        ASSERT_EQ(g_pavo_env.resultlist_initref, 0);
    }
}

TEST_F(Lifecycle, TvidPadsAndCutsEachPartAndCopiesInitStringsLiterally)
{
    const struct { const char *oem, *terminal, *device; int ipversion; const char* tvid; } cases[] = {
        {"1234567", "ABCDEFG", "123456789ABCD", 4, "0001234567000ABCDEFGV4000123456789ABCD"},
        {"1234567", "ABCDEFG", "ABCDEFGHIJKLMNOPQRST", 6, "0001234567000ABCDEFGV6ABCDEFGHIJKLMNOP"},
        {"OEMNAMEISLONG", "TERMINAL-TYPE-X", "D", 4, "OEMNAMEISLTERMINAL-TV4000000000000000D"},
        {"0123456789", "9876543210", "0123456789ABCDEF", 5, "01234567899876543210V40123456789ABCDEF"},
        {nullptr, "", nullptr, 0, "00000000000000000000V40000000000000000"},
        {"50%%", "%s%n", "123456789ABCD", 4, "000000050%000000%s%nV4000123456789ABCD"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.tvid);
        oem_ = c.oem;
        terminal_ = c.terminal;
        device_ = c.device;
        ipversion_ = c.ipversion;
        ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
        EXPECT_STREQ(g_pavo_env.tvid, c.tvid);
        pavo_cleanup();
    }
    // Cleanup leaves the identity of the last row to read.
    EXPECT_STREQ(g_pavo_env.oem_name, "50%");
    EXPECT_STREQ(g_pavo_env.terminal_type, "%s%n");
}

TEST_F(Lifecycle, ProfileJoinsLiteralCopiesCutToTheirFields)
{
    std::string client(300, 'c');
    client_ = client.c_str();
    chip_ = "%x%d";
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(std::string(g_pavo_env.clientprofile), std::string(255, 'c'));
    EXPECT_EQ(std::string(g_pavo_env.tvprofile), "%x%d;" + std::string(250, 'c'));
    EXPECT_STREQ(g_pavo_env.korixprofile, "KORIXOS/1001");
}

TEST_F(Lifecycle, LeftPaddingStaysInsideItsBuffer)
{
    char small[5] = {0};
    string_leftpadding(small, sizeof small, "AB", 16, "0");
    EXPECT_STREQ(small, "0000");
    char exact[17] = {0};
    string_leftpadding(exact, sizeof exact, nullptr, 16, "0");
    EXPECT_STREQ(exact, "0000000000000000");
}

TEST_F(Lifecycle, NullParamStartsWithEmptyIdentityAndEarlierProfiles)
{
    write_conf("userid=42\n");
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    ASSERT_STREQ(g_pavo_env.userid, "42");
    pavo_cleanup();

    ASSERT_EQ(pavo_init(nullptr), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_INITED);
    for (const char* field : {g_pavo_env.tvid, g_pavo_env.tvprofile, g_pavo_env.oem_name,
                              g_pavo_env.workdirectory})
        EXPECT_STREQ(field, "");
    EXPECT_STREQ(g_pavo_env.chipprofile, "CHIP");
    EXPECT_STREQ(g_pavo_env.clientprofile, "CLIENT");
    // The configuration now comes from "/korix.conf", not the old workdir.
    EXPECT_STRNE(g_pavo_env.userid, "42");
}

TEST_F(Lifecycle, ConfigTextKeysAreReadAndSessionValuesOfTheRunBeforeCleared)
{
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    snprintf(g_pavo_env.usertoken, sizeof g_pavo_env.usertoken, "token");
    snprintf(g_pavo_env.epgsrvaddress, sizeof g_pavo_env.epgsrvaddress, "http://epg");
    snprintf(g_pavo_env.openurl, sizeof g_pavo_env.openurl, "http://old");
    pavo_cleanup();

    write_conf("openurl=http://open/Open\nuserid=u-1\nbizfield=biz\n"
               "aaasrvaddress2=http://aaa2\naaasrvaddress=http://aaa\n");
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    EXPECT_STREQ(g_pavo_env.usertoken, "");
    EXPECT_STREQ(g_pavo_env.epgsrvaddress, "");
    EXPECT_STREQ(g_pavo_env.openurl, "http://open/Open");
    EXPECT_STREQ(g_pavo_env.userid, "u-1");
    EXPECT_STREQ(g_pavo_env.bizfield, "biz");
    EXPECT_STREQ(g_pavo_env.aaasrvaddress, "http://aaa");
    EXPECT_STREQ(g_pavo_env.aaasrvaddress2, "http://aaa2");
}

TEST_F(Lifecycle, QueueSizeIsAtLeastOneHundredAndLogModeZeroOrAbsentMeansConsole)
{
    int tpavo_env::*queue = &tpavo_env::msgqueuesize;
    int tpavo_env::*log = &tpavo_env::logmode;
    const struct { const char* keys; int tpavo_env::*field; int expected; } cases[] = {
        {"", queue, 100}, {"msgqueuesize=50\n", queue, 100}, {"msgqueuesize=100\n", queue, 100},
        {"msgqueuesize=101\n", queue, 101}, {"msgqueuesize=5000\n", queue, 5000},
        {"msgqueuesize=-7\n", queue, 100}, {"msgqueuesize=lots\n", queue, 100},
        {"", log, 1}, {"logmode=0\n", log, 1}, {"logmode=1\n", log, 1}, {"logmode=3\n", log, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.keys);
        write_conf(c.keys);
        ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
        EXPECT_EQ(g_pavo_env.*c.field, c.expected);
        pavo_cleanup();
    }
}

TEST_F(Lifecycle, FileLogIsTruncatedAndHoldsOnlyBareInformationTextWhileConsoleGetsColours)
{
    write_conf("logmode=2\n");
    write_file(dir_.file("pavo.log"), "text of an earlier run\r\n");
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(g_pavo_env.logmode, 2);
    EXPECT_STREQ(g_pavo_env.logdirectory, dir_.path().c_str());
    testing::internal::CaptureStdout();
    pavo_log_err("an error %d\r\n", 1);
    pavo_log_warn("a warning\r\n");
    pavo_log_debug("a debug line\r\n");
    pavo_log_info("an information %s %d\r\n", "line", 2);
    log_info("console only %d\r\n", 3);  // the second set ignores the log mode
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\033[1;31man error 1\r\n\033[0m\033[1;33ma warning\r\n\033[0ma debug line\r\n\033[0m"
              "\033[1;32m\033[0m"  // file only: information shows its bare colours
              "\033[1;32mconsole only 3\r\n\033[0m");
    pavo_cleanup();
    EXPECT_EQ(read_file(dir_.file("pavo.log")),
              "messagequeue init begin\r\nmessagequeue init end\r\npavo init end\r\n"
              "an information line 2\r\n"
              "pavo cleanup begin\r\nmessagequeue cleanup begin\r\nmessagequeue cleanup end\r\n"
              "pavo cleanup end\r\n");
}

TEST_F(Lifecycle, EmulatorModeOpensNoLogFile)
{
    write_conf("logmode=2\n");
    pavo_setemumode();
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    pavo_log_info("emulated\r\n");
    pavo_cleanup();
    EXPECT_FALSE(file_exists(dir_.file("pavo.log")));
    EXPECT_EQ(g_pavo_env.logmode, 1);
    EXPECT_STREQ(g_pavo_env.logdirectory, "");
}

TEST_F(Lifecycle, StartReplacesEarlierCallbacksWithTheBuiltIns)
{
    ASSERT_EQ(pavo_registercallback(PAVO_CALLBACK_AAA, counting_callback), PAVO_STATUS_SUCCESS);
    ASSERT_EQ(pavo_registercallback(PAVO_CALLBACK_DEFAULT, counting_callback), PAVO_STATUS_SUCCESS);
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    pavo_callback fallback = pavo_iner_getcallback(PAVO_CALLBACK_DEFAULT);
    pavo_callback exception = pavo_iner_getcallback(PAVO_CALLBACK_EXCEPTION);
    ASSERT_NE(fallback, nullptr);
    ASSERT_NE(exception, nullptr);
    EXPECT_NE(fallback, counting_callback);
    for (int type = 1; type < PAVO_CALLBACK_EXCEPTION; ++type)
        EXPECT_EQ(pavo_iner_getcallback(type), nullptr) << "slot " << type;

    tpavo_event event{};
    testing::internal::CaptureStdout();
    EXPECT_EQ(fallback(&event), 0);
    EXPECT_EQ(exception(&event), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\033[1;32mdefaultcallback trigger\r\n\033[0m"
              "\033[1;32mexceptioncallback trigger\r\n\033[0m");
    EXPECT_EQ(g_counted_calls, 0);
}

TEST_F(Lifecycle, IpIsProbedAndCopiedOutLiterallyWithinTheBuffer)
{
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    char probed[PAVO_IP_SIZE];
    memset(probed, 'x', sizeof probed);
    in_addr parsed;
    if (pavo_initip(probed, sizeof probed) == 0) {
        EXPECT_EQ(inet_pton(AF_INET, probed, &parsed), 1) << probed;
        EXPECT_STREQ(g_pavo_env.ip, probed);
    } else {
        EXPECT_STREQ(probed, "");  // no interface with an IPv4 address
    }

    snprintf(g_pavo_env.ip, sizeof g_pavo_env.ip, "10.0.0.1%%%%%%s");
    char copy[PAVO_IP_SIZE];
    EXPECT_EQ(pavo_getip(copy, sizeof copy), 0);
    EXPECT_STREQ(copy, "10.0.0.1%%s");
    char cut[4];
    EXPECT_EQ(pavo_getip(cut, sizeof cut), 0);
    EXPECT_STREQ(cut, "10.");
    EXPECT_EQ(pavo_getip(nullptr, 16), -1);
}

}  // namespace
