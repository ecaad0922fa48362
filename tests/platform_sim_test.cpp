// Tests of the platform simulator itself, through its test support and a plain HTTP client:
// the request record, fault kinds, and the account flow with authenticators built here on
// OpenSSL.
#include "support/platform_sim.h"

#include <gtest/gtest.h>
#include <httplib.h>
#include <openssl/evp.h>
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

    std::unique_ptr<Answer> login(const std::string& user_id, const std::string& auth) const {
        return post("/Service/Login",
                    form({{"UserID", user_id}, {"PAVOVersion", "1.0.0.1"},
                          {"TVProfile", "chip;client;KORIXOS/1001"}, {"Authenticator", auth}}));
    }

    PlatformSim sim;
};

TEST_F(PlatformSimTest, RecordsRequestsByteForByteAndAppliesFaults) {
    const std::string odd_body("A=%/0%5+%66&\x01\xff\r\n=&", 19);
    post("/Service/Report", odd_body);
    sim.set_fault("/Service/Login", 503);  // control requests are not recorded
    EXPECT_EQ(post("/Service/Login", "")->http_status, 503);
    std::vector<SimRequest> recorded = sim.requests();
    ASSERT_EQ(recorded.size(), 2u);
    EXPECT_EQ(recorded[0].path, "/Service/Report");
    EXPECT_EQ(recorded[0].body, odd_body);
    sim.set_fault("/Service/Report", 0, 0, true);
    EXPECT_FALSE(client()->Post("/Service/Report", "UserID=u1001&", "text/plain"));
}

TEST_F(PlatformSimTest, OpenAndLoginAnswerSessionAndAddresses) {
    auto opened = open_card(kSimUserCard, kSimTvid);
    ASSERT_EQ(opened->result_code(), 0) << opened->body;
    EXPECT_EQ(opened->field("UserID"), kSimUserId);
    EXPECT_EQ(opened->field("AAASrvAddress"), sim.base_url());

    auto logged_in = login(kSimUserId, authenticator(kSimUserId, kSimUserId, kSimTvid));
    ASSERT_EQ(logged_in->result_code(), 0) << logged_in->body;
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

}  // namespace
}  // namespace pavo_test
