// Fleet behaviour against the platform simulator with a backup listener: the simulator's
// outages, expiry and counts first, then the library's failover, retries, single re-login
// and statistics, each with its key off and on.
#include <httplib.h>

#include <atomic>
#include <chrono>
#include <map>
#include <string>
#include <thread>

#include "service/pavo_fleet.h"
#include "service_fixture.h"

namespace pavo_test {
namespace {

// One simulator with a backup address for the whole program, reset before every test.
class FleetSim : public ServiceTest {
protected:
    static void SetUpTestSuite() { sim_ = new PlatformSim({"--backup-port", "0"}); }
};

struct Reply {
    int status = 0;  // 0: no answer
    std::string retry_after;
};

Reply post(const std::string& base, const std::string& path)
{
    httplib::Client client(base);
    client.set_read_timeout(10);
    httplib::Result result = client.Post(path, "UserID=u1001&", "text/plain");
    return result ? Reply{result->status, result->get_header_value("Retry-After")} : Reply{};
}

// ---------------------------------------------------------------- the simulator

struct OutageCase {
    const char* mode;
    int retry_after;
    int status;
    const char* retry_after_header;
};

const OutageCase kOutageCases[] = {
    {"refuse", -1, 0, ""}, {"503", 7, 503, "7"}, {"503", -1, 503, ""}, {"stall", -1, 0, ""}};

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

// Second addresses lead to the backup, which serves the same sessions; reset clears counts.
TEST_F(FleetSim, BackupServesTheSamePlatform)
{
    open_and_login();
    EXPECT_EQ(property("epgsrvaddress2"), sim_->backup_url());
    EXPECT_EQ(property("aaasrvaddress2"), sim_->backup_url());
    EXPECT_EQ(property("epgsrvaddress"), sim_->base_url());
    pavo_writeprop("epgsrvaddress", sim_->backup_url().c_str());
    ASSERT_EQ(pavo_querycategorylist(3, "", 1, 10), PAVO_STATUS_SUCCESS);
    EXPECT_EQ(pavo_getresult()->resultcode, 0);
    EXPECT_EQ(sim_->counts().services.at("epg").backup, 1);
    sim_->set_outage("epg", "503");
    sim_->reset();
    EXPECT_EQ(sim_->counts().paths.size(), 0u);
    EXPECT_EQ(post(sim_->base_url(), "/Service/QueryCategory").status, 200);
}

// ---------------------------------------------------------------- the library

void set_keys(const ConfEntries& keys)
{
    for (const auto& [key, value] : keys)
        pavo_writeprop(key.c_str(), value.c_str());
}

const pavo_stats_kind& kind_stats(tpavo_eventtype kind)
{
    static pavo_stats stats;
    EXPECT_EQ(pavo_getstats(&stats, sizeof stats), 0);
    return stats.kinds[kind];
}

TEST(FleetRetry, DelayIsDrawnWithinTheCappedExponentialBound)
{
    struct {
        int n;
        long retry_after;
        unsigned long long random;
        long delay;
    } const rows[] = {{0, -1, 0, 0},          {0, -1, 500, 500},      {0, -1, 501, 0},
                      {3, -1, 4000, 4000},    {3, -1, 4001, 0},       {7, -1, 30000, 30000},
                      {40, -1, 30001, 0},     {40, -1, 29999, 29999}, {1, 7, 0, 7000},
                      {1, 1000, 1000, 301000}};
    g_pavo_env.retrybase = 500;
    g_pavo_env.retrycap = 30000;
    for (const auto& row : rows)
        EXPECT_EQ(pavo_inner_retrydelay(row.n, row.retry_after, row.random), row.delay)
            << row.n << " " << row.random;
}

struct FailoverCase {
    const char* name;
    const char* service;
    const char* outage;  // mode; "dead": the primary address refuses connections
    bool recharge;       // else a catalogue query
    const char* failover;
    int status;
    long backup;  // requests the backup saw
    long charges;
};

const FailoverCase kFailoverCases[] = {
    {"off", "epg", "503", false, "0", PAVO_STATUS_FAILURE, 0, 0},
    {"503", "epg", "503", false, "1", PAVO_STATUS_SUCCESS, 1, 0},
    {"closed", "epg", "refuse", false, "1", PAVO_STATUS_SUCCESS, 1, 0},
    {"recharge sent", "aaa", "refuse", true, "1", PAVO_STATUS_FAILURE, 0, 0},
    {"recharge 503", "aaa", "503", true, "1", PAVO_STATUS_FAILURE, 0, 0},
    {"recharge unsent", "aaa", "dead", true, "1", PAVO_STATUS_SUCCESS, 1, 1},
    {"recharge dead, off", "aaa", "dead", true, "0", PAVO_STATUS_FAILURE, 0, 0},
};

// A failed primary sends the request once to the second address, unless the request may not
// go again; the failed primary is then passed over for the hold time.
TEST_F(FleetSim, FailoverSendsOnceToTheSecondAddressWhenTheRequestMayGoAgain)
{
    for (const FailoverCase& c : kFailoverCases) {
        SCOPED_TRACE(c.name);
        sim_->reset();
        open_and_login();
        pavo_resetstats();
        set_keys({{"failover", c.failover}, {"failoverhold", "600"}});
        const std::string property_name = std::string(c.service) + "srvaddress";
        if (std::string(c.outage) == "dead")
            pavo_writeprop(property_name.c_str(),
                           ("http://127.0.0.1:" + std::to_string(refused_port())).c_str());
        else
            sim_->set_outage(c.service, c.outage);
        auto request = [&] {
            return c.recharge ? pavo_recharge(3, 1, "10") : pavo_querycategorylist(3, "", 1, 5);
        };
        EXPECT_EQ(request(), c.status);
        SimCounts counts = sim_->counts();
        EXPECT_EQ(counts.services[c.service].backup, c.backup);
        EXPECT_EQ(counts.charges, c.charges);
        EXPECT_EQ(pavo_getlastaddress(),
                  c.backup != 0 ? sim_->backup_url() : property(property_name.c_str()));
        if (c.backup == 0)
            continue;
        const long primary = counts.services[c.service].primary;
        EXPECT_EQ(request(), PAVO_STATUS_SUCCESS);
        EXPECT_EQ(sim_->counts().services[c.service].primary, primary) << "held";
        EXPECT_EQ(kind_stats(c.recharge ? EPAVO_RECHARGE : EPAVO_QUERYCATEGORYLIST).failovers,
                  1u);
        pavo_cleanup();  // the hold ends with the library
        SetUp();
    }
}

// Reads repeat up to "retries" times, then give the last failure; a recharge that was sent
// never repeats; an outage that ends while a read repeats is not seen by the application.
TEST_F(FleetSim, RetriesRepeatReadsButNeverASentRecharge)
{
    open_and_login();
    pavo_resetstats();
    set_keys({{"retries", "3"}, {"retrybase", "1"}, {"retrycap", "2"}});
    sim_->set_outage("epg", "503");
    sim_->set_outage("aaa", "503");
    EXPECT_EQ(pavo_querycategorylist(3, "", 1, 5), PAVO_STATUS_FAILURE);
    EXPECT_EQ(pavo_recharge(4, 1, "10"), PAVO_STATUS_FAILURE);
    SimCounts counts = sim_->counts();
    EXPECT_EQ(counts.services["epg"].primary, 4);
    EXPECT_EQ(counts.paths["/Service/Recharge"], 1);
    const pavo_stats_kind catalogue = kind_stats(EPAVO_QUERYCATEGORYLIST);
    EXPECT_EQ(catalogue.requests, 1u);
    EXPECT_EQ(catalogue.attempts, 4u);
    EXPECT_EQ(catalogue.retries, 3u);
    EXPECT_EQ(catalogue.httpstatus, 1u);

    set_keys({{"retries", "100000"}, {"retrycap", "5"}});
    sim_->clear_counts();
    std::thread recovery([] {
        while (sim_->counts().services["epg"].primary < 3)
            std::this_thread::yield();
        sim_->clear_outages();
    });
    EXPECT_EQ(pavo_querycategorylist(5, "", 1, 5), PAVO_STATUS_SUCCESS);
    recovery.join();
    EXPECT_EQ(pavo_getresult()->resultcode, 0);
    // Three repeats of the first request, and all but the last transfer of this one.
    EXPECT_EQ(kind_stats(EPAVO_QUERYCATEGORYLIST).retries,
              static_cast<unsigned long long>(sim_->counts().services["epg"].primary) + 2);
}

// Every fault of the simulator, failover and retries on: one recharge asked, one sent, at most
// one charge (the faults that come after the platform's work leave exactly one).
TEST_F(FleetSim, RechargeIsSentOnceUnderEveryFault)
{
    struct {
        const char* fault;  // path fault query, or "outage:MODE"
        long charges;
    } const rows[] = {{"status=503", 0},     {"status=502", 0}, {"status=504", 0},
                      {"status=429", 0},     {"close=1", 0},    {"body=cut", 1},
                      {"body=truncated", 1}, {"body=short", 1}, {"outage:refuse", 0},
                      {"outage:503", 0}};
    // Keys at 0 too: a kept connection must not send it twice either.
    for (const bool fleet : {false, true})
        for (const auto& row : rows) {
            SCOPED_TRACE(std::string(row.fault) + (fleet ? " fleet" : ""));
            sim_->reset();
            open_and_login();
            if (fleet)
                set_keys(
                    {{"retries", "3"}, {"retrybase", "1"}, {"retrycap", "2"}, {"failover", "1"}});
            const std::string fault = row.fault;
            if (fault.rfind("outage:", 0) == 0)
                sim_->set_outage("aaa", fault.substr(7));
            else
                httplib::Client(sim_->base_url())
                    .Post("/_control/fault?path=/Service/Recharge&" + fault, "", "text/plain");
            pavo_recharge(3, 1, "10");
            SimCounts counts = sim_->counts();
            EXPECT_EQ(counts.paths["/Service/Recharge"], 1);
            EXPECT_EQ(counts.charges, row.charges);
        }
}

// Expired sessions: one login for all threads, each request repeated once with the new token;
// a failed login gives every request the platform's answer; off, nothing changes.
TEST_F(FleetSim, ExpiryTriggersExactlyOneSharedLogin)
{
    struct {
        const char* reloginon;
        bool login_fails;
        long logins;
        int code;
    } const rows[] = {
        {"-7", false, 1, 0}, {"", false, 0, -7}, {"-12,-7", true, 0, -7}, {"-12", false, 0, -7}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.reloginon);
        sim_->reset();
        open_and_login();
        set_keys({{"reloginon", row.reloginon}});
        sim_->expire(-7);
        if (row.login_fails)
            sim_->set_outage("aaa", "503");
        sim_->clear_counts();
        std::atomic<int> right{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] {
                if (pavo_querycategorylist(3, "", 1, 5) == PAVO_STATUS_SUCCESS &&
                    pavo_getresult()->resultcode == row.code)
                    ++right;
            });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(right, 4);
        EXPECT_EQ(sim_->counts().logins, row.logins);
    }
}

