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

struct Identity {
    std::string oem = "1234567";
    std::string terminal = "ABCDEFG";
    std::string device = "123456789ABCD";
    std::string chip = "CHIP";
    std::string client = "CLIENT";
    std::string workdir;
    int ipversion = 4;

    pavo_init_param param()
    {
        pavo_init_param p{};
        p.oem_name = oem.data();
        p.terminal_type = terminal.data();
        p.device_id = device.data();
        p.chipprofile = chip.data();
        p.clientprofile = client.data();
        p.workdirectory = workdir.data();
        p.perpetualdirectory = workdir.data();
        p.tmpdirectory = workdir.data();
        p.ipversion = ipversion;
        return p;
    }
};

int g_counted_calls = 0;

int counting_callback(tpavo_event*)
{
    ++g_counted_calls;
    return 0;
}

class Lifecycle : public ::testing::Test {
protected:
    void SetUp() override
    {
        pavo_global_init();  // emulator mode and log mode of earlier tests gone
        identity_.workdir = dir_.path();
    }
    void TearDown() override { pavo_cleanup(); }

    void write_conf(const std::string& body) { write_file(dir_.file("korix.conf"), body); }

    pavo_status_t start()
    {
        pavo_init_param param = identity_.param();
        return pavo_init(&param);
    }

    TempDir dir_;
    Identity identity_;
};

TEST_F(Lifecycle, StartMovesToInitedInSynchronousMode)
{
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_NONE);
    EXPECT_EQ(pavo_getfuncmode(), FUNCMODE_ASYNC);
    pavo_setlasterror(9);
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_INITED);
    EXPECT_EQ(pavo_getfuncmode(), FUNCMODE_SYNC);
    EXPECT_EQ(pavo_getlasterror(), 0);
    EXPECT_EQ(g_pavo_env.initref, 1);
    EXPECT_NE(g_pavo_env.mpool, nullptr);
    EXPECT_NE(g_pavo_env.threadpool, nullptr);
}

TEST_F(Lifecycle, SecondStartFailsAndChangesNothing)
{
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    pavo_setlasterror(7);
    std::string tvid = g_pavo_env.tvid;
    identity_.oem = "999";
    EXPECT_EQ(start(), PAVO_STATUS_FAILURE_ALREADYINITED);
    EXPECT_EQ(g_pavo_env.tvid, tvid);
    EXPECT_STREQ(g_pavo_env.oem_name, "1234567");
    EXPECT_EQ(pavo_getlasterror(), 7);
    EXPECT_EQ(g_pavo_env.initref, 1);
    // Any state but none refuses a start, not only inited.
    pavo_setstate(PAVO_STATE_LOGINED);
    EXPECT_EQ(start(), PAVO_STATUS_FAILURE_ALREADYINITED);
}

TEST_F(Lifecycle, CleanupWithoutStartReturnsSuccessAndChangesNothing)
{
    pavo_setstate(PAVO_STATE_OPENED);
    EXPECT_EQ(pavo_cleanup(), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_OPENED);
    EXPECT_EQ(g_pavo_env.initref, 0);
    pavo_setstate(PAVO_STATE_NONE);
}

TEST_F(Lifecycle, CleanupReturnsToNoneAndEmptiesSlotsButKeepsSessionText)
{
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    ASSERT_EQ(pavo_registercallback(PAVO_CALLBACK_EPG, counting_callback), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_cleanup(), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_NONE);
    EXPECT_EQ(g_pavo_env.initref, 0);
    EXPECT_EQ(g_pavo_env.mpool, nullptr);
    EXPECT_EQ(g_pavo_env.threadpool, nullptr);
    for (int type = 0; type < PAVO_CALLBACK_SLOTS; ++type)
        EXPECT_EQ(pavo_iner_getcallback(type), nullptr) << "slot " << type;
    EXPECT_STREQ(g_pavo_env.tvid, "0001234567000ABCDEFGV4000123456789ABCD");
    EXPECT_EQ(pavo_getfuncmode(), FUNCMODE_SYNC);
}

TEST_F(Lifecycle, RepeatedCyclesStartCleanEachTime)
{
    for (int cycle = 0; cycle < 25; ++cycle) {
        ASSERT_EQ(start(), PAVO_STATUS_SUCCESS) << "cycle " << cycle;
        ASSERT_EQ(pavo_getresult(), nullptr);
        const char text[] = "kept until cleanup";
        ASSERT_EQ(pavo_setlastresult_match(0, "ok", DATATYPE_STRING, sizeof text,
                                           const_cast<char*>(text)),
                  0);
        ASSERT_NE(pavo_getresult(), nullptr);
        ASSERT_EQ(pavo_cleanup(), PAVO_STATUS_SUCCESS);
        ASSERT_EQ(pavo_getstate(), PAVO_STATE_NONE);
        ASSERT_EQ(g_pavo_env.initref, 0);
        ASSERT_EQ(g_pavo_env.resultlist_initref, 0);
    }
}

struct TvidCase {
    const char* oem;
    const char* terminal;
    const char* device;
    int ipversion;
    const char* tvid;
};

