// Tests of the application profile: every behaviour it turns on, each row showing the
// documented side (profile off) and the profile's side, against the platform simulator where
// a request is involved.
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "service_fixture.h"

namespace pavo_test {
namespace {

struct Logged {
    int level;
    std::string text;
};
std::vector<Logged> g_logged;  // filled on the logging thread, read after it returned

void keep_line(int level, const char* message, void*) { g_logged.push_back({level, message}); }

bool logged(const std::string& text)
{
    for (const Logged& line : g_logged)
        if (line.text.find(text) != std::string::npos)
            return true;
    return false;
}

class ProfileTest : public ServiceTest {
protected:
    void TearDown() override
    {
        ServiceTest::TearDown();
        pavo_setprofile(nullptr);
        pavo_setlogcallback(nullptr, nullptr);
        g_logged.clear();
    }
};

// Run alone (as ctest runs each test), this is the process's first start: the profile is set
// while the library's record is still to be set up.
TEST(ProfileStart, CoversStartUpAndOutlivesShutDown)
{
    TempDir dir;
    EXPECT_EQ(pavo_setprofile("Application"), -1);
    ASSERT_EQ(pavo_setprofile("application"), 0);
    pavo_setlogcallback(keep_line, nullptr);
    for (int run = 0; run < 2; ++run) {
        testing::internal::CaptureStdout();
        ASSERT_EQ(start_library(dir.path(), kSimOem, kSimTerminalType, kSimDevice, "C", "T"), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        EXPECT_TRUE(logged(std::string("***TVID:") + kSimTvid));
        char value[PAVO_PROP_SIZE];
        pavo_readprop("profile", value, sizeof value);
        EXPECT_STREQ(value, "application");
        pavo_cleanup();
        g_logged.clear();
    }
    EXPECT_EQ(pavo_writeprop("profile", ""), 0);
    pavo_setlogcallback(nullptr, nullptr);
    testing::internal::CaptureStdout();
    ASSERT_EQ(start_library(dir.path(), kSimOem, kSimTerminalType, kSimDevice, "C", "T"), 0);
    EXPECT_NE(testing::internal::GetCapturedStdout(), "");
    pavo_cleanup();
}

TEST_F(ProfileTest, LogRoutedLevelledAndMasked)
{
    const char* body = "UserID=u1&Authenticator=AB12&UserToken=tok9&IP=1";
    const char* answer = "<Result/><UserToken>tok9</UserToken><UserID>u1</UserID>";
    struct Row {
        const char* profile;
        std::string stdout_text;            // exactly what the console gets
        std::vector<std::string> callback;  // what the callback gets, in order
    } rows[] = {
        {nullptr,
         std::string("\033[1;32mpost url data:") + body + "\r\n\033[0m\033[1;32m" + answer +
             "\033[0mdebug line\r\n\033[0mbegin test parse:x\r\n",
         {std::string("post url data:") + body, answer, "debug line"}},
        {"application",
         "",
         {"post url data:UserID=u1&Authenticator=<hidden>&UserToken=<hidden>&IP=1",
          "<Result/><UserToken><hidden></UserToken><UserID>u1</UserID>"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.profile != nullptr ? row.profile : "documented");
        pavo_setprofile(row.profile);
        pavo_setlogcallback(keep_line, nullptr);
        g_logged.clear();
        testing::internal::CaptureStdout();
        pavo_log_info("post url data:%s\r\n", body);
        pavo_log_info("%s", answer);
        pavo_log_debug("debug line\r\n");
        pavo_test_parse("x");  // a diagnostic of the folders below the service
        EXPECT_EQ(testing::internal::GetCapturedStdout(), row.stdout_text);
        std::vector<std::string> texts;
        for (const Logged& line : g_logged)
            texts.push_back(line.text);
        EXPECT_EQ(texts, row.callback);
    }
}

TEST_F(ProfileTest, SecretsNeverReachTheLog)
{
    pavo_setprofile("application");
    pavo_setlogcallback(keep_line, nullptr);
    open_and_login();
    ASSERT_EQ(pavo_recharge(3, 1, "card-secret-77"), PAVO_STATUS_SUCCESS);
    pavo_dumpresult(pavo_getresult());
    const std::string token = property("usertoken");
    ASSERT_FALSE(token.empty());
    EXPECT_TRUE(logged("authenticator source:<hidden>"));
    for (const std::string& secret : {token, property("serverauthenticator"),
                                      std::string("card-secret-77"), sha1_text(kSimUserId)})
        EXPECT_FALSE(logged(secret)) << secret;
    EXPECT_TRUE(logged(kSimUserId));
}

// How a request without a usable answer ends, documented and with the profile.
TEST_F(ProfileTest, FailedRequestsGiveErrorResults)
{
    const std::string refused = "http://127.0.0.1:" + std::to_string(refused_port()) + "/Open";
    struct Row {
        const char* fault;
        int off_status, off_code;  // off_code -1: no result stored
        int on_code;
        long on_httpret;
        const char* text;  // in pavo_getlasterrortext() with the profile
    } rows[] = {
        {"refused", -1, -1, PAVO_RESULT_TRANSFERFAILED, 0, "libcurl code 7"},
        {"503", -1, -1, PAVO_RESULT_HTTPERROR, 503, "HTTP status 503"},
        {"html", 0, 0, PAVO_RESULT_UNPARSABLE, 200, "not the platform's XML"},
    };
    for (const Row& row : rows) {
        for (bool profile : {false, true}) {
            SCOPED_TRACE(std::string(row.fault) + (profile ? " profile" : " documented"));
            pavo_setprofile(profile ? "application" : nullptr);
            pavo_writeprop("openurl",
                           row.fault[0] == 'r' ? refused.c_str() : sim_->open_url().c_str());
            if (row.fault[0] == '5')
                sim_->set_fault("/Open", 503);
            if (row.fault[0] == 'h')
                sim_->set_answer("/Open", "<html><body>Sign in to the hotel wifi</body></html>");
            tpavo_result* marker = store_marker_result();
            EXPECT_EQ(pavo_open(1, OPENMODE_STBCODE, kSimTvid, nullptr),
                      profile ? PAVO_STATUS_FAILURE : row.off_status);
            sim_->clear_faults();
            tpavo_result* result = pavo_getresult();
            ASSERT_NE(result, nullptr);
            if (!profile) {
                EXPECT_EQ(pavo_getlasterror(), 0);
                EXPECT_EQ(result == marker ? -1 : result->resultcode, row.off_code);
                continue;
            }
            EXPECT_EQ(result->resultcode, row.on_code);
            EXPECT_EQ(result->httpretcode, row.on_httpret);
            EXPECT_EQ(pavo_getlasterror(), PAVO_STATUS_FAILURE);
            EXPECT_NE(std::string(pavo_getlasterrortext()).find(row.text), std::string::npos)
                << pavo_getlasterrortext();
            EXPECT_STREQ(result->resultmsg, pavo_getlasterrortext());
        }
    }
}

int g_async_code = 1;
int keep_code(tpavo_event* event)
{
    auto* result = static_cast<const tpavo_result*>(event->data);
    g_async_code = result != nullptr ? result->resultcode : 0;
    return 0;
}

// Only the profile's side: the documented side holds the caller for 100 seconds.
TEST_F(ProfileTest, AsyncRequestReturnsOnceQueuedAndCarriesItsFailure)
{
    pavo_setprofile("application");
    sim_->set_fault("/Open", 503);
    pavo_registercallback(PAVO_CALLBACK_AAA, keep_code);
    pavo_setfuncmode(FUNCMODE_ASYNC);
    EXPECT_EQ(pavo_open(1, OPENMODE_STBCODE, kSimTvid, nullptr), PAVO_STATUS_SUCCESS);
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (g_async_code == 1 && std::chrono::steady_clock::now() < deadline)
        if (pavo_checkmessage() == 0)
            std::this_thread::yield();
    pavo_setfuncmode(FUNCMODE_SYNC);
    EXPECT_EQ(g_async_code, PAVO_RESULT_HTTPERROR);
}

TEST_F(ProfileTest, LocalFailuresAreFailures)
{
    const std::string missing = workdir_->path() + "/missing";
    write_korix_conf(workdir_->path(), {{"aaasrvaddress", "A"}, {"aaasrvaddress2", "B"}});
    struct Row {
        const char* profile;
        int init_missing, write_missing, write_null;
        const char* second_address;  // read back under aaasrvaddress2
    } rows[] = {
        {nullptr, PAVO_STATUS_SUCCESS, 0, 0, "A"},
        {"application", PAVO_STATUS_FAILURE_WORKDIR, -1, -1, "B"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.profile != nullptr ? row.profile : "documented");
        pavo_setprofile(row.profile);
        char value[PAVO_PROP_SIZE];
        EXPECT_STREQ(pavo_readconfig("system", "aaasrvaddress2", value, sizeof value),
                     row.second_address);
        pavo_cleanup();
        EXPECT_EQ(start_library(missing, kSimOem, kSimTerminalType, kSimDevice, "C", "T"),
                  row.init_missing);
        EXPECT_EQ(pavo_writeconfig("system", "userid", "u9"), row.write_missing);
        EXPECT_FALSE(file_exists(missing + "/korix.conf"));
        if (row.write_null != 0) {  // documented: the INI reader's assertion ends the process
            EXPECT_EQ(pavo_writeconfig(nullptr, "userid", "u9"), row.write_null);
        }
        pavo_cleanup();
        ASSERT_EQ(
            start_library(workdir_->path(), kSimOem, kSimTerminalType, kSimDevice, "C", "T"), 0);
    }
}

TEST(ProfileCodes, EveryStatusAndClassHasItsOwnText)
{
    std::vector<std::string> seen;
    for (int code : {0, -1, -2, -3, -4, -5, -6, -9001, -9002, -9003}) {
        std::string text = pavo_strerror(code);
        EXPECT_NE(text, "unknown code") << code;
        EXPECT_EQ(std::count(seen.begin(), seen.end(), text), 0) << code;
        seen.push_back(text);
    }
    EXPECT_STREQ(pavo_strerror(-7), "unknown code");
}

}  // namespace
}  // namespace pavo_test
