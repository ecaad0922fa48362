// The wire under the request pipeline: https with a throwaway CA made by the openssl command
// at run time (trusted, unknown CA, wrong host name), and connection reuse ("keepalive")
// counted by the simulator's own connection and TLS handshake counters.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "pavo.h"
#include "service/pavo_upload.h"
#include "support/library_start.h"
#include "support/platform_sim.h"
#include "support/temp_dir.h"

namespace {

using pavo_test::ConfEntries;
using pavo_test::PlatformSim;

constexpr long kPeerFailedVerification = 60;  // CURLE_PEER_FAILED_VERIFICATION

// A CA, a server certificate for 127.0.0.1 and one for another name (both signed by it),
// and a second CA that signed neither.
class Certificates {
public:
    Certificates()
    {
        run("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes"
            " -keyout ca.key -out ca.pem -days 1 -subj /CN=PavoTestCA");
        run("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes"
            " -keyout other.key -out other.pem -days 1 -subj /CN=OtherCA");
        sign("good", "IP:127.0.0.1");
        sign("wrong", "DNS:platform.invalid");
    }
    std::string file(const std::string& name) const { return dir_.file(name); }
    std::vector<std::string> tls_args(const std::string& server) const
    {
        return {"--tls", file(server + ".pem"), file(server + ".key")};
    }

private:
    void run(const std::string& command) const
    {
        const std::string line = "cd '" + dir_.path() + "' && " + command + " >/dev/null 2>&1";
        ASSERT_EQ(std::system(line.c_str()), 0) << command;
    }
    void sign(const std::string& name, const std::string& alt_name) const
    {
        run("openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout " +
            name + ".key -out " + name + ".csr -subj /CN=" + name);
        run("printf 'subjectAltName=" + alt_name + "\\n' > " + name +
            ".ext && openssl x509 -req"
            " -in " +
            name + ".csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 1 -out " + name +
            ".pem -extfile " + name + ".ext");
    }
    TempDir dir_;
};

// A bare pipeline post (its status, httpecode and answer size), then open, log in and ask
// for the top categories (each step's status, result code, httpecode and category codes).
std::string run_session(const PlatformSim& sim, const ConfEntries& extra)
{
    TempDir dir;
    ConfEntries conf = {{"openurl", sim.open_url()}, {"logmode", "1"}};
    conf.insert(conf.end(), extra.begin(), extra.end());
    pavo_test::write_korix_conf(dir.path(), conf);
    if (pavo_test::start_library(dir.path(), pavo_test::kSimOem, pavo_test::kSimTerminalType,
                                 pavo_test::kSimDevice, nullptr, nullptr) != PAVO_STATUS_SUCCESS)
        return "no start";
    void* answer = nullptr;
    size_t size = 0;
    tpavo_httpecode code = PAVO_HTTPE_OK;
    long http_status = 0;
    const std::string report = sim.base_url() + "/Service/Report";
    std::string transcript =
        "post:" +
        std::to_string(pavo_addhttpjob(STORETYPE_MEM, nullptr, 0, 0, 0, 0, 0, report.c_str(), "",
                                       0, &answer, &size, &code, &http_status));
    transcript += "/" + std::to_string(code) + "/" + std::to_string(size) + "\n";
    pavo_free(answer);
    const auto step = [&](const char* name, pavo_status_t status) {
        tpavo_result* result = pavo_getresult();
        transcript += std::string(name) + ":" + std::to_string(status);
        if (result != nullptr) {
            transcript += "/" + std::to_string(result->resultcode) + "/" +
                          std::to_string(result->httpecode) + (result->data.ptr ? "/data" : "");
            if (status == 0 && result->datatype == DATATYPE_CATEGORYLIST)
                for (tpavo_category* c = result->data.categorylistresponse; c; c = c->next)
                    transcript += std::string(" ") + c->code;
            pavo_freeresult(result);
        }
        transcript += "\n";
        return status == PAVO_STATUS_SUCCESS;
    };
    step("open", pavo_open(1, OPENMODE_STBCODE, pavo_test::kSimTvid, nullptr)) &&
        step("login", pavo_login(2)) && step("categories", pavo_querycategorylist(3, "", 1, 10));
    pavo_cleanup();
    return transcript;
}

class PipelineTls : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        certificates_ = std::make_unique<Certificates>();
        plain_ = std::make_unique<PlatformSim>();
        tls_ = std::make_unique<PlatformSim>(certificates_->tls_args("good"));
        wrong_host_ = std::make_unique<PlatformSim>(certificates_->tls_args("wrong"));
    }
    static void TearDownTestSuite()
    {
        wrong_host_.reset();
        tls_.reset();
        plain_.reset();
        certificates_.reset();
    }
    static ConfEntries trusting(const std::string& ca) { return {{"cafile", ca}}; }

    static std::unique_ptr<Certificates> certificates_;
    static std::unique_ptr<PlatformSim> plain_, tls_, wrong_host_;
};
std::unique_ptr<Certificates> PipelineTls::certificates_;
std::unique_ptr<PlatformSim> PipelineTls::plain_, PipelineTls::tls_, PipelineTls::wrong_host_;

TEST_F(PipelineTls, TrustedCertificateAnswersAsPlainHttpAndAnyOtherIsRefused)
{
    const std::string over_http = run_session(*plain_, {});
    ASSERT_NE(over_http.find("categories:0/0/0/data C01 C02 C03 C04"), std::string::npos)
        << over_http;
    EXPECT_EQ(run_session(*tls_, trusting(certificates_->file("ca.pem"))), over_http);

    // Refused in the handshake, before any request is sent: code 60 and nothing parsed.
    tls_->clear_requests();
    const std::string refused =
        "post:-1/" + std::to_string(kPeerFailedVerification) + "/0\nopen:-1\n";
    EXPECT_EQ(run_session(*tls_, trusting(certificates_->file("other.pem"))), refused);
    EXPECT_EQ(run_session(*wrong_host_, trusting(certificates_->file("ca.pem"))), refused);
    EXPECT_TRUE(tls_->requests().empty());
    EXPECT_TRUE(wrong_host_->requests().empty());
}

// Four requests per session; the reading of the counters adds one connection of its own.
TEST_F(PipelineTls, KeepaliveReusesOneConnectionAndZeroOpensOnePerRequest)
{
    const struct {
        PlatformSim* sim;
        const char* keepalive;
        long connections, handshakes;
    } cases[] = {{plain_.get(), "1", 1 + 1, 0},
                 {plain_.get(), "0", 4 + 1, 0},
                 {tls_.get(), "1", 1 + 1, 1 + 1},
                 {tls_.get(), "0", 4 + 1, 4 + 1}};
    for (const auto& c : cases) {
        ConfEntries conf = trusting(certificates_->file("ca.pem"));
        conf.push_back({"keepalive", c.keepalive});
        const PlatformSim::Connections before = c.sim->connections();
        EXPECT_NE(run_session(*c.sim, conf).find("categories:0"), std::string::npos);
        const PlatformSim::Connections after = c.sim->connections();
        EXPECT_EQ(after.connections - before.connections, c.connections) << c.keepalive;
        EXPECT_EQ(after.handshakes - before.handshakes, c.handshakes) << c.keepalive;
    }
}

}  // namespace