TEST_F(Lifecycle, TvidPadsAndCutsEachPart)
{
    const TvidCase cases[] = {
        {"1234567", "ABCDEFG", "123456789ABCD", 4, "0001234567000ABCDEFGV4000123456789ABCD"},
        {"1234567", "ABCDEFG", "ABCDEFGHIJKLMNOPQRST", 6, "0001234567000ABCDEFGV6ABCDEFGHIJKLMNOP"},
        {"OEMNAMEISLONG", "TERMINAL-TYPE-X", "D", 4, "OEMNAMEISLTERMINAL-TV4000000000000000D"},
        {"", "", "", 0, "00000000000000000000V40000000000000000"},
        {"0123456789", "9876543210", "0123456789ABCDEF", 5, "01234567899876543210V40123456789ABCDEF"},
    };
    for (const TvidCase& c : cases) {
        identity_.oem = c.oem;
        identity_.terminal = c.terminal;
        identity_.device = c.device;
        identity_.ipversion = c.ipversion;
        ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
        EXPECT_STREQ(g_pavo_env.tvid, c.tvid) << c.oem << "/" << c.terminal << "/" << c.device;
        EXPECT_EQ(strlen(g_pavo_env.tvid), 38u);
        pavo_cleanup();
    }
}

TEST_F(Lifecycle, MissingIdentityStringsArePaddedAndProfileJoinsThree)
{
    pavo_init_param param = identity_.param();
    param.oem_name = nullptr;
    param.device_id = nullptr;
    ASSERT_EQ(pavo_init(&param), PAVO_STATUS_SUCCESS);
    EXPECT_STREQ(g_pavo_env.tvid, "0000000000000ABCDEFGV40000000000000000");
    EXPECT_STREQ(g_pavo_env.tvprofile, "CHIP;CLIENT;KORIXOS/1001");
    EXPECT_STREQ(g_pavo_env.korixprofile, "KORIXOS/1001");
}

TEST_F(Lifecycle, LeftPaddingStaysInsideItsBuffer)
{
    char small[5];
    memset(small, 0, sizeof small);
    string_leftpadding(small, sizeof small, "AB", 16, "0");
    EXPECT_STREQ(small, "0000");
    char exact[17] = {0};
    string_leftpadding(exact, sizeof exact, nullptr, 16, "0");
    EXPECT_STREQ(exact, "0000000000000000");
}

TEST_F(Lifecycle, InitStringsAreCopiedLiterallyWithDoublePercentFolded)
{
    identity_.oem = "50%%";
    identity_.terminal = "%s%n";
    identity_.chip = "%x%d";
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    EXPECT_STREQ(g_pavo_env.oem_name, "50%");
    EXPECT_STREQ(g_pavo_env.terminal_type, "%s%n");
    EXPECT_STREQ(g_pavo_env.tvid, "000000050%000000%s%nV4000123456789ABCD");
    EXPECT_STREQ(g_pavo_env.tvprofile, "%x%d;CLIENT;KORIXOS/1001");
}

TEST_F(Lifecycle, OverlongInitStringIsCutToTheField)
{
    identity_.client = std::string(300, 'c');
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(std::string(g_pavo_env.clientprofile), std::string(255, 'c'));
    EXPECT_EQ(strlen(g_pavo_env.tvprofile), 255u);
}

TEST_F(Lifecycle, NullParamStartsWithEmptyIdentityAndEarlierProfiles)
{
    write_conf("[system]\nuserid=42\n");
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    ASSERT_STREQ(g_pavo_env.userid, "42");
    pavo_cleanup();

    ASSERT_EQ(pavo_init(nullptr), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_INITED);
    EXPECT_STREQ(g_pavo_env.tvid, "");
    EXPECT_STREQ(g_pavo_env.tvprofile, "");
    EXPECT_STREQ(g_pavo_env.oem_name, "");
    EXPECT_STREQ(g_pavo_env.workdirectory, "");
    EXPECT_STREQ(g_pavo_env.chipprofile, "CHIP");
    EXPECT_STREQ(g_pavo_env.clientprofile, "CLIENT");
    // The configuration now comes from "/korix.conf", not the old workdir.
    EXPECT_STRNE(g_pavo_env.userid, "42");
}

TEST_F(Lifecycle, ConfigTextKeysAreRead)
{
    write_conf("[system]\nopenurl=http://open/Open\nuserid=u-1\nbizfield=biz\n"
               "aaasrvaddress2=http://aaa2\naaasrvaddress=http://aaa\n");
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    EXPECT_STREQ(g_pavo_env.openurl, "http://open/Open");
    EXPECT_STREQ(g_pavo_env.userid, "u-1");
    EXPECT_STREQ(g_pavo_env.bizfield, "biz");
    EXPECT_STREQ(g_pavo_env.aaasrvaddress, "http://aaa");
    EXPECT_STREQ(g_pavo_env.aaasrvaddress2, "http://aaa2");
}

