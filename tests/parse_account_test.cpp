// Single-record answers: open, login (and the server clock), logout,
// recharge, play address, system and resource upgrade; their free and dump
// procedures.
#include <cstdlib>
#include <ctime>
#include <string>

#include "parse_test_util.h"

namespace {

using parse_test::dump_text;
using parse_test::info_lines;
using parse_test::parse;

std::string answer(const std::string& code, const std::string& body)
{
    return "<Root><Result ResultCode=\"" + code + "\" ResultMsg=\"ok\"/><Response>" + body +
           "</Response></Root>";
}

std::string element(const std::string& name, const std::string& text)
{
    return "<" + name + ">" + text + "</" + name + ">";
}

std::string login_body(const std::string& system_time_element)
{
    return element("ServerAuthenticator", "sa") + element("UserToken", "tok") +
           element("UserID", "uid") + element("UserGroup", "grp") + element("UserLevel", "lvl") +
           element("ValidPoints", "77") + element("ActExpiredDate", "2030-01-01") +
           element("AAASrvAddress", "aaa") + element("AAASrvAddress2", "aaa2") +
           element("EpgSrvAddress", "epg") + element("EpgSrvAddress2", "epg2") +
           element("PlaySrvAddress", "play") + element("PlaySrvAddress2", "play2") +
           element("UpgradeSrvAddress", "up") + element("UpgradeSrvAddress2", "up2") +
           element("IMGSrvAddress", "img") + element("ServiceAddress", "svc") +
           element("DRMSrvAddress", "drm") + element("DRMSrvAddress2", "2011-02-03 04:05:06") +
           system_time_element;
}

class AccountAnswer : public parse_test::ParseTest {
protected:
    void SetUp() override
    {
        ParseTest::SetUp();
        setenv("TZ", "UTC0", 1);
        tzset();
        g_servertime = 12345;
    }
    void TearDown() override
    {
        unsetenv("TZ");
        tzset();
    }
};

TEST_F(AccountAnswer, OpenAnswerFillsItsRecordAndDumps)
{
    auto result = parse(answer("0", element("ServerAuthenticator", "sa") +
                                        element("UserID", "u1") + element("NickName", "") +
                                        element("AccountDesc", "d") +
                                        element("AAASrvAddress", "http://a") +
                                        element("AAASrvAddress2", "http://b")),
                        DATATYPE_OPENRESULT);
    const tpavo_openresponse* open = result->data.openresponse;
    ASSERT_NE(open, nullptr);
    EXPECT_STREQ(open->serverauthenticator, "sa");
    EXPECT_STREQ(open->userid, "u1");
    EXPECT_EQ(open->nickname, nullptr);
    EXPECT_STREQ(open->accountdesc, "d");
    EXPECT_STREQ(open->aaasrvaddress, "http://a");
    EXPECT_STREQ(open->aaasrvaddress2, "http://b");
    EXPECT_EQ(dump_text(result->dumpproc, result.get()),
              info_lines({"resultcode:0", "resultmesg:ok", "serverauthenticator:sa", "userid:u1",
                          "nickname:", "accountdesc:d", "aaasrvaddress:http://a",
                          "aaasrvaddress2:http://b"}));
}

TEST_F(AccountAnswer, OpenAnswerWithoutNickNameRepeatsUserId)
{
    auto result = parse(answer("0", element("UserID", "u1") + element("AccountDesc", "d")),
                        DATATYPE_OPENRESULT);
    ASSERT_NE(result->data.openresponse, nullptr);
    EXPECT_STREQ(result->data.openresponse->nickname, "u1");
}

// The dump shows every text field; the rest is checked directly.
TEST_F(AccountAnswer, LoginAnswerFillsRecordAndServerTime)
{
    auto result = parse(answer("0", login_body(element("SystemTime", "2010-01-02 03:04:05"))),
                        DATATYPE_LOGINRESULT);
    EXPECT_EQ(result->datatype, DATATYPE_LOGINRESULT);
    const tpavo_loginresponse* login = result->data.loginresponse;
    ASSERT_NE(login, nullptr);
    EXPECT_STREQ(login->usertoken, "tok");
    EXPECT_EQ(login->validpoints, 77);
    EXPECT_EQ(login->forcedupgrade, 0);
    EXPECT_EQ(g_servertime, 1262401445UL);  // 2010-01-02 03:04:05 UTC
    // imgsrvaddress comes before the play addresses; validpoints is not shown.
    EXPECT_EQ(dump_text(result->dumpproc, result.get()),
              info_lines({"resultcode:0", "resultmesg:ok", "serverauthenticator:sa",
                          "usertoken:tok", "userid:uid", "usergroup:grp", "userlevel:lvl",
                          "actexpireddate:2030-01-01", "aaasrvaddress:aaa", "aaasrvaddress2:aaa2",
                          "epgsrvaddress:epg", "epgsrvaddress2:epg2", "imgsrvaddress:img",
                          "playsrvaddress:play", "playsrvaddress2:play2", "upgradesrvaddress:up",
                          "upgradesrvaddress2:up2", "serviceaddress:svc", "drmsrvaddress:drm",
                          "drmsrvaddress2:2011-02-03 04:05:06"}));
}

TEST_F(AccountAnswer, MissingSystemTimeRereadsLastAddressAsTime)
{
    auto result = parse(answer("0", login_body("")), DATATYPE_LOGINRESULT);
    EXPECT_EQ(g_servertime, pavo_nsecstr2ulong("2011-02-03 04:05:06"));
    EXPECT_EQ(g_servertime, 1296705906UL);
}

TEST_F(AccountAnswer, EmptySystemTimeClearsServerTime)
{
    auto result = parse(answer("0", login_body("<SystemTime></SystemTime>")),
                        DATATYPE_LOGINRESULT);
    ASSERT_NE(result->data.loginresponse, nullptr);
    EXPECT_EQ(g_servertime, 0UL);
}

TEST_F(AccountAnswer, NegativeLoginCodeLeavesServerTimeAlone)
{
    auto result = parse(answer("-1", login_body(element("SystemTime", "2010-01-02 03:04:05"))),
                        DATATYPE_LOGINRESULT);
    EXPECT_EQ(result->resultcode, -1);
    EXPECT_EQ(result->data.loginresponse, nullptr);
    EXPECT_EQ(g_servertime, 12345UL);
    EXPECT_EQ(dump_text(result->dumpproc, result.get()),
              info_lines({"resultcode:-1", "resultmesg:ok", "loginresponse is NULL"}));
}

TEST_F(AccountAnswer, LogoutIsTaggedAsRechargeAndHasNoRecord)
{
    auto result = parse(answer("0", element("Anything", "x")), DATATYPE_LOGOUTRESULT);
    EXPECT_EQ(result->datatype, DATATYPE_RECHARGERESULT);
    EXPECT_EQ(result->data.ptr, nullptr);
    EXPECT_EQ(result->freeproc, free_logoutresult);
    EXPECT_EQ(dump_text(result->dumpproc, result.get()),
              info_lines({"resultcode:0", "resultmesg:ok", "logoutresponse is NULL"}));
}

TEST_F(AccountAnswer, RechargeReadsPointsWithAtoi)
{
    auto result = parse(answer("2", element("ServerAuthenticator", "sa") +
                                        element("ValidPoints", "12abc") +
                                        element("ActExpiredDate", "")),
                        DATATYPE_RECHARGERESULT);
    const tpavo_rechargeresponse* recharge = result->data.rechargeresponse;
    ASSERT_NE(recharge, nullptr);
    EXPECT_STREQ(recharge->serverauthenticator, "sa");
    EXPECT_EQ(recharge->validpoints, 12);
    EXPECT_EQ(recharge->actexpireddate, nullptr);
    EXPECT_EQ(dump_text(result->dumpproc, result.get()),
              info_lines({"resultcode:2", "resultmesg:ok", "serverauthenticator:sa",
                          "validpoints:12", "actexpireddate:"}));
}

TEST_F(AccountAnswer, PlayAnswerCarriesDecodedUrl)
{
    auto result = parse(answer("0", element("PlayURL", "rtsp://h/p?a=1&amp;b=2")),
                        DATATYPE_QUERYPLAYURLRESULT);
    EXPECT_EQ(result->datatype, DATATYPE_QUERYPLAYURLRESULT);
    ASSERT_NE(result->data.playresponse, nullptr);
    EXPECT_STREQ(result->data.playresponse->playurl, "rtsp://h/p?a=1&b=2");
    EXPECT_EQ(dump_text(result->dumpproc, result.get()),
              info_lines({"resultcode:0", "resultmesg:ok", "playurl:rtsp://h/p?a=1&b=2"}));
}

TEST_F(AccountAnswer, SystemUpgradeDumpsModeLast)
{
    auto result = parse(answer("0", element("UpgradeMode", "2") +
                                        element("LastedVersion", "1.2") +
                                        element("FileURL", "http://f") +
                                        element("FileHash", "abcd")),
                        DATATYPE_UPGRADEOSRESULT);
    EXPECT_EQ(result->datatype, DATATYPE_UPGRADEOSRESULT);
    const tpavo_upgradeosresponse* upgrade = result->data.upgradeosresponse;
    ASSERT_NE(upgrade, nullptr);
    EXPECT_EQ(upgrade->upgrademode, 2);
    EXPECT_STREQ(upgrade->lastedversion, "1.2");
    EXPECT_STREQ(upgrade->fileurl, "http://f");
    EXPECT_STREQ(upgrade->filehash, "abcd");
    EXPECT_EQ(dump_text(result->dumpproc, result.get()),
              info_lines({"resultcode:0", "resultmesg:ok", "lastedversion:1.2",
                          "fileurl:http://f", "filehash:abcd", "upgrademode:2"}));
}

TEST_F(AccountAnswer, ResourceUpgradeIsTaggedAsSystemUpgradeAndReadsUpdateMode)
{
    auto result = parse(answer("0", element("UpgradeMode", "9") + element("UpdateMode", "3") +
                                        element("LastedVersion", "r5") +
                                        element("FileURL", "u") + element("FileHash", "h")),
                        DATATYPE_UPGRADERESRESULT);
    EXPECT_EQ(result->datatype, DATATYPE_UPGRADEOSRESULT);
    EXPECT_EQ(result->freeproc, free_upgraderesresult);
    const tpavo_upgraderesresponse* upgrade = result->data.upgraderesresponse;
    ASSERT_NE(upgrade, nullptr);
    EXPECT_EQ(upgrade->updatemode, 3);
    EXPECT_STREQ(upgrade->lastedversion, "r5");
    EXPECT_EQ(dump_text(result->dumpproc, result.get()),
              info_lines({"resultcode:0", "resultmesg:ok", "lastedversion:r5", "fileurl:u",
                          "filehash:h", "updatemode:3"}));
}

TEST_F(AccountAnswer, DumpsNameTheMissingRecord)
{
    struct Row {
        pavo_data_dumpproc dump;
        const char* line;
    };
    const Row rows[] = {
        {dump_openresult, "openresponse is NULL"},
        {dump_loginresult, "loginresponse is NULL"},
        {dump_logoutresult, "logoutresponse is NULL"},
        {dump_rechargeresult, "rechargeresponse is NULL"},
        {dump_playresult, "playresponse is NULL"},
        {dump_upgradeosresult, "upgradeosresponse is NULL"},
        {dump_upgraderesresult, "upgraderesresponse is NULL"},
    };
    tpavo_result empty = {};
    empty.resultcode = -4;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.line);
        EXPECT_EQ(dump_text(row.dump, nullptr), info_lines({"result is NULL"}));
        EXPECT_EQ(dump_text(row.dump, &empty),
                  info_lines({"resultcode:-4", "resultmesg:", row.line}));
    }
}

