// Tests of the service requests against the platform simulator: the form encoder, exact
// URLs and bodies as the simulator recorded them, state refusals, the authenticators the
// simulator deciphers, the open and login write-backs, the last result, and a whole
// session from a fresh working directory followed by a restart.
#include <string.h>

#include <functional>
#include <string>

#include "service/pavo_service_requests.h"
#include "service_fixture.h"
#include "support/temp_dir.h"

namespace pavo_test {
namespace {

// ---------------------------------------------------------------- encoder

struct EncoderCase {
    const char* input;
    const char* expected;
};

// Bytes above 127 are read as signed chars: their digits leave the hex alphabet. The
// platform expects exactly this.
const EncoderCase kEncoderCases[] = {
    {"AZaz09", "AZaz09"},
    {"a b-c", "a+b%2Dc"},
    {"-._~", "%2D%2E%5F%7E"},
    {" \t\n\v\f\r", "++++++"},
    {"\x80", "%/0"},
    {"\xE4", "%5+"},
    {"\xFF", "%66"},
    {"\x7F", "%7F"},
    {"", ""},
};

TEST(UrlEncode, EncodesEachByteAsThePlatformExpects)
{
    for (const EncoderCase& c : kEncoderCases) {
        char out[64];
        memset(out, 'x', sizeof out);
        EXPECT_EQ(pavo_urlencode(c.input, out), out);
        EXPECT_STREQ(out, c.expected) << "input " << c.input;
    }
}

TEST(UrlEncode, NullInputGivesEmptyText)
{
    char out[4] = "xyz";
    EXPECT_STREQ(pavo_urlencode(nullptr, out), "");
    EXPECT_EQ(pavo_urlencode("a", nullptr), nullptr);
}

TEST(UrlEncode, BoundedTwinCutsWhereTheBufferEnds)
{
    char out[5];
    EXPECT_STREQ(pavo_inner_urlencode_bounded("ab-c", out, sizeof out), "ab%2");
    EXPECT_STREQ(pavo_inner_urlencode_bounded("abc", out, sizeof out), "abc");
}

TEST(UrlEncode, ToHexDigitsWrapAboveFifteen)
{
    const char digits[] = "0123456789ABCDEF";
    for (unsigned x = 0; x < 16; ++x)
        EXPECT_EQ(pavo_toHex(static_cast<unsigned char>(x)), digits[x]);
    EXPECT_EQ(pavo_toHex(248), '/');
    EXPECT_EQ(pavo_toHex(254), '5');
    EXPECT_EQ(pavo_toHex(244), '+');
    EXPECT_EQ(pavo_toHex(255), '6');
}

// ------------------------------------------------------------ refusals

TEST(ServiceStateless, OpenBeforeStartUpIsRefused)
{
    ASSERT_EQ(pavo_getstate(), PAVO_STATE_NONE);
    EXPECT_EQ(pavo_open(1, OPENMODE_STBCODE, "x", nullptr), PAVO_STATUS_FAILURE_NOTINITED);
}

using ServiceRequests = ServiceTest;

struct RefusalCase {
    const char* name;
    std::function<pavo_status_t()> call;
    pavo_status_t before_open;
    pavo_status_t before_login;
};

const RefusalCase kRefusalCases[] = {
    {"login", [] { return pavo_login(1); }, PAVO_STATUS_FAILURE_NOTOPENED, PAVO_STATUS_SUCCESS},
    {"logout", [] { return pavo_logout(1); }, PAVO_STATUS_FAILURE_NOTLOGINED,
     PAVO_STATUS_FAILURE_NOTLOGINED},
    {"recharge", [] { return pavo_recharge(1, 1, "V100"); }, PAVO_STATUS_FAILURE_NOTLOGINED,
     PAVO_STATUS_FAILURE_NOTLOGINED},
    {"categorylist", [] { return pavo_querycategorylist(1, "", 1, 10); },
     PAVO_STATUS_FAILURE_NOTLOGINED, PAVO_STATUS_FAILURE_NOTLOGINED},
    {"categoryitemlist", [] { return pavo_querycategoryitemlist(1, "C0101", 1, 10, 1); },
     PAVO_STATUS_FAILURE_NOTLOGINED, PAVO_STATUS_FAILURE_NOTLOGINED},
    {"relateitemlist", [] { return pavo_queryrelateitemlist(1, 1, "P1001", 0, 0, 1, 10); },
     PAVO_STATUS_FAILURE_NOTLOGINED, PAVO_STATUS_FAILURE_NOTLOGINED},
    {"itemdetail",
     [] { return pavo_queryitemdetail(1, "C0101", PAVO_ITEMTYPE_PROGRAM, "P1001"); },
     PAVO_STATUS_FAILURE_NOTLOGINED, PAVO_STATUS_FAILURE_NOTLOGINED},
    {"schedulelist", [] { return pavo_queryschedulelist(1, "CH01", "2026", "2027", 1, 10); },
     PAVO_STATUS_FAILURE_NOTLOGINED, PAVO_STATUS_FAILURE_NOTLOGINED},
    {"playurl",
     [] {
         return pavo_queryplayurl(1, "C0101", PAVO_ITEMTYPE_PROGRAM, "P1001", "", SERVICETYPE_ONLINEPLAY,
                                  "", "");
     },
     PAVO_STATUS_FAILURE_NOTLOGINED, PAVO_STATUS_FAILURE_NOTLOGINED},
    {"extendservice", [] { return pavo_queryextendservice(1, "weather", "city"); },
     PAVO_STATUS_FAILURE_NOTLOGINED, PAVO_STATUS_FAILURE_NOTLOGINED},
};

TEST_F(ServiceRequests, TooLowStateRefusesWithNothingSentAndLastResultKept)
{
    tpavo_result* marker = store_marker_result();
    for (const RefusalCase& c : kRefusalCases) {
        EXPECT_EQ(c.call(), c.before_open) << c.name;
        EXPECT_EQ(pavo_getresult(), marker) << c.name;
    }
    EXPECT_TRUE(sim_->requests().empty());
    open_account();
    for (const RefusalCase& c : kRefusalCases) {
        if (c.before_login != PAVO_STATUS_SUCCESS) {
            EXPECT_EQ(c.call(), c.before_login) << c.name;
        }
    }
    EXPECT_TRUE(sim_->requests().empty());
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_OPENED);
}

// ----------------------------------------------------------------- open

TEST_F(ServiceRequests, OpenByCardSendsSevenPairsAndPersistsTheAccount)
{
    ASSERT_EQ(pavo_open(7, OPENMODE_USERCARD, kSimUserCard, "r 1"), PAVO_STATUS_SUCCESS);
    SimRequest request = only_request();
    EXPECT_EQ(request.path, "/Open");
    FormPairs pairs = split_form(request.body);
    ASSERT_EQ(pairs.size(), 7u);
    const std::string authenticator = pairs[6].second;
    EXPECT_EQ(request.body, form_body({{"OpenMode", "1"},
                                       {"OpenParam", kSimUserCard},
                                       {"TVID", kSimTvid},
                                       {"TVProfile", form_encoded(tvprofile())},
                                       {"PAVOVersion", "1%2E0%2E0%2E1"},
                                       {"Reserve", "r+1"},
                                       {"Authenticator", authenticator}}));

    // Success: the simulator accepted the authenticator.
    ASSERT_NE(successful_result(DATATYPE_OPENRESULT), nullptr);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_OPENED);

