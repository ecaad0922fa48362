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

TEST(UrlEncode, NullInputGivesEmptyTextAndTheBoundedTwinCutsAtTheBufferEnd)
{
    char out[5] = "xyz";
    EXPECT_STREQ(pavo_urlencode(nullptr, out), "");
    EXPECT_EQ(pavo_urlencode("a", nullptr), nullptr);
    EXPECT_STREQ(pavo_inner_urlencode_bounded("ab-c", out, sizeof out), "ab%2");
    EXPECT_STREQ(pavo_inner_urlencode_bounded("abc", out, sizeof out), "abc");
}

TEST(UrlEncode, ToHexDigitsWrapAboveFifteen)
{
    const char digits[] = "0123456789ABCDEF";
    for (unsigned x = 0; x < 16; ++x)
        EXPECT_EQ(pavo_toHex(static_cast<unsigned char>(x)), digits[x]);
    const std::pair<unsigned char, char> wrapped[] = {{248, '/'}, {254, '5'}, {244, '+'},
                                                      {255, '6'}};
    for (const auto& [x, digit] : wrapped)
        EXPECT_EQ(pavo_toHex(x), digit) << int(x);
}

// ------------------------------------------------------------ refusals

TEST(ServiceStateless, OpenBeforeStartUpIsRefused)
{
    ASSERT_EQ(pavo_getstate(), PAVO_STATE_NONE);
    EXPECT_EQ(pavo_open(1, OPENMODE_STBCODE, "x", nullptr), PAVO_STATUS_FAILURE_NOTINITED);
}

using ServiceRequests = ServiceTest;

// ---------------------------------------------------------------- bodies

struct BodyCase {
    const char* name;
    std::function<pavo_status_t()> call;
    const char* path;                   // below the simulator's base address
    std::function<FormPairs()> pairs;   // "Authenticator" values are taken as sent
    int datatype;                       // of a successful answer; -1: body only
    bool has_data;                      // the answer carries a record
};

// A query's own fields between the session four and "IP".
std::function<FormPairs()> query(FormPairs fields)
{
    return [fields] {
        FormPairs pairs = ServiceTest::session_four();
        pairs.insert(pairs.end(), fields.begin(), fields.end());
        pairs.push_back(ServiceTest::ip_pair());
        return pairs;
    };
}

const std::pair<std::string, std::string> kAuth = {"Authenticator", ""};
const char* const kVersion = "1%2E0%2E0%2E1";

