// Tests of the platform simulator itself, through its test support and a plain HTTP client:
// start and stop, the request record, each fault kind, queued answers, the account flow
// with authenticators built here on OpenSSL, token checks and document shapes.
#include "support/platform_sim.h"

#include <gtest/gtest.h>
#include <httplib.h>
#include <openssl/evp.h>
#include <sys/wait.h>
#include <pugixml.hpp>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "service_fixture.h"

namespace pavo_test {
namespace {

// What a terminal sends: the source enciphered with 3DES-ECB under the first 24 characters
// of the SHA-1 text of the key seed, in upper-case hexadecimal.
std::string authenticator(const std::string& key_seed, const std::string& user_id,
                          const std::string& tvid, const std::string& bizfield = "") {
    const std::string source =
        "4821907$" + user_id + "$" + tvid + "$10.0.0.5$" + bizfield + "$20260102030405$Korix";
    const std::string key = sha1_text(key_seed).substr(0, 24);
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    unsigned char out[1024];
    int size = 0;
    int last = 0;
    EVP_EncryptInit_ex(context, EVP_des_ede3_ecb(), nullptr,
                       reinterpret_cast<const unsigned char*>(key.data()), nullptr);
    EVP_EncryptUpdate(context, out, &size, reinterpret_cast<const unsigned char*>(source.data()),
                      static_cast<int>(source.size()));
    EVP_EncryptFinal_ex(context, out + size, &last);
    EVP_CIPHER_CTX_free(context);
    std::string hex;
    for (int i = 0; i < size + last; ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02X", out[i]);
        hex += digits;
    }
    return hex;
}

// Every value encoded as the terminal encodes ASCII text.
std::string form(const FormPairs& fields) {
    FormPairs encoded;
    for (const auto& [key, value] : fields) encoded.emplace_back(key, form_encoded(value));
    return form_body(encoded);
}

struct Answer {
    int http_status = 0;
    std::string body;
    pugi::xml_document document;

    int result_code() const {
        return document.child("Root").child("Result").attribute("ResultCode").as_int(-9999);
    }
    std::string field(const char* name) const {
        return document.child("Root").child("Response").child(name).text().get();
    }
};

class PlatformSimTest : public ::testing::Test {
protected:
    std::unique_ptr<httplib::Client> client() const {
        auto made = std::make_unique<httplib::Client>("127.0.0.1", sim.port());
        made->set_connection_timeout(5);
        made->set_read_timeout(10);
        return made;
    }

    std::unique_ptr<Answer> post(const std::string& path, const std::string& body) const {
        auto answer = std::make_unique<Answer>();
        httplib::Result result = client()->Post(path, body, "application/x-www-form-urlencoded");
        if (!result) return answer;
        answer->http_status = result->status;
        answer->body = result->body;
        answer->document.load_string(result->body.c_str());
        return answer;
    }

    // Opens by card ("1") or terminal code ("2"); the open key is "482613".
    std::unique_ptr<Answer> open(const std::string& mode, const std::string& param,
                                 const std::string& tvid, const std::string& auth) const {
        return post("/Open", form({{"OpenMode", mode}, {"OpenParam", param}, {"TVID", tvid},
                                   {"Authenticator", auth}}));
    }
    std::unique_ptr<Answer> open_card(const std::string& card, const std::string& tvid) const {
        return open("1", card, tvid, authenticator("482613", card, tvid));
    }

    std::string open_and_login() const {
        EXPECT_EQ(open_card(kSimUserCard, kSimTvid)->result_code(), 0);
        auto logged_in = login(kSimUserId, authenticator(kSimUserId, kSimUserId, kSimTvid));
        EXPECT_EQ(logged_in->result_code(), 0) << logged_in->body;
        return logged_in->field("UserToken");
    }

    std::unique_ptr<Answer> login(const std::string& user_id, const std::string& auth) const {
        return post("/Service/Login",
                    form({{"UserID", user_id}, {"PAVOVersion", "1.0.0.1"},
                          {"TVProfile", "chip;client;KORIXOS/1001"}, {"Authenticator", auth}}));
    }

    // The session four, the given fields, then "IP".
    static std::string query(const std::string& token, FormPairs fields) {
        fields.insert(fields.begin(), {{"UserID", kSimUserId}, {"UserGroup", "family"},
                                       {"TVProfile", "chip;client;KORIXOS/1001"},
                                       {"UserToken", token}});
        fields.push_back({"IP", "10.0.0.5"});
        return form(fields);
    }

