// Fleet behaviour against the platform simulator with a backup listener: the simulator's
// outages, expiry and counts first, then the library's failover, retries, single re-login
// and statistics, each with its key off and on.
#include <httplib.h>

#include <string>
#include <thread>

#include "service_fixture.h"

namespace pavo_test {
namespace {

// One simulator with a backup address for the whole program, reset before every test.
class FleetSim : public ServiceTest {
protected:
    static void SetUpTestSuite() { sim_ = new PlatformSim({"--backup-port", "0"}); }
};

struct Reply {
    bool answered = false;
    int status = 0;
    std::string retry_after;
    std::string body;
};

Reply post(const std::string& base, const std::string& path)
{
    httplib::Client client(base);
    client.set_connection_timeout(5);
    client.set_read_timeout(10);
    Reply reply;
    if (httplib::Result result = client.Post(path, "UserID=u1001&", "text/plain")) {
        reply.answered = true;
        reply.status = result->status;
        reply.retry_after = result->get_header_value("Retry-After");
        reply.body = result->body;
    }
    return reply;
}

// ---------------------------------------------------------------- the simulator

struct OutageCase {
    const char* mode;
    int retry_after;
    bool answered;
    int status;
    const char* retry_after_header;
};

const OutageCase kOutageCases[] = {
    {"refuse", -1, false, 0, ""},
    {"503", 7, true, 503, "7"},
    {"503", -1, true, 503, ""},
    {"stall", -1, false, 0, ""},
};

// The primary of one service fails as asked; its backup and the other services answer.
TEST_F(FleetSim, OutageTakesDownOnlyThePrimaryOfItsService)
{
    for (const OutageCase& c : kOutageCases) {
        SCOPED_TRACE(c.mode);
        sim_->reset();
        sim_->set_outage("epg", c.mode, 0, c.retry_after);
        Reply failed;
        std::thread primary([&] { failed = post(sim_->base_url(), "/Service/QueryCategory"); });
        // A stalled request ends without an answer once the outage is cleared.
        if (std::string(c.mode) == "stall") {
            while (sim_->counts().services["epg"].primary == 0)
                std::this_thread::yield();
            sim_->clear_outages();
        }
        primary.join();
        EXPECT_EQ(failed.answered, c.answered);
        EXPECT_EQ(failed.status, c.status);
        EXPECT_EQ(failed.retry_after, c.retry_after_header);
        sim_->set_outage("epg", c.mode, 0, c.retry_after);
        EXPECT_EQ(post(sim_->backup_url(), "/Service/QueryCategory").status, 200);
        EXPECT_EQ(post(sim_->base_url(), "/Service/Play").status, 200);
        const SimCounts counts = sim_->counts();
        EXPECT_EQ(counts.services.at("epg").primary, 1);
        EXPECT_EQ(counts.services.at("epg").backup, 1);
        EXPECT_EQ(counts.services.at("play").primary, 1);
        EXPECT_EQ(counts.paths.at("/Service/QueryCategory"), 2);
        EXPECT_EQ(counts.per100ms_total, 3);
        sim_->clear_outages();
        EXPECT_EQ(post(sim_->base_url(), "/Service/QueryCategory").status, 200);
    }
}

// Second addresses lead to the backup, which serves the same sessions; an expiry ends
// them with the code asked until the box logs in again; reset clears counts and outages.
TEST_F(FleetSim, BackupServesTheSamePlatformAndExpiryAnswersItsCode)
{
    open_and_login();
    EXPECT_EQ(property("epgsrvaddress2"), sim_->backup_url());
    EXPECT_EQ(property("aaasrvaddress2"), sim_->backup_url());
    EXPECT_EQ(property("epgsrvaddress"), sim_->base_url());
    pavo_writeprop("epgsrvaddress", sim_->backup_url().c_str());
    ASSERT_EQ(pavo_querycategorylist(3, "", 1, 10), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getresult()->resultcode, 0);

    sim_->expire(-7);
    ASSERT_EQ(pavo_querycategorylist(4, "", 1, 10), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getresult()->resultcode, -7);
    ASSERT_EQ(pavo_login(5), PAVO_STATUS_SUCCESS);
    ASSERT_EQ(pavo_querycategorylist(6, "", 1, 10), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getresult()->resultcode, 0);
    SimCounts counts = sim_->counts();
    EXPECT_EQ(counts.logins, 2);
    EXPECT_EQ(counts.services.at("epg").backup, 2);  // login gave the primary back
    EXPECT_EQ(counts.services.at("epg").primary, 1);

    sim_->set_outage("aaa", "503");
    sim_->reset();
    EXPECT_EQ(post(sim_->base_url(), "/Service/Login").status, 200);
    counts = sim_->counts();
    EXPECT_EQ(counts.logins, 0);
    EXPECT_EQ(counts.paths.size(), 1u);
}

}  // namespace
}  // namespace pavo_test
