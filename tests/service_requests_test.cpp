// Tests of the service requests against the platform simulator: the form encoder, exact
// URLs and bodies as the simulator recorded them, state refusals, the authenticators
// deciphered with the platform's keys, the login write-back and the last result; the
// upgrade offer, the status report, downloads in any state and the server clock.
#include <limits.h>
#include <string.h>
#include <sys/time.h>

#include <functional>
#include <string>

#include "service/pavo_service_requests.h"
#include "service_fixture.h"

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
    {"\x80\xE4\xFF\x7F", "%/0%5+%66%7F"},
};

// The cut form stops at the buffer's end, inside a triple too.
TEST(UrlEncode, EncodesEachByteAsThePlatformExpects)
{
    for (const EncoderCase& c : kEncoderCases) {
        char out[64];
        EXPECT_STREQ(pavo_urlencode(c.input, out), c.expected) << "input " << c.input;
    }
    char out[5] = "xyz";
    EXPECT_STREQ(pavo_inner_urlencode_cut("ab-c", out, sizeof out), "ab%2");
    EXPECT_STREQ(pavo_inner_urlencode_cut("abc", out, sizeof out), "abc");
}

using ServiceRequests = ServiceTest;

// ---------------------------------------------------------------- bodies

struct BodyCase {
    const char* name;
    std::function<pavo_status_t()> call;
    const char* path;  // below the simulator's base address
    FormPairs pairs;   // "@name": the session's property "name" (or "@ip" its address), encoded
    int datatype;      // of the successful answer
};

const std::pair<std::string, std::string> kAuth = {"Authenticator", "@sent"};  // taken as sent
const std::pair<std::string, std::string> kToken = {"UserToken", "@usertoken"};
const std::pair<std::string, std::string> kIp = {"IP", "@ip"};
const std::string kVersion = "1%2E0%2E0%2E1";
const std::string kProfile = form_encoded(ServiceTest::tvprofile());

// A query's own fields between the session four and "IP".
FormPairs query(FormPairs fields)
{
    FormPairs pairs = {
        {"UserID", "@userid"}, {"UserGroup", "@usergroup"}, {"TVProfile", kProfile}, kToken};
    pairs.insert(pairs.end(), fields.begin(), fields.end());
    pairs.push_back(kIp);
    return pairs;
}

FormPairs resolved(FormPairs pairs)
{
    for (auto& [key, value] : pairs)
        if (value == "@ip")
            value = form_encoded(ServiceTest::terminal_ip());
        else if (value[0] == '@' && value != "@sent")
            value = form_encoded(ServiceTest::property(value.c_str() + 1));
    return pairs;
}