// Callbacks run on the pumping thread, the test's own.
std::map<int, int> g_codes;  // event id -> result code (1: no result)

int keep_code(tpavo_event* event)
{
    const auto* result = static_cast<const tpavo_result*>(event->data);
    g_codes[event->eventid] = result != nullptr ? result->resultcode : 1;
    return 0;
}

int pumped_code(int eventid)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (g_codes.count(eventid) == 0 && std::chrono::steady_clock::now() < deadline)
        if (pavo_checkmessage() == 0)
            std::this_thread::yield();
    return g_codes.count(eventid) != 0 ? g_codes[eventid] : 2;
}

// Asynchronous mode: requests waiting out a long back-off hold none of the three workers, so
// a failover and a shared re-login still reach their callbacks like plain answers.
TEST_F(FleetSim, AsynchronousRepeatsWaitOffTheWorkers)
{
    open_and_login();
    pavo_registercallback(PAVO_CALLBACK_AAA, keep_code);
    pavo_registercallback(PAVO_CALLBACK_EPG, keep_code);
    set_keys({{"retries", "5"}, {"reloginon", "-7"}});
    pavo_setfuncmode(FUNCMODE_ASYNC);
    sim_->set_outage("play", "503", 0, 100);
    for (unsigned id = 1; id <= 3; ++id)  // never joined: the 100-second pause holds them
        std::thread([id] {
            pavo_queryplayurl(id, "C0101", PAVO_ITEMTYPE_PROGRAM, "P1001", "",
                              SERVICETYPE_ONLINEPLAY, "", "");
        }).detach();
    while (sim_->counts().services["play"].primary < 3)
        std::this_thread::yield();

    set_keys({{"failover", "1"}});
    sim_->set_outage("epg", "503");
    std::thread([] { pavo_querycategorylist(7, "", 1, 5); }).detach();
    EXPECT_EQ(pumped_code(7), 0);
    EXPECT_EQ(pavo_getlastaddress(), sim_->backup_url());  // set before the callback
    sim_->expire(-7);
    sim_->clear_counts();
    std::thread([] { pavo_querycategorylist(8, "", 1, 5); }).detach();
    EXPECT_EQ(pumped_code(8), 0);
    EXPECT_EQ(sim_->counts().logins, 1);
    EXPECT_EQ(g_codes.count(1), 0u);
}

}  // namespace
}  // namespace pavo_test