    // Open persists to korix.conf and leaves the login values alone.
    char value[PAVO_PROP_SIZE];
    EXPECT_STREQ(pavo_readconfig("system", "userid", value, sizeof value), kSimUserId);
    EXPECT_EQ(std::string(pavo_readconfig("system", "aaasrvaddress", value, sizeof value)),
              sim_->base_url());
    EXPECT_EQ(property("aaasrvaddress"), sim_->base_url());
    EXPECT_EQ(property("usertoken"), "");
}

TEST_F(ServiceRequests, OpenByTerminalCodeSendsTvidButAuthenticatesTheGivenParameter)
{
    ASSERT_EQ(pavo_open(3, OPENMODE_STBCODE, "given-param", nullptr), PAVO_STATUS_SUCCESS);
    FormPairs pairs = split_form(only_request().body);
    ASSERT_EQ(pairs.size(), 7u);
    EXPECT_EQ(pairs[1], std::make_pair(std::string("OpenParam"), std::string(kSimTvid)));
    EXPECT_EQ(pairs[5], std::make_pair(std::string("Reserve"), std::string()));

    std::vector<std::string> source =
        source_fields(decipher_authenticator(pairs[6].second, "482613"));
    ASSERT_EQ(source.size(), 7u);
    EXPECT_EQ(source[kSourceUser], "given-param");
    EXPECT_EQ(source[kSourceTvid], kSimTvid);
    EXPECT_EQ(source[kSourceIp], terminal_ip());
    EXPECT_EQ(source[6], "Korix");

    // The platform wants its user id to be the OpenParam it received: not this one.
    tpavo_result* result = pavo_getresult();
    ASSERT_NE(result, nullptr);
    EXPECT_LT(result->resultcode, 0);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_INITED);
}