// In order from a started library: open, login, the queries, recharge, logout. Bytes above
// 127 travel in the signed encoding; null texts go out empty.
const BodyCase kBodyCases[] = {
    {"open", [] { return pavo_open(7, OPENMODE_USERCARD, kSimUserCard, "r 1"); }, "/Open",
     [] {
         return FormPairs{{"OpenMode", "1"}, {"OpenParam", kSimUserCard}, {"TVID", kSimTvid},
                          {"TVProfile", form_encoded(ServiceTest::tvprofile())},
                          {"PAVOVersion", kVersion}, {"Reserve", "r+1"}, kAuth};
     },
     DATATYPE_OPENRESULT, true},
    {"login", [] { return pavo_login(9); }, "/Service/Login",
     [] {
         return FormPairs{{"UserID", kSimUserId}, {"PAVOVersion", kVersion},
                          {"TVProfile", form_encoded(ServiceTest::tvprofile())}, kAuth};
     },
     DATATYPE_LOGINRESULT, true},
    {"categorylist", [] { return pavo_querycategorylist(11, "C01", 1, 5); },
     "/Service/QueryCategory",
     query({{"CategoryCode", "C01"}, {"PageIndex", "1"}, {"PageSize", "5"}}),
     DATATYPE_CATEGORYLIST, true},
    {"categorylist high bytes", [] { return pavo_querycategorylist(1, "\x80\xE4\xFF", 1, 10); },
     "/Service/QueryCategory",
     query({{"CategoryCode", "%/0%5+%66"}, {"PageIndex", "1"}, {"PageSize", "10"}}), -1,
     false},
    {"categoryitemlist", [] { return pavo_querycategoryitemlist(12, "C0101", 1, -3, 1); },
     "/Service/QueryProgramee",
     query({{"CategoryCode", "C0101"}, {"PageIndex", "1"}, {"PageSize", "-3"},
            {"Withdetail", "1"}}),
     DATATYPE_ITEMLIST, true},
    {"relateitemlist", [] { return pavo_queryrelateitemlist(13, 1, "P1001", 4, 0, 1, 10); },
     "/Service/QueryRelative",
     query({{"Type", "1"}, {"Code", "P1001"}, {"Mode", "4"}, {"Withdetail", "0"},
            {"PageIndex", "1"}, {"PageSize", "10"}}),
     DATATYPE_ITEMLIST, true},
    {"itemdetail",
     [] { return pavo_queryitemdetail(14, "C0101", PAVO_ITEMTYPE_PROGRAM, "P1001"); },
     "/Service/QueryDetail",
     query({{"CategoryCode", "C0101"}, {"ItemType", "1"}, {"ItemCode", "P1001"}}),
     DATATYPE_ITEM, true},
    {"schedulelist",
     [] { return pavo_queryschedulelist(15, "CH01", "2026-01-02", "2026-01-03", 1, 10); },
     "/Service/QuerySchedule",
     query({{"ChannelCode", "CH01"}, {"StartDate", "2026%2D01%2D02"},
            {"EndDate", "2026%2D01%2D03"}, {"PageIndex", "1"}, {"PageSize", "10"}}),
     DATATYPE_SCHEDULELIST, true},
    {"playurl",
     [] {
         return pavo_queryplayurl(16, "C03", PAVO_ITEMTYPE_CHANNEL, "CH01", "CH01-LIVE",
                                  SERVICETYPE_ONLINEPLAY, "2026-01-02 06:00:00", nullptr);
     },
     "/Service/Play",
     query({{"CategoryCode", "C03"}, {"ItemType", "2"}, {"ItemCode", "CH01"},
            {"ClipCode", "CH01%2DLIVE"}, {"ServiceType", "0"},
            {"StartTime", "2026%2D01%2D02+06%3A00%3A00"}, {"EndTime", ""}}),
     DATATYPE_QUERYPLAYURLRESULT, true},
    {"extendservice", [] { return pavo_queryextendservice(17, "weather", "city=Oslo"); },
     "/ExtService", query({{"ServiceCode", "weather"}, {"ServiceParam", "city%3DOslo"}}),
     DATATYPE_EXTSERVICERESULT, true},
    {"extendservice null texts", [] { return pavo_queryextendservice(1, nullptr, nullptr); },
     "/ExtService", query({{"ServiceCode", ""}, {"ServiceParam", ""}}),
     DATATYPE_EXTSERVICERESULT, true},
    {"recharge", [] { return pavo_recharge(5, 2, "V100"); }, "/Service/Recharge",
     [] {
         return FormPairs{{"UserID", kSimUserId}, {"ChargeType", "2"}, {"Reserve1", ""}, kAuth,
                          {"UserToken", ServiceTest::property("usertoken")},
                          ServiceTest::ip_pair()};
     },
     DATATYPE_RECHARGERESULT, true},
    // The logout parser tags its result as a recharge; the login state stays.
    {"logout", [] { return pavo_logout(4); }, "/Service/Logout",
     [] {
         return FormPairs{{"UserID", kSimUserId}, kAuth,
                          {"UserToken", ServiceTest::property("usertoken")},
                          ServiceTest::ip_pair()};
     },
     DATATYPE_RECHARGERESULT, false},
};

TEST_F(ServiceRequests, EachRequestPostsItsExactBody)
{
    for (const BodyCase& c : kBodyCases) {
        SCOPED_TRACE(c.name);
        sim_->clear_requests();
        FormPairs expected = c.pairs();  // before the call: logout must see the live token
        ASSERT_EQ(c.call(), PAVO_STATUS_SUCCESS);
        SimRequest request = only_request();
        EXPECT_EQ(request.method, "POST");
        EXPECT_EQ(request.path, c.path);
        FormPairs sent = split_form(request.body);
        ASSERT_EQ(sent.size(), expected.size()) << request.body;
        for (size_t i = 0; i < expected.size(); ++i)
            if (expected[i].first == "Authenticator")
                expected[i].second = sent[i].second;
        EXPECT_EQ(request.body, form_body(expected));

        if (c.datatype < 0)
            continue;
        tpavo_result* result = successful_result(static_cast<tpavo_datatype>(c.datatype));
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->data.ptr != nullptr, c.has_data);
    }
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_LOGINED);
}