TEST_F(AccountAnswer, FreeProceduresReleaseEverythingAndClearData)
{
    const std::string full = login_body(element("SystemTime", "2010-01-02 03:04:05")) +
                             element("PlayURL", "p") + element("UpgradeMode", "1");
    const tpavo_datatype kinds[] = {DATATYPE_OPENRESULT,         DATATYPE_LOGINRESULT,
                                    DATATYPE_RECHARGERESULT,     DATATYPE_QUERYPLAYURLRESULT,
                                    DATATYPE_UPGRADEOSRESULT,    DATATYPE_UPGRADERESRESULT,
                                    DATATYPE_LOGOUTRESULT};
    for (tpavo_datatype kind : kinds) {
        SCOPED_TRACE(kind);
        auto result = parse(answer("0", full), kind);
        result->freeproc(result.get());
        EXPECT_EQ(result->data.ptr, nullptr);
        result->freeproc(result.get());  // a second call finds nothing to free
        result->freeproc(nullptr);
    }
}

TEST_F(AccountAnswer, LogoutFreeReleasesAnyDataBlock)
{
    tpavo_result result = {};
    result.data.ptr = pavo_malloc(16);
    free_logoutresult(&result);
    EXPECT_EQ(result.data.ptr, nullptr);
}

}  // namespace