TEST_F(ServiceRequests, OpenWithNullParameterAuthenticatesAnEmptyUser)
{
    ASSERT_EQ(pavo_open(3, OPENMODE_USERCARD, nullptr, nullptr), PAVO_STATUS_SUCCESS);
    FormPairs pairs = split_form(only_request().body);
    ASSERT_EQ(pairs.size(), 7u);
    EXPECT_EQ(pairs[1].second, "");
    std::vector<std::string> source =
        source_fields(decipher_authenticator(pairs[6].second, "482613"));
    ASSERT_EQ(source.size(), 7u);
    EXPECT_EQ(source[kSourceUser], "");
}

TEST_F(ServiceRequests, EmptyOpenUrlIsAPipelineFailureStoringNothing)
{
    pavo_writeprop("openurl", "");
    tpavo_result* marker = store_marker_result();
    EXPECT_EQ(pavo_open(1, OPENMODE_STBCODE, kSimTvid, nullptr), PAVO_STATUS_FAILURE);
    EXPECT_EQ(pavo_getresult(), marker);
    EXPECT_TRUE(sim_->requests().empty());
}

// ---------------------------------------------------------------- login

TEST_F(ServiceRequests, LoginSendsFourPairsWithTheRawAuthenticatorLast)
{
    open_account();
    pavo_writeprop("bizfield", "BIZ7");
    ASSERT_EQ(pavo_login(9), PAVO_STATUS_SUCCESS);
    SimRequest request = only_request();
    EXPECT_EQ(request.path, "/Service/Login");
    FormPairs pairs = split_form(request.body);
    ASSERT_EQ(pairs.size(), 4u);
    EXPECT_EQ(request.body, form_body({{"UserID", kSimUserId},
                                       {"PAVOVersion", "1%2E0%2E0%2E1"},
                                       {"TVProfile", form_encoded(tvprofile())},
                                       {"Authenticator", pairs[3].second}}));
    EXPECT_EQ(request.body.back(), '&');

    std::vector<std::string> source =
        source_fields(decipher_authenticator(pairs[3].second, kSimUserId));
    ASSERT_EQ(source.size(), 7u);
    EXPECT_EQ(source[kSourceUser], kSimUserId);
    EXPECT_EQ(source[kSourceTvid], kSimTvid);
    EXPECT_EQ(source[kSourceBiz], "BIZ7");
    EXPECT_EQ(source[kTimestamp].size(), 14u);
}

