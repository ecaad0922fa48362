// Start-up and shut-down: states and return codes, the TVID and profile,
// literal init strings, the korix.conf rules, the log file, emulator mode,
// the callback slots that start-up installs, and the IP address.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "service/pavo_global.h"
#include "support/library_start.h"
#include "support/temp_dir.h"

namespace {

int counting_callback(tpavo_event*) { return 0; }

class Lifecycle : public ::testing::Test {
protected:
    void SetUp() override { pavo_global_init(); }  // emulator and log modes of earlier tests gone
    void TearDown() override { pavo_cleanup(); }

    // korix.conf with these "key=value\n" lines; the log always goes to the test's directory.
    void write_conf(const std::string& keys)
    {
        write_file(dir_.file("korix.conf"),
                   "[system]\n" + keys + "logdirectory=" + dir_.path() + "\n");
    }
    pavo_status_t start()
    {
        return pavo_test::start_library(dir_.path(), oem_, terminal_, device_, chip_, client_,
                                        ipversion_);
    }

    TempDir dir_;
    const char* oem_ = "1234567";
    const char* terminal_ = "ABCDEFG";
    const char* device_ = "123456789ABCD";
    const char* chip_ = "CHIP";
    const char* client_ = "CLIENT";
    int ipversion_ = 4;
};

// Start replaces earlier callbacks with the two built-ins; cleanup clears every slot.
TEST_F(Lifecycle, StartAndCleanupMoveBetweenNoneAndInited)
{
    ASSERT_EQ(pavo_registercallback(PAVO_CALLBACK_AAA, counting_callback), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getfuncmode(), FUNCMODE_ASYNC);
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_INITED);
    EXPECT_EQ(pavo_getfuncmode(), FUNCMODE_SYNC);
    EXPECT_EQ(start(), PAVO_STATUS_FAILURE_ALREADYINITED);
    EXPECT_STREQ(g_pavo_env.tvprofile, "CHIP;CLIENT;KORIXOS/1001");
    EXPECT_EQ(pavo_iner_getcallback(PAVO_CALLBACK_AAA), nullptr);
    tpavo_event event{};
    testing::internal::CaptureStdout();
    EXPECT_EQ(pavo_iner_getcallback(PAVO_CALLBACK_DEFAULT)(&event), 0);
    EXPECT_EQ(pavo_iner_getcallback(PAVO_CALLBACK_EXCEPTION)(&event), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\033[1;32mdefaultcallback trigger\r\n\033[0m"
              "\033[1;32mexceptioncallback trigger\r\n\033[0m");

    EXPECT_EQ(pavo_cleanup(), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_NONE);
    for (int type = 0; type < PAVO_CALLBACK_SLOTS; ++type)
        EXPECT_EQ(pavo_iner_getcallback(type), nullptr) << "slot " << type;
}

TEST_F(Lifecycle, TvidPadsAndCutsEachPartAndCopiesInitStringsLiterally)
{
    const struct {
        const char *oem, *terminal, *device;
        int ipversion;
        const char* tvid;
    } cases[] = {
        {"1234567", "ABCDEFG", "ABCDEFGHIJKLMNOPQRST", 6,
         "0001234567000ABCDEFGV6ABCDEFGHIJKLMNOP"},
        {"OEMNAMEISLONG", "TERMINAL-TYPE-X", "D", 4, "OEMNAMEISLTERMINAL-TV4000000000000000D"},
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
}

TEST_F(Lifecycle, QueueSizeIsAtLeastOneHundredAndLogModeZeroOrAbsentMeansConsole)
{
    int tpavo_env::*queue = &tpavo_env::msgqueuesize;
    int tpavo_env::*log = &tpavo_env::logmode;
    const struct {
        const char* keys;
        int tpavo_env::*field;
        int expected;
    } cases[] = {
        {"", queue, 100},
        {"msgqueuesize=100\n", queue, 100},
        {"msgqueuesize=101\n", queue, 101},
        {"msgqueuesize=lots\n", queue, 100},
        {"", log, 1},
        {"logmode=0\n", log, 1},
        {"logmode=3\n", log, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.keys);
        write_conf(c.keys);
        ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
        EXPECT_EQ(g_pavo_env.*c.field, c.expected);
        pavo_cleanup();
    }
}

// korix.conf of any size or content: the library starts with the keys read so
// far and defaults for the rest (a NUL or 0xFF byte ends the text), and a file
// past the 65,535-byte limit is logged once.
TEST_F(Lifecycle, AnyKorixConfStartsWithTheKeysReadSoFar)
{
    const std::string head =
        "[system]\nmsgqueuesize=150\nlogmode=2\nlogdirectory=" + dir_.path() + "\n";
    std::string binary;  // every byte value
    for (int i = 0; i < 200000; ++i)
        binary += static_cast<char>(i * 131 + 1);
    const std::pair<std::string, bool> rows[] = {
        // the file, and whether it is noticed
        {head + ";" + std::string(16 << 20, 'p') + "\nmaxrecords=5\n", true},
        {head + ";" + std::string(65536 - head.size() - 2, 'p') + "\n", true},
        {head + ";" + std::string(65535 - head.size() - 2, 'p') + "\n", false},
        {head + binary + "\nmaxrecords=5\n", false},
    };
    for (const auto& [text, noticed] : rows) {
        SCOPED_TRACE(text.size());
        write_file(dir_.file("korix.conf"), text);
        ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
        EXPECT_EQ(g_pavo_env.msgqueuesize, 150);
        EXPECT_EQ(g_pavo_env.maxrecords, 100000);
        pavo_cleanup();
        const std::string log = read_file(dir_.file("pavo.log"));
        const std::string notice = "korix.conf read up to 65535 bytes, the rest ignored\r\n";
        EXPECT_EQ(log.find(notice) != std::string::npos, noticed);
        EXPECT_EQ(log.find(notice), log.rfind(notice)) << "logged once";
    }
}

TEST_F(Lifecycle, FileLogIsTruncatedAndHoldsOnlyBareInformationTextWhileConsoleGetsColours)
{
    write_conf("logmode=2\n");
    write_file(dir_.file("pavo.log"), "text of an earlier run\r\n");
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    testing::internal::CaptureStdout();
    pavo_log_err("an error %d\r\n", 1);
    pavo_log_warn("a warning\r\n");
    pavo_log_debug("a debug line\r\n");
    pavo_log_info("an information %s %d\r\n", "line", 2);
    log_info("console only %d\r\n", 3);  // the second set ignores the log mode
    EXPECT_EQ(
        testing::internal::GetCapturedStdout(),
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

TEST_F(Lifecycle, IpIsCopiedOutLiterallyWithinTheBuffer)
{
    ASSERT_EQ(start(), PAVO_STATUS_SUCCESS);
    snprintf(g_pavo_env.ip, sizeof g_pavo_env.ip, "10.0.0.1%%%%%%s");
    char copy[PAVO_IP_SIZE];
    EXPECT_EQ(pavo_getip(copy, sizeof copy), 0);
    EXPECT_STREQ(copy, "10.0.0.1%%s");
    char cut[4];
    EXPECT_EQ(pavo_getip(cut, sizeof cut), 0);
    EXPECT_STREQ(cut, "10.");
}

}  // namespace
