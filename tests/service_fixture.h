// Shared fixture of the service request tests: one platform simulator per test program,
// a fresh working directory whose korix.conf points at it, the library started with the
// terminal identity the simulator knows, and helpers to read what was sent.
#ifndef PAVO_TEST_SERVICE_FIXTURE_H
#define PAVO_TEST_SERVICE_FIXTURE_H

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "pavo.h"
#include "service/pavo_global.h"
#include "support/library_start.h"
#include "support/openssl_reference.h"
#include "support/platform_sim.h"

namespace pavo_test {

// Letters and digits as they are, every other byte %XY: what the platform expects of
// ASCII text, written here independently of the library's encoder.
inline std::string form_encoded(const std::string& text)
{
    static const char kDigits[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : text) {
        if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')) {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += kDigits[c >> 4];
            out += kDigits[c & 15];
        }
    }
    return out;
}

using FormPairs = std::vector<std::pair<std::string, std::string>>;

// "key=value&" for every pair, values taken as they stand.
inline std::string form_body(const FormPairs& pairs)
{
    std::string body;
    for (const auto& [key, value] : pairs)
        body += key + "=" + value + "&";
    return body;
}

// The pairs of a body in order, values still encoded.
inline FormPairs split_form(const std::string& body)
{
    FormPairs pairs;
    std::istringstream stream(body);
    for (std::string pair; std::getline(stream, pair, '&');) {
        size_t equals = pair.find('=');
        pairs.emplace_back(pair.substr(0, equals),
                           equals == std::string::npos ? "" : pair.substr(equals + 1));
    }
    return pairs;
}

inline std::string sha1_text(const std::string& text)
{
    return sha1_reference(text.data(), text.size());
}

// The "$"-separated fields of an authenticator's plain source (six, then "Korix"):
// 3DES-ECB under the first 24 characters of the SHA-1 text of key_seed, PKCS#5 padding;
// none when it does not decipher.
inline std::vector<std::string> authenticator_fields(const std::string& hex,
                                                     const std::string& key_seed)
{
    Bytes bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(static_cast<unsigned char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    Bytes plain = des3_reference(sha1_text(key_seed), bytes, false);
    std::vector<std::string> fields;
    std::istringstream source(std::string(plain.begin(), plain.end()));
    for (std::string field; std::getline(source, field, '$');)
        fields.push_back(field);
    return fields;
}

enum SourceField { kRandom, kSourceUser, kSourceTvid, kSourceIp, kSourceBiz, kTimestamp };

// One simulator for the whole test program, reset before every test.
class SimSuite : public ::testing::Test {
protected:
    static void SetUpTestSuite() { sim_ = new PlatformSim(); }
    static void TearDownTestSuite()
    {
        delete sim_;
        sim_ = nullptr;
    }
    void SetUp() override { sim_->reset(); }

    static PlatformSim* sim_;
};

inline PlatformSim* SimSuite::sim_ = nullptr;

class ServiceTest : public SimSuite {
protected:
    void SetUp() override
    {
        SimSuite::SetUp();
        workdir_ = std::make_unique<SimWorkDir>(*sim_);
        ASSERT_EQ(start_library(workdir_->path(), kSimOem, kSimTerminalType, kSimDevice,
                                "CHIP/1.0", "TEST/1.0"),
                  PAVO_STATUS_SUCCESS);
    }

    void TearDown() override { pavo_cleanup(); }

public:
    // Open by terminal code and log in; the record of requests is cleared afterwards.
    void open_account()
    {
        ASSERT_EQ(pavo_open(1, OPENMODE_STBCODE, kSimTvid, nullptr), PAVO_STATUS_SUCCESS);
        ASSERT_EQ(pavo_getstate(), PAVO_STATE_OPENED);
        sim_->clear_requests();
    }

    void open_and_login()
    {
        open_account();
        ASSERT_EQ(pavo_login(2), PAVO_STATUS_SUCCESS);
        ASSERT_EQ(pavo_getstate(), PAVO_STATE_LOGINED);
        sim_->clear_requests();
    }

    static std::string property(const char* name)
    {
        char buffer[PAVO_PROP_SIZE];
        pavo_readprop(name, buffer, sizeof buffer);
        return buffer;
    }

    static std::string terminal_ip()
    {
        char ip[PAVO_IP_SIZE];
        pavo_getip(ip, sizeof ip);
        return ip;
    }

    static std::string tvprofile() { return "CHIP/1.0;TEST/1.0;KORIXOS/1001"; }

    // The one request the simulator received since the record was last cleared.
    static SimRequest only_request()
    {
        std::vector<SimRequest> requests = sim_->requests();
        EXPECT_EQ(requests.size(), 1u);
        return requests.empty() ? SimRequest{} : requests.back();
    }

    // The deciphered fields of the authenticator that is pair `index` of the one request;
    // seven empty fields (and a failure) when it does not decipher.
    static std::vector<std::string> sent_source(size_t index, const std::string& key_seed)
    {
        FormPairs pairs = split_form(only_request().body);
        std::vector<std::string> fields;
        if (index < pairs.size())
            fields = authenticator_fields(pairs[index].second, key_seed);
        EXPECT_EQ(fields.size(), 7u) << "authenticator " << index;
        fields.resize(7);
        return fields;
    }

    // The last result of a request that the platform answered with success over HTTP 200;
    // null (and a failure) when there is none.
    static tpavo_result* successful_result(tpavo_datatype datatype)
    {
        tpavo_result* result = pavo_getresult();
        if (result == nullptr) {
            ADD_FAILURE() << "no last result";
            return nullptr;
        }
        EXPECT_EQ(result->resultcode, 0);
        EXPECT_EQ(result->datatype, datatype);
        EXPECT_EQ(result->httpecode, PAVO_HTTPE_OK);
        EXPECT_EQ(result->httpretcode, 200);
        return result;
    }

    // A last result of this thread that a refused or failed request must leave in place.
    static tpavo_result* store_marker_result()
    {
        char text[] = "marker";
        EXPECT_EQ(pavo_setlastresult_match(4242, "marker", DATATYPE_STRING, sizeof text, text),
                  0);
        return pavo_getresult();
    }

protected:
    std::unique_ptr<SimWorkDir> workdir_;
};

}  // namespace pavo_test

#endif