TEST_F(ServiceRequests, LoginWritesBackSeventeenSessionValues)
{
    open_account();
    ASSERT_EQ(pavo_login(2), PAVO_STATUS_SUCCESS);
    tpavo_result* result = successful_result(DATATYPE_LOGINRESULT);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_LOGINED);

    const tpavo_loginresponse* login = result->data.loginresponse;
    ASSERT_NE(login, nullptr);
    const std::string base = sim_->base_url();
    const std::pair<const char*, std::string> expected[] = {
        {"usertoken", login->usertoken},
        {"usergroup", "family"},
        {"aaasrvaddress", base},
        {"aaasrvaddress2", base},
        {"serverauthenticator", login->serverauthenticator},
        {"userlevel", "2"},
        {"actexpireddate", "2026-12-31"},
        {"epgsrvaddress", base},
        {"epgsrvaddress2", base},
        {"playsrvaddress", base},
        {"playsrvaddress2", base},
        {"upgradesrvaddress", base},
        {"upgradesrvaddress2", base},
        {"imgsrvaddress", base + "/files"},
        {"serviceaddress", base + "/ExtService"},
        {"drmsrvaddress", base + "/DRM"},
        {"drmsrvaddress2", base + "/DRM"},
    };
    for (const auto& [name, value] : expected)
        EXPECT_EQ(property(name), value) << name;
    EXPECT_EQ(property("usertoken").size(), 32u);
}

TEST_F(ServiceRequests, NegativeLoginResultIsStoredWithoutWriteBack)
{
    open_account();
    sim_->set_answer("/Service/Login",
                     "<?xml version=\"1.0\"?><Root><Result ResultCode=\"-105\" "
                     "ResultMsg=\"account not found\"/></Root>");
    ASSERT_EQ(pavo_login(2), PAVO_STATUS_SUCCESS);
    tpavo_result* result = pavo_getresult();
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->resultcode, -105);
    EXPECT_EQ(result->httpretcode, 200);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_OPENED);
    EXPECT_EQ(property("usertoken"), "");
    EXPECT_EQ(property("epgsrvaddress"), "");
}

TEST_F(ServiceRequests, UnparsableAnswerIsStoredAsABareResult)
{
    open_and_login();
    tpavo_result* marker = store_marker_result();
    sim_->set_answer("/Service/QueryCategory", "not xml at all");
    EXPECT_EQ(pavo_querycategorylist(1, "", 1, 10), PAVO_STATUS_SUCCESS);
    tpavo_result* result = pavo_getresult();
    ASSERT_NE(result, nullptr);
    ASSERT_NE(result, marker);
    EXPECT_EQ(result->resultcode, 0);
    EXPECT_EQ(result->data.ptr, nullptr);
    EXPECT_EQ(result->httpretcode, 200);
}

TEST_F(ServiceRequests, UserIdIsEncodedWithPlusAndUpperCaseEscapes)
{
    pavo_writeprop("userid", "a b-c");
    ASSERT_EQ(pavo_query_status(), PAVO_STATUS_SUCCESS);
    pavo_writeprop("aaasrvaddress", sim_->base_url().c_str());
    ASSERT_EQ(pavo_login(2), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(split_form(only_request().body)[0],
              std::make_pair(std::string("UserID"), std::string("a+b%2Dc")));
}

// The URL is formatted from an empty base too and goes out as "/Service/Login", which
// libcurl refuses: a pipeline failure with nothing stored.
class EmptyBaseAddress : public ServiceTest {
protected:
    ConfEntries conf_entries() const override
    {
        return {{"openurl", sim_->open_url()}, {"logmode", "3"},
                {"logdirectory", workdir_->path()}, {"userid", kSimUserId}};
    }
};

TEST_F(EmptyBaseAddress, LoginPostsToTheBareServicePathAndFails)
{
    ASSERT_EQ(pavo_query_status(), PAVO_STATUS_SUCCESS);
    ASSERT_EQ(property("aaasrvaddress"), "");
    tpavo_result* marker = store_marker_result();
    EXPECT_EQ(pavo_login(2), PAVO_STATUS_FAILURE);
    EXPECT_EQ(pavo_getresult(), marker);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_OPENED);
    pavo_cleanup();
    const std::string log = read_file(workdir_->path() + "/pavo.log");
    EXPECT_NE(log.find("pavo_upload url=/Service/Login \r\n"), std::string::npos);
    EXPECT_NE(log.find("\r\n=========================================================\r\n" +
                       tvprofile() +
                       "\r\n=========================================================\r\n"),
              std::string::npos);
}