    PlatformSim sim;
};

TEST_F(PlatformSimTest, AnnouncesLoopbackAddressAndStopsOnSigterm) {
    EXPECT_EQ(sim.base_url(), "http://127.0.0.1:" + std::to_string(sim.port()));
    EXPECT_GT(sim.port(), 0);
    int status = sim.stop();
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(PlatformSimTest, RecordsRequestsInOrderByteForByte) {
    const std::string odd_body("A=%/0%5+%66&\x01\xff\r\n=&", 19);
    post("/Service/Report", odd_body);
    client()->Get("/files/none");
    sim.set_fault("/Service/Login", 500);  // control requests are not recorded
    std::vector<SimRequest> recorded = sim.requests();
    ASSERT_EQ(recorded.size(), 2u);
    EXPECT_EQ(recorded[0].method, "POST");
    EXPECT_EQ(recorded[0].path, "/Service/Report");
    EXPECT_EQ(recorded[0].body, odd_body);
    EXPECT_EQ(recorded[1].method, "GET");
    EXPECT_EQ(recorded[1].path, "/files/none");
    sim.clear_requests();
    EXPECT_TRUE(sim.requests().empty());
}

TEST_F(PlatformSimTest, FaultsAnswerWithStatusCloseOrDelayUntilCleared) {
    sim.set_fault("/Service/Report", 503);
    EXPECT_EQ(post("/Service/Report", "")->http_status, 503);
    EXPECT_EQ(post("/Service/Report", "")->http_status, 503);
    EXPECT_EQ(post("/Service/Logout", "")->http_status, 200);
    sim.clear_faults();
    EXPECT_EQ(post("/Service/Report", "")->result_code(), 0);

    sim.set_fault("/Service/Report", 0, 20);  // a delay without status still answers
    EXPECT_EQ(post("/Service/Report", "")->result_code(), 0);

    sim.set_fault("/Service/Report", 0, 0, true);
    sim.clear_requests();
    EXPECT_FALSE(client()->Post("/Service/Report", "UserID=u1001&", "text/plain"));
    EXPECT_EQ(sim.requests().size(), 1u);
}

TEST_F(PlatformSimTest, DelayedAnswerOutlastsShortClientTimeoutAndYieldsToStop) {
    sim.set_fault("/Service/Report", 0, 60000);
    auto impatient = client();
    impatient->set_read_timeout(0, 200000);
    httplib::Result result = impatient->Post("/Service/Report", "", "text/plain");
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error(), httplib::Error::Read);
    int status = sim.stop();  // the pending delay must not hold up the stop
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(PlatformSimTest, QueuedAnswersReplaceTheNextAnswersInOrder) {
    sim.set_answer("/Service/Report", "<Root><Result ResultCode='-7'/></Root>");
    sim.set_answer("/Service/Report", "not xml at all");
    EXPECT_EQ(post("/Service/Report", "")->body, "<Root><Result ResultCode='-7'/></Root>");
    EXPECT_EQ(post("/Service/Report", "")->body, "not xml at all");
    EXPECT_EQ(post("/Service/Report", "")->result_code(), 0);
}

TEST_F(PlatformSimTest, OpenAndLoginAnswerSessionAndAddresses) {
    auto opened = open_card(kSimUserCard, kSimTvid);
    ASSERT_EQ(opened->result_code(), 0) << opened->body;
    EXPECT_EQ(opened->field("UserID"), kSimUserId);
    EXPECT_EQ(opened->field("NickName"), "Li Wei");
    EXPECT_EQ(opened->field("AAASrvAddress"), sim.base_url());

    auto logged_in = login(kSimUserId, authenticator(kSimUserId, kSimUserId, kSimTvid));
    ASSERT_EQ(logged_in->result_code(), 0) << logged_in->body;
    EXPECT_FALSE(logged_in->field("UserToken").empty());
    EXPECT_EQ(logged_in->field("UserGroup"), "family");
    EXPECT_EQ(logged_in->field("ValidPoints"), "500");
    EXPECT_EQ(logged_in->field("EpgSrvAddress"), sim.base_url());
    EXPECT_EQ(logged_in->field("ServiceAddress"), sim.base_url() + "/ExtService");
    EXPECT_EQ(logged_in->field("SystemTime"), kSimClock);
    // The terminal reads the fields with a forward-only search: their order is the contract.
    std::string order;
    for (pugi::xml_node field : logged_in->document.child("Root").child("Response").children())
        order += std::string(field.name()) + " ";
    EXPECT_EQ(order,
              "ServerAuthenticator UserToken UserID UserGroup UserLevel ValidPoints ActExpiredDate "
              "AAASrvAddress AAASrvAddress2 EpgSrvAddress EpgSrvAddress2 PlaySrvAddress "
              "PlaySrvAddress2 UpgradeSrvAddress UpgradeSrvAddress2 IMGSrvAddress ServiceAddress "
              "DRMSrvAddress DRMSrvAddress2 SystemTime ");
}

TEST_F(PlatformSimTest, OpenBindsAnUnboundCardToItsFirstTerminal) {
    const std::string first = "000000PAVO0000STB100V4000000SIM0000007";
    const std::string second = "000000PAVO0000STB100V4000000SIM0000008";
    const std::string card = "8860000000001002";
    EXPECT_EQ(open_card(card, first)->field("UserID"), "u1002");
    EXPECT_EQ(open_card(card, first)->result_code(), 0);
    EXPECT_EQ(open_card(card, second)->result_code(), -104);
    EXPECT_EQ(login("u1002", authenticator("u1002", "u1002", first))->result_code(), 0);
    sim.reset();
    EXPECT_EQ(open_card(card, second)->result_code(), 0);
}

TEST_F(PlatformSimTest, OpenChecksModeParameterAndAuthenticator) {
    const std::string hotel = "000000PAVO0000STB100V4000000SIM0000002";
    const struct {
        const char* what;
        const char* mode;
        std::string param;
        std::string auth;
        int code;
    } cases[] = {
        {"by terminal code", "2", hotel, authenticator("482613", hotel, hotel), 0},
        {"unknown mode", "3", hotel, authenticator("482613", hotel, hotel), -106},
        {"user key instead of open key", "2", hotel, authenticator("u2001", hotel, hotel), -102},
        {"other parameter inside", "2", hotel, authenticator("482613", "u2001", hotel), -103},
        {"unknown card", "1", "123", authenticator("482613", "123", hotel), -105},
    };
    for (const auto& c : cases)
        EXPECT_EQ(open(c.mode, c.param, hotel, c.auth)->result_code(), c.code) << c.what;
}

TEST_F(PlatformSimTest, UnknownPathsServiceGetsAndEscapingFilesAnswer404) {
    EXPECT_EQ(post("/Service/NoSuchService", "")->http_status, 404);
    EXPECT_EQ(client()->Get("/Service/Login")->status, 404);
    EXPECT_EQ(client()->Get("/files/")->status, 404);
    EXPECT_EQ(client()->Post("/files/..%2Faccounts.ini", "", "")->status, 404);
}

TEST_F(PlatformSimTest, LoginRejectsBadAuthenticators) {
    const struct {
        const char* what;
        std::string user_id;
        std::string auth;
        int code;
    } cases[] = {
        {"not hexadecimal", kSimUserId, "XYZ", -102},
        {"wrong key", kSimUserId, authenticator("482613", kSimUserId, kSimTvid), -102},
        {"other user inside", kSimUserId, authenticator(kSimUserId, "u1003", kSimTvid), -103},
        {"unbound terminal", kSimUserId,
         authenticator(kSimUserId, kSimUserId, "000000PAVO0000STB100V4000000SIM0000009"), -104},
        {"unknown user", "u9999", authenticator("u9999", "u9999", kSimTvid), -105},
    };
    for (const auto& bad : cases) {
        auto answer = login(bad.user_id, bad.auth);
        EXPECT_EQ(answer->result_code(), bad.code) << bad.what;
        EXPECT_TRUE(answer->document.child("Root").child("Response").empty()) << bad.what;
    }
}

TEST_F(PlatformSimTest, QueriesNeedALiveTokenOfTheirUser) {
    const std::string token = open_and_login();
    EXPECT_EQ(post("/Service/QueryCategory", query(token, {}))->result_code(), 0);
    auto unknown = post("/Service/QueryCategory", query("nosuchtoken", {}));
    EXPECT_EQ(unknown->result_code(), -101);
    EXPECT_STREQ(unknown->document.child("Root").child("Result").attribute("ResultMsg").value(),
                 "invalid user token");

    auto logout = post("/Service/Logout",
                       form({{"UserID", kSimUserId},
                             {"Authenticator", authenticator(kSimUserId, kSimUserId, kSimTvid)},
                             {"UserToken", token}, {"IP", "10.0.0.5"}}));
    EXPECT_EQ(logout->result_code(), 0) << logout->body;
    EXPECT_EQ(post("/Service/QueryCategory", query(token, {}))->result_code(), -101);
}

// The shapes the terminal's parsers depend on: schedules inside Result, the clip container
// as a programme's first child, 64-bit file sizes.
TEST_F(PlatformSimTest, CatalogueAnswersHaveTheShapesTheTerminalReads) {
    const std::string token = open_and_login();
    auto answer = post("/Service/QuerySchedule",
                       query(token, {{"ChannelCode", "CH01"}, {"StartDate", "2026-01-02"},
                                     {"EndDate", "2026-01-02"}, {"PageIndex", "1"},
                                     {"PageSize", "2"}}));
    ASSERT_EQ(answer->result_code(), 0) << answer->body;
    pugi::xml_node schedules = answer->document.child("Root").child("Result").child("Schedules");
    ASSERT_TRUE(schedules) << answer->body;
    EXPECT_EQ(schedules.attribute("TotalCount").as_int(), 3);
    EXPECT_EQ(schedules.attribute("Count").as_int(), 2);
    EXPECT_STREQ(schedules.first_child().attribute("Name").value(), "Morning Headlines");
    EXPECT_STREQ(schedules.first_child().attribute("ChannelCode").value(), "CH01");
    EXPECT_FALSE(answer->document.child("Root").child("Schedules"));

    answer = post("/Service/QueryProgramee",
                  query(token, {{"CategoryCode", "C0101"}, {"PageIndex", "1"},
                                {"PageSize", "10"}, {"Withdetail", "1"}}));
    ASSERT_EQ(answer->result_code(), 0) << answer->body;
    pugi::xml_node root = answer->document.child("Root");
    EXPECT_STREQ(root.first_child().name(), "Result");
    EXPECT_EQ(root.child("Programee").attribute("Count").as_int(), 2);
    pugi::xml_node programme = root.child("Programs").child("Program");
    EXPECT_STREQ(programme.attribute("Code").value(), "P1001");
    EXPECT_STREQ(programme.first_child().name(), "VideoClips");
    EXPECT_STREQ(programme.first_child().first_child().attribute("FileSize").value(), "4831838208");
}

TEST_F(PlatformSimTest, ExtendedServiceEchoesDecodedFields) {
    const std::string token = open_and_login();
    // "%/0" and "%5+" are how the terminal writes bytes 0x80 and 0xE4: kept as text.
    std::string body = query(token, {{"ServiceCode", "weather"}}) + "ServiceParam=a+b%2Dc%/0%5+&";
    auto answer = post("/ExtService", body);
    ASSERT_EQ(answer->result_code(), 0) << answer->body;
    EXPECT_EQ(answer->field("ServiceCode"), "weather");
    EXPECT_EQ(answer->field("ServiceParam"), "a b-c%/0%5+");
}

TEST_F(PlatformSimTest, RechargeAddsPointsAndVouchersWorkOnce) {
    const std::string token = open_and_login();
    auto recharge = [&](const std::string& parameter) {
        return post("/Service/Recharge",
                    form({{"UserID", kSimUserId}, {"ChargeType", "1"}, {"Reserve1", ""},
                          {"Authenticator",
                           authenticator(kSimUserId, kSimUserId, kSimTvid, parameter)},
                          {"UserToken", token}, {"IP", "10.0.0.5"}}));
    };
    EXPECT_EQ(recharge("V100")->field("ValidPoints"), "600");
    EXPECT_EQ(recharge("V100")->result_code(), -107);
    EXPECT_EQ(recharge("25")->field("ValidPoints"), "625");
    sim.reset();
    EXPECT_EQ(post("/Service/QueryCategory", query(token, {}))->result_code(), -101);
}

TEST_F(PlatformSimTest, PlayAnswersStreamOrDownloadAddress) {
    const std::string token = open_and_login();
    auto play = [&](const char* type, const char* code, const char* clip, const char* service) {
        return post("/Service/Play",
                    query(token, {{"CategoryCode", ""}, {"ItemType", type}, {"ItemCode", code},
                                  {"ClipCode", clip}, {"ServiceType", service},
                                  {"StartTime", ""}, {"EndTime", ""}}));
    };
    EXPECT_EQ(play("1", "P1001", "P1001-SD", "0")->field("PlayURL"),
              "rtsp://127.0.0.1:5540/vod/P1001-SD.ts");
    EXPECT_EQ(play("1", "P1003", "", "1")->field("PlayURL"),
              sim.base_url() + "/files/p1003-trailer.ts");
    EXPECT_EQ(play("1", "P1001", "", "1")->result_code(), -205);
    EXPECT_EQ(play("2", "P1001", "", "0")->result_code(), -202);
}

TEST(SimWorkDirTest, WritesKorixConfPointingAtSimulator) {
    PlatformSim sim;
    SimWorkDir dir(sim, {{"userid", "u1001"}});
    EXPECT_EQ(read_file(dir.file("korix.conf")),
              "[system]\nopenurl=" + sim.base_url() + "/Open\nlogmode=1\nuserid=u1001\n");
}

}  // namespace
}  // namespace pavo_test