TEST_F(Lifecycle, StartClearsSessionValuesOfTheRunBefore)
{
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    snprintf(g_pavo_env.usertoken, sizeof g_pavo_env.usertoken, "token");
    snprintf(g_pavo_env.epgsrvaddress, sizeof g_pavo_env.epgsrvaddress, "http://epg");
    snprintf(g_pavo_env.openurl, sizeof g_pavo_env.openurl, "http://old");
    pavo_cleanup();
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    EXPECT_STREQ(g_pavo_env.usertoken, "");
    EXPECT_STREQ(g_pavo_env.epgsrvaddress, "");
    EXPECT_STREQ(g_pavo_env.openurl, "");
}

struct NumberCase {
    const char* conf;
    int expected;
};

TEST_F(Lifecycle, MessageQueueSizeIsAtLeastOneHundred)
{
    const NumberCase cases[] = {
        {"[system]\n", 100},
        {"[system]\nmsgqueuesize=50\n", 100},
        {"[system]\nmsgqueuesize=100\n", 100},
        {"[system]\nmsgqueuesize=101\n", 101},
        {"[system]\nmsgqueuesize=5000\n", 5000},
        {"[system]\nmsgqueuesize=-7\n", 100},
        {"[system]\nmsgqueuesize=lots\n", 100},
    };
    for (const NumberCase& c : cases) {
        write_conf(c.conf);
        ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
        EXPECT_EQ(g_pavo_env.msgqueuesize, c.expected) << c.conf;
        pavo_cleanup();
    }
}

TEST_F(Lifecycle, LogModeZeroOrAbsentMeansConsole)
{
    const NumberCase cases[] = {
        {"", 1},
        {"[system]\nlogmode=0\n", 1},
        {"[system]\nlogmode=1\n", 1},
        {"[system]\nlogmode=3\n", 3},
    };
    for (const NumberCase& c : cases) {
        write_conf(std::string(c.conf) + "logdirectory=" + dir_.path() + "\n");
        ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
        EXPECT_EQ(g_pavo_env.logmode, c.expected) << c.conf;
        pavo_cleanup();
    }
}

TEST_F(Lifecycle, LogFileIsTruncatedAndHoldsOnlyBareInformationText)
{
    write_conf("[system]\nlogmode=2\nlogdirectory=" + dir_.path() + "\n");
    write_file(dir_.file("pavo.log"), "text of an earlier run\r\n");
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(g_pavo_env.logmode, 2);
    EXPECT_STREQ(g_pavo_env.logdirectory, dir_.path().c_str());
    pavo_log_err("an error %d\r\n", 1);
    pavo_log_warn("a warning\r\n");
    pavo_log_debug("a debug line\r\n");
    pavo_log_info("an information %s %d\r\n", "line", 2);
    pavo_cleanup();
    EXPECT_EQ(read_file(dir_.file("pavo.log")),
              "messagequeue init begin\r\n"
              "messagequeue init end\r\n"
              "pavo init end\r\n"
              "an information line 2\r\n"
              "pavo cleanup begin\r\n"
              "messagequeue cleanup begin\r\n"
              "messagequeue cleanup end\r\n"
              "pavo cleanup end\r\n");
}

TEST_F(Lifecycle, FileOnlyLogModePrintsBareColourOnConsole)
{
    write_conf("[system]\nlogmode=2\nlogdirectory=" + dir_.path() + "\n");
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    testing::internal::CaptureStdout();
    pavo_log_info("not on the console\r\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\033[1;32m\033[0m");
}

TEST_F(Lifecycle, EmulatorModeOpensNoLogFile)
{
    write_conf("[system]\nlogmode=2\nlogdirectory=" + dir_.path() + "\n");
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
    ASSERT_EQ(pavo_registercallback(PAVO_CALLBACK_DEFAULT, counting_callback),
              PAVO_STATUS_SUCCESS);
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_iner_getcallback(PAVO_CALLBACK_AAA), nullptr);
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

TEST_F(Lifecycle, AddressProbeFillsTheIpField)
{
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    char probed[PAVO_IP_SIZE];
    memset(probed, 'x', sizeof probed);
    if (pavo_initip(probed, sizeof probed) != 0) {
        EXPECT_STREQ(probed, "");
        GTEST_SKIP() << "no interface with an IPv4 address";
    }
    in_addr parsed;
    EXPECT_EQ(inet_pton(AF_INET, probed, &parsed), 1) << probed;
    EXPECT_STREQ(g_pavo_env.ip, probed);

    char copy[PAVO_IP_SIZE];
    EXPECT_EQ(pavo_getip(copy, sizeof copy), 0);
    EXPECT_STREQ(copy, probed);
    char cut[4];
    EXPECT_EQ(pavo_getip(cut, sizeof cut), 0);
    EXPECT_EQ(std::string(cut), std::string(probed).substr(0, 3));
    EXPECT_EQ(pavo_getip(nullptr, 16), -1);
}

TEST_F(Lifecycle, StoredIpIsCopiedLiterally)
{
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    snprintf(g_pavo_env.ip, sizeof g_pavo_env.ip, "10.0.0.1%%%%%%s");
    char copy[PAVO_IP_SIZE];
    EXPECT_EQ(pavo_getip(copy, sizeof copy), 0);
    EXPECT_STREQ(copy, "10.0.0.1%%s");
}

}  // namespace