// ------------------------------------------------------ logout, recharge

TEST_F(ServiceRequests, LogoutEncodesItsAuthenticatorAndKeepsTheLoginState)
{
    open_and_login();
    const std::string token = property("usertoken");
    pavo_writeprop("bizfield", "BIZ7");
    ASSERT_EQ(pavo_logout(4), PAVO_STATUS_SUCCESS);
    SimRequest request = only_request();
    EXPECT_EQ(request.path, "/Service/Logout");
    FormPairs pairs = split_form(request.body);
    ASSERT_EQ(pairs.size(), 4u);
    EXPECT_EQ(request.body, form_body({{"UserID", kSimUserId},
                                       {"Authenticator", pairs[1].second},
                                       {"UserToken", token},
                                       ip_pair()}));
    std::vector<std::string> source =
        source_fields(decipher_authenticator(pairs[1].second, kSimUserId));
    ASSERT_EQ(source.size(), 7u);
    EXPECT_EQ(source[kSourceBiz], "") << "logout authenticates an empty business field";

    // The logout parser tags its result as a recharge.
    ASSERT_NE(successful_result(DATATYPE_RECHARGERESULT), nullptr);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_LOGINED);
}

TEST_F(ServiceRequests, RechargeCarriesItsParameterOnlyInTheAuthenticator)
{
    open_and_login();
    ASSERT_EQ(pavo_recharge(5, 2, "V100"), PAVO_STATUS_SUCCESS);
    SimRequest request = only_request();
    EXPECT_EQ(request.path, "/Service/Recharge");
    FormPairs pairs = split_form(request.body);
    ASSERT_EQ(pairs.size(), 6u);
    EXPECT_EQ(request.body, form_body({{"UserID", kSimUserId},
                                       {"ChargeType", "2"},
                                       {"Reserve1", ""},
                                       {"Authenticator", pairs[3].second},
                                       {"UserToken", property("usertoken")},
                                       ip_pair()}));
    std::vector<std::string> source =
        source_fields(decipher_authenticator(pairs[3].second, kSimUserId));
    ASSERT_EQ(source.size(), 7u);
    EXPECT_EQ(source[kSourceBiz], "V100");

    tpavo_result* result = successful_result(DATATYPE_RECHARGERESULT);
    ASSERT_NE(result, nullptr);
    ASSERT_NE(result->data.rechargeresponse, nullptr);
    EXPECT_EQ(result->data.rechargeresponse->validpoints, 600);
}

TEST_F(ServiceRequests, RechargeParameterIsCutTo255Characters)
{
    open_and_login();
    const std::string parameter(300, '7');
    ASSERT_EQ(pavo_recharge(5, 1, parameter.c_str()), PAVO_STATUS_SUCCESS);
    FormPairs pairs = split_form(only_request().body);
    ASSERT_EQ(pairs.size(), 6u);
    std::vector<std::string> source =
        source_fields(decipher_authenticator(pairs[3].second, kSimUserId));
    ASSERT_EQ(source.size(), 7u);
    EXPECT_EQ(source[kSourceBiz], std::string(255, '7'));
}

// ------------------------------------------------------------ queries

struct QueryCase {
    const char* name;
    std::function<pavo_status_t()> call;
    const char* path;  // below the simulator's base address
    FormPairs fields;  // between the session four and "IP"
    tpavo_datatype datatype;
};