// In order from a started library: open, login, the queries, recharge, logout. Bytes above
// 127 travel in the signed encoding, the smallest int in decimal whole; null texts go out
// empty. The resource upgrade parser tags its answer like the system one, and the status
// report leaves that as the last result; the logout parser tags its result as a recharge,
// and the login state stays.
const BodyCase kBodyCases[] = {
    {"open",
     [] { return pavo_open(7, OPENMODE_USERCARD, kSimUserCard, "r 1"); },
     "/Open",
     {{"OpenMode", "1"},
      {"OpenParam", kSimUserCard},
      {"TVID", kSimTvid},
      {"TVProfile", kProfile},
      {"PAVOVersion", kVersion},
      {"Reserve", "r+1"},
      kAuth},
     DATATYPE_OPENRESULT},
    {"login",
     [] { return pavo_login(9); },
     "/Service/Login",
     {{"UserID", kSimUserId}, {"PAVOVersion", kVersion}, {"TVProfile", kProfile}, kAuth},
     DATATYPE_LOGINRESULT},
    {"categorylist", [] { return pavo_querycategorylist(11, "C01", 1, 5); },
     "/Service/QueryCategory",
     query({{"CategoryCode", "C01"}, {"PageIndex", "1"}, {"PageSize", "5"}}),
     DATATYPE_CATEGORYLIST},
    {"categoryitemlist", [] { return pavo_querycategoryitemlist(12, "C0101", INT_MIN, -3, 1); },
     "/Service/QueryProgramee",
     query({{"CategoryCode", "C0101"},
            {"PageIndex", "-2147483648"},
            {"PageSize", "-3"},
            {"Withdetail", "1"}}),
     DATATYPE_ITEMLIST},
    {"relateitemlist", [] { return pavo_queryrelateitemlist(13, 1, "P1001", 4, 0, 1, 10); },
     "/Service/QueryRelative",
     query({{"Type", "1"},
            {"Code", "P1001"},
            {"Mode", "4"},
            {"Withdetail", "0"},
            {"PageIndex", "1"},
            {"PageSize", "10"}}),
     DATATYPE_ITEMLIST},
    {"itemdetail",
     [] { return pavo_queryitemdetail(14, "C0101", PAVO_ITEMTYPE_PROGRAM, "P1001"); },
     "/Service/QueryDetail",
     query({{"CategoryCode", "C0101"}, {"ItemType", "1"}, {"ItemCode", "P1001"}}), DATATYPE_ITEM},
    {"schedulelist",
     [] { return pavo_queryschedulelist(15, "CH01", "2026-01-02", "2026-01-03", 1, 10); },
     "/Service/QuerySchedule",
     query({{"ChannelCode", "CH01"},
            {"StartDate", "2026%2D01%2D02"},
            {"EndDate", "2026%2D01%2D03"},
            {"PageIndex", "1"},
            {"PageSize", "10"}}),
     DATATYPE_SCHEDULELIST},
    {"playurl",
     [] {
         return pavo_queryplayurl(16, "C03", PAVO_ITEMTYPE_CHANNEL, "CH01", "CH01-LIVE",
                                  SERVICETYPE_ONLINEPLAY, "2026-01-02 06:00:00", nullptr);
     },
     "/Service/Play",
     query({{"CategoryCode", "C03"},
            {"ItemType", "2"},
            {"ItemCode", "CH01"},
            {"ClipCode", "CH01%2DLIVE"},
            {"ServiceType", "0"},
            {"StartTime", "2026%2D01%2D02+06%3A00%3A00"},
            {"EndTime", ""}}),
     DATATYPE_QUERYPLAYURLRESULT},
    {"extendservice", [] { return pavo_queryextendservice(17, "weather", "city=Oslo"); },
     "/ExtService", query({{"ServiceCode", "weather"}, {"ServiceParam", "city%3DOslo"}}),
     DATATYPE_EXTSERVICERESULT},
    {"recharge",
     [] { return pavo_recharge(5, 2, "V100"); },
     "/Service/Recharge",
     {{"UserID", kSimUserId}, {"ChargeType", "2"}, {"Reserve1", ""}, kAuth, kToken, kIp},
     DATATYPE_RECHARGERESULT},
    {"upgradeos", [] { return pavo_upgradeos(21); }, "/Service/UpgradeOS", query({}),
     DATATYPE_UPGRADEOSRESULT},
    {"upgraderes", [] { return pavo_upgraderes(22); }, "/Service/UpgradeRes", query({}),
     DATATYPE_UPGRADEOSRESULT},
    {"statusreport", [] { return pavo_statusreport(23); }, "/Service/Report", query({}),
     DATATYPE_UPGRADEOSRESULT},
    {"logout",
     [] { return pavo_logout(4); },
     "/Service/Logout",
     {{"UserID", kSimUserId}, kAuth, kToken, kIp},
     DATATYPE_RECHARGERESULT},
};