// Every request but open, below login; login itself below open.
TEST_F(ServiceRequests, TooLowStateRefusesWithNothingSentAndLastResultKept)
{
    tpavo_result* marker = store_marker_result();
    for (int opened = 0; opened < 2; ++opened) {
        if (opened) {
            open_account();
            marker = store_marker_result();
        }
        for (const BodyCase& c : kBodyCases) {
            const std::string name = c.name;
            if (name == "open" || (opened && name == "login"))
                continue;
            EXPECT_EQ(c.call(), name == "login" ? PAVO_STATUS_FAILURE_NOTOPENED
                                                : PAVO_STATUS_FAILURE_NOTLOGINED)
                << name;
            EXPECT_EQ(pavo_getresult(), marker) << name;
        }
        EXPECT_TRUE(sim_->requests().empty());
    }
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_OPENED);
}

// ------------------------------------------------------- open and login

TEST_F(ServiceRequests, OpenPersistsTheAccountAndLeavesTheLoginValuesAlone)
{
    ASSERT_EQ(pavo_open(7, OPENMODE_USERCARD, kSimUserCard, nullptr), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_OPENED);
    char value[PAVO_PROP_SIZE];
    EXPECT_STREQ(pavo_readconfig("system", "userid", value, sizeof value), kSimUserId);
    EXPECT_EQ(std::string(pavo_readconfig("system", "aaasrvaddress", value, sizeof value)),
              sim_->base_url());
    EXPECT_EQ(property("aaasrvaddress"), sim_->base_url());
    EXPECT_EQ(property("usertoken"), "");
}