const QueryCase kQueryCases[] = {
    {"categorylist", [] { return pavo_querycategorylist(11, "C01", 1, 5); },
     "/Service/QueryCategory",
     {{"CategoryCode", "C01"}, {"PageIndex", "1"}, {"PageSize", "5"}}, DATATYPE_CATEGORYLIST},
    {"categoryitemlist", [] { return pavo_querycategoryitemlist(12, "C0101", 1, -3, 1); },
     "/Service/QueryProgramee",
     {{"CategoryCode", "C0101"}, {"PageIndex", "1"}, {"PageSize", "-3"}, {"Withdetail", "1"}},
     DATATYPE_ITEMLIST},
    {"relateitemlist", [] { return pavo_queryrelateitemlist(13, 1, "P1001", 4, 0, 1, 10); },
     "/Service/QueryRelative",
     {{"Type", "1"}, {"Code", "P1001"}, {"Mode", "4"}, {"Withdetail", "0"}, {"PageIndex", "1"},
      {"PageSize", "10"}},
     DATATYPE_ITEMLIST},
    {"itemdetail",
     [] { return pavo_queryitemdetail(14, "C0101", PAVO_ITEMTYPE_PROGRAM, "P1001"); },
     "/Service/QueryDetail",
     {{"CategoryCode", "C0101"}, {"ItemType", "1"}, {"ItemCode", "P1001"}}, DATATYPE_ITEM},
    {"schedulelist",
     [] { return pavo_queryschedulelist(15, "CH01", "2026-01-02", "2026-01-03", 1, 10); },
     "/Service/QuerySchedule",
     {{"ChannelCode", "CH01"}, {"StartDate", "2026%2D01%2D02"}, {"EndDate", "2026%2D01%2D03"},
      {"PageIndex", "1"}, {"PageSize", "10"}},
     DATATYPE_SCHEDULELIST},
    {"playurl",
     [] {
         return pavo_queryplayurl(16, "C03", PAVO_ITEMTYPE_CHANNEL, "CH01", "CH01-LIVE",
                                  SERVICETYPE_ONLINEPLAY, "2026-01-02 06:00:00", nullptr);
     },
     "/Service/Play",
     {{"CategoryCode", "C03"}, {"ItemType", "2"}, {"ItemCode", "CH01"},
      {"ClipCode", "CH01%2DLIVE"}, {"ServiceType", "0"},
      {"StartTime", "2026%2D01%2D02+06%3A00%3A00"}, {"EndTime", ""}},
     DATATYPE_QUERYPLAYURLRESULT},
    {"extendservice", [] { return pavo_queryextendservice(17, "weather", "city=Oslo"); },
     "/ExtService", {{"ServiceCode", "weather"}, {"ServiceParam", "city%3DOslo"}},
     DATATYPE_EXTSERVICERESULT},
};

TEST_F(ServiceRequests, EachQueryPostsItsFieldsBetweenSessionFourAndIp)
{
    open_and_login();
    for (const QueryCase& c : kQueryCases) {
        sim_->clear_requests();
        ASSERT_EQ(c.call(), PAVO_STATUS_SUCCESS) << c.name;
        SimRequest request = only_request();
        EXPECT_EQ(request.method, "POST") << c.name;
        EXPECT_EQ(request.path, c.path) << c.name;
        FormPairs expected = session_four();
        expected.insert(expected.end(), c.fields.begin(), c.fields.end());
        expected.push_back(ip_pair());
        EXPECT_EQ(request.body, form_body(expected)) << c.name;

        tpavo_result* result = successful_result(c.datatype);
        ASSERT_NE(result, nullptr) << c.name;
        EXPECT_NE(result->data.ptr, nullptr) << c.name;
        pavo_freeresult(result);
    }
}

TEST_F(ServiceRequests, HighBytesTravelInTheSignedEncoding)
{
    open_and_login();
    ASSERT_EQ(pavo_querycategorylist(1, "\x80\xE4\xFF", 1, 10), PAVO_STATUS_SUCCESS);
    FormPairs pairs = split_form(only_request().body);
    ASSERT_GE(pairs.size(), 5u);
    EXPECT_EQ(pairs[4], std::make_pair(std::string("CategoryCode"), std::string("%/0%5+%66")));
}

TEST_F(ServiceRequests, NullTextArgumentsAreSentEmpty)
{
    open_and_login();
    ASSERT_EQ(pavo_queryextendservice(1, nullptr, nullptr), PAVO_STATUS_SUCCESS);
    FormPairs pairs = split_form(only_request().body);
    ASSERT_EQ(pairs.size(), 7u);
    EXPECT_EQ(pairs[4], std::make_pair(std::string("ServiceCode"), std::string()));
    EXPECT_EQ(pairs[5], std::make_pair(std::string("ServiceParam"), std::string()));
}

