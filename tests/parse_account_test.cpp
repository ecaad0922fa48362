// Single-record answers: open, login (and the server clock), recharge, play
// address, system and resource upgrade, as their dumps show them.
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "parse_test_util.h"

namespace {

using namespace parse_test;

std::string answer(const std::string& code, const std::string& body)
{
    return "<Root><Result ResultCode=\"" + code + "\" ResultMsg=\"ok\"/><Response>" + body +
           "</Response></Root>";
}

std::string element(const std::string& name, const std::string& text)
{
    return "<" + name + ">" + text + "</" + name + ">";
}

// Every login field but "SystemTime"; the last address looks like a time on
// purpose, to show when it is read as one.
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

class AccountAnswer : public ParseTest {
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

// Each dump prints every text field of its record, so one comparison shows
// what was read into each; fields the dump leaves out are checked directly.
TEST_F(AccountAnswer, EachAnswerKindFillsItsRecordAsItsDumpShows)
{
    struct Row {
        tpavo_datatype datatype;
        std::string body;
        std::vector<std::string> lines;  // after "resultcode:0" and "resultmesg:ok"
    };
    const Row rows[] = {
        {DATATYPE_OPENRESULT,
         element("ServerAuthenticator", "sa") + element("UserID", "u1") +
             element("NickName", "") + element("AccountDesc", "d") +
             element("AAASrvAddress", "http://a") + element("AAASrvAddress2", "http://b"),
         {"serverauthenticator:sa", "userid:u1", "nickname:", "accountdesc:d",
          "aaasrvaddress:http://a", "aaasrvaddress2:http://b"}},
        // imgsrvaddress comes before the play addresses; validpoints is not shown.
        {DATATYPE_LOGINRESULT,
         login_body(element("SystemTime", "2010-01-02 03:04:05")),
         {"serverauthenticator:sa", "usertoken:tok", "userid:uid", "usergroup:grp",
          "userlevel:lvl", "actexpireddate:2030-01-01", "aaasrvaddress:aaa",
          "aaasrvaddress2:aaa2", "epgsrvaddress:epg", "epgsrvaddress2:epg2",
          "imgsrvaddress:img", "playsrvaddress:play", "playsrvaddress2:play2",
          "upgradesrvaddress:up", "upgradesrvaddress2:up2", "serviceaddress:svc",
          "drmsrvaddress:drm", "drmsrvaddress2:2011-02-03 04:05:06"}},
        // Points are read like atoi.
        {DATATYPE_RECHARGERESULT,
         element("ServerAuthenticator", "sa") + element("ValidPoints", "12abc") +
             element("ActExpiredDate", ""),
         {"serverauthenticator:sa", "validpoints:12", "actexpireddate:"}},
        {DATATYPE_QUERYPLAYURLRESULT,
         element("PlayURL", "rtsp://h/p?a=1&amp;b=2"),
         {"playurl:rtsp://h/p?a=1&b=2"}},
        // The mode is dumped last.
        {DATATYPE_UPGRADEOSRESULT,
         element("UpgradeMode", "2") + element("LastedVersion", "1.2") +
             element("FileURL", "http://f") + element("FileHash", "abcd"),
         {"lastedversion:1.2", "fileurl:http://f", "filehash:abcd", "upgrademode:2"}},
        // The resource upgrade reads "UpdateMode", not "UpgradeMode".
        {DATATYPE_UPGRADERESRESULT,
         element("UpgradeMode", "9") + element("UpdateMode", "3") +
             element("LastedVersion", "r5") + element("FileURL", "u") + element("FileHash", "h"),
         {"lastedversion:r5", "fileurl:u", "filehash:h", "updatemode:3"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.datatype);
        auto result = parse(answer("0", row.body), row.datatype);
        ASSERT_NE(result->data.ptr, nullptr);
        std::string expected = info_lines({"resultcode:0", "resultmesg:ok"});
        for (const std::string& line : row.lines)
            expected += info_lines({line});
        EXPECT_EQ(dump_of(result), expected);
    }
    auto login = parse(answer("0", login_body("")), DATATYPE_LOGINRESULT);
    ASSERT_NE(login->data.loginresponse, nullptr);
    EXPECT_EQ(login->data.loginresponse->validpoints, 77);
    EXPECT_EQ(login->data.loginresponse->forcedupgrade, 0);
}

// "SystemTime" sets the server clock; without it the field search re-reads
// the last address (DRMSrvAddress2) as the time; a rejected login leaves the
// clock alone.
TEST_F(AccountAnswer, LoginAnswerSetsServerTime)
{
    struct Row {
        const char* code;
        std::string system_time_element;
        unsigned long servertime;
        bool has_record;
    };
    const Row rows[] = {
        {"0", element("SystemTime", "2010-01-02 03:04:05"), 1262401445UL, true},
        {"0", "", 1296705906UL, true},  // 2011-02-03 04:05:06 UTC
        {"-1", element("SystemTime", "2010-01-02 03:04:05"), 12345UL, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.system_time_element);
        g_servertime = 12345;
        auto result = parse(answer(row.code, login_body(row.system_time_element)),
                            DATATYPE_LOGINRESULT);
        EXPECT_EQ(result->data.loginresponse != nullptr, row.has_record);
        EXPECT_EQ(g_servertime, row.servertime);
    }
}

}  // namespace