// Deciphered here with the platform's keys: the open key for open, the user id otherwise.
TEST_F(ServiceRequests, AuthenticatorsCarryTheirSourceFields)
{
    // By terminal code the body says TVID but the given parameter is authenticated; the
    // platform then refuses, since it wants its user id to be the OpenParam it received.
    ASSERT_EQ(pavo_open(3, OPENMODE_STBCODE, "given-param", nullptr), PAVO_STATUS_SUCCESS);
    FormPairs pairs = split_form(only_request().body);
    ASSERT_EQ(pairs.size(), 7u);
    EXPECT_EQ(pairs[1], std::make_pair(std::string("OpenParam"), std::string(kSimTvid)));
    EXPECT_EQ(pairs[5], std::make_pair(std::string("Reserve"), std::string()));
    std::vector<std::string> source = sent_source(6, "482613");
    EXPECT_EQ(source[kSourceUser], "given-param");
    EXPECT_EQ(source[kSourceTvid], kSimTvid);
    EXPECT_EQ(source[kSourceIp], terminal_ip());
    EXPECT_EQ(source[6], "Korix");
    ASSERT_NE(pavo_getresult(), nullptr);
    EXPECT_LT(pavo_getresult()->resultcode, 0);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_INITED);

    sim_->clear_requests();
    ASSERT_EQ(pavo_open(3, OPENMODE_USERCARD, nullptr, nullptr), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(split_form(only_request().body)[1].second, "");
    EXPECT_EQ(sent_source(6, "482613")[kSourceUser], "");

    open_account();
    pavo_writeprop("bizfield", "BIZ7");
    ASSERT_EQ(pavo_login(9), PAVO_STATUS_SUCCESS);
    source = sent_source(3, kSimUserId);
    EXPECT_EQ(source[kSourceUser], kSimUserId);
    EXPECT_EQ(source[kSourceTvid], kSimTvid);
    EXPECT_EQ(source[kSourceBiz], "BIZ7");
    EXPECT_EQ(source[kTimestamp].size(), 14u);

    // Recharge carries its parameter only here, cut to 255 characters.
    const std::pair<std::string, std::string> recharges[] = {{"V100", "V100"},
                                                             {std::string(300, '7'),
                                                              std::string(255, '7')}};
    for (const auto& [parameter, biz] : recharges) {
        sim_->clear_requests();
        ASSERT_EQ(pavo_recharge(5, 1, parameter.c_str()), PAVO_STATUS_SUCCESS);
        EXPECT_EQ(sent_source(3, kSimUserId)[kSourceBiz], biz);
    }

    sim_->clear_requests();
    ASSERT_EQ(pavo_logout(4), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(sent_source(1, kSimUserId)[kSourceBiz], "") << "logout sends an empty business";
}

TEST_F(ServiceRequests, LoginWritesBackSeventeenSessionValues)
{
    open_and_login();
    tpavo_result* result = pavo_getresult();
    ASSERT_NE(result, nullptr);
    const tpavo_loginresponse* login = result->data.loginresponse;
    ASSERT_NE(login, nullptr);
    const std::string base = sim_->base_url();
    const std::pair<const char*, std::string> expected[] = {
        {"usertoken", login->usertoken}, {"usergroup", "family"},
        {"aaasrvaddress", base}, {"aaasrvaddress2", base},
        {"serverauthenticator", login->serverauthenticator}, {"userlevel", "2"},
        {"actexpireddate", "2026-12-31"}, {"epgsrvaddress", base},
        {"epgsrvaddress2", base}, {"playsrvaddress", base},
        {"playsrvaddress2", base}, {"upgradesrvaddress", base},
        {"upgradesrvaddress2", base}, {"imgsrvaddress", base + "/files"},
        {"serviceaddress", base + "/ExtService"}, {"drmsrvaddress", base + "/DRM"},
        {"drmsrvaddress2", base + "/DRM"}};
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

// ------------------------------------------------------ answers and faults

// An empty open URL and an HTTP error are pipeline failures: nothing stored.
TEST_F(ServiceRequests, PipelineFailureStoresNothing)
{
    tpavo_result* marker = store_marker_result();
    pavo_writeprop("openurl", "");
    EXPECT_EQ(pavo_open(1, OPENMODE_STBCODE, kSimTvid, nullptr), PAVO_STATUS_FAILURE);
    EXPECT_EQ(pavo_getresult(), marker);
    EXPECT_TRUE(sim_->requests().empty());

    pavo_writeprop("openurl", sim_->open_url().c_str());
    open_and_login();
    marker = store_marker_result();
    sim_->set_fault("/Service/QueryCategory", 503);
    EXPECT_EQ(pavo_querycategorylist(1, "", 1, 10), PAVO_STATUS_FAILURE);
    EXPECT_EQ(pavo_getresult(), marker);
}

// A platform error code comes with the HTTP codes; an answer that does not parse is
// stored as a bare result.
TEST_F(ServiceRequests, AnswersAreStoredAsTheyCome)
{
    open_and_login();
    ASSERT_EQ(pavo_queryitemdetail(1, "C0101", PAVO_ITEMTYPE_PROGRAM, "NOPE"),
              PAVO_STATUS_SUCCESS);
    tpavo_result* result = pavo_getresult();
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->resultcode, -202);
    EXPECT_EQ(result->httpecode, PAVO_HTTPE_OK);
    EXPECT_EQ(result->httpretcode, 200);

    tpavo_result* marker = store_marker_result();
    sim_->set_answer("/Service/QueryCategory", "not xml at all");
    EXPECT_EQ(pavo_querycategorylist(1, "", 1, 10), PAVO_STATUS_SUCCESS);
    result = pavo_getresult();
    ASSERT_NE(result, nullptr);
    ASSERT_NE(result, marker);
    EXPECT_EQ(result->resultcode, 0);
    EXPECT_EQ(result->data.ptr, nullptr);
    EXPECT_EQ(result->httpretcode, 200);
}

TEST_F(ServiceRequests, OverlongBodyIsCutSilentlyAt8191Characters)
{
    open_and_login();
    const std::string code(9000, 'a');
    ASSERT_EQ(pavo_querycategorylist(1, code.c_str(), 1, 10), PAVO_STATUS_SUCCESS);
    SimRequest request = only_request();
    ASSERT_EQ(request.body.size(), 8191u);
    const std::string prefix = form_body(session_four()) + "CategoryCode=";
    EXPECT_EQ(request.body, prefix + std::string(8191 - prefix.size(), 'a'));
}

// ----------------------------------------------------- status and flow

// Without a user id it fails and keeps the state; with one it opens from any state.
TEST_F(ServiceRequests, QueryStatusOpensOnlyWithAUserIdAndSendsNothing)
{
    EXPECT_EQ(pavo_query_status(), PAVO_STATUS_FAILURE);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_INITED);
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