TEST_F(ServiceRequests, OverlongBodyIsCutSilentlyAt8191Characters)
{
    open_and_login();
    const std::string code(9000, 'a');
    ASSERT_EQ(pavo_querycategorylist(1, code.c_str(), 1, 10), PAVO_STATUS_SUCCESS);
    SimRequest request = only_request();
    ASSERT_EQ(request.body.size(), 8191u);
    FormPairs four = session_four();
    const std::string prefix = form_body(four) + "CategoryCode=";
    EXPECT_EQ(request.body, prefix + std::string(8191 - prefix.size(), 'a'));
}

TEST_F(ServiceRequests, HttpErrorIsAPipelineFailureStoringNothing)
{
    open_and_login();
    tpavo_result* marker = store_marker_result();
    sim_->set_fault("/Service/QueryCategory", 503);
    EXPECT_EQ(pavo_querycategorylist(1, "", 1, 10), PAVO_STATUS_FAILURE);
    EXPECT_EQ(pavo_getresult(), marker);
}

TEST_F(ServiceRequests, PlatformErrorCodeComesBackWithTheHttpCodes)
{
    open_and_login();
    ASSERT_EQ(pavo_queryitemdetail(1, "C0101", PAVO_ITEMTYPE_PROGRAM, "NOPE"),
              PAVO_STATUS_SUCCESS);
    tpavo_result* result = pavo_getresult();
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->resultcode, -202);
    EXPECT_EQ(result->httpecode, PAVO_HTTPE_OK);
    EXPECT_EQ(result->httpretcode, 200);
}

// ----------------------------------------------------- status and flow

TEST_F(ServiceRequests, QueryStatusWithoutAUserIdFailsAndKeepsTheState)
{
    EXPECT_EQ(pavo_query_status(), PAVO_STATUS_FAILURE);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_INITED);
    EXPECT_TRUE(sim_->requests().empty());
}

TEST_F(ServiceRequests, QueryStatusWithAUserIdOpensFromAnyState)
{
    pavo_writeprop("userid", kSimUserId);
    EXPECT_EQ(pavo_query_status(), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_OPENED);
    pavo_setstate(PAVO_STATE_LOGINED);
    EXPECT_EQ(pavo_query_status(), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_OPENED);
    EXPECT_TRUE(sim_->requests().empty());
}

TEST_F(ServiceRequests, WholeSessionFromAFreshDirectoryThenRestartFromKorixConf)
{
    ASSERT_EQ(pavo_query_status(), PAVO_STATUS_FAILURE);
    ASSERT_EQ(pavo_open(1, OPENMODE_STBCODE, kSimTvid, nullptr), PAVO_STATUS_SUCCESS);
    ASSERT_EQ(pavo_login(2), PAVO_STATUS_SUCCESS);
    ASSERT_EQ(pavo_querycategorylist(3, "", 1, 0), PAVO_STATUS_SUCCESS);
    tpavo_result* categories = pavo_getresult();
    ASSERT_NE(categories, nullptr);
    ASSERT_NE(categories->data.categorylistresponse, nullptr);
    EXPECT_STREQ(categories->data.categorylistresponse->code, "C01");
    ASSERT_EQ(pavo_logout(4), PAVO_STATUS_SUCCESS);
    pavo_cleanup();

    const std::string conf = read_file(workdir_->path() + "/korix.conf");
    EXPECT_NE(conf.find("userid=u1001"), std::string::npos) << conf;
    EXPECT_NE(conf.find("aaasrvaddress=" + sim_->base_url()), std::string::npos) << conf;

    start_library();
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_INITED);
    EXPECT_EQ(property("usertoken"), "");
    ASSERT_EQ(pavo_query_status(), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_OPENED);
    ASSERT_EQ(pavo_login(5), PAVO_STATUS_SUCCESS);
    tpavo_result* login = pavo_getresult();
    ASSERT_NE(login, nullptr);
    EXPECT_EQ(login->resultcode, 0);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_LOGINED);
}

}  // namespace
}  // namespace pavo_test