TEST_F(ServiceRequests, EachRequestPostsItsExactBody)
{
    for (const BodyCase& c : kBodyCases) {
        SCOPED_TRACE(c.name);
        sim_->clear_requests();
        FormPairs expected = resolved(c.pairs);  // before the call: logout forgets the token
        ASSERT_EQ(c.call(), PAVO_STATUS_SUCCESS);
        SimRequest request = only_request();
        EXPECT_EQ(request.method, "POST");
        EXPECT_EQ(request.path, c.path);
        FormPairs sent = split_form(request.body);
        ASSERT_EQ(sent.size(), expected.size()) << request.body;
        for (size_t i = 0; i < expected.size(); ++i)
            if (expected[i].second == "@sent")
                expected[i].second = sent[i].second;
        EXPECT_EQ(request.body, form_body(expected));

        tpavo_result* result = successful_result(static_cast<tpavo_datatype>(c.datatype));
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->data.ptr != nullptr, std::string(c.name) != "logout");
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

// Deciphered here with the platform's keys: the open key for open, the user id otherwise.
TEST_F(ServiceRequests, AuthenticatorsCarryTheirSourceFields)
{
    // By terminal code the body says TVID but the given parameter is authenticated; the
    // platform then refuses, since it wants its user id to be the OpenParam it received.
    ASSERT_EQ(pavo_open(3, OPENMODE_STBCODE, "given-param", nullptr), PAVO_STATUS_SUCCESS);
    FormPairs pairs = split_form(only_request().body);
    ASSERT_EQ(pairs.size(), 7u);
    EXPECT_EQ(pairs[1], std::make_pair(std::string("OpenParam"), std::string(kSimTvid)));
    std::vector<std::string> source = sent_source(6, "482613");
    EXPECT_EQ(source[kSourceUser], "given-param");
    EXPECT_EQ(source[kSourceTvid], kSimTvid);
    EXPECT_EQ(source[kSourceIp], terminal_ip());
    EXPECT_LT(pavo_getresult()->resultcode, 0);
    EXPECT_EQ(pavo_getstate(), PAVO_STATE_INITED);

    open_account();
    pavo_writeprop("bizfield", "BIZ7");
    ASSERT_EQ(pavo_login(9), PAVO_STATUS_SUCCESS);
    source = sent_source(3, kSimUserId);
    EXPECT_EQ(source[kSourceUser], kSimUserId);
    EXPECT_EQ(source[kSourceTvid], kSimTvid);
    EXPECT_EQ(source[kSourceBiz], "BIZ7");

    // Recharge carries its parameter only here, cut to 255 characters.
    sim_->clear_requests();
    ASSERT_EQ(pavo_recharge(5, 1, std::string(300, '7').c_str()), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(sent_source(3, kSimUserId)[kSourceBiz], std::string(255, '7'));

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
        {"usertoken", login->usertoken},
        {"usergroup", "family"},
        {"aaasrvaddress2", base},
        {"serverauthenticator", login->serverauthenticator},
        {"userlevel", "2"},
        {"actexpireddate", "2026-12-31"},
        {"imgsrvaddress", base + "/files"},
        {"serviceaddress", base + "/ExtService"},
        {"drmsrvaddress2", base + "/DRM"}};
    for (const auto& [name, value] : expected)
        EXPECT_EQ(property(name), value) << name;
    char conf[PAVO_PROP_SIZE];  // open persisted the account
    EXPECT_STREQ(pavo_readconfig("system", "userid", conf, sizeof conf), kSimUserId);
}

// ------------------------------------------------------ answers and faults

TEST_F(ServiceRequests, OverlongBodyIsCutSilentlyAt8191Characters)
{
    open_and_login();
    const std::string code(9000, 'a');
    ASSERT_EQ(pavo_querycategorylist(1, code.c_str(), 1, 10), PAVO_STATUS_SUCCESS);
    SimRequest request = only_request();
    ASSERT_EQ(request.body.size(), 8191u);
    const std::string four = form_body(resolved(query({})));  // the session four, then IP
    const std::string prefix = four.substr(0, four.rfind("IP=")) + "CategoryCode=";
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
    EXPECT_TRUE(sim_->requests().empty());
}

// ---------------------------------------------------------- maintenance

using Maintenance = ServiceTest;

std::string sim_file(const std::string& name)
{
    return read_file(std::string(PAVO_SIM_DATA) + "/files/" + name);
}

// The status report, answered or not, shows only in its return value.
TEST_F(Maintenance, UpgradeAnswersOfferTheirFilesAndTheReportKeepsTheLastResult)
{
    open_and_login();
    ASSERT_EQ(pavo_upgradeos(2), PAVO_STATUS_SUCCESS);
    tpavo_result* result = successful_result(DATATYPE_UPGRADEOSRESULT);
    ASSERT_NE(result, nullptr);
    const tpavo_upgradeosresponse* os = result->data.upgradeosresponse;
    ASSERT_NE(os, nullptr);
    EXPECT_EQ(os->upgrademode, 1);
    EXPECT_EQ(std::string(os->fileurl), sim_->base_url() + "/files/pavo-os-2.1.0.img");
    EXPECT_EQ(std::string(os->filehash), sha1_text(sim_file("pavo-os-2.1.0.img")));

    sim_->set_fault("/Service/Report", 503);
    EXPECT_EQ(pavo_statusreport(4), PAVO_STATUS_FAILURE);
    EXPECT_EQ(pavo_getresult(), result);
}

}  // namespace
}  // namespace pavo_test
